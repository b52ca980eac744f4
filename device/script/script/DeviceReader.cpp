#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <set>

#include "device/foundation/Dates.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Folders.h"
#include "device/script/script/FieldReaders.h"

namespace vecamera::device::script {
namespace {

namespace fs = std::filesystem;

std::map<std::string, std::string> readFiles(const JsonNode& node) {
  std::map<std::string, std::string> files;
  for (const auto& [name, member] : node.members()) {
    auto text = member.text();
    if (!isInnerName(name)) member.fail(innerNameProblem(name));
    if (name.ends_with('/') && !text.empty())
      member.fail("a folder (a name with a trailing slash) has no text; write \"\"");
    files.emplace(name, std::move(text));
  }
  // No file may also be a folder.
  for (const auto& [name, text] : files)
    for (auto slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1))
      if (files.contains(name.substr(0, slash)))
        node.fail(inQuotes(name.substr(0, slash)) + " is a file, so there can be no " +
                  inQuotes(name));
  return files;
}

MainBundleSetup readMainBundle(const JsonNode& node) {
  if (node.isNull()) return {MainBundleSetup::Kind::empty, {}};
  return {MainBundleSetup::Kind::folder, node.existingFolder()};
}

std::string readTimeZone(const JsonNode& node) {
  auto name = node.text();
  if (node.isText() && !foundation::isTimeZone(name))
    node.fail(inQuotes(name) + " is no IANA time zone; write it like \"Europe/Paris\"");
  return name;
}

std::string readLocale(const JsonNode& node) {
  auto identifier = node.text();
  if (node.isText() && !foundation::isLocale(identifier))
    node.fail(inQuotes(identifier) +
              " is no locale identifier; write it like \"en_US\" or "
              "\"th_TH@calendar=buddhist\"");
  return identifier;
}

std::uint64_t readSeed(const JsonNode& node) {
  if (node.json().is_number_unsigned()) return node.json().get<std::uint64_t>();
  if (node.json().is_number_integer()) return static_cast<std::uint64_t>(node.integer());
  const double number = node.number();
  const bool isWhole = std::trunc(number) == number && number >= 0 && number < 0x1p64;
  return isWhole ? static_cast<std::uint64_t>(number) : std::bit_cast<std::uint64_t>(number);
}

std::map<std::int64_t, std::optional<std::vector<std::string>>> readMediaTypes(
    const JsonNode& node) {
  std::map<std::int64_t, std::optional<std::vector<std::string>>> types;
  for (const auto& [key, member] : node.members()) {
    std::int64_t source = 0;
    const auto* end = key.data() + key.size();
    const auto [stop, error] = std::from_chars(key.data(), end, source);
    if (error != std::errc() || stop != end)
      member.fail("the key must be the raw value of a source type, like \"0\"");
    types.emplace(source, readNullable(member, [](const JsonNode& list) {
                    return readList(list, std::mem_fn(&JsonNode::text));
                  }));
  }
  return types;
}

AuthorizationSetup readAuthorization(const JsonNode& node) {
  const JsonFields fields(node);
  fields.allowOnly(authorizationKeys);
  const auto read = readAuthorizationFields(fields);
  AuthorizationSetup setup;
  setup.camera = read.camera.value_or(setup.camera);
  setup.photoLibrary = read.photoLibrary.value_or(setup.photoLibrary);
  setup.location = read.location.value_or(setup.location);
  return setup;
}

PromptSetup readPrompts(const JsonNode& node) {
  const JsonFields fields(node);
  fields.allowOnly(Keys{"camera", "photoLibrary"});
  PromptSetup setup;
  if (const auto camera = fields.find("camera")) setup.camera = readAllow(*camera);
  if (const auto library = fields.find("photoLibrary"))
    setup.photoLibrary = readLibraryAnswer(*library);
  return setup;
}

LibraryAssetSetup readAsset(const JsonNode& node) {
  LibraryAssetSetup asset;
  const JsonFields fields(node);
  fields.allowOnly(Keys{"id", "file"});
  if (const auto id = fields.require("id")) asset.id = id->nonEmptyText();
  if (const auto file = fields.require("file")) asset.file = file->existingFile();
  return asset;
}

std::vector<LibraryAssetSetup> readLibrary(const JsonNode& node) {
  auto assets = readList(node, readAsset);
  std::set<std::string_view> ids;
  for (const auto& asset : assets)
    if (!ids.insert(asset.id).second)
      node.fail("the id " + inQuotes(asset.id) + " stands there twice");
  return assets;
}

fs::path readTemporaryDirectory(const JsonNode& node) {
  auto path = node.path();
  std::error_code ignored;
  if (fs::exists(path, ignored) && !fs::is_directory(path, ignored))
    node.fail(inQuotes(path.string()) + " is not a folder");
  // `cleanup` empties it.
  if (foundation::isSharedFolder(path.string()))
    node.fail(inQuotes(path.string()) + " is shared with others; name a folder of its own");
  return path;
}

}  // namespace

DeviceSetup readDevice(const JsonNode& node) {
  DeviceSetup device;
  const JsonFields fields(node);
  fields.allowOnly(Keys{"temporaryDirectory", "files", "mainBundle", "languages", "locale",
                        "timeZone", "clock", "seed", "availableSources", "availableMediaTypes",
                        "authorization", "prompts", "library", "location", "urlTransformer",
                        "viewController", "faults"});
  const auto read = [&fields](std::string_view key, auto& field, auto reader) {
    if (const auto member = fields.find(key)) field = reader(*member);
  };
  read("temporaryDirectory", device.temporaryDirectory, readTemporaryDirectory);
  read("files", device.files, readFiles);
  read("mainBundle", device.mainBundle, readMainBundle);
  read("languages", device.languages,
       [](const JsonNode& list) { return readList(list, std::mem_fn(&JsonNode::nonEmptyText)); });
  read("locale", device.locale, readLocale);
  read("timeZone", device.timeZone, readTimeZone);
  read("clock", device.clock, readDate);
  read("seed", device.seed, readSeed);
  read("availableSources", device.availableSources,
       [](const JsonNode& list) { return readList(list, std::mem_fn(&JsonNode::integer)); });
  read("availableMediaTypes", device.availableMediaTypes, readMediaTypes);
  read("authorization", device.authorization, readAuthorization);
  read("prompts", device.prompts, readPrompts);
  read("library", device.library, readLibrary);
  read("location", device.location, [](const JsonNode& fix) { return readNullable(fix, readFix); });
  read("urlTransformer", device.urlTransformer, readUrlTransformer);
  read("viewController", device.viewController, std::mem_fn(&JsonNode::boolean));
  read("faults", device.faults, readFaults);
  return device;
}

}  // namespace vecamera::device::script
