#include "device/photos/RandomIdentifiers.h"

#include <stdlib.h>

#include <array>

namespace vecamera::device::photos {

namespace {

void appendHex(std::string& text, std::uint64_t number, int digits) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
    text += "0123456789ABCDEF"[(number >> shift) & 0xF];
  }
}

}  // namespace

RandomIdentifiers::RandomIdentifiers(std::optional<std::uint64_t> seed) {
  if (seed) seeded_.emplace(*seed);
}

std::string RandomIdentifiers::operator()() {
  std::array<std::uint64_t, 2> bits{};
  if (seeded_) {
    bits[0] = (*seeded_)();
    bits[1] = (*seeded_)();
  } else {
    arc4random_buf(bits.data(), sizeof bits);
  }
  // Version and variant stand at fixed places (RFC 4122, section 4.4).
  const std::uint64_t high = (bits[0] & ~std::uint64_t{0xF000}) | 0x4000;
  const std::uint64_t low = (bits[1] & ~(std::uint64_t{0x3} << 62)) | (std::uint64_t{0x2} << 62);

  std::string text;
  appendHex(text, high >> 32, 8);
  text += '-';
  appendHex(text, high >> 16, 4);
  text += '-';
  appendHex(text, high, 4);
  text += '-';
  appendHex(text, low >> 48, 4);
  text += '-';
  appendHex(text, low, 12);
  return text;
}

}  // namespace vecamera::device::photos
