#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "device/base/CancellationCheck.h"
#include "device/base/Release.h"
#include "device/media/base/MediaErrors.h"

/// FFmpeg's objects with owners, for this room's sources only.
namespace vecamera::device::media {

using Packet = std::unique_ptr<AVPacket, Release<av_packet_free>>;
using Frame = std::unique_ptr<AVFrame, Release<av_frame_free>>;
using Codec = std::unique_ptr<AVCodecContext, Release<avcodec_free_context>>;
using Fifo = std::unique_ptr<AVAudioFifo, Release<av_audio_fifo_free>>;
using Resampler = std::unique_ptr<SwrContext, Release<swr_free>>;
using Scaler = std::unique_ptr<SwsContext, Release<sws_freeContext>>;

/// A small object that FFmpeg made; `std::bad_alloc`, as from `new`, where there is none.
template <class T>
T* allocated(T* made) {
  if (!made) throw std::bad_alloc();
  return made;
}
inline Packet newPacket() {
  return Packet(allocated(av_packet_alloc()));
}
inline Frame newFrame() {
  return Frame(allocated(av_frame_alloc()));
}

struct Size {
  int width = 0;
  int height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

/// Gives the frame memory of its own for pixels.
MediaResult<void> allocatePixels(AVFrame& frame, AVPixelFormat format, Size size);

/// The check, a `CancellationCheck`, in the form of an `AVIOInterruptCB`.
int interruptCallback(void* check);

/// The unit of all times of this room that are not in a stream's own time base.
inline constexpr AVRational microseconds{1, 1'000'000};
inline constexpr std::int64_t maxMovieMicroseconds = 12ll * 3600 * 1'000'000;

/// The time in another base. A time that no movie has becomes one beyond all limits, which is still
/// far from overflowing in a sum.
std::int64_t rescaled(std::int64_t time, AVRational from, AVRational to);

/// Call it before any other use of FFmpeg: it keeps the libraries from writing to standard error
/// and from allocating what only a hostile file asks for.
void prepareFfmpeg();

/// The error for FFmpeg's code: that of a cancelled export for `AVERROR_EXIT`, of a full disk and
/// missing memory where they are it, else `otherwise`. `what` begins the description.
Failure<NSError> ffmpegFailure(int code, const std::string& what, AVError otherwise);
Failure<NSError> outOfMemory(const std::string& what);

}  // namespace vecamera::device::media
