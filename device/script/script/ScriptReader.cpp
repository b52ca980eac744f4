#include "device/script/script/ScriptReader.h"

#include <fcntl.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>

#include "device/foundation/Dates.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/script/json/JsonFields.h"
#include "device/script/json/JsonValue.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {
namespace {

namespace fs = std::filesystem;
using Keys = std::vector<std::string_view>;

/// A recording holds its pictures and movies.
constexpr std::size_t kLongestScript = 512U << 20;

/// The text of each case of an enumeration.
template <class E>
using Names = std::initializer_list<std::pair<std::string_view, E>>;

template <class E>
E readEnum(const JsonNode& node, Names<E> names) {
  std::vector<std::string_view> texts;
  for (const auto& [text, value] : names) texts.push_back(text);
  return (names.begin() + node.choice(texts).value_or(0))->second;
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

Keys joined(Keys a, const Keys& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Date readDate(const JsonNode& node) {
  const auto text = node.text();
  const auto date = foundation::parseISO8601(text);
  if (!date && node.isText())
    node.fail(inQuotes(text) + " is no ISO 8601 instant; write it like 2024-05-01T12:30:00.250Z");
  return date.value_or(Date());
}

AVAuthorizationStatus readCameraStatus(const JsonNode& node) {
  using enum AVAuthorizationStatus;
  return readEnum<AVAuthorizationStatus>(node, {{"notDetermined", notDetermined},
                                                {"restricted", restricted},
                                                {"denied", denied},
                                                {"authorized", authorized}});
}

PHAuthorizationStatus readLibraryStatus(const JsonNode& node) {
  using enum PHAuthorizationStatus;
  return readEnum<PHAuthorizationStatus>(node, {{"notDetermined", notDetermined},
                                                {"restricted", restricted},
                                                {"denied", denied},
                                                {"authorized", authorized},
                                                {"limited", limited}});
}

location::LocationAuthorization readLocationStatus(const JsonNode& node) {
  using enum location::LocationAuthorization;
  return readEnum<location::LocationAuthorization>(node, {{"notDetermined", notDetermined},
                                                          {"restricted", restricted},
                                                          {"denied", denied},
                                                          {"authorized", authorized}});
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

double readAltitude(const JsonNode& node) {
  if (node.isText()) {
    if (node.text() == "NaN") return std::numeric_limits<double>::quiet_NaN();
    node.fail("an altitude is a number or \"NaN\"");
  }
  return node.number();
}

const Keys kFixKeys = {"latitude", "longitude", "altitude", "timestamp"};

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
  fields.allowOnly(kFixKeys);
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

/// Whether the name stays inside the folder that it is relative to.
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

struct FaultKind {
  std::string_view name;
  FaultPoint at;
  /// The keys beside "at" and "times".
  Keys keys;
};

const std::vector<FaultKind>& faultKinds() {
  using enum FaultPoint;
  static const std::vector<FaultKind> kinds = {
      {"performChanges", performChanges, {"error", "returns", "noPlaceholder"}},
      {"requestImageData", requestImageData, {"returns"}},
      {"createFile", createFile, {"error"}},
      {"writeFile", writeFile, {"error"}},
      {"removeItem", removeItem, {"path", "error"}},
      {"enumerator", enumerator, {"returns"}},
      {"jpegEncoder", jpegEncoder, {"returns"}},
      {"pngEncoder", pngEncoder, {"returns"}},
      {"bitmapContext", bitmapContext, {"returns"}},
      {"settingsURL", settingsURL, {"returns"}},
      {"export", exportMovie, {"error"}},
  };
  return kinds;
}

/// The record whose name the node's text is; null where there is none, with the reading failed.
template <class Kind>
const Kind* readKind(const JsonNode& node, const std::vector<Kind>& kinds) {
  Keys names;
  for (const auto& kind : kinds) names.push_back(kind.name);
  const auto place = node.choice(names);
  return place ? &kinds[*place] : nullptr;
}

void readReturns(const JsonNode& node, Fault& fault) {
  if (fault.at != FaultPoint::performChanges) {
    // These give nothing in any case; the key only says so.
    node.choice(Keys{"nothing", "none"});
    return;
  }
  if (node.boolean()) node.fail("it can only be false");
  fault.returnsFalse = true;
}

Fault readFault(const JsonNode& node) {
  Fault fault;
  const JsonFields fields(node);
  const auto at = fields.require("at");
  const auto* kind = at ? readKind(*at, faultKinds()) : nullptr;
  if (kind == nullptr) return fault;
  fault.at = kind->at;
  fields.allowOnly(joined({"at", "times"}, kind->keys));
  if (const auto times = fields.find("times")) {
    fault.times = times->integer();
    if (*fault.times < 0) times->fail("it must be 0 or more");
  }
  if (const auto error = fields.find("error")) fault.error = error->text();
  if (const auto returns = fields.find("returns")) readReturns(*returns, fault);
  if (const auto flag = fields.find("noPlaceholder")) fault.noPlaceholder = flag->boolean();
  if (const auto path = fields.find("path")) {
    fault.path = readInnerName(*path);
    if (fault.path->ends_with('/')) fault.path->pop_back();
  }
  const bool isBare =
      !fields.has("error") && !fields.has("returns") && !fields.has("noPlaceholder");
  if (fault.at == FaultPoint::performChanges && isBare) fault.returnsFalse = true;
  // A fault that is told not to be one never strikes.
  const bool isNone = fault.at == FaultPoint::performChanges && !fault.error &&
                      !fault.returnsFalse && !fault.noPlaceholder;
  if (isNone) fault.times = 0;
  return fault;
}

std::vector<Fault> readFaults(const JsonNode& node) {
  return readList(node, readFault);
}

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

const Keys kAuthorizationKeys = {"camera", "photoLibrary", "location"};

AuthorizeStep readAuthorizationFields(const JsonFields& fields) {
  AuthorizeStep step;
  if (const auto node = fields.find("camera")) step.camera = readCameraStatus(*node);
  if (const auto node = fields.find("photoLibrary")) step.photoLibrary = readLibraryStatus(*node);
  if (const auto node = fields.find("location")) step.location = readLocationStatus(*node);
  return step;
}

AuthorizationSetup readAuthorization(const JsonNode& node) {
  const JsonFields fields(node);
  fields.allowOnly(kAuthorizationKeys);
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

/// The text under the key, which must be there.
std::string requiredText(const JsonFields& fields, std::string_view key) {
  const auto node = fields.require(key);
  return node ? node->text() : std::string();
}

Value readValue(const JsonNode& node) {
  const auto value = toValue(node.json());
  if (!value) node.fail("a \"bytes\" in it is not Base64");
  return value.value_or(Value());
}

std::optional<CGRect> readCrop(const JsonFields& fields) {
  const auto node = fields.find("crop");
  if (!node) return std::nullopt;
  const auto numbers = readList(*node, std::mem_fn(&JsonNode::number));
  if (numbers.size() != 4 || numbers[2] <= 0 || numbers[3] <= 0) {
    node->fail("it must be [x, y, width, height], with a width and a height above 0");
    return std::nullopt;
  }
  return CGRect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

Dictionary readInfo(const JsonFields& fields) {
  Dictionary info;
  if (const auto node = fields.find("info"))
    for (const auto& [key, member] : node->members()) info.emplace(key, readValue(member));
  return info;
}

bool readFlag(const JsonFields& fields, std::string_view key) {
  const auto node = fields.find(key);
  return node ? node->boolean() : true;
}

Step readTakePicture(const JsonFields& fields) {
  TakePictureStep step{requiredText(fields, "as"), {}};
  if (const auto arguments = fields.find("arguments"))
    step.arguments = readList(*arguments, readValue);
  return step;
}

Step readCleanup(const JsonFields& fields) {
  return CleanupStep{requiredText(fields, "as")};
}

/// The length of a generated movie, {"seconds": N}.
double readSceneSeconds(const JsonNode& node) {
  const JsonFields fields(node);
  fields.allowOnly(Keys{"seconds"});
  const auto seconds = fields.require("seconds");
  return seconds ? seconds->numberBetween(0.1, 600) : 1;
}

Step readCapture(const JsonFields& fields) {
  CaptureStep step;
  const auto photo = fields.find("photo");
  const auto movie = fields.find("movie");
  if (photo.has_value() == movie.has_value())
    fields.node().fail("it needs exactly one of \"photo\" and \"movie\"");
  step.media = movie ? CaptureStep::Media::movie : CaptureStep::Media::photo;
  if (const auto& file = movie ? movie : photo) {
    if (movie && file->isObject())
      step.seconds = readSceneSeconds(*file);
    else
      step.file = file->existingFile();
  }
  step.crop = readCrop(fields);
  step.metadata = readFlag(fields, "metadata");
  step.info = readInfo(fields);
  return step;
}

Step readPick(const JsonFields& fields) {
  return PickStep{requiredText(fields, "asset"), readCrop(fields), readInfo(fields),
                  readFlag(fields, "referenceURL"), readFlag(fields, "phAsset")};
}

Step readTap(const JsonFields& fields) {
  return TapStep{requiredText(fields, "action")};
}

Step readAnswer(const JsonFields& fields) {
  using Prompt = AnswerStep::Prompt;
  AnswerStep step;
  const auto prompt = fields.require("prompt");
  const auto with = fields.require("with");
  if (!prompt || !with) return step;
  step.prompt = readEnum<Prompt>(*prompt, {{"camera", Prompt::camera},
                                           {"photoLibrary", Prompt::photoLibrary},
                                           {"location", Prompt::location}});
  if (step.prompt == Prompt::photoLibrary)
    step.photoLibrary = readLibraryAnswer(*with);
  else
    step.allow = readAllow(*with);
  return step;
}

/// The value of a step that may also spread it out beside "do"; nothing where it does.
std::optional<JsonNode> findWhole(const JsonFields& fields, const Keys& keys) {
  for (const auto key : keys) {
    auto node = fields.find(key);
    if (!node) continue;
    if (fields.node().json().size() > (fields.has("settle") ? 3 : 2))
      fields.node().fail("the key " + inQuotes(key) + " says it all; leave the others out");
    return node;
  }
  return std::nullopt;
}

Step readLocation(const JsonFields& fields) {
  if (const auto whole = findWhole(fields, {"to", "location", "fix"}))
    return LocationStep{readNullable(*whole, readFix)};
  const bool isSpread = std::any_of(kFixKeys.begin(), kFixKeys.end(),
                                    [&](std::string_view key) { return fields.has(key); });
  return LocationStep{isSpread ? std::optional(readFixFields(fields)) : std::nullopt};
}

Step readAuthorize(const JsonFields& fields) {
  const auto whole = findWhole(fields, {"to", "authorization"});
  if (!whole) return readAuthorizationFields(fields);
  const JsonFields inner(*whole);
  inner.allowOnly(kAuthorizationKeys);
  return readAuthorizationFields(inner);
}

/// A step whose one key is "to".
template <class T, auto read>
Step readTo(const JsonFields& fields) {
  const auto to = fields.require("to");
  return to ? T{read(*to)} : T{};
}

bool readBoolean(const JsonNode& node) {
  return node.boolean();
}

const Keys kSelectors = {"tempFilePath:",   "getLocalizingString:",
                         "urlTransformer:", "usesGeolocation",
                         "retryPermission", "imagePickerControllerReturnImageResult",
                         "dispose"};

Value readUrl(const JsonNode& node) {
  if (node.isText()) return URL(node.text());
  const auto value = readValue(node);
  if (value.url() == nullptr) node.fail("it must be a text or {\"url\": \"...\"}");
  return value;
}

Step readCall(const JsonFields& fields) {
  CallStep step;
  const auto selector = fields.require("selector");
  if (!selector || !selector->choice(kSelectors)) return step;
  step.selector = selector->text();
  const auto argument = fields.find("argument");
  if (!step.selector.ends_with(':')) {
    if (argument && !argument->isNull())
      argument->fail("the selector " + inQuotes(step.selector) + " takes no argument");
  } else if (!argument) {
    fields.require("argument");
  } else if (argument->isNull()) {
    step.argument = Value();
  } else {
    step.argument =
        step.selector == "urlTransformer:" ? readUrl(*argument) : Value(argument->text());
  }
  return step;
}

Step readAdvance(const JsonFields& fields) {
  // Some 300 years, which no date calculation minds.
  constexpr double most = 1e10;
  const auto seconds = fields.require("seconds");
  if (!seconds) return AdvanceStep{};
  return AdvanceStep{
      std::chrono::microseconds(std::llround(seconds->numberBetween(-most, most) * 1e6))};
}

Step readRemove(const JsonFields& fields) {
  const auto file = fields.require("file");
  return RemoveStep{file ? readInnerName(*file) : std::string()};
}

Step readAddAsset(const JsonFields& fields) {
  AddAssetStep step;
  if (const auto file = fields.require("file")) step.file = file->existingFile();
  if (const auto id = fields.find("id")) step.id = id->nonEmptyText();
  return step;
}

Step readRemoveAsset(const JsonFields& fields) {
  return RemoveAssetStep{requiredText(fields, "asset")};
}

template <class T>
Step readBare(const JsonFields&) {
  return T{};
}

struct StepKind {
  std::string_view name;
  /// The keys beside "do" and "settle".
  Keys keys;
  Step (*read)(const JsonFields&);
};

const std::vector<StepKind>& stepKinds() {
  static const std::vector<StepKind> kinds = {
      {"takePicture", {"as", "arguments"}, readTakePicture},
      {"cleanup", {"as"}, readCleanup},
      {"capture", {"photo", "movie", "crop", "metadata", "info"}, readCapture},
      {"pick", {"asset", "crop", "info", "referenceURL", "phAsset"}, readPick},
      {"cancel", {}, readBare<CancelStep>},
      {"tap", {"action"}, readTap},
      {"answer", {"prompt", "with"}, readAnswer},
      {"location", joined(kFixKeys, {"to", "location", "fix"}), readLocation},
      {"authorize", joined(kAuthorizationKeys, {"to", "authorization"}), readAuthorize},
      {"viewController", {"to"}, readTo<ViewControllerStep, readBoolean>},
      {"urlTransformer", {"to"}, readTo<UrlTransformerStep, readUrlTransformer>},
      {"faults", {"to"}, readTo<FaultsStep, readFaults>},
      {"call", {"selector", "argument"}, readCall},
      {"advance", {"seconds"}, readAdvance},
      {"remove", {"file"}, readRemove},
      {"addAsset", {"file", "id"}, readAddAsset},
      {"removeAsset", {"asset"}, readRemoveAsset},
      {"release", {}, readBare<ReleaseStep>},
      {"create", {}, readBare<CreateStep>},
      {"state", {}, readBare<StateStep>},
      {"files", {}, readBare<FilesStep>},
      {"library", {}, readBare<LibraryStep>},
  };
  return kinds;
}

ScriptStep readStep(const JsonNode& node) {
  const JsonFields fields(node);
  const auto name = fields.require("do");
  const auto* kind = name ? readKind(*name, stepKinds()) : nullptr;
  if (kind == nullptr) return {CancelStep{}};
  fields.allowOnly(joined({"do", "settle"}, kind->keys));
  return {kind->read(fields), readFlag(fields, "settle")};
}

/// The files of data URLs, in a private folder that is made for the first.
class InlineFiles {
 public:
  std::optional<fs::path> keep(const Data& bytes) {
    if (!folder_) folder_ = foundation::ApplicationHome::makePrivate();
    if (!folder_) return std::nullopt;
    const fs::path file = fs::path(folder_->path()) / std::to_string(count_++);
    if (!foundation::replaceFile(file, bytes)) return std::nullopt;
    return file;
  }
  std::shared_ptr<const void> folder() const { return folder_; }

 private:
  std::shared_ptr<foundation::ApplicationHome> folder_;
  int count_ = 0;
};

/// The file's text, or why there is none.
std::variant<std::string, ScriptError> readText(const fs::path& path) {
  const auto name = path.string();
  std::error_code error;
  if (fs::is_directory(path, error)) return ScriptError{name + ": it is a folder, not a script"};
  if (!fs::exists(path, error))
    return ScriptError{name + ": there is no such file; check the name and the folder"};
  // A script may come through a pipe.
  const auto file = foundation::openAt(AT_FDCWD, path, O_RDONLY);
  const auto read = file ? foundation::readAll(*file, kLongestScript) : file.failure();
  if (!read && read.error().code == EFBIG)
    return ScriptError{name + ": it is longer than 512 MiB, so it is hardly a script"};
  if (!read) return ScriptError{name + ": it cannot be read; check its permissions"};
  return std::string(read->bytes().begin(), read->bytes().end());
}

}  // namespace

std::variant<Script, ScriptError> parseScript(std::string_view text, std::string name,
                                              const fs::path& folder, FileScope scope) {
  auto parsed = parseStrictJson(text);
  if (const auto* error = std::get_if<JsonError>(&parsed))
    return ScriptError{name + ": " + (error->place.empty() ? "" : error->place + ": ") +
                       error->why};
  InlineFiles inlineFiles;
  std::error_code ignored;
  ReadingFiles files{fs::absolute(folder, ignored), scope == FileScope::folder,
                     [&inlineFiles](const Data& bytes) { return inlineFiles.keep(bytes); }};
  JsonReading reading(std::move(files));
  const JsonFields fields(JsonNode(reading, std::get<nlohmann::json>(parsed), ""));
  fields.allowOnly(Keys{"device", "steps"});
  Script script;
  if (const auto device = fields.find("device")) script.device = readDevice(*device);
  if (const auto steps = fields.require("steps")) script.steps = readList(*steps, readStep);
  if (reading.error()) return ScriptError{name + ": " + *reading.error()};
  script.name = std::move(name);
  script.inlineFiles = inlineFiles.folder();
  return script;
}

std::variant<Script, ScriptError> readScript(const fs::path& path) {
  auto text = readText(path);
  if (auto* error = std::get_if<ScriptError>(&text)) return std::move(*error);
  return parseScript(std::get<std::string>(text), path.string(), fs::absolute(path).parent_path());
}

}  // namespace vecamera::device::script
