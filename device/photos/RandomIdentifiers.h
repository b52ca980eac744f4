#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace vecamera::device::photos {

/// Draws version-4 UUIDs in upper case: from the system's random source, or, with a seed, the same
/// row of them on every machine. One thread at a time.
class RandomIdentifiers {
 public:
  explicit RandomIdentifiers(std::optional<std::uint64_t> seed = std::nullopt);
  std::string operator()();

 private:
  std::optional<std::mt19937_64> seeded_;
};

}  // namespace vecamera::device::photos
