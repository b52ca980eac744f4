#include "apps/vecamera/terminal/Arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace vecamera::app {
namespace {

/// Finite numbers with separators between them ("1,-2.5"); none where the text is anything else.
std::vector<double> parseNumbers(std::string_view text, char separator = ',') {
  std::vector<double> numbers;
  while (true) {
    const auto* end = text.data() + std::min(text.find(separator), text.size());
    const auto [stop, error] = std::from_chars(text.data(), end, numbers.emplace_back());
    if (error != std::errc() || stop != end || !std::isfinite(numbers.back())) return {};
    if (end == text.data() + text.size()) return numbers;
    text = {end + 1, text.data() + text.size()};
  }
}

}  // namespace

std::optional<CGSize> parseSize(std::string_view text) {
  const auto numbers = parseNumbers(text, 'x');
  if (numbers.size() != 2 || numbers[0] <= 0 || numbers[1] <= 0) return std::nullopt;
  return CGSize{numbers[0], numbers[1]};
}

std::optional<CGRect> parseCrop(std::string_view text) {
  const auto numbers = parseNumbers(text);
  if (numbers.size() != 4 || numbers[2] <= 0 || numbers[3] <= 0) return std::nullopt;
  return CGRect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::optional<device::script::Fix> parseFix(std::string_view text) {
  const auto numbers = parseNumbers(text);
  if (numbers.size() < 2 || numbers.size() > 3) return std::nullopt;
  device::script::Fix fix;
  fix.latitude = numbers[0];
  fix.longitude = numbers[1];
  if (std::abs(fix.latitude) > 90 || std::abs(fix.longitude) > 180) return std::nullopt;
  if (numbers.size() == 3) fix.altitude = numbers[2];
  return fix;
}

}  // namespace vecamera::app
