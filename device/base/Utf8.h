#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vecamera::device {

/// Whether the text is well-formed UTF-8 (RFC 3629): no surrogates, no longer forms than needed.
inline bool isUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC2 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF5 ? 4
                                             : 0;
    if (length == 0 || text.size() - i < length) return false;
    std::uint32_t code = length == 1 ? lead : lead & (0x7Fu >> length);
    for (std::size_t j = 1; j < length; ++j) {
      const auto next = static_cast<unsigned char>(text[i + j]);
      if ((next & 0xC0) != 0x80) return false;
      code = code << 6 | (next & 0x3Fu);
    }
    constexpr std::uint32_t surrogates = 0xD800;
    if ((length == 3 && (code < 0x800 || (code & ~0x7FFu) == surrogates)) ||
        (length == 4 && (code < 0x10000 || code > 0x10FFFF)))
      return false;
    i += length;
  }
  return true;
}

}  // namespace vecamera::device
