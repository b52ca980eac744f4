#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vecamera_ios {

/// The length of the character (RFC 3629: no surrogates, no longer form than needed) at the start
/// of the text; 0 where there is none.
inline std::size_t utf8CharacterLength(std::string_view text) {
  if (text.empty()) return 0;
  const auto lead = static_cast<std::uint8_t>(text[0]);
  if (lead < 0x80) return 1;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((static_cast<std::uint8_t>(text[i]) & 0xC0) != 0x80) return 0;
  // The second byte shows what is too long, a surrogate or above U+10FFFF.
  const auto second = static_cast<std::uint8_t>(text[1]);
  const bool isWrong = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
                       (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F);
  return isWrong ? 0 : length;
}

/// The bytes at the start of the text that are UTF-8.
inline std::size_t utf8PrefixLength(std::string_view text) {
  std::size_t valid = 0;
  while (const std::size_t length = utf8CharacterLength(text.substr(valid))) valid += length;
  return valid;
}

inline void appendUtf8(std::string& text, std::uint32_t code) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    append(code);
    return;
  }
  if (code < 0x800) {
    append(0xC0 | code >> 6);
  } else {
    if (code < 0x10000) {
      append(0xE0 | code >> 12);
    } else {
      append(0xF0 | code >> 18);
      append(0x80 | (code >> 12 & 0x3F));
    }
    append(0x80 | (code >> 6 & 0x3F));
  }
  append(0x80 | (code & 0x3F));
}

}  // namespace vecamera_ios
