#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Values that nobody can guess, from the system's random source. Any thread.
namespace vecamera::simulator {

/// 128 random bits in hexadecimal digits.
std::string randomToken();

/// A seed that every reader of JSON reads exactly: at most 53 bits.
std::uint64_t randomSeed();

/// Whether the texts are equal, in a time that does not depend on where they differ.
bool sameSecret(std::string_view given, std::string_view wanted);

}  // namespace vecamera::simulator
