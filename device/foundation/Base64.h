#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// Stateless; any thread.
class Base64 : public NSDataBase64 {
 public:
  std::string base64EncodedString(std::string_view prefix, const Data& data) const override;
  void appendBase64(std::string& text, const Data& data) const override;
};

/// Base64 (RFC 4648) with or without padding; nothing for any other text.
std::optional<Data> decodeBase64(std::string_view text);

/// Encodes whole groups of three bytes from the front of `bytes` and returns how many bytes that
/// were; fewer than 64 stay behind. `text` has room for four characters a group.
using Base64Encoder = std::size_t (*)(const std::uint8_t* bytes, std::size_t count, char* text);

struct NamedBase64Encoder {
  std::string_view name;
  Base64Encoder encode;
};

/// The encoders that this processor can run, the fastest first; the last is portable code.
std::span<const NamedBase64Encoder> base64Encoders();

}  // namespace vecamera::device::foundation
