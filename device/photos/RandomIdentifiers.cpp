#include "device/photos/RandomIdentifiers.h"

#include <stdlib.h>

#include <array>
#include <cstdio>

namespace vecamera::device::photos {

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
  const unsigned long long high = (bits[0] & ~std::uint64_t{0xF000}) | 0x4000;
  const unsigned long long low =
      (bits[1] & ~(std::uint64_t{0x3} << 62)) | (std::uint64_t{0x2} << 62);
  std::array<char, 37> text;
  std::snprintf(text.data(), text.size(), "%08llX-%04llX-%04llX-%04llX-%012llX", high >> 32,
                high >> 16 & 0xFFFF, high & 0xFFFF, low >> 48, low & 0xFFFFFFFFFFFF);
  return text.data();
}

}  // namespace vecamera::device::photos
