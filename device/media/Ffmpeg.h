#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "device/media/MediaErrors.h"

/// FFmpeg's objects with owners, for this folder's sources only.
namespace vecamera::device::media {

template <auto release>
struct Release {
  template <class T>
  void operator()(T* held) const {
    release(held);
  }
};
/// For functions that also clear the pointer.
template <auto release>
struct ReleaseAt {
  template <class T>
  void operator()(T* held) const {
    release(&held);
  }
};
using Packet = std::unique_ptr<AVPacket, ReleaseAt<av_packet_free>>;
using Frame = std::unique_ptr<AVFrame, ReleaseAt<av_frame_free>>;
using Codec = std::unique_ptr<AVCodecContext, ReleaseAt<avcodec_free_context>>;
using Fifo = std::unique_ptr<AVAudioFifo, Release<av_audio_fifo_free>>;
using Resampler = std::unique_ptr<SwrContext, ReleaseAt<swr_free>>;
using Scaler = std::unique_ptr<SwsContext, Release<sws_freeContext>>;

/// Nothing on success.
using Outcome = std::optional<NSError>;

/// What all times of this folder are told in where no stream's own time base is meant.
inline constexpr AVRational microseconds{1, 1'000'000};
inline constexpr std::int64_t maxMovieMicroseconds = 12ll * 3600 * 1'000'000;

/// The time in another base; one that no movie has becomes one beyond all limits, which is still
/// far from overflowing in a sum.
std::int64_t rescaled(std::int64_t time, AVRational from, AVRational to);

/// Call it before any other use of FFmpeg: it keeps the libraries from writing to standard error
/// and from allocating what only a hostile file asks for.
void prepareLibraries();

/// The error for FFmpeg's code: that of a cancelled export for `AVERROR_EXIT`, of a full disk and
/// missing memory where they are it, else `otherwise`. `what` begins the description.
NSError libraryError(int code, const std::string& what, AVError otherwise);

}  // namespace vecamera::device::media
