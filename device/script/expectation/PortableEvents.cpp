#include "device/script/expectation/PortableEvents.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <regex>

namespace vecamera::device::script {
namespace {

constexpr std::size_t maxBase64Length = 64;

bool isBase64(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/' || c == '=';
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

/// The payload of each data URL. A search by hand: the payload may have megabytes.
void replacePayloads(std::string& text) {
  constexpr std::string_view mark = ";base64,";
  for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
    const auto from = text.begin() + static_cast<std::ptrdiff_t>(at + mark.size());
    const auto end = std::find_if_not(from, text.end(), isBase64);
    if (static_cast<std::size_t>(end - from) > maxBase64Length) text.replace(from, end, "<base64>");
  }
}

/// Replaces each match by what `replacement` makes of it.
template <class Replacement>
void replaceMatches(std::string& text, const std::regex& pattern, Replacement replacement) {
  std::string replaced;
  auto rest = text.cbegin();
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
    replaced.append(rest, (*match)[0].first);
    replaced += replacement(*match);
    rest = (*match)[0].second;
  }
  replaced.append(rest, text.cend());
  text = std::move(replaced);
}

/// What stands for the text from now on: "<NAME N>".
const std::string& numbered(std::map<std::string, std::string>& known, const std::string& text,
                            const std::string& name) {
  return known.try_emplace(text, "<" + name + " " + std::to_string(known.size() + 1) + ">")
      .first->second;
}

}  // namespace

PortableEvents::PortableEvents(const Script& script, const ScriptedDevice& device)
    : hasSeed_(script.device.seed.has_value()), hasClock_(script.device.clock.has_value()) {
  const auto& made = device.environment;
  const auto add = [&](const std::string& folder, const std::string& name) {
    const std::filesystem::path given = folder;
    for (auto path : {given.string(), given.lexically_normal().string()}) {
      while (path.ends_with('/')) path.pop_back();
      if (path.empty()) continue;
      folders_.emplace_back(path, name);
      // As it stands in URLs.
      constexpr std::string_view scheme = "file://";
      folders_.emplace_back(
          device.urls.fileURLWithPath(path).absoluteString().substr(scheme.size()), name);
    }
  };
  add(made.temporaryDirectory, "<tmp>");
  if (made.home) add(made.home->path(), "<home>");
  if (made.recordings) add(made.recordings->path(), "<recordings>");
  std::sort(folders_.begin(), folders_.end(),
            [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
  for (const auto& asset : script.device.library) ownIdentifiers_.insert(asset.id);
  for (const auto& each : script.steps)
    if (const auto* added = std::get_if<AddAssetStep>(&each.step); added && added->id)
      ownIdentifiers_.insert(*added->id);
}

Json PortableEvents::portable(const Json& event) {
  if (event.is_string()) return portableText(event.get_ref<const std::string&>());
  if (event.is_array()) {
    Json result = Json::array();
    for (const auto& element : event) result.push_back(portable(element));
    return result;
  }
  if (!event.is_object()) return event;
  Json result = Json::object();
  for (const auto& [key, value] : event.items()) {
    if (key == "sha256") continue;
    if (key == "bytes" && value.is_string() &&
        value.get_ref<const std::string&>().size() > maxBase64Length)
      result[key] = "<base64>";
    else if (!hasClock_ && (key == "TimeStamp" || key == "DateStamp"))
      result[key] = "<time>";
    else
      result[portableText(key)] = portable(value);
  }
  return result;
}

std::string PortableEvents::portableText(const std::string& text) {
  std::string result = text;
  replacePayloads(result);
  for (const auto& [path, name] : folders_) replaceAll(result, path, name);
  if (!hasSeed_) replaceIdentifiers(result);
  if (!hasClock_) replaceTimes(result);
  return result;
}

void PortableEvents::replaceIdentifiers(std::string& text) {
  static const std::regex uuid(
      "[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}");
  replaceMatches(text, uuid, [this](const std::smatch& match) {
    const auto isOwn = std::any_of(
        ownIdentifiers_.begin(), ownIdentifiers_.end(),
        [&](const std::string& own) { return own.find(match.str()) != std::string::npos; });
    return isOwn ? match.str() : numbered(identifiers_, match.str(), "id");
  });
}

void PortableEvents::replaceTimes(std::string& text) {
  // The digits may be those of any language, and escaped.
  static const std::regex name("velmora_photo_([^./\"\\s]+)");
  replaceMatches(text, name, [this](const std::smatch& match) {
    return "velmora_photo_" + numbered(times_, match.str(1), "time");
  });
}

}  // namespace vecamera::device::script
