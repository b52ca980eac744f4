#include "simulator/server/phone/PhoneDevice.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <utility>

#include "device/foundation/Dates.h"
#include "device/foundation/Urls.h"
#include "device/foundation/files/Folders.h"
#include "device/script/json/JsonValue.h"
#include "device/script/script/ScriptJson.h"
#include "simulator/server/http/Secrets.h"
#include "simulator/server/model/Changes.h"
#include "simulator/server/model/OptionRows.h"
#include "simulator/server/phone/PathPolicy.h"
#include "simulator/server/phone/SampleMedia.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;
using std::chrono::microseconds;

/// Replaces "file://" where a recording is played without a server.
constexpr const char* recordedPrefix = "velmora-file://";

/// The key under which a step names a file of media; empty where it does not.
std::string mediaKeyOf(const Json& step) {
  const auto found = step.find("do");
  const auto name = found != step.end() && found->is_string() ? found->get<std::string>() : "";
  std::string key;
  if (name == "addAsset") key = "file";
  if (name == "capture") key = step.contains("photo") ? "photo" : "movie";
  return step.contains(key) && step[key].is_string() ? key : "";
}

/// The `command` message of a page command's step, without its leading keys; nothing for another
/// step.
std::optional<Json> commandOf(const Json& step) {
  const auto name = step.value("do", Json());
  if (name != "takePicture" && name != "cleanup") return std::nullopt;
  const auto as = step.value("as", Json());
  auto given = step.value("arguments", Json::array());
  if (!given.is_array()) given = Json::array();
  Json options;
  if (name == "takePicture") {
    Array arguments;
    for (const auto& one : given)
      arguments.push_back(script::toValue(one).value().value_or(Value()));
    options = optionsOf(arguments);
  }
  return Json{{"name", as.is_string() ? as : Json()},
              {"command", name},
              {"arguments", std::move(given)},
              {"options", std::move(options)}};
}

void emptyFolder(const std::string& path) {
  const auto folder = foundation::openFolderAt(AT_FDCWD, path, foundation::LastLink::refuse);
  const auto names = folder ? foundation::entryNames(*folder) : folder.failure();
  if (!names) return;
  for (const auto& name : *names) static_cast<void>(foundation::removeTreeAt(*folder, name));
}

}  // namespace

void PhoneDevice::start() {
  if (const auto begun = begin(setup_.device, OldAssets::keep); !begun)
    setup_.onDiagnostic("the phone cannot begin: " + begun.error().description());
  sendState();
}

void PhoneDevice::handle(const std::string& message) {
  messages_.beginRequest();
  auto request = parsePhoneRequest(message);
  if (!request)
    return messages_.sendReply(request.error().id,
                               refused(ErrorCode::badRequest, request.error().message));
  const auto result = carryOut(*request);
  // After a failed restart the state is sent also where it has not changed.
  if (!result && std::holds_alternative<RestartRequest>(request->what)) messages_.forgetState();
  automate();
  messages_.sendReply(request->id, result);
}

/// Each request gets a reply, also where a library throws.
RequestResult<> PhoneDevice::carryOut(PhoneRequest& request) {
  try {
    if (auto* step = std::get_if<StepRequest>(&request.what))
      return play(std::move(step->step), request.bytes);
    if (const auto* restarted = std::get_if<RestartRequest>(&request.what))
      return restart(*restarted);
    if (const auto* configured = std::get_if<ConfigureRequest>(&request.what))
      return configure(configured->changes);
    return restoreSamples();
  } catch (const std::exception& thrown) {
    return refused(ErrorCode::internal, std::string("it cannot be carried out: ") + thrown.what());
  }
}

/// The `device` part that makes a device such as the one that is there. A new one that keeps the
/// library needs none, and a seed would draw identifiers that are there already.
Json PhoneDevice::deviceInForce() const {
  auto device = requested_;
  if (!session_) return device;
  device["authorization"] = permissionsOf(session_->device());
  device["faults"] = state_.faults(session_->device());
  return device;
}

RequestResult<> PhoneDevice::restart(const RestartRequest& request) {
  DevicePart part{request.part == RestartRequest::Part::changes
                      ? changedDevice(deviceInForce(), request.device)
                      : request.device,
                  setup_.device.serverOwned, Json::array()};
  if (auto allowed = checkRequestedPart(part.requested); !allowed)
    return refused(ErrorCode::forbidden, allowed.error());
  // It is of this one device: the next one draws other identifiers again.
  if (const auto seed = part.requested.find("seed"); seed != part.requested.end()) {
    part.serverOwned["seed"] = std::move(*seed);
    part.requested.erase("seed");
  }
  const auto bad = [](std::string message) {
    return refused(ErrorCode::badDevice, std::move(message));
  };
  std::vector<HeldFile> held;
  if (const auto library = part.requested.find("library"); library != part.requested.end()) {
    part.library = std::move(*library);
    part.requested.erase("library");
    if (!part.library->is_array()) return bad("library: it must be a list");
    for (auto& asset : *part.library) {
      if (!asset.is_object() || !asset.contains("file"))
        return bad("library: an asset is an object with \"id\" and \"file\"");
      auto& file = asset["file"];
      if (!file.is_string()) return bad("library: a \"file\" is a text");
      auto found = media_.hold(file.get_ref<const std::string&>());
      if (!found) return refused(ErrorCode::noSuchFile, "file: " + found.error().message);
      file = (*found)->string();
      held.push_back(*std::move(found));
    }
  }
  if (const auto script = scriptOf(part); !script) return bad(script.error().description());
  if (auto importable = checkAssets(*part.library); !importable)
    return bad(importable.error().description());
  // The old device's calls get no answer any more.
  if (session_)
    for (const auto& callback : session_->device().container.callbacks().open())
      if (!closed_.contains(callback.get()))
        messages_.sendClosed(callback->name(), {}, "restarted");
  messages_.sendRestarted(part.requested);
  // What nothing has named so far was meant for the device that ends.
  media_.removeUnheld();
  if (auto begun = begin(part, request.oldAssets); !begun)
    return refused(ErrorCode::noDevice, begun.error());
  return {};
}

RequestResult<> PhoneDevice::configure(const Json& changes) {
  constexpr std::array<std::string_view, 7> keys = {"faults",         "permissions", "location",
                                                    "viewController", "prompts",     "automation",
                                                    "locationUpdates"};
  for (const auto& [key, value] : changes.items())
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
      return refused(ErrorCode::badRequest, script::unknownText("key", key, keys));
  const auto automation = changes.value("automation", Json("on"));
  if (automation != "on" && automation != "off")
    return refused(ErrorCode::badRequest, "automation: it is \"on\" or \"off\"");
  auto updates =
      LocationUpdates::parse(changes.value("locationUpdates", Json::object()), updates_.settings());
  if (!updates) return std::move(updates).failure();
  auto answers = answers_;
  if (auto changed = answers.change(changes.value("prompts", Json::object())); !changed)
    return changed;
  const auto steps = stepsOf(changes, session_ ? state_.faults(session_->device()) : Json::array());
  if (!steps) return steps.failure();
  if (!session_ && !steps->empty())
    return refused(ErrorCode::noDevice, "there is no device: " + broken_);

  answers_ = std::move(answers);
  if (changes.contains("automation"))
    updates_.setAutomation(automation == "on" ? Automation::on : Automation::off);
  if (changes.contains("locationUpdates")) updates_.configure(*std::move(updates), setup_.now());
  for (const auto& step : *steps)
    if (auto played = play(step, 0); !played) return played;
  return {};
}

RequestResult<> PhoneDevice::restoreSamples() {
  const auto store = library_.store();
  if (!store) return refused(ErrorCode::noDevice, broken_);
  for (const auto& sample : sampleMedia()) {
    if (store->fetchByIdentifier(sample.identifier)) continue;
    const auto file = media_.add(sample.contents, sample.fileName);
    if (!file)
      return refused(ErrorCode::diskFull, "the samples cannot be written; is the disk full?");
    const Json step = {{"do", "addAsset"}, {"id", sample.identifier}, {"file", *file}};
    if (auto played = play(step, 0); !played) return played;
  }
  return {};
}

ScriptResult<> PhoneDevice::begin(const DevicePart& part, OldAssets oldAssets) {
  session_.reset();
  requested_ = part.requested;
  updates_.onRestart();
  closed_.clear();
  emptyFolder(home_.temporaryDirectory());
  state_ = PhoneState(setup_.filesAddress, part.requested.value("faults", Json::array()));
  messages_.forgetState();
  messages_.setStep(0);
  recording_.releaseFiles();
  clockOffset_ = microseconds(0);
  isUnsettled_ = false;
  calls_ = 0;
  callBytes_ = 0;
  broken_.clear();
  ScriptResult<> made;
  try {
    made = makeDevice(part, oldAssets);
  } catch (const std::exception& thrown) {
    made = failed(thrown.what());
  }
  if (!made) {
    broken_ = made.error().description();
    session_.reset();
  }
  library_.update();
  return made;
}

ScriptResult<> PhoneDevice::makeDevice(const DevicePart& part, OldAssets oldAssets) {
  if (auto opened = library_.open(oldAssets); !opened) return opened;
  const auto script = scriptOf({part.requested, part.serverOwned, library_.missing(part.library)});
  if (!script) return script.failure();
  auto setup = script->device;
  setup.home = library_.home();
  setup.temporaryDirectory = home_.temporaryDirectory();
  clockMode_ = setup.clock ? ClockMode::fixed : ClockMode::real;
  if (!setup.clock) setup.clock = setup_.realTime();
  if (!setup.seed) setup.seed = randomSeed();
  setup.urlTransformer = {script::UrlTransformerSetup::Kind::replace, "file://", recordedPrefix};

  script::PlayOptions options;
  options.isCancelled = isCancelled_;
  options.onTrace = [this](const script::TraceSpan& span) {
    messages_.sendTrace(span, commandAtWork());
  };
  options.onExportProgress = [this](float progress) { messages_.sendProgress(progress); };
  auto session = script::PlaySession::make(
      setup, options, [this](const Json& event) { onEvent(event); }, diagnostics_);
  if (!session) return session.failure();
  session_ = *std::move(session);
  session_->device().setUrlTransformer({true, urlTransformer()});
  beginRecording(part, setup);
  // Where this ends the process, the state says so.
  (void)session_->runReadyJobs();
  return {};
}

/// As in the recording, but temporary files get addresses that the browser can fetch.
URLTransformer PhoneDevice::urlTransformer() const {
  const auto files =
      foundation::Urls().fileURLWithPath(home_.temporaryDirectory() + "/").absoluteString();
  return [files, address = setup_.filesAddress](const URL& url) -> std::optional<URL> {
    constexpr std::string_view prefix = "file://";
    const auto& text = url.absoluteString();
    if (text.starts_with(files)) return URL(address + text.substr(files.size()));
    if (text.starts_with(prefix)) return URL(recordedPrefix + text.substr(prefix.size()));
    return std::nullopt;
  };
}

void PhoneDevice::beginRecording(const DevicePart& part, const script::DeviceSetup& setup) {
  Json device = part.requested;
  device.update(part.serverOwned);
  device["clock"] = foundation::formatISO8601(*setup.clock);
  device["seed"] = *setup.seed;
  device["urlTransformer"] = {{"replace", {"file://", recordedPrefix}}};
  std::vector<Recording::Asset> assets;
  const auto held = library_.hold(setup_.media.totalBytes, assets);
  recording_.begin(std::move(device), std::move(assets));
  if (!held) recording_.end(held.error().description());
}

void PhoneDevice::onEvent(const Json& event) {
  const auto text = toLine(event);
  state_.onEvent(event, text);
  const auto name = event.value("event", "");
  if (name == "location" && event.value("manager", "") == "start") hasStartedManager_ = true;
  messages_.sendEvent(text, name == "answer" ? event.value("to", "") : commandAtWork());
}

/// Empty also while the device is made.
std::string PhoneDevice::commandAtWork() const {
  return session_ ? session_->commandAtWork() : std::string();
}

RequestResult<> PhoneDevice::play(Json step, std::size_t bytes) {
  if (auto command = commandOf(step)) messages_.beginCommand(*std::move(command));
  auto played = playStep(std::move(step), bytes);
  messages_.endCommand(played ? std::nullopt : std::optional(played.error()));
  observeLocation();
  return played;
}

RequestResult<> PhoneDevice::playStep(Json step, std::size_t bytes) {
  if (!session_) return refused(ErrorCode::noDevice, "there is no device: " + broken_);
  if (const auto alive = session_->checkProcess(); !alive)
    return refused(ErrorCode::processEnded, alive.error().message + "; restart the device");
  Recording::File file{mediaKeyOf(step), {}};
  if (!file.key.empty()) {
    auto& name = step[file.key];
    auto held = media_.hold(name.get_ref<const std::string&>());
    if (!held) return refused(ErrorCode::noSuchFile, file.key + ": " + held.error().message);
    file.held = *std::move(held);
    name = file.held->string();
  }
  const auto parsed = script::stepFromJson(step, media_.folder(), script::FileScope::folder);
  if (!parsed) return refused(ErrorCode::badStep, parsed.error());
  if (auto allowed = checkLimits(parsed->step, bytes); !allowed) return allowed;

  moveClock();
  // What was held until now may have ended the process.
  if (const auto alive = session_->checkProcess(); !alive)
    return refused(ErrorCode::processEnded, alive.error().message + "; restart the device");
  messages_.setStep(recording_.steps());
  if (const auto played = session_->play(parsed->step); !played)
    return refused(ErrorCode::notNow, played.error());
  messages_.endCommand(std::nullopt);
  auto settled = parsed->settle ? session_->runReadyJobs() : session_->checkProcess();
  isUnsettled_ = !parsed->settle;
  if (const auto* advance = std::get_if<script::AdvanceStep>(&parsed->step))
    clockOffset_ += advance->by;
  if (std::holds_alternative<script::FaultsStep>(parsed->step)) state_.onFaults(step["to"]);
  // One that waits for the world outside goes on only when a later step has changed that.
  if (session_->waitingFor()) step["settle"] = false;
  if (!file.key.empty()) step.erase(file.key);
  record(step, std::move(file));
  reportEnd(settled);
  library_.update();
  if (!settled)
    return refused(session_->checkProcess() ? ErrorCode::stopped : ErrorCode::processEnded,
                   settled.error());
  return {};
}

/// Whether a phone plays what a script may hold.
RequestResult<> PhoneDevice::checkLimits(const script::Step& step, std::size_t bytes) {
  const auto& limits = setup_.limits;
  const std::array folders = {media_.folder() / "media", fs::path(home_.temporaryDirectory())};
  if (const auto allowed = checkFiles(step, folders); !allowed)
    return refused(ErrorCode::forbidden, allowed.error());
  const auto* capture = std::get_if<script::CaptureStep>(&step);
  if (capture != nullptr && capture->file.empty() && capture->seconds > limits.sceneSeconds)
    return refused(ErrorCode::limit,
                   "movie: the phone makes no movie of its own that is longer than " +
                       std::to_string(std::llround(limits.sceneSeconds)) + " seconds; upload one");
  if (!script::opensCallback(step)) return {};
  if (session_->device().container.callbacks().open().size() >= limits.openCalls)
    return refused(ErrorCode::limit, std::to_string(limits.openCalls) +
                                         " calls are open already; restart the device");
  if (calls_ >= limits.calls || callBytes_ + bytes > limits.callBytes)
    return refused(ErrorCode::limit,
                   "the page has made so many calls that the device takes no more; restart it");
  ++calls_;
  callBytes_ += bytes;
  return {};
}

/// Reports the error where the device's process has ended.
void PhoneDevice::reportEnd(const ScriptResult<>& result) {
  if (!result && !session_->checkProcess())
    session_->reportFailure(messages_.step(), result.error());
}

void PhoneDevice::record(const Json& step, Recording::File file) {
  recording_.add(step, std::move(file));
  // Work that waits or is held may still read them.
  if (!isUnsettled_ && !session_->waitingFor() && session_->device().holds.held().empty())
    recording_.releaseFiles();
}

/// A clock that nobody set follows the real time: a recorded step of its own moves it before each
/// step, and it stands still during the step. It is not moved while work is pending, because a
/// replay goes on to the next step at once.
void PhoneDevice::moveClock() {
  if (clockMode_ == ClockMode::fixed || isUnsettled_ || session_->waitingFor()) return;
  const auto by = realNow() - session_->device().environment.clock->now();
  if (by <= microseconds(0)) return;
  messages_.setStep(recording_.steps());
  if (!session_->play(script::AdvanceStep{by})) return;
  // What was held until now goes on before the next step, as it does in a replay.
  const auto ran = session_->runReadyJobs();
  const double seconds = static_cast<double>(by.count()) / 1e6;
  Json step = {{"do", "advance"}, {"seconds", seconds}};
  if (session_->waitingFor()) step["settle"] = false;
  record(step, {});
  reportEnd(ran);
}

bool PhoneDevice::isWaiting() const {
  if (!session_ || isUnsettled_) return false;
  return session_->waitingFor() ||
         (clockMode_ == ClockMode::real && session_->device().holds.nextDue());
}

void PhoneDevice::resume() {
  if (const auto due = session_->device().holds.nextDue(); due && *due <= realNow()) moveClock();
  reportEnd(session_->runReadyJobs());
  library_.update();
  observeLocation();
  automate();
}

bool PhoneDevice::canAutomate() const {
  return session_ && !isUnsettled_ && !session_->waitingFor() && session_->checkProcess() &&
         updates_.automation() == Automation::on;
}

std::optional<LocationUpdates::Clock::time_point> PhoneDevice::due() const {
  return canAutomate() ? updates_.due() : std::nullopt;
}

void PhoneDevice::observeLocation() {
  if (!session_) return;
  const auto& device = session_->device();
  const bool isAllowed =
      device.locationPermission.status() == device::location::LocationAuthorization::authorized;
  updates_.setLooking(device.location.isRunning() && isAllowed, setup_.now());
  if (std::exchange(hasStartedManager_, false)) updates_.onManagerStarted(setup_.now());
}

std::optional<Json> PhoneDevice::automaticStep() {
  if (!canAutomate()) return std::nullopt;
  if (auto answer = answers_.stepFor(session_->device().screen.prompts())) return answer;
  const auto fix = updates_.take(setup_.now());
  return fix ? std::optional(Json{{"do", "location"}, {"to", *fix}}) : std::nullopt;
}

void PhoneDevice::automate() {
  const auto note = [this](const std::string& why) {
    diagnostics_ << "note: the device could not do by itself what it was set to do: " << why
                 << '\n';
  };
  try {
    while (const auto step = automaticStep()) {
      const auto played = play(*step, 0);
      if (played) continue;
      note(played.error().message);
      break;
    }
  } catch (const std::exception& thrown) {
    note(thrown.what());
  }
  finishWork();
}

/// Reports the callbacks that nobody will ever call. While jobs are left, one that was replaced may
/// have its answer yet.
void PhoneDevice::reportClosed() {
  if (!session_) return;
  const bool hasEnded = !session_->checkProcess();
  if (!hasEnded && (isUnsettled_ || session_->waitingFor())) return;
  const auto& callbacks = session_->device().container.callbacks();
  for (const auto& callback : callbacks.open()) {
    using enum script::PendingReason::Code;
    const auto reason = session_->pendingReason(*callback).code;
    const bool isLost =
        reason == replaced || reason == released || reason == dropped || reason == killed;
    if (!hasEnded && !isLost) continue;
    if (!closed_.insert(callback.get()).second) continue;
    const auto by = hasEnded || reason != replaced ? nullptr : callbacks.replacementOf(*callback);
    messages_.sendClosed(callback->name(), by ? by->name() : std::string(),
                         hasEnded ? nameOf(ErrorCode::processEnded) : script::nameOf(reason));
  }
}

void PhoneDevice::finishWork() {
  reportClosed();
  sendState();
  if (!diagnostics_.view().empty())
    setup_.onDiagnostic(std::exchange(diagnostics_, std::ostringstream()).str());
}

void PhoneDevice::sendState() {
  Json automatic = {{"automation", updates_.automation() == Automation::on ? "on" : "off"},
                    {"prompts", answers_.toJson()},
                    {"locationUpdates", updates_.toJson()}};
  messages_.sendState(state_.message(session_.get(), broken_, clockMode_, library_.version(),
                                     recording_, std::move(automatic)));
}

}  // namespace vecamera::simulator
