#include "device/media/ffmpeg/Sha256.h"

extern "C" {
#include <libavutil/sha.h>
}

#include <array>

namespace vecamera::device::media {

Sha256::Sha256() : context_(allocated(av_sha_alloc())) {
  av_sha_init(context_.get(), 256);
}

void Sha256::update(imaging::Bytes bytes) {
  av_sha_update(context_.get(), bytes.data(), bytes.size());
}

std::string Sha256::finish() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::array<std::uint8_t, 32> digest{};
  av_sha_final(context_.get(), digest.data());
  std::string text;
  for (const std::uint8_t byte : digest) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace vecamera::device::media
