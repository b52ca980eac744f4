#include "simulator/server/phone/PhoneDevice.h"

#include <fcntl.h>

#include <array>
#include <cmath>
#include <exception>
#include <utility>

#include "device/foundation/Dates.h"
#include "device/foundation/Urls.h"
#include "device/foundation/files/Folders.h"
#include "device/script/script/ScriptJson.h"
#include "simulator/server/http/Secrets.h"
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
  auto request = parsePhoneRequest(message);
  if (!request) return messages_.sendReply(request.error().id, failed(request.error().message));
  const auto result = carryOut(*request);
  // After a failed restart the state is sent also where it has not changed.
  if (!result && std::holds_alternative<RestartRequest>(request->what)) messages_.forgetState();
  sendState();
  if (!diagnostics_.view().empty())
    setup_.onDiagnostic(std::exchange(diagnostics_, std::ostringstream()).str());
  messages_.sendReply(request->id, result);
}

/// Each request gets a reply, also where a library throws.
ScriptResult<> PhoneDevice::carryOut(PhoneRequest& request) {
  try {
    if (auto* step = std::get_if<StepRequest>(&request.what))
      return play(std::move(step->step), request.bytes);
    const auto* restarted = std::get_if<RestartRequest>(&request.what);
    return restarted != nullptr ? restart(*restarted) : restoreSamples();
  } catch (const std::exception& thrown) {
    return failed(std::string("it cannot be carried out: ") + thrown.what());
  }
}

ScriptResult<> PhoneDevice::restart(const RestartRequest& request) {
  if (auto allowed = checkRequestedPart(request.device); !allowed) return allowed;
  DevicePart part{request.device, setup_.device.serverOwned, Json::array()};
  // It is of this one device: the next one draws other identifiers again.
  if (const auto seed = part.requested.find("seed"); seed != part.requested.end()) {
    part.serverOwned["seed"] = std::move(*seed);
    part.requested.erase("seed");
  }
  std::vector<HeldFile> held;
  if (const auto library = part.requested.find("library"); library != part.requested.end()) {
    part.library = std::move(*library);
    part.requested.erase("library");
    if (!part.library->is_array()) return failed("library", "it must be a list");
    for (auto& asset : *part.library) {
      if (!asset.is_object() || !asset.contains("file"))
        return failed("library", "an asset is an object with \"id\" and \"file\"");
      auto& file = asset["file"];
      if (!file.is_string()) return failed("library", "a \"file\" is a text");
      auto found = media_.hold(file.get_ref<const std::string&>());
      if (!found) return failed("file", found.error().message);
      file = (*found)->string();
      held.push_back(*std::move(found));
    }
  }
  if (const auto script = scriptOf(part); !script) return script.failure();
  if (auto importable = checkAssets(*part.library); !importable) return importable;
  messages_.sendRestarted(part.requested);
  // What nothing has named so far was meant for the device that ends.
  media_.removeUnheld();
  return begin(part, request.oldAssets);
}

ScriptResult<> PhoneDevice::restoreSamples() {
  const auto store = library_.store();
  if (!store) return failed(broken_);
  for (const auto& sample : sampleMedia()) {
    if (store->fetchByIdentifier(sample.identifier)) continue;
    const auto file = media_.add(sample.contents, sample.fileName);
    if (!file) return failed("the samples cannot be written; is the disk full?");
    const Json step = {{"do", "addAsset"}, {"id", sample.identifier}, {"file", *file}};
    if (auto played = play(step, 0); !played) return played;
  }
  return {};
}

ScriptResult<> PhoneDevice::begin(const DevicePart& part, OldAssets oldAssets) {
  session_.reset();
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
  options.onTrace = [this](const script::TraceSpan& span) { messages_.sendTrace(span); };
  options.onExportProgress = [this](float progress) { messages_.sendProgress(progress); };
  const auto onEvent = [this](const Json& event) {
    const auto text = toLine(event);
    state_.onEvent(event, text);
    messages_.sendEvent(text);
  };
  auto session = script::PlaySession::make(setup, options, onEvent, diagnostics_);
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

ScriptResult<> PhoneDevice::play(Json step, std::size_t bytes) {
  if (!session_) return failed("there is no device: " + broken_);
  if (const auto alive = session_->checkProcess(); !alive)
    return failed(alive.error().message + "; restart the device");
  Recording::File file{mediaKeyOf(step), {}};
  if (!file.key.empty()) {
    auto& name = step[file.key];
    auto held = media_.hold(name.get_ref<const std::string&>());
    if (!held) return failed(file.key, held.error().message);
    file.held = *std::move(held);
    name = file.held->string();
  }
  const auto parsed = script::stepFromJson(step, media_.folder(), script::FileScope::folder);
  if (!parsed) return parsed.failure();
  if (auto allowed = checkLimits(parsed->step, bytes); !allowed) return allowed;

  moveClock();
  // What was held until now may have ended the process.
  if (auto alive = session_->checkProcess(); !alive) return alive;
  messages_.setStep(recording_.steps());
  if (auto played = session_->play(parsed->step); !played) return played;
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
  return settled;
}

/// Whether a phone plays what a script may hold.
ScriptResult<> PhoneDevice::checkLimits(const script::Step& step, std::size_t bytes) {
  const auto& limits = setup_.limits;
  const std::array folders = {media_.folder() / "media", fs::path(home_.temporaryDirectory())};
  if (auto allowed = checkFiles(step, folders); !allowed) return allowed;
  const auto* capture = std::get_if<script::CaptureStep>(&step);
  if (capture != nullptr && capture->file.empty() && capture->seconds > limits.sceneSeconds)
    return failed("movie", "the phone makes no movie of its own that is longer than " +
                               std::to_string(std::llround(limits.sceneSeconds)) +
                               " seconds; upload one");
  if (!script::opensCallback(step)) return {};
  if (session_->device().container.callbacks().open().size() >= limits.openCalls)
    return failed(std::to_string(limits.openCalls) + " calls are open already; restart the device");
  if (calls_ >= limits.calls || callBytes_ + bytes > limits.callBytes)
    return failed("the page has made so many calls that the device takes no more; restart it");
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
  sendState();
}

void PhoneDevice::sendState() {
  messages_.sendState(
      state_.message(session_.get(), broken_, clockMode_, library_.version(), recording_));
}

}  // namespace vecamera::simulator
