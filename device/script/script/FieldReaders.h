#pragma once

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device/script/json/JsonFields.h"
#include "device/script/script/Script.h"

/// How the parts of a script are read that stand in the device's setup and in steps alike. Each
/// reader fails the node's reading on what it does not know, and gives something empty then.
namespace vecamera::device::script {

using Keys = std::vector<std::string_view>;

inline Keys joined(Keys a, const Keys& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

/// The value whose name the node's text is.
template <class E>
E readEnum(const JsonNode& node, std::span<const std::pair<std::string_view, E>> names) {
  Keys texts;
  for (const auto& [text, value] : names) texts.push_back(text);
  return names[node.choice(texts).value_or(0)].second;
}
template <class E>
E readEnum(const JsonNode& node, std::initializer_list<std::pair<std::string_view, E>> names) {
  return readEnum(node, std::span(names.begin(), names.size()));
}

template <class Read>
auto readList(const JsonNode& node, Read read) {
  std::vector<decltype(read(node))> values;
  for (const auto& element : node.elements()) values.push_back(read(element));
  return values;
}

/// What `read` makes of the node, or nothing for null.
template <class Read>
auto readNullable(const JsonNode& node, Read read) {
  return node.isNull() ? std::optional<decltype(read(node))>() : read(node);
}

/// The record whose name the node's text is; null where there is none, with the reading failed.
template <class Kind>
const Kind* readKind(const JsonNode& node, const std::vector<Kind>& kinds) {
  Keys names;
  for (const auto& kind : kinds) names.push_back(kind.name);
  const auto place = node.choice(names);
  return place ? &kinds[*place] : nullptr;
}

Date readDate(const JsonNode& node);
/// "allow" or "deny".
bool readAllow(const JsonNode& node);
/// The user's answer to the photo library's prompt.
PHAuthorizationStatus readLibraryAnswer(const JsonNode& node);

extern const Keys fixKeys;
/// From fields of which the fix's are some.
Fix readFixFields(const JsonFields& fields);
Fix readFix(const JsonNode& node);

extern const Keys authorizationKeys;
AuthorizeStep readAuthorizationFields(const JsonFields& fields);

UrlTransformerSetup readUrlTransformer(const JsonNode& node);
std::vector<Fault> readFaults(const JsonNode& node);

/// Whether the name stays inside the folder that it is relative to.
bool isInnerName(std::string_view name);
std::string innerNameProblem(std::string_view name);
std::string readInnerName(const JsonNode& node);

DeviceSetup readDevice(const JsonNode& node);
ScriptStep readStep(const JsonNode& node);

}  // namespace vecamera::device::script
