#pragma once

#include <cstddef>
#include <string_view>

namespace vecamera::device {

/// Whether the text is well-formed UTF-8, without overlong forms and surrogates.
inline bool isUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto at = [&](std::size_t offset) {
      return i + offset < text.size() ? static_cast<unsigned char>(text[i + offset]) : 0u;
    };
    const unsigned lead = at(0);
    if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4) return false;
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // The second byte of these leads has a narrower range.
    const unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (length > 1 && (at(1) < low || at(1) > high)) return false;
    for (std::size_t next = 2; next < length; ++next)
      if (at(next) < 0x80 || at(next) > 0xBF) return false;
    i += length;
  }
  return true;
}

}  // namespace vecamera::device
