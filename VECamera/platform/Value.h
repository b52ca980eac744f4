#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
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
/// images, assets, view objects, callbacks. The last reference may go on any thread: a host whose
/// native object must end on the main thread hands it over there.
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
  /// Bytes that somebody else owns, without a copy. They stay where they are and as they are as
  /// long as the owner lives; its last reference may go on any thread. A null owner stands for
  /// bytes that stay until the process ends.
  Data(std::span<const std::uint8_t> bytes, std::shared_ptr<const void> owner)
      : bytes_(bytes), owner_(std::move(owner)) {}
  Data(const Data&) = default;
  Data& operator=(const Data&) = default;
  /// What was moved from is empty.
  Data(Data&& other) noexcept
      : bytes_(std::exchange(other.bytes_, {})), owner_(std::move(other.owner_)) {}
  Data& operator=(Data&& other) noexcept {
    bytes_ = std::exchange(other.bytes_, {});
    owner_ = std::move(other.owner_);
    return *this;
  }
  explicit Data(std::vector<std::uint8_t> bytes) {
    auto held = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    bytes_ = *held;
    owner_ = std::move(held);
  }
  static Data copyOf(std::span<const std::uint8_t> bytes) {
    return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  }
  static Data copyOf(std::string_view text) {
    return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
  }

  /// The bytes; valid as long as any copy of this buffer lives.
  std::span<const std::uint8_t> bytes() const { return bytes_; }
  std::size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }

  friend bool operator==(const Data& a, const Data& b) {
    return std::ranges::equal(a.bytes_, b.bytes_);
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::shared_ptr<const void> owner_;
};

/// A URL as a value: its absolute text. URLs are made by the platform's `NSURLs` (Foundation.h),
/// which checks and escapes; the module only carries them.
class URL {
 public:
  /// The owner, if given, keeps what the URL leads to, such as a file that a host has made for it.
  /// It lives as long as any copy of the URL and may be released on any thread.
  explicit URL(std::string absoluteString, std::shared_ptr<const void> owner = nullptr)
      : absoluteString_(std::move(absoluteString)), owner_(std::move(owner)) {}
  const std::string& absoluteString() const { return absoluteString_; }
  /// By the text alone.
  friend bool operator==(const URL& a, const URL& b) {
    return a.absoluteString_ == b.absoluteString_;
  }

 private:
  std::string absoluteString_;
  std::shared_ptr<const void> owner_;
};

class Value;
/// A dictionary from text keys to values of any type.
using Dictionary = std::map<std::string, Value, std::less<>>;
using Array = std::vector<Value>;

/// Every integer type of up to 64 bits; neither `bool` nor enumerations, nor characters. Signed and
/// unsigned `char` are the boolean type of some Objective-C runtimes.
template <class T>
concept BoxableInteger = std::integral<T> && sizeof(T) <= sizeof(std::int64_t) &&
                         !std::same_as<T, bool> && !std::same_as<T, char> &&
                         !std::same_as<T, signed char> && !std::same_as<T, unsigned char> &&
                         !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                         !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

/// A value of any type, as it stands in argument lists, info dictionaries, metadata and answers.
/// Arrays and dictionaries are shared and immutable, so copies are cheap.
///
/// What a host makes of the platform's values: a boxed boolean is a boolean and no number; a boxed
/// integer of the signed 64-bit range is an integer, every other number a double; `NSNull` is the
/// null value. What has no kind here, a dictionary whose keys are not all texts too, is an `Object`
/// of the host's own. No pointer but that of a text becomes a value.
class Value {
 public:
  Value() = default;
  Value(std::nullptr_t) {}
  /// A flag: of `bool` itself only.
  template <std::same_as<bool> T>
  Value(T flag) : held_(flag) {}
  /// An integer; above the signed range, the nearest double.
  template <BoxableInteger T>
  Value(T number) {
    if (std::in_range<std::int64_t>(number))
      held_ = static_cast<std::int64_t>(number);
    else
      held_ = static_cast<double>(number);
  }
  template <std::floating_point T>
  Value(T number) : held_(static_cast<double>(number)) {}
  /// A text that ends in a null character; a null pointer is the null value.
  Value(const char* text) {
    if (text) held_ = std::string(text);
  }
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
