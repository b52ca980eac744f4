#include "device/script/play/PlaySession.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <thread>

#include "device/camera/PickerInfo.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/media/SceneMovie.h"
#include "device/script/play/EventWriter.h"

namespace vecamera::device::script {
namespace {

std::string secondsText(std::chrono::milliseconds duration) {
  std::ostringstream text;
  text << std::chrono::duration<double>(duration).count() << " s";
  return text.str();
}

/// Whether the step is for an app that runs.
template <class T>
constexpr bool needsRunningApp = std::disjunction_v<
    std::is_same<T, CommandStep>, std::is_same<T, CaptureStep>, std::is_same<T, PickStep>,
    std::is_same<T, CancelStep>, std::is_same<T, TapStep>, std::is_same<T, AnswerStep>,
    std::is_same<T, CallStep>, std::is_same<T, ReleaseStep>, std::is_same<T, CreateStep>,
    std::is_same<T, ContinueStep>, std::is_same<T, DropStep>, std::is_same<T, KillStep>,
    std::is_same<T, StateStep>>;

class Steps {
 public:
  /// Nothing is reported while `isReporting` is false.
  Steps(ScriptedDevice& device, EventWriter& events, std::ostream& diagnostics,
        const std::function<void()>& onKill, bool& isReporting)
      : device_(device),
        events_(events),
        diagnostics_(diagnostics),
        onKill_(onKill),
        isReporting_(isReporting) {}

  ScriptResult<> play(const Step& step) {
    return std::visit(
        [this]<class T>(const T& one) -> ScriptResult<> {
          if (needsRunningApp<T> && !device_.isAppRunning())
            return failed("the app is not running; a \"launch\" step starts it");
          if constexpr (std::is_same_v<decltype(this->step(one)), ScriptResult<>>) {
            return this->step(one);
          } else {
            this->step(one);
            return {};
          }
        },
        step);
  }

 private:
  /// Calls the selector on the container's command thread, before anything else runs.
  ScriptResult<> perform(const std::string& selector, Array arguments,
                         std::function<void(const Value&)> onReturned = {}) {
    const auto refused = std::make_shared<ScriptResult<>>();
    auto& command = device_.lanes.command();
    command.post([&device = device_, selector, arguments = std::move(arguments),
                  onReturned = std::move(onReturned), refused] {
      const auto result = device.container.perform(selector, arguments);
      if (!result)
        *refused = failed(result.error().message);
      else if (onReturned)
        onReturned(*result);
    });
    if (!device_.lanes.isInJob(command)) device_.lanes.stepOnly(command);
    return *refused;
  }

  ScriptResult<> step(const CommandStep& step) {
    if (!device_.container.plugin())
      return failed("there is no plug-in object; a \"create\" step makes one");
    if (step.command == "takePicture") events_.history = {};
    const std::string selector = step.command + ":";
    return perform(selector,
                   {Value(device_.container.makeCallback(step.as, selector, step.arguments))});
  }

  ScriptResult<> step(const CaptureStep& step) {
    const auto picker = device_.screen.picker();
    if (!picker || picker->sourceType() != UIImagePickerControllerSourceType::camera)
      return failed("there is no camera picker on screen" + whatIsOnScreen());
    Dictionary info;
    if (step.media == CaptureStep::Media::movie) {
      if (!takes(*picker, kUTTypeMovie, step.info))
        return failed("the camera on screen takes no movies");
      const auto file = step.file.empty() ? recordScene(*picker, step.seconds)
                                          : ScriptResult<std::string>(step.file.string());
      if (!file) return file.failure();
      info = camera::movieInfo(device_.urls.fileURLWithPath(*file));
    } else {
      if (!takes(*picker, kUTTypeImage, step.info))
        return failed("the camera on screen takes no photos");
      const auto photo =
          step.photo ? foundation::FileResult<Data>(*step.photo) : foundation::readFile(step.file);
      if (!photo) return failed("the photo " + step.file.string() + " cannot be read");
      const auto edit = editOn(*picker, step.crop);
      device_.camera.pointAt(picker->cameraDevice(), *photo);
      info = device_.camera.capture(device_.images, picker->cameraDevice(), edit);
      noteMissedCrop(edit, info);
      if (!step.metadata) info.erase(std::string(UIImagePickerControllerMediaMetadata));
    }
    finish(picker, std::move(info), step.info);
    return {};
  }

  ScriptResult<> step(const PickStep& step) {
    const auto picker = device_.screen.picker();
    if (!picker || picker->sourceType() == UIImagePickerControllerSourceType::camera)
      return failed("there is no library picker on screen" + whatIsOnScreen());
    const auto asset = device_.photoLibrary.assetWithIdentifier(step.asset);
    if (!asset) return failed("the photo library has no asset " + inQuotes(step.asset));
    const auto file = device_.environment.store->originalFile(step.asset);
    if (!file) return failed(file.error().message);
    Dictionary info;
    if (asset->record().type == PHAssetResourceType::video) {
      if (!takes(*picker, kUTTypeMovie, step.info))
        return failed("the library on screen shows no movies");
      info = camera::movieInfo(device_.urls.fileURLWithPath(file->string()));
    } else {
      const auto original = device_.environment.store->readOriginal(step.asset);
      if (!original) return failed(original.error().message);
      const auto edit = editOn(*picker, step.crop);
      info = camera::pictureInfo(device_.images, *original, edit);
      noteMissedCrop(edit, info);
    }
    if (step.referenceURL)
      info.emplace(UIImagePickerControllerReferenceURL, URL(photos::referenceURLText(*asset)));
    if (step.phAsset) info.emplace(UIImagePickerControllerPHAsset, asset);
    finish(picker, std::move(info), step.info);
    return {};
  }

  ScriptResult<> step(const CancelStep&) {
    const auto picker = device_.screen.picker();
    if (!picker) return failed("there is no picker on screen" + whatIsOnScreen());
    if (const auto delegate = picker->delegate()) delegate->imagePickerControllerDidCancel(picker);
    return {};
  }

  ScriptResult<> step(const TapStep& step) {
    const auto alert = device_.screen.alert();
    if (!alert) return failed("there is no alert on screen" + whatIsOnScreen());
    std::string offered;
    for (const auto& action : alert->actions()) {
      if (action.title == step.action) {
        if (action.handler) action.handler(alert);
        return {};
      }
      offered += (offered.empty() ? "" : ", ") + inQuotes(action.title);
    }
    return failed("the alert on screen has no action " + inQuotes(step.action) + "; it offers " +
                  offered);
  }

  ScriptResult<> step(const AnswerStep& step) {
    if (!device_.screen.prompts().contains(step.prompt))
      return failed("there is no system prompt for " + inQuotes(container::nameOf(step.prompt)) +
                    " on screen" + whatIsOnScreen());
    switch (step.prompt) {
      case container::Permission::camera:
        device_.cameraPermission.decide(step.allow ? AVAuthorizationStatus::authorized
                                                   : AVAuthorizationStatus::denied);
        break;
      case container::Permission::photoLibrary:
        device_.photoPermission.decide(step.photoLibrary);
        break;
      case container::Permission::location:
        device_.locationPermission.decide(step.allow ? location::LocationAuthorization::authorized
                                                     : location::LocationAuthorization::denied);
        break;
    }
    return {};
  }

  void step(const LocationStep& step) {
    std::optional<CLLocation> fix;
    if (step.fix) fix = device_.locationOf(*step.fix);
    device_.location.update(fix);
  }

  void step(const AuthorizeStep& step) {
    if (step.camera) device_.cameraPermission.decide(*step.camera);
    if (step.photoLibrary) device_.photoPermission.decide(*step.photoLibrary);
    if (step.location) {
      const bool wasAllowed =
          device_.locationPermission.status() == location::LocationAuthorization::authorized;
      device_.locationPermission.decide(*step.location);
      if (!wasAllowed) device_.location.deliverFix();
    }
  }

  void step(const ViewControllerStep& step) { device_.setViewController(step.to); }

  void step(const UrlTransformerStep& step) { device_.setUrlTransformer(step.to); }

  void step(const FaultsStep& step) { device_.faults.set(step.to); }

  ScriptResult<> step(const CallStep& step) {
    return perform(
        step.selector, step.argument ? Array{*step.argument} : Array{},
        [&events = events_, selector = step.selector](const Value& value) {
          events.write({{"event", "returned"}, {"selector", selector}, {"value", toJson(value)}});
        });
  }

  ScriptResult<> step(const AdvanceStep& step) {
    if (!device_.environment.manualClock)
      return failed("the clock runs by itself; give device.clock to make it stand still");
    // Beyond these years dates cannot be written any more.
    using namespace std::chrono;
    constexpr Date first = sys_days(year(1) / January / 1);
    constexpr Date end = sys_days(year(10000) / January / 1);
    const auto then = device_.environment.clock->now() + step.by;
    if (then < first || then >= end) return failed("the clock would leave the years 1 to 9999");
    device_.environment.manualClock->advance(step.by);
    device_.holds.continueDue();
    return {};
  }

  ScriptResult<> step(const RemoveStep& step) {
    const auto path = device_.environment.temporaryDirectory + "/" + step.file;
    if (const auto error = device_.files.removeItemAtPath(path))
      return failed(error->localizedDescription());
    return {};
  }

  ScriptResult<> step(const AddAssetStep& step) {
    const auto added = device_.environment.store->importFile({step.file, step.id},
                                                             device_.environment.clock->now());
    if (!added) return failed(added.error().message);
    return {};
  }

  ScriptResult<> step(const RemoveAssetStep& step) {
    const auto removed = device_.environment.store->remove(step.asset);
    if (!removed) return failed(removed.error().message);
    return {};
  }

  void step(const ReleaseStep&) { device_.container.release(); }

  void step(const CreateStep&) { device_.createPlugin(); }

  void step(const HoldStep& step) { device_.holds.set(step); }

  ScriptResult<> step(const ContinueStep&) {
    return device_.holds.continueAll() ? ScriptResult<>() : failed("nothing is held");
  }

  ScriptResult<> step(const DropStep&) {
    return device_.holds.dropAll() ? ScriptResult<>() : failed("nothing is held");
  }

  void step(const KillStep&) {
    isReporting_ = false;
    device_.killApp(onKill_);
    isReporting_ = true;
    events_.write({{"event", "killed"}});
  }

  ScriptResult<> step(const LaunchStep&) {
    if (device_.isAppRunning()) return failed("the app is running");
    device_.launchApp();
    events_.write({{"event", "launched"}});
    return {};
  }

  ScriptResult<> step(const StateStep&) {
    const auto& plugin = device_.container.plugin();
    if (!plugin) return failed("there is no plug-in object; a \"create\" step makes one");
    const auto seen = plugin.inspect();
    const auto& usesGeolocation = *plugin.target->operationForSelector("usesGeolocation");
    const auto callback = std::dynamic_pointer_cast<container::Callback>(seen.currentCallBack);
    events_.write({{"event", "state"},
                   {"hasPendingOperation", seen.hasPendingOperation},
                   {"currentCallBack", callback ? Json(callback->name()) : Json()},
                   {"pickerController", seen.pickerController != nullptr},
                   {"data", seen.data ? Json(seen.data->size()) : Json()},
                   {"metadata", seen.metadata ? toJson(Value(*seen.metadata)) : Json()},
                   {"locationManager", seen.hasLocationManager},
                   {"webView", plugin.protocol->webView() != nullptr},
                   {"viewController", plugin.protocol->viewController() != nullptr},
                   {"usesGeolocation", toJson(usesGeolocation({}))}});
    return {};
  }

  void step(const FilesStep&) {
    const std::string directory = device_.environment.temporaryDirectory;
    std::set<std::string> names;
    Json media = Json::object();
    if (const auto entries = device_.files.enumeratorAtPath(directory)) {
      while (const auto entry = entries->nextObject()) {
        const std::string name = *entry->text();
        std::error_code ignored;
        const bool isFolder = std::filesystem::is_directory(
            std::filesystem::symlink_status(directory + "/" + name, ignored));
        names.insert(isFolder ? name + "/" : name);
      }
    }
    for (const auto& name : names)
      if (auto found = EventMedia::ofFile(directory + "/" + name)) media[name] = *std::move(found);
    Json event{{"event", "files"}, {"names", names}};
    if (!media.empty()) event["media"] = std::move(media);
    events_.write(event);
  }

  ScriptResult<> step(const LibraryStep&) {
    const auto records = device_.environment.store->list();
    if (!records) return failed(records.error().message);
    Json assets = Json::array();
    for (const auto& record : *records) assets.push_back(assetToJson(record));
    events_.write({{"event", "library"}, {"assets", assets}});
    return {};
  }

  /// What the user sees in place of what a step needs; the end of a message.
  std::string whatIsOnScreen() const {
    std::string seen;
    const auto add = [&seen](const std::string& what) {
      seen += (seen.empty() ? "; on screen is " : ", and ") + what;
    };
    for (const auto prompt : device_.screen.prompts())
      add("the system prompt for " + inQuotes(container::nameOf(prompt)));
    if (const auto alert = device_.screen.alert())
      add("the alert " + inQuotes(alert->title().empty() ? alert->message() : alert->title()));
    if (const auto picker = device_.screen.picker())
      add(picker->sourceType() == UIImagePickerControllerSourceType::camera ? "the camera picker"
                                                                            : "the library picker");
    return seen.empty() ? "; nothing is on screen" : seen;
  }

  /// Whether the picker offers the type. A script that sets the media type itself is not checked.
  static bool takes(const UIImagePickerController& picker, std::string_view type,
                    const Dictionary& changes) {
    if (changes.contains(UIImagePickerControllerMediaType)) return true;
    const auto& types = picker.mediaTypes();
    return std::find(types.begin(), types.end(), type) != types.end();
  }

  /// The path of a new movie of the camera's own. Its frames are stored rotated, as a phone does.
  ScriptResult<std::string> recordScene(const UIImagePickerController& picker, double seconds) {
    const media::SceneMovie scene = {.seconds = seconds,
                                     .seed = static_cast<std::uint32_t>(picker.cameraDevice() + 1),
                                     .rotationDegrees = 90};
    auto file = device_.environment.recordings->path() + "/" +
                std::to_string(device_.recordedScenes++) + ".mov";
    const auto recorded =
        media::generateSceneMovie(file, scene, [&events = events_] { return events.wasStopped(); });
    if (!recorded)
      return failed(events_.wasStopped() ? "interrupted" : recorded.error().localizedDescription());
    return file;
  }

  /// The edit step is there only where the picker offers it.
  camera::PickerEdit editOn(const UIImagePickerController& picker,
                            const std::optional<CGRect>& crop) {
    if (crop && !picker.allowsEditing())
      diagnostics_ << "note: the picker offers no edit step, so \"crop\" is not applied\n";
    return {picker.allowsEditing() ? crop : std::nullopt};
  }

  void noteMissedCrop(const camera::PickerEdit& edit, const Dictionary& info) {
    if (edit.crop && !info.contains(UIImagePickerControllerEditedImage))
      diagnostics_ << "note: \"crop\" lies outside of the picture, so nothing was edited\n";
  }

  /// Applies the script's changes to the info and hands it to the picker's delegate.
  void finish(const std::shared_ptr<UIImagePickerController>& picker, Dictionary info,
              const Dictionary& changes) {
    for (const auto& [key, value] : changes) {
      if (value.isNull())
        info.erase(key);
      else
        info.insert_or_assign(key, value);
    }
    if (const auto delegate = picker->delegate())
      delegate->imagePickerControllerDidFinishPickingMediaWithInfo(picker, std::move(info));
  }

  ScriptedDevice& device_;
  EventWriter& events_;
  std::ostream& diagnostics_;
  const std::function<void()>& onKill_;
  bool& isReporting_;
};

}  // namespace

PlaySession::PlaySession(const PlayOptions& options, EventSink sink, std::ostream& diagnostics)
    : options_(options),
      diagnostics_(diagnostics),
      events_(std::make_unique<EventWriter>(
          [this, sink = std::move(sink)](const Json& event) {
            if (isReporting_) sink(event);
          },
          options, diagnostics)) {}

ScriptResult<std::unique_ptr<PlaySession>> PlaySession::make(const DeviceSetup& setup,
                                                             const PlayOptions& options,
                                                             EventSink sink,
                                                             std::ostream& diagnostics) {
  std::unique_ptr<PlaySession> session(new PlaySession(options, std::move(sink), diagnostics));
  TraceSink trace;
  if (options.onTrace)
    trace = [reporting = session.get()](const TraceSpan& span) {
      if (reporting->isReporting_) reporting->options_.onTrace(span);
    };
  auto device =
      ScriptedDevice::make(setup, *session->events_, options.makePlugin, std::move(trace));
  if (!device) return std::move(device).failure();
  session->device_ = *std::move(device);
  session->events_->readMediaOf(*session->device_->environment.store);
  return session;
}

PlaySession::~PlaySession() {
  isReporting_ = false;
}

/// The name of the callback whose command the step's work is done for. The user's steps, and those
/// of the world outside, go to the plug-in's current callback as long as it is open.
std::string PlaySession::purposeOf(const Step& step) const {
  if (const auto* command = std::get_if<CommandStep>(&step)) return command->as;
  const bool isQuestion = std::holds_alternative<StateStep>(step) ||
                          std::holds_alternative<FilesStep>(step) ||
                          std::holds_alternative<LibraryStep>(step);
  const auto& plugin = device_->container.plugin();
  if (isQuestion || !plugin) return {};
  const auto current =
      std::dynamic_pointer_cast<container::Callback>(plugin.inspect().currentCallBack);
  return current && !current->answer() ? current->name() : std::string();
}

ScriptResult<> PlaySession::play(const Step& step) {
  device_->lanes.setPurpose(purposeOf(step));
  return Steps(*device_, *events_, diagnostics_, options_.onKill, isReporting_).play(step);
}

ScriptResult<> PlaySession::checkProcess() const {
  const auto& error = device_->lanes.fatalError();
  if (error.empty()) return {};
  return failed("the module ended the process: " + error);
}

ScriptResult<> PlaySession::settle() {
  events_->latestProgress = EventWriter::Clock::now();
  for (;;) {
    if (auto checked = checkProcess(); !checked) return checked;
    const bool moved = device_->lanes.step() || device_->lanes.retryWaiting();
    const bool isWaiting = device_->lanes.anyWaiting();
    // A clock that stands still is moved by a later step, one that runs by itself makes it due.
    const bool isTimed = !device_->environment.manualClock && device_->holds.nextDue();
    if (!moved && !isWaiting && !isTimed) return {};
    if (!moved && isTimed && device_->holds.continueDue()) continue;
    if (isTimed && !isWaiting) events_->latestProgress = EventWriter::Clock::now();
    if (events_->wasStopped()) return failed("interrupted");
    if (events_->takesTooLong()) {
      const auto waiting = waitingFor();
      return failed("not settled in " + secondsText(options_.limit) +
                    (waiting ? ": " + *waiting : std::string()));
    }
    // Only the world outside can free the name that the module waits for, and only time a hold.
    if (!moved) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

ScriptResult<> PlaySession::runReadyJobs() {
  events_->latestProgress = EventWriter::Clock::now();
  while (device_->lanes.step() || device_->lanes.retryWaiting()) {
    if (events_->wasStopped()) return failed("interrupted");
    if (auto checked = checkProcess(); !checked) return checked;
  }
  return checkProcess();
}

std::optional<std::string> PlaySession::waitingFor() const {
  if (!device_->lanes.anyWaiting()) return std::nullopt;
  return "the module waits until no file " + inQuotes(device_->takenName) + " exists";
}

PendingReason PlaySession::pendingReason(const container::Callback& callback) const {
  return script::pendingReason(callback, *device_, events_->history);
}

void PlaySession::reportOpenCallbacks() {
  for (const auto& callback : device_->container.callbacks().open())
    events_->write(
        {{"event", "open"}, {"callback", callback->name()}, {"why", pendingReason(*callback).why}});
}

void PlaySession::reportFailure(std::size_t step, const ScriptError& error) {
  events_->write({{"event", "failed"}, {"step", step}, {"why", error.description()}});
}

Json assetToJson(const photos::AssetRecord& record) {
  return {{"id", record.identifier},
          {"type", record.type == PHAssetResourceType::video ? "video" : "photo"},
          {"bytes", record.byteCount},
          {"width", record.width},
          {"height", record.height},
          {"format", photos::formatName(record)}};
}

ScriptResult<PlayResult> playScriptAsJson(const Script& script, const PlayOptions& options,
                                          EventSink sink, std::ostream& diagnostics) {
  auto made = PlaySession::make(script.device, options, std::move(sink), diagnostics);
  if (!made) return std::move(made).failure();
  return playSteps(script, **made);
}

PlayResult playSteps(const Script& script, PlaySession& session,
                     const std::function<void(std::size_t)>& onStep) {
  for (std::size_t i = 0; i < script.steps.size(); ++i) {
    if (onStep) onStep(i);
    const auto& each = script.steps[i];
    auto played = session.play(each.step);
    if (played) played = each.settle ? session.settle() : session.checkProcess();
    if (played) continue;
    session.reportFailure(i, played.error());
    return PlayResult::failed;
  }
  if (onStep) onStep(script.steps.size());
  session.reportOpenCallbacks();
  return PlayResult::finished;
}

ScriptResult<PlayResult> playScript(const Script& script, const PlayOptions& options,
                                    const std::function<void(std::string_view)>& onLine,
                                    std::ostream& diagnostics) {
  return playScriptAsJson(
      script, options, [&onLine](const Json& event) { onLine(toLine(event)); }, diagnostics);
}

}  // namespace vecamera::device::script
