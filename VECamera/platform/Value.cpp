#include "VECamera/platform/Value.h"

#include <cmath>

namespace vecamera {

Value::Value(Dictionary dictionary)
    : held_(std::make_shared<const Dictionary>(std::move(dictionary))) {}

Value::Value(Array array) : held_(std::make_shared<const Array>(std::move(array))) {}

std::optional<std::int64_t> Value::integerValue() const {
  if (const auto* number = integer()) return *number;
  if (const auto* flag = boolean()) return *flag ? 1 : 0;
  if (const auto* number = real()) {
    // 2^63 is the first double past the range; comparing with it keeps the cast defined.
    constexpr double limit = 9223372036854775808.0;
    if (*number >= -limit && *number < limit && std::trunc(*number) == *number)
      return static_cast<std::int64_t>(*number);
  }
  return std::nullopt;
}

std::optional<double> Value::numberValue() const {
  if (const auto* number = real()) {
    if (std::isfinite(*number)) return *number;
    return std::nullopt;
  }
  if (const auto* number = integer()) return static_cast<double>(*number);
  if (const auto* flag = boolean()) return *flag ? 1.0 : 0.0;
  return std::nullopt;
}

std::optional<bool> Value::booleanValue() const {
  if (const auto* flag = boolean()) return *flag;
  const auto number = numberValue();
  if (number == 0.0) return false;
  if (number == 1.0) return true;
  return std::nullopt;
}

bool operator==(const Value& a, const Value& b) {
  if (a.dictionary() && b.dictionary()) return *a.dictionary() == *b.dictionary();
  if (a.array() && b.array()) return *a.array() == *b.array();
  return a.held_ == b.held_;
}

const Value* find(const Dictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : &found->second;
}

}  // namespace vecamera
