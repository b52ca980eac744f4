#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace vecamera::device::photos {

/// Makes version-4 UUIDs in upper case. Without a seed they come from the system's random source.
/// A seed gives the same sequence of them on every machine. One thread at a time.
class RandomIdentifiers {
 public:
  explicit RandomIdentifiers(std::optional<std::uint64_t> seed = std::nullopt);
  std::string operator()();

 private:
  std::optional<std::mt19937_64> seeded_;
};

}  // namespace vecamera::device::photos
