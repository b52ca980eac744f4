#include "apps/vecamera/terminal/Arguments.h"

#include <charconv>
#include <cmath>
#include <string>
#include <vector>

namespace vecamera::app {
namespace {

std::optional<double> parseNumber(std::string_view text) {
  double number = 0;
  const auto* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

/// Finite numbers with separators between them: "1,-2.5".
std::optional<std::vector<double>> parseNumbers(std::string_view text, char separator = ',') {
  std::vector<double> numbers;
  while (true) {
    const auto end = text.find(separator);
    const auto number = parseNumber(text.substr(0, end));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (end == std::string_view::npos) return numbers;
    text.remove_prefix(end + 1);
  }
}

}  // namespace

std::optional<CGSize> parseSize(std::string_view text) {
  const auto numbers = parseNumbers(text, 'x');
  if (!numbers || numbers->size() != 2 || (*numbers)[0] <= 0 || (*numbers)[1] <= 0)
    return std::nullopt;
  return CGSize{(*numbers)[0], (*numbers)[1]};
}

std::optional<CGRect> parseCrop(std::string_view text) {
  const auto numbers = parseNumbers(text);
  if (!numbers || numbers->size() != 4 || (*numbers)[2] <= 0 || (*numbers)[3] <= 0)
    return std::nullopt;
  return CGRect{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]};
}

std::optional<device::script::Fix> parseFix(std::string_view text) {
  const auto numbers = parseNumbers(text);
  if (!numbers || numbers->size() < 2 || numbers->size() > 3) return std::nullopt;
  device::script::Fix fix;
  fix.latitude = (*numbers)[0];
  fix.longitude = (*numbers)[1];
  if (std::abs(fix.latitude) > 90 || std::abs(fix.longitude) > 180) return std::nullopt;
  if (numbers->size() == 3) fix.altitude = (*numbers)[2];
  return fix;
}

}  // namespace vecamera::app
