#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace vecamera {

/// The base of everything that the platform shares by reference and that can stand in a `Value`:
/// images, assets, view objects, callbacks.
class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

 protected:
  Object() = default;
};

/// An immutable byte buffer. Copies share the bytes, so passing one by value is cheap; any thread
/// may read it.
class Data {
 public:
  /// An empty buffer (which is not the same as no buffer: absence is `std::optional<Data>`).
  Data() = default;
  explicit Data(std::vector<std::uint8_t> bytes)
      : bytes_(std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes))) {}
  static Data copyOf(std::span<const std::uint8_t> bytes) {
    return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  }
  static Data copyOf(std::string_view text) {
    return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
  }

  /// The bytes; valid as long as any copy of this buffer lives.
  std::span<const std::uint8_t> bytes() const {
    return bytes_ ? std::span<const std::uint8_t>(*bytes_) : std::span<const std::uint8_t>();
  }
  std::size_t size() const { return bytes_ ? bytes_->size() : 0; }
  bool empty() const { return size() == 0; }

  friend bool operator==(const Data& a, const Data& b) {
    const auto x = a.bytes();
    const auto y = b.bytes();
    return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin());
  }

 private:
  std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

/// A URL as a value: its absolute text. URLs are made by the platform's `NSURLs` (Foundation.h),
/// which checks and escapes; the module only carries them.
class URL {
 public:
  explicit URL(std::string absoluteString) : absoluteString_(std::move(absoluteString)) {}
  const std::string& absoluteString() const { return absoluteString_; }
  friend bool operator==(const URL&, const URL&) = default;

 private:
  std::string absoluteString_;
};

class Value;
/// A dictionary from text keys to values of any type.
using Dictionary = std::map<std::string, Value, std::less<>>;
using Array = std::vector<Value>;

/// A value of any type, as it stands in argument lists, info dictionaries, metadata and answers.
/// Arrays and dictionaries are shared and immutable, so copies are cheap.
class Value {
 public:
  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool flag) : held_(flag) {}
  Value(int number) : held_(std::int64_t{number}) {}
  Value(std::int64_t number) : held_(number) {}
  Value(double number) : held_(number) {}
  Value(const char* text) : held_(std::string(text)) {}
  Value(std::string text) : held_(std::move(text)) {}
  Value(Data bytes) : held_(std::move(bytes)) {}
  Value(URL url) : held_(std::move(url)) {}
  Value(Dictionary dictionary);
  Value(Array array);
  template <class T>
  requires std::is_base_of_v<Object, T> Value(std::shared_ptr<T> object) {
    if (object) held_ = std::static_pointer_cast<Object>(std::move(object));
  }

  bool isNull() const { return std::holds_alternative<std::monostate>(held_); }
  const bool* boolean() const { return std::get_if<bool>(&held_); }
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&held_); }
  const double* real() const { return std::get_if<double>(&held_); }
  const std::string* text() const { return std::get_if<std::string>(&held_); }
  const Data* data() const { return std::get_if<Data>(&held_); }
  const URL* url() const { return std::get_if<URL>(&held_); }
  const Dictionary* dictionary() const {
    const auto* held = std::get_if<std::shared_ptr<const Dictionary>>(&held_);
    return held ? held->get() : nullptr;
  }
  const Array* array() const {
    const auto* held = std::get_if<std::shared_ptr<const Array>>(&held_);
    return held ? held->get() : nullptr;
  }
  /// The object as a `T`, or null when the value is no object or one of another type.
  template <class T>
  std::shared_ptr<T> object() const {
    const auto* held = std::get_if<std::shared_ptr<Object>>(&held_);
    return held ? std::dynamic_pointer_cast<T>(*held) : nullptr;
  }

  /// A boxed number read as a signed integer: from an integral number in range or a boolean;
  /// anything else (3.7, text, not a number) gives nothing.
  std::optional<std::int64_t> integerValue() const;
  /// A boxed number read as a double: from any finite number or a boolean.
  std::optional<double> numberValue() const;
  /// A boxed number read as a boolean: from a boolean or the numbers 0 and 1 exactly.
  std::optional<bool> booleanValue() const;

  /// Equal kinds with equal contents; objects compare by identity, arrays and dictionaries deeply.
  friend bool operator==(const Value& a, const Value& b);

 private:
  std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, URL,
               std::shared_ptr<const Dictionary>, std::shared_ptr<const Array>,
               std::shared_ptr<Object>>
      held_;
};

/// The value under the key, or null where the dictionary has no such key.
const Value* find(const Dictionary& dictionary, std::string_view key);

}  // namespace vecamera
