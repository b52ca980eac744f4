#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VECamera/platform/Value.h"
#include "device/foundation/files/Descriptor.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {

/// Which files a document may name.
enum class FileScope {
  anywhere,
  /// Those in the document's folder, and below it.
  folder,
};

struct ReadingFiles {
  /// Relative paths start from here.
  std::filesystem::path folder;
  FileScope scope = FileScope::anywhere;
  /// Puts the bytes of a data URL into a file of its own. Empty: data URLs are errors.
  std::function<foundation::FileResult<std::filesystem::path>(const Data&)> keep;
};

/// One strict reading of a document. It keeps the first error; after that, what is read does not
/// matter any more, and readers go on with empty values.
class JsonReading {
 public:
  explicit JsonReading(ReadingFiles files) : files_(std::move(files)) {}

  void fail(const std::string& place, std::string message);
  const std::optional<ScriptError>& error() const { return error_; }
  const ReadingFiles& files() const { return files_; }

 private:
  const ReadingFiles files_;
  std::optional<ScriptError> error_;
};

/// A value within the document, with its place. Lives as long as reading and document. Each reader
/// takes exactly its own kind of value and fails the reading on any other.
class JsonNode {
 public:
  JsonNode(JsonReading& reading, const Json& json, std::string place)
      : reading_(&reading), json_(&json), place_(std::move(place)) {}

  void fail(std::string message) const { reading_->fail(place_, std::move(message)); }
  const Json& json() const { return *json_; }
  bool isNull() const { return json_->is_null(); }
  bool isText() const { return json_->is_string(); }
  bool isObject() const { return json_->is_object(); }

  std::string text() const;
  std::string nonEmptyText() const;
  bool boolean() const;
  std::int64_t integer() const;
  double number() const;
  double numberBetween(double min, double max) const;
  std::vector<JsonNode> elements() const;
  std::vector<std::pair<std::string, JsonNode>> members() const;

  /// The index of the text in `choices`; nothing where it is none of them, which fails the reading.
  std::optional<std::size_t> choice(std::span<const std::string_view> choices) const;

  /// An absolute path, made from one that may be relative to the reading's folder.
  std::filesystem::path path() const;
  /// The same, of a regular file that can be read. A data URL stands for a file with its bytes.
  std::filesystem::path existingFile() const;
  std::filesystem::path existingFolder() const;

 private:
  friend class JsonFields;
  void failType(std::string_view wanted) const;
  std::filesystem::path inlineFile(std::string_view url) const;

  JsonReading* reading_;
  const Json* json_;
  std::string place_;
};

/// The members of an object.
class JsonFields {
 public:
  /// Fails the reading where the node is no object.
  explicit JsonFields(JsonNode node);

  /// Fails the reading where there is a key beyond the known ones.
  void allowOnly(std::span<const std::string_view> knownKeys) const;
  const JsonNode& node() const { return node_; }
  bool has(std::string_view key) const { return find(key).has_value(); }
  std::optional<JsonNode> find(std::string_view key) const;
  /// Fails the reading where the key is missing.
  std::optional<JsonNode> require(std::string_view key) const;

 private:
  JsonNode node_;
};

/// The message for a text that is none of the choices. It names the closest choice, or else all of
/// them. `what` says what the text is: "key".
std::string unknownText(std::string_view what, std::string_view text,
                        std::span<const std::string_view> choices);

}  // namespace vecamera::device::script
