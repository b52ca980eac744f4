#include "device/script/json/StrictJson.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <vector>

namespace vecamera::device::script {
namespace {

using nlohmann::json;

constexpr std::size_t kDeepest = 64;

/// The line and column, both from 1, of the byte at the offset. A column is a character.
std::string positionOf(std::string_view text, std::size_t offset) {
  const auto before = text.substr(0, std::min(offset, text.size()));
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const auto start = before.rfind('\n') + 1;  // 0 where there is no line end
  const auto column = std::count_if(before.begin() + static_cast<std::ptrdiff_t>(start),
                                    before.end(), [](char c) { return (c & 0xC0) != 0x80; });
  return "line " + std::to_string(line) + ", column " + std::to_string(column + 1);
}

/// The part of the parser's message that says what it found, with bytes that are not UTF-8
/// replaced.
std::string reasonOf(const std::string& what) {
  auto start = what.find(" - ");
  if (start != std::string::npos) {
    start += 3;
  } else {
    start = what.find("] ");
    start = start == std::string::npos ? 0 : start + 2;
  }
  const json reason = what.substr(start);
  return json::parse(reason.dump(-1, ' ', false, json::error_handler_t::replace));
}

/// Builds the document while it is parsed.
class Builder {
 public:
  using number_integer_t = json::number_integer_t;
  using number_unsigned_t = json::number_unsigned_t;
  using number_float_t = json::number_float_t;
  using string_t = json::string_t;
  using binary_t = json::binary_t;

  explicit Builder(std::string_view text) : text_(text) {}

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(number_integer_t value) { return add(value); }
  bool number_unsigned(number_unsigned_t value) { return add(value); }
  bool number_float(number_float_t value, const string_t&) { return add(value); }
  bool string(string_t& value) { return add(std::move(value)); }
  bool binary(binary_t&) { return false; }
  bool start_object(std::size_t) { return open(json::object()); }
  bool start_array(std::size_t) { return open(json::array()); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }

  bool key(string_t& key) {
    if (open_.back()->contains(key)) {
      error_ = {placeOfLast(), "the key " + inQuotes(key) + " stands there twice; leave one out"};
      return false;
    }
    key_ = std::move(key);
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const json::exception& exception) {
    error_ = {positionOf(text_, position == 0 ? 0 : position - 1),
              "this is not JSON: " + reasonOf(exception.what())};
    return false;
  }

  json takeDocument() { return std::move(document_); }
  const JsonError& error() const { return error_; }

 private:
  /// Puts the value where it belongs; the pointer is good until its container grows.
  json* place(json value) {
    if (open_.empty()) {
      document_ = std::move(value);
      return &document_;
    }
    if (open_.back()->is_array()) {
      open_.back()->push_back(std::move(value));
      return &open_.back()->back();
    }
    json& member = (*open_.back())[key_];
    member = std::move(value);
    return &member;
  }

  bool add(json value) { return place(std::move(value)) != nullptr; }

  bool open(json container) {
    if (open_.size() == kDeepest) {
      error_ = {"", "it is nested more than " + std::to_string(kDeepest) + " levels deep"};
      return false;
    }
    if (!open_.empty()) steps_.push_back(key_);
    open_.push_back(place(std::move(container)));
    return true;
  }

  bool close() {
    open_.pop_back();
    if (!steps_.empty()) steps_.pop_back();
    return true;
  }

  /// The place of the innermost open object or array.
  std::string placeOfLast() const {
    std::string place;
    for (std::size_t i = 0; i < steps_.size(); ++i)
      place = open_[i]->is_array() ? placeOfElement(place, open_[i]->size() - 1)
                                   : placeOfKey(place, steps_[i]);
    return place;
  }

  std::string_view text_;
  json document_;
  /// From the outermost to the innermost. A container never moves while it is open: only the
  /// innermost one grows.
  std::vector<json*> open_;
  /// The key under which each open container but the first stands in the one before it.
  std::vector<std::string> steps_;
  std::string key_;
  JsonError error_;
};

bool isPlainKey(std::string_view key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '_';
  });
}

}  // namespace

std::variant<nlohmann::json, JsonError> parseStrictJson(std::string_view text) {
  Builder builder(text);
  if (!json::sax_parse(text, &builder)) return builder.error();
  return builder.takeDocument();
}

std::string inQuotes(std::string_view text) {
  std::string shown(text);
  if (std::size_t length = 80; length < text.size()) {
    while (length > 0 && (text[length] & 0xC0) == 0x80) --length;
    shown = std::string(text.substr(0, length)) + "...";
  }
  return json(shown).dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string placeOfKey(std::string_view place, std::string_view key) {
  if (!isPlainKey(key)) return std::string(place) + "[" + inQuotes(key) + "]";
  return place.empty() ? std::string(key) : std::string(place) + "." + std::string(key);
}

std::string placeOfElement(std::string_view place, std::size_t index) {
  return std::string(place) + "[" + std::to_string(index) + "]";
}

}  // namespace vecamera::device::script
