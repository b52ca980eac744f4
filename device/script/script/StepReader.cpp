#include <algorithm>
#include <cmath>
#include <functional>

#include "device/script/json/JsonValue.h"
#include "device/script/script/FieldReaders.h"

namespace vecamera::device::script {
namespace {

std::string requiredText(const JsonFields& fields, std::string_view key) {
  const auto node = fields.require(key);
  return node ? node->text() : std::string();
}

Value readValue(const JsonNode& node) {
  auto value = toValue(node.json());
  if (value) return *std::move(value);
  node.fail(value.error().message);
  return {};
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

Step readCommand(const JsonFields& fields) {
  CommandStep step{requiredText(fields, "do"), requiredText(fields, "as"), {}};
  if (const auto arguments = fields.find("arguments"))
    step.arguments = readList(*arguments, readValue);
  return step;
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

Step readAnswer(const JsonFields& fields) {
  using Prompt = container::Permission;
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
  const bool isSpread = std::any_of(fixKeys.begin(), fixKeys.end(),
                                    [&](std::string_view key) { return fields.has(key); });
  return LocationStep{isSpread ? std::optional(readFixFields(fields)) : std::nullopt};
}

Step readAuthorize(const JsonFields& fields) {
  const auto whole = findWhole(fields, {"to", "authorization"});
  if (!whole) return readAuthorizationFields(fields);
  const JsonFields inner(*whole);
  inner.allowOnly(authorizationKeys);
  return readAuthorizationFields(inner);
}

/// A step whose one key is "to".
template <class T, auto read>
Step readTo(const JsonFields& fields) {
  const auto to = fields.require("to");
  return to ? T{std::invoke(read, *to)} : T{};
}

const Keys selectors = {"tempFilePath:",   "getLocalizingString:",
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
  if (!selector || !selector->choice(selectors)) return step;
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
  constexpr double maxSeconds = 1e10;
  const auto seconds = fields.require("seconds");
  if (!seconds) return AdvanceStep{};
  return AdvanceStep{std::chrono::microseconds(
      std::llround(seconds->numberBetween(-maxSeconds, maxSeconds) * 1e6))};
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

Step readHold(const JsonFields& fields) {
  constexpr double minSeconds = 0.001;
  constexpr double maxSeconds = 86400;
  HoldStep step;
  if (const auto at = fields.require("at"))
    step.at = readEnum<HoldPoint>(*at, {{"picker", HoldPoint::picker},
                                        {"encoding", HoldPoint::encoding},
                                        {"answer", HoldPoint::answer}});
  if (const auto seconds = fields.find("seconds"))
    step.duration = std::chrono::microseconds(
        std::llround(seconds->numberBetween(minSeconds, maxSeconds) * 1e6));
  if (const auto times = fields.find("times")) {
    step.times = times->integer();
    if (step.times < 0) times->fail("it must be 0 or more");
  }
  return step;
}

/// A step whose one key is that text.
template <class T>
auto readText(std::string_view key) {
  return [key](const JsonFields& fields) -> Step { return T{requiredText(fields, key)}; };
}

template <class T>
Step readBare(const JsonFields&) {
  return T{};
}

struct StepKind {
  std::string_view name;
  /// The keys beside "do" and "settle".
  Keys keys;
  std::function<Step(const JsonFields&)> read;
};

const std::vector<StepKind>& stepKinds() {
  static const std::vector<StepKind> kinds = {
      {"takePicture", {"as", "arguments"}, readCommand},
      {"cleanup", {"as"}, readCommand},
      {"capture", {"photo", "movie", "crop", "metadata", "info"}, readCapture},
      {"pick", {"asset", "crop", "info", "referenceURL", "phAsset"}, readPick},
      {"cancel", {}, readBare<CancelStep>},
      {"tap", {"action"}, readText<TapStep>("action")},
      {"answer", {"prompt", "with"}, readAnswer},
      {"location", joined(fixKeys, {"to", "location", "fix"}), readLocation},
      {"authorize", joined(authorizationKeys, {"to", "authorization"}), readAuthorize},
      {"viewController", {"to"}, readTo<ViewControllerStep, &JsonNode::boolean>},
      {"urlTransformer", {"to"}, readTo<UrlTransformerStep, readUrlTransformer>},
      {"faults", {"to"}, readTo<FaultsStep, readFaults>},
      {"call", {"selector", "argument"}, readCall},
      {"advance", {"seconds"}, readAdvance},
      {"remove", {"file"}, readRemove},
      {"addAsset", {"file", "id"}, readAddAsset},
      {"removeAsset", {"asset"}, readText<RemoveAssetStep>("asset")},
      {"release", {}, readBare<ReleaseStep>},
      {"create", {}, readBare<CreateStep>},
      {"hold", {"at", "seconds", "times"}, readHold},
      {"continue", {}, readBare<ContinueStep>},
      {"drop", {}, readBare<DropStep>},
      {"kill", {}, readBare<KillStep>},
      {"launch", {}, readBare<LaunchStep>},
      {"state", {}, readBare<StateStep>},
      {"files", {}, readBare<FilesStep>},
      {"library", {}, readBare<LibraryStep>},
  };
  return kinds;
}

}  // namespace

ScriptStep readStep(const JsonNode& node) {
  const JsonFields fields(node);
  const auto name = fields.require("do");
  const auto* kind = name ? readKind(*name, stepKinds()) : nullptr;
  if (kind == nullptr) return {CancelStep{}};
  fields.allowOnly(joined({"do", "settle"}, kind->keys));
  return {kind->read(fields), readFlag(fields, "settle"), std::string(kind->name)};
}

}  // namespace vecamera::device::script
