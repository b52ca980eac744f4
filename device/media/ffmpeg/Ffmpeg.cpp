#include "device/media/ffmpeg/Ffmpeg.h"

#include <algorithm>
#include <array>

namespace vecamera::device::media {
namespace {

/// A frame of the largest sides that are read takes a fifth of it.
constexpr std::size_t maxAllocationBytes = std::size_t{256} << 20;

}  // namespace

MediaResult<void> allocatePixels(AVFrame& frame, AVPixelFormat format, Size size) {
  av_frame_unref(&frame);
  frame.format = format;
  frame.width = size.width;
  frame.height = size.height;
  if (av_frame_get_buffer(&frame, 0) >= 0) return {};
  return outOfMemory("The pictures of the movie cannot be converted");
}

int interruptCallback(void* check) {
  const auto& isCancelled = *static_cast<const CancellationCheck*>(check);
  return isCancelled && isCancelled();
}

std::int64_t rescaled(std::int64_t time, AVRational from, AVRational to) {
  constexpr std::int64_t limit = INT64_MAX / 4;
  const std::int64_t result = av_rescale_q(time, from, to);
  // The sign of an overflow, whatever that of the time is.
  if (result == INT64_MIN) return time < 0 ? -limit : limit;
  return std::clamp(result, -limit, limit);
}

void prepareFfmpeg() {
  [[maybe_unused]] static const bool once = [] {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(maxAllocationBytes);
    return true;
  }();
}

Failure<NSError> ffmpegFailure(int code, const std::string& what, AVError otherwise) {
  if (code == AVERROR_EXIT) return mediaFailure(AVError::operationCancelled, "Cancelled.");
  std::array<char, AV_ERROR_MAX_STRING_SIZE> reason{};
  av_strerror(code, reason.data(), reason.size());
  if (code == AVERROR(ENOSPC)) otherwise = AVError::diskFull;
  if (code == AVERROR(ENOMEM)) otherwise = AVError::outOfMemory;
  return mediaFailure(otherwise, what + ": " + reason.data() + ".");
}

Failure<NSError> outOfMemory(const std::string& what) {
  return ffmpegFailure(AVERROR(ENOMEM), what, AVError::outOfMemory);
}

}  // namespace vecamera::device::media
