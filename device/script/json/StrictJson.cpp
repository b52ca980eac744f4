#include "device/script/json/StrictJson.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <nlohmann/json.hpp>
#include <vector>

namespace vecamera::device::script {
namespace {

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
  std::size_t start = 0;
  for (const std::string_view separator : {" - ", "] "})
    if (const auto at = what.find(separator); start == 0 && at != std::string::npos)
      start = at + separator.size();
  return Json::parse(toLine(what.substr(start)));
}

/// Builds the document while it is parsed.
class Builder {
 public:
  Builder(std::string_view text, std::size_t maxDepth) : text_(text), maxDepth_(maxDepth) {}

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(std::int64_t value) { return add(value); }
  bool number_unsigned(std::uint64_t value) { return add(value); }
  bool number_float(double value, const std::string&) { return add(value); }
  bool string(std::string& value) { return add(std::move(value)); }
  bool binary(Json::binary_t&) { return false; }
  bool start_object(std::size_t) { return open(Level::Kind::object); }
  bool start_array(std::size_t) { return open(Level::Kind::array); }
  bool end_object() { return close(); }
  bool end_array() { return close(); }

  bool key(std::string& key) {
    if (open_.back().members.contains(key)) {
      error_ = {placeOfInnermost(),
                "the key " + inQuotes(key) + " stands there twice; leave one out"};
      return false;
    }
    open_.back().key = std::move(key);
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const Json::exception& exception) {
    error_ = {positionOf(text_, position == 0 ? 0 : position - 1),
              "this is not JSON: " + reasonOf(exception.what())};
    return false;
  }

  Json takeDocument() { return std::move(document_); }
  const ScriptError& error() const { return error_; }

 private:
  /// An array or object that is not complete.
  struct Level {
    enum class Kind { array, object };
    Kind kind;
    Json::array_t elements{};
    std::map<std::string, Json> members{};
    /// Of the member that comes next.
    std::string key{};

    Json take() {
      if (kind == Kind::array) return std::move(elements);
      Json::object_t object;
      object.reserve(members.size());
      for (auto& [name, value] : members) object.emplace_back(name, std::move(value));
      return object;
    }
  };

  bool add(Json value) {
    if (open_.empty())
      document_ = std::move(value);
    else if (open_.back().kind == Level::Kind::array)
      open_.back().elements.push_back(std::move(value));
    else
      open_.back().members.emplace(std::move(open_.back().key), std::move(value));
    return true;
  }

  bool open(Level::Kind kind) {
    if (open_.size() == maxDepth_) {
      error_ = {"", "it is nested more than " + std::to_string(maxDepth_) + " levels deep"};
      return false;
    }
    open_.push_back({kind});
    return true;
  }

  bool close() {
    auto value = open_.back().take();
    open_.pop_back();
    return add(std::move(value));
  }

  std::string placeOfInnermost() const {
    std::string place;
    for (std::size_t i = 0; i + 1 < open_.size(); ++i)
      place = open_[i].kind == Level::Kind::array ? placeOfElement(place, open_[i].elements.size())
                                                  : placeOfKey(place, open_[i].key);
    return place;
  }

  const std::string_view text_;
  const std::size_t maxDepth_;
  Json document_;
  /// Outermost first.
  std::vector<Level> open_;
  ScriptError error_;
};

bool isPlainKey(std::string_view key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '_';
  });
}

}  // namespace

ScriptResult<Json> parseStrictJson(std::string_view text, std::size_t maxDepth) {
  Builder builder(text, maxDepth);
  if (!Json::sax_parse(text, &builder)) return Failure{builder.error()};
  return builder.takeDocument();
}

std::string toLine(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string inQuotes(std::string_view text) {
  std::string shown(text);
  if (std::size_t length = 80; length < text.size()) {
    while (length > 0 && (text[length] & 0xC0) == 0x80) --length;
    shown = std::string(text.substr(0, length)) + "...";
  }
  return toLine(shown);
}

std::string placeOfKey(std::string_view place, std::string_view key) {
  if (!isPlainKey(key)) return std::string(place) + "[" + inQuotes(key) + "]";
  return place.empty() ? std::string(key) : std::string(place) + "." + std::string(key);
}

std::string placeOfElement(std::string_view place, std::size_t index) {
  return std::string(place) + "[" + std::to_string(index) + "]";
}

}  // namespace vecamera::device::script
