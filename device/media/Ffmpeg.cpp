#include "device/media/Ffmpeg.h"

#include <algorithm>
#include <array>

namespace vecamera::device::media {
namespace {

/// A picture of the largest sides that are read takes a fifth of it.
constexpr std::size_t maxAllocationBytes = std::size_t{256} << 20;

}  // namespace

std::int64_t rescaled(std::int64_t time, AVRational from, AVRational to) {
  constexpr std::int64_t limit = INT64_MAX / 4;
  const std::int64_t result = av_rescale_q(time, from, to);
  // How an overflow is told, whatever the sign.
  if (result == INT64_MIN) return time < 0 ? -limit : limit;
  return std::clamp(result, -limit, limit);
}

void prepareLibraries() {
  [[maybe_unused]] static const bool once = [] {
    av_log_set_level(AV_LOG_QUIET);
    av_max_alloc(maxAllocationBytes);
    return true;
  }();
}

NSError libraryError(int code, const std::string& what, AVError otherwise) {
  if (code == AVERROR_EXIT) return mediaError(AVError::operationCancelled, "Cancelled.");
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  if (code == AVERROR(ENOSPC)) otherwise = AVError::diskFull;
  if (code == AVERROR(ENOMEM)) otherwise = AVError::outOfMemory;
  return mediaError(otherwise, what + ": " + text.data() + ".");
}

}  // namespace vecamera::device::media
