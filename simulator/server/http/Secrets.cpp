#include "simulator/server/http/Secrets.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace vecamera::simulator {
namespace {

template <class Bytes>
Bytes randomBytes() {
  Bytes bytes;
  if (getentropy(&bytes, sizeof bytes) != 0)
    throw std::system_error(errno, std::generic_category(), "getentropy");
  return bytes;
}

}  // namespace

std::string randomToken() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string token;
  for (const auto byte : randomBytes<std::array<unsigned char, 16>>()) {
    token += digits[byte >> 4U];
    token += digits[byte & 15U];
  }
  return token;
}

std::uint64_t randomSeed() {
  return randomBytes<std::uint64_t>() >> 11U;
}

bool sameSecret(std::string_view given, std::string_view wanted) {
  // A secret's length is no secret.
  if (given.size() != wanted.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < wanted.size(); ++i)
    difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(wanted[i]);
  return difference == 0;
}

}  // namespace vecamera::simulator
