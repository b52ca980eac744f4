#include "device/foundation/Base64.h"

#include <algorithm>

namespace vecamera::device {

std::string Base64::base64EncodedString(std::string_view prefix, const Data& data) const {
  constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto bytes = data.bytes();
  // Missing characters of the last group stay the padding that the buffer is filled with.
  std::string text(prefix.size() + (bytes.size() + 2) / 3 * 4, '=');
  auto out = std::copy(prefix.begin(), prefix.end(), text.begin());
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const unsigned group = bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2];
    *out++ = kAlphabet[group >> 18];
    *out++ = kAlphabet[group >> 12 & 63];
    *out++ = kAlphabet[group >> 6 & 63];
    *out++ = kAlphabet[group & 63];
  }
  const std::size_t left = bytes.size() - i;
  if (left > 0) {
    const unsigned group = bytes[i] << 16 | (left == 2 ? bytes[i + 1] << 8 : 0);
    *out++ = kAlphabet[group >> 18];
    *out++ = kAlphabet[group >> 12 & 63];
    if (left == 2) *out++ = kAlphabet[group >> 6 & 63];
  }
  return text;
}

}  // namespace vecamera::device
