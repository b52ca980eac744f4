#include "device/script/json/JsonFields.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "device/foundation/Base64.h"

namespace vecamera::device::script {
namespace {

namespace fs = std::filesystem;

std::string_view nameOfType(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null: return "null";
    case Json::value_t::boolean: return "true or false";
    case Json::value_t::string: return "a text";
    case Json::value_t::array: return "a list";
    case Json::value_t::object: return "an object";
    default: return "a number";
  }
}

std::string shortText(double number) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << number;
  return text.str();
}

std::string inLowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

/// How many characters must be put in, taken out, changed or swapped with their neighbour to come
/// from one text to the other.
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = a[i - 1] == b[j - 1] ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + changed});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    std::swap(beforeLast, last);
    std::swap(last, row);
  }
  return last[b.size()];
}

std::optional<std::string_view> nearest(std::string_view text,
                                        std::span<const std::string_view> choices) {
  if (text.size() > 64) return std::nullopt;
  const auto lower = inLowerCase(text);
  std::optional<std::string_view> best;
  std::size_t minDistance = std::max<std::size_t>(1, std::min<std::size_t>(3, text.size() / 3)) + 1;
  for (const auto choice : choices) {
    const auto distance = editDistance(lower, inLowerCase(choice));
    if (distance >= minDistance) continue;
    minDistance = distance;
    best = choice;
  }
  return best;
}

/// Whether the path, with all its links followed, lies in the folder.
bool isWithin(const fs::path& path, const fs::path& folder) {
  std::error_code error;
  const auto real = fs::canonical(path, error);
  if (error) return false;
  const auto realFolder = fs::canonical(folder, error);
  if (error) return false;
  const auto [end, rest] =
      std::mismatch(realFolder.begin(), realFolder.end(), real.begin(), real.end());
  return end == realFolder.end() && rest != real.end();
}

/// Whether the path is that of a file or folder, as wanted, that can be read.
ScriptResult<> checkReadable(const fs::path& path, fs::file_type wanted) {
  const bool wantsFile = wanted == fs::file_type::regular;
  const auto name = inQuotes(path.filename().string());
  const auto where = " in " + path.parent_path().string();
  std::error_code ignored;
  const auto type = fs::status(path, ignored).type();
  if (type == wanted) {
    if (access(path.c_str(), wantsFile ? R_OK : R_OK | X_OK) == 0) return {};
    return failed(name + where + " cannot be read; check its permissions");
  }
  if (type == fs::file_type::not_found || type == fs::file_type::none)
    return failed("there is no " + std::string(wantsFile ? "file " : "folder ") + name + where);
  return failed(name + where + " is not a " + (wantsFile ? "file" : "folder"));
}

}  // namespace

void JsonReading::fail(const std::string& place, std::string message) {
  if (!error_) error_ = {place, std::move(message)};
}

void JsonNode::failType(std::string_view wanted) const {
  fail("it must be " + std::string(wanted) + ", not " + std::string(nameOfType(*json_)));
}

std::string JsonNode::text() const {
  if (const auto* text = json_->get_ptr<const std::string*>()) return *text;
  failType("a text");
  return {};
}

std::string JsonNode::nonEmptyText() const {
  auto text = this->text();
  if (isText() && text.empty()) fail("it must not be empty");
  return text;
}

bool JsonNode::boolean() const {
  if (const auto* flag = json_->get_ptr<const bool*>()) return *flag;
  failType("true or false");
  return false;
}

std::int64_t JsonNode::integer() const {
  if (json_->is_number_unsigned()) {
    const auto number = json_->get<std::uint64_t>();
    if (std::in_range<std::int64_t>(number)) return static_cast<std::int64_t>(number);
    fail("it is out of range; 64 bits with a sign must hold it");
    return 0;
  }
  if (json_->is_number_integer()) return json_->get<std::int64_t>();
  failType("a whole number");
  return 0;
}

double JsonNode::number() const {
  if (json_->is_number()) return json_->get<double>();
  failType("a number");
  return 0;
}

double JsonNode::numberBetween(double min, double max) const {
  const double number = this->number();
  if (number < min || number > max)
    fail("it is out of range; it must be between " + shortText(min) + " and " + shortText(max));
  return number;
}

std::vector<JsonNode> JsonNode::elements() const {
  std::vector<JsonNode> nodes;
  if (json_->is_array())
    for (const auto& element : *json_)
      nodes.emplace_back(*reading_, element, placeOfElement(place_, nodes.size()));
  else
    failType("a list");
  return nodes;
}

std::vector<std::pair<std::string, JsonNode>> JsonNode::members() const {
  std::vector<std::pair<std::string, JsonNode>> nodes;
  if (isObject())
    for (const auto& [key, member] : json_->items())
      nodes.emplace_back(key, JsonNode(*reading_, member, placeOfKey(place_, key)));
  else
    failType("an object");
  return nodes;
}

std::optional<std::size_t> JsonNode::choice(std::span<const std::string_view> choices) const {
  const auto text = this->text();
  const auto found = std::find(choices.begin(), choices.end(), text);
  if (found != choices.end()) return static_cast<std::size_t>(found - choices.begin());
  if (isText()) fail(unknownText("text", text, choices));
  return std::nullopt;
}

fs::path JsonNode::path() const {
  const auto text = nonEmptyText();
  if (text.find('\0') != std::string::npos) fail("a path cannot hold the character U+0000");
  return (reading_->files().folder / text).lexically_normal();
}

fs::path JsonNode::inlineFile(std::string_view url) const {
  const auto comma = url.find(',');
  const auto head = url.substr(0, comma);
  const auto bytes = comma != std::string_view::npos && head.ends_with(";base64")
                         ? foundation::decodeBase64(url.substr(comma + 1))
                         : std::nullopt;
  if (!bytes) {
    fail("it is no data URL of Base64; write it like \"data:image/jpeg;base64,...\"");
    return {};
  }
  const auto& keep = reading_->files().keep;
  auto file = keep ? keep(*bytes) : foundation::fileFailure(ENOTSUP);
  if (file) return *std::move(file);
  fail("its bytes cannot be kept in a temporary file; check TMPDIR");
  return {};
}

fs::path JsonNode::existingFile() const {
  if (const auto* text = json_->get_ptr<const std::string*>(); text && text->starts_with("data:"))
    return inlineFile(*text);
  auto path = this->path();
  if (reading_->error()) return path;
  if (reading_->files().scope == FileScope::folder && !isWithin(path, reading_->files().folder)) {
    fail("only files that were uploaded can be named");
    return path;
  }
  if (const auto checked = checkReadable(path, fs::file_type::regular); !checked)
    fail(checked.error().message);
  return path;
}

fs::path JsonNode::existingFolder() const {
  auto path = this->path();
  if (reading_->error()) return path;
  if (!path.has_filename()) path = path.parent_path();
  if (const auto checked = checkReadable(path, fs::file_type::directory); !checked)
    fail(checked.error().message);
  return path;
}

JsonFields::JsonFields(JsonNode node) : node_(std::move(node)) {
  if (!node_.isObject()) node_.failType("an object");
}

void JsonFields::allowOnly(std::span<const std::string_view> knownKeys) const {
  for (const auto& [key, member] : node_.members())
    if (std::find(knownKeys.begin(), knownKeys.end(), key) == knownKeys.end())
      node_.fail(unknownText("key", key, knownKeys));
}

std::optional<JsonNode> JsonFields::find(std::string_view key) const {
  if (!node_.isObject()) return std::nullopt;
  const auto found = node_.json_->find(key);
  if (found == node_.json_->end()) return std::nullopt;
  return JsonNode(*node_.reading_, *found, placeOfKey(node_.place_, key));
}

std::optional<JsonNode> JsonFields::require(std::string_view key) const {
  auto found = find(key);
  if (!found) node_.fail("the key " + inQuotes(key) + " is missing");
  return found;
}

std::string unknownText(std::string_view what, std::string_view text,
                        std::span<const std::string_view> choices) {
  std::string sentence = "unknown " + std::string(what) + " " + inQuotes(text);
  if (const auto meant = nearest(text, choices))
    return sentence + "; did you mean " + inQuotes(*meant) + "?";
  sentence += "; known here: ";
  for (std::size_t i = 0; i < choices.size(); ++i)
    sentence += (i == 0 ? "" : ", ") + inQuotes(choices[i]);
  return sentence;
}

}  // namespace vecamera::device::script
