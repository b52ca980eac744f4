#include "device/script/script/FieldReaders.h"

#include <functional>

#include "device/foundation/Dates.h"

namespace vecamera::device::script {
namespace {

/// The statuses that every permission has. Only the photo library's has the fifth.
template <class E>
std::vector<std::pair<std::string_view, E>> statuses() {
  std::vector<std::pair<std::string_view, E>> names = {{"notDetermined", E::notDetermined},
                                                       {"restricted", E::restricted},
                                                       {"denied", E::denied},
                                                       {"authorized", E::authorized}};
  if constexpr (std::same_as<E, PHAuthorizationStatus>) names.emplace_back("limited", E::limited);
  return names;
}

template <class E>
void readStatus(const JsonFields& fields, std::string_view key, std::optional<E>& status) {
  if (const auto node = fields.find(key)) status = readEnum<E>(*node, statuses<E>());
}

double readAltitude(const JsonNode& node) {
  if (node.isText()) {
    if (node.text() == "NaN") return std::numeric_limits<double>::quiet_NaN();
    node.fail("an altitude is a number or \"NaN\"");
  }
  return node.number();
}

}  // namespace

template <class Status>
std::string_view nameOf(Status status) {
  for (const auto& [name, value] : statuses<Status>())
    if (value == status) return name;
  return "";
}
template std::string_view nameOf(AVAuthorizationStatus status);
template std::string_view nameOf(PHAuthorizationStatus status);
template std::string_view nameOf(location::LocationAuthorization status);

Date readDate(const JsonNode& node) {
  const auto text = node.text();
  const auto date = foundation::parseISO8601(text);
  if (!date && node.isText())
    node.fail(inQuotes(text) + " is no ISO 8601 instant; write it like 2024-05-01T12:30:00.250Z");
  return date.value_or(Date());
}

bool readAllow(const JsonNode& node) {
  return readEnum<bool>(node, {{"allow", true}, {"deny", false}});
}

PHAuthorizationStatus readLibraryAnswer(const JsonNode& node) {
  using enum PHAuthorizationStatus;
  return readEnum<PHAuthorizationStatus>(node, {{"authorized", authorized},
                                                {"limited", limited},
                                                {"denied", denied},
                                                {"restricted", restricted}});
}

const Keys fixKeys = {"latitude", "longitude", "altitude", "timestamp"};

Fix readFixFields(const JsonFields& fields) {
  Fix fix;
  if (const auto node = fields.find("latitude")) fix.latitude = node->number();
  if (const auto node = fields.find("longitude")) fix.longitude = node->number();
  if (const auto node = fields.find("altitude")) fix.altitude = readAltitude(*node);
  if (const auto node = fields.find("timestamp")) fix.timestamp = readDate(*node);
  return fix;
}

Fix readFix(const JsonNode& node) {
  const JsonFields fields(node);
  fields.allowOnly(fixKeys);
  return readFixFields(fields);
}

UrlTransformerSetup readUrlTransformer(const JsonNode& node) {
  using Kind = UrlTransformerSetup::Kind;
  UrlTransformerSetup setup;
  if (node.isNull()) return setup;
  if (node.isText()) {
    setup.kind =
        readEnum<Kind>(node, {{"nothing", Kind::nothing}, {"noDelegate", Kind::noDelegate}});
    return setup;
  }
  const JsonFields fields(node);
  fields.allowOnly(Keys{"replace"});
  const auto replace = fields.require("replace");
  if (!replace) return setup;
  const auto prefixes = readList(*replace, std::mem_fn(&JsonNode::text));
  if (prefixes.size() != 2) {
    replace->fail("it must list two texts: the prefix, and what comes in its place");
    return setup;
  }
  setup.kind = Kind::replace;
  setup.from = prefixes[0];
  setup.to = prefixes[1];
  return setup;
}

const Keys authorizationKeys = {"camera", "photoLibrary", "location"};

AuthorizeStep readAuthorizationFields(const JsonFields& fields) {
  AuthorizeStep step;
  readStatus(fields, "camera", step.camera);
  readStatus(fields, "photoLibrary", step.photoLibrary);
  readStatus(fields, "location", step.location);
  return step;
}

bool isInnerName(std::string_view name) {
  if (name.empty() || name.front() == '/' || name.find('\0') != std::string_view::npos)
    return false;
  if (name.back() == '/') name.remove_suffix(1);
  while (true) {
    const auto slash = name.find('/');
    const auto step = name.substr(0, slash);
    if (step.empty() || step == "." || step == "..") return false;
    if (slash == std::string_view::npos) return true;
    name.remove_prefix(slash + 1);
  }
}

std::string innerNameProblem(std::string_view name) {
  return inQuotes(name) + " is no name inside the temporary directory; write it like \"sub/b.txt\"";
}

std::string readInnerName(const JsonNode& node) {
  auto name = node.text();
  if (node.isText() && !isInnerName(name)) node.fail(innerNameProblem(name));
  return name;
}

}  // namespace vecamera::device::script
