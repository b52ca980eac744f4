#include "device/script/play/PlaySession.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <sstream>
#include <thread>

#include "device/camera/PickerInfo.h"
#include "device/media/SceneMovie.h"
#include "device/script/json/JsonValue.h"
#include "device/script/json/StrictJson.h"
#include "device/script/play/EventWriter.h"
#include "device/script/play/PendingReason.h"

namespace vecamera::device::script {

using Clock = std::chrono::steady_clock;

/// Keeps what the reasons of open callbacks depend on, and the time that exports take.
class PlayerEvents : public EventWriter {
 public:
  PlayerEvents(EventSink sink, const PlayOptions& options, std::ostream& diagnostics)
      : EventWriter(std::move(sink)), options_(options), diagnostics_(diagnostics) {}
  void answerRefused(const container::Callback& callback) override {
    diagnostics_ << "fault: the callback " << inQuotes(callback.name())
                 << " was answered again; the container refused that answer\n";
  }
  void presented(const UIViewController& controller, bool animated) override {
    const bool isPicker = dynamic_cast<const UIImagePickerController*>(&controller) != nullptr;
    (isPicker ? history.hasPresentedPicker : history.hasPresentedAlert) = true;
    EventWriter::presented(controller, animated);
  }
  void openedURL(const URL& url) override {
    history.settings = CommandHistory::Settings::opened;
    EventWriter::openedURL(url);
  }
  void onSettingsUnavailable() override {
    history.settings = CommandHistory::Settings::unavailable;
  }
  void onExportProgress(float progress) override {
    latestProgress = Clock::now();
    if (options_.onExportProgress) options_.onExportProgress(progress);
  }
  bool isInterrupted() override { return takesTooLong() || wasStopped(); }
  void onExportFailed(const NSError& error) override {
    diagnostics_ << "note: the movie's export failed: " << error.localizedDescription() << '\n';
  }
  bool wasStopped() const { return options_.isInterrupted && options_.isInterrupted(); }
  bool takesTooLong() const { return Clock::now() - latestProgress >= options_.limit; }

  /// Of the latest `takePicture`.
  CommandHistory history;
  /// When the settling began, or an export last made progress: a movie takes its time.
  Clock::time_point latestProgress = Clock::now();

 private:
  const PlayOptions options_;
  std::ostream& diagnostics_;
};

namespace {

using Played = Result<void, ScriptError>;

std::optional<Data> readWholeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return Data(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {}));
}

std::string secondsText(std::chrono::milliseconds duration) {
  std::ostringstream text;
  text << std::chrono::duration<double>(duration).count() << " s";
  return text.str();
}

/// Carries out the steps of a script.
class Steps {
 public:
  Steps(ScriptedDevice& device, PlayerEvents& events, std::ostream& diagnostics)
      : device_(device), events_(events), diagnostics_(diagnostics) {}

  Played play(const Step& step) {
    return std::visit([this](const auto& one) { return this->step(one); }, step);
  }

 private:
  /// Calls the selector on the container's command thread, before anything else runs.
  Played perform(const std::string& selector, Array arguments, bool reports) {
    const auto refused = std::make_shared<Played>();
    auto& command = device_.lanes.command();
    command.post([&device = device_, &events = events_, selector, arguments = std::move(arguments),
                  reports, refused] {
      const auto result = device.container.perform(selector, arguments);
      if (const auto* refusal = std::get_if<container::Container::Refusal>(&result))
        *refused = failed(refusal->why);
      else if (reports)
        events.write({{"event", "returned"},
                      {"selector", selector},
                      {"value", toJson(std::get<Value>(result))}});
    });
    if (!device_.lanes.isWaiting(command)) device_.lanes.stepOnly(command);
    return *refused;
  }

  Played performCommand(const std::string& selector, const std::string& name, Array arguments) {
    if (!device_.container.plugin())
      return failed("there is no plug-in object; a \"create\" step makes one");
    return perform(selector,
                   {Value(device_.container.makeCallback(name, selector, std::move(arguments)))},
                   false);
  }

  Played step(const TakePictureStep& step) {
    events_.history = {};
    return performCommand("takePicture:", step.as, step.arguments);
  }

  Played step(const CleanupStep& step) { return performCommand("cleanup:", step.as, {}); }

  Played step(const CaptureStep& step) {
    const auto picker = device_.screen.picker();
    if (!picker || picker->sourceType() != UIImagePickerControllerSourceType::camera)
      return failed("there is no camera picker on screen");
    Dictionary info;
    if (step.media == CaptureStep::Media::movie) {
      if (!takes(*picker, kUTTypeMovie, step.info))
        return failed("the camera on screen takes no movies");
      std::string file = step.file.string();
      if (file.empty())
        if (auto recorded = recordScene(*picker, step.seconds, file); !recorded) return recorded;
      info = camera::movieInfo(device_.urls.fileURLWithPath(file));
    } else {
      if (!takes(*picker, kUTTypeImage, step.info))
        return failed("the camera on screen takes no photos");
      const auto photo = readWholeFile(step.file);
      if (!photo) return failed("the photo " + step.file.string() + " cannot be read");
      const auto edit = editOn(*picker, step.crop);
      device_.camera.pointAt(picker->cameraDevice(), *photo);
      info = device_.camera.capture(device_.images, picker->cameraDevice(), edit);
      noteMissedCrop(edit, info);
      if (!step.metadata) info.erase(std::string(UIImagePickerControllerMediaMetadata));
    }
    return finish(picker, std::move(info), step.info);
  }

  Played step(const PickStep& step) {
    const auto picker = device_.screen.picker();
    if (!picker || picker->sourceType() == UIImagePickerControllerSourceType::camera)
      return failed("there is no library picker on screen");
    const auto asset = device_.photoLibrary.assetWithIdentifier(step.asset);
    if (!asset) return failed("the photo library has no asset " + inQuotes(step.asset));
    const auto file = device_.base.store->originalFile(step.asset);
    if (!file) return failed(file.error().text);
    Dictionary info;
    if (asset->record().type == PHAssetResourceType::video) {
      if (!takes(*picker, kUTTypeMovie, step.info))
        return failed("the library on screen shows no movies");
      info = camera::movieInfo(device_.urls.fileURLWithPath(file->string()));
    } else {
      const auto original = device_.base.store->readOriginal(step.asset);
      if (!original) return failed(original.error().text);
      const auto edit = editOn(*picker, step.crop);
      info = camera::pictureInfo(device_.images, *original, edit);
      noteMissedCrop(edit, info);
    }
    if (step.referenceURL)
      info.emplace(UIImagePickerControllerReferenceURL, URL(photos::referenceURLText(*asset)));
    if (step.phAsset) info.emplace(UIImagePickerControllerPHAsset, asset);
    return finish(picker, std::move(info), step.info);
  }

  Played step(const CancelStep&) {
    const auto picker = device_.screen.picker();
    if (!picker) return failed("there is no picker on screen");
    if (const auto delegate = picker->delegate()) delegate->imagePickerControllerDidCancel(picker);
    return {};
  }

  Played step(const TapStep& step) {
    const auto alert = device_.screen.alert();
    if (!alert) return failed("there is no alert on screen");
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

  Played step(const AnswerStep& step) {
    const auto permission = permissionOf(step.prompt);
    if (!device_.screen.prompts().contains(permission))
      return failed("there is no system prompt for " +
                    inQuotes(std::string(container::nameOf(permission))) + " on screen");
    switch (step.prompt) {
      case AnswerStep::Prompt::camera:
        device_.cameraPermission.decide(step.allow ? AVAuthorizationStatus::authorized
                                                   : AVAuthorizationStatus::denied);
        break;
      case AnswerStep::Prompt::photoLibrary:
        device_.photoPermission.decide(step.photoLibrary);
        break;
      case AnswerStep::Prompt::location:
        device_.locationPermission.decide(step.allow ? location::LocationAuthorization::authorized
                                                     : location::LocationAuthorization::denied);
        break;
    }
    return {};
  }

  Played step(const LocationStep& step) {
    std::optional<CLLocation> fix;
    if (step.fix) fix = device_.locationOf(*step.fix);
    device_.location.update(fix);
    return {};
  }

  Played step(const AuthorizeStep& step) {
    if (step.camera) device_.cameraPermission.decide(*step.camera);
    if (step.photoLibrary) device_.photoPermission.decide(*step.photoLibrary);
    if (step.location) {
      const bool wasAllowed =
          device_.locationPermission.status() == location::LocationAuthorization::authorized;
      device_.locationPermission.decide(*step.location);
      if (!wasAllowed) device_.location.allowed();
    }
    return {};
  }

  Played step(const ViewControllerStep& step) {
    device_.setViewController(step.to);
    return {};
  }

  Played step(const UrlTransformerStep& step) {
    device_.setUrlTransformer(step.to);
    return {};
  }

  Played step(const FaultsStep& step) {
    device_.faults.set(step.to);
    return {};
  }

  Played step(const CallStep& step) {
    return perform(step.selector, step.argument ? Array{*step.argument} : Array{}, true);
  }

  Played step(const AdvanceStep& step) {
    if (!device_.base.manualClock)
      return failed("the clock runs by itself; give device.clock to make it stand still");
    // Beyond these years dates cannot be written any more.
    using namespace std::chrono;
    constexpr Date first = sys_days(year(1) / January / 1);
    constexpr Date end = sys_days(year(10000) / January / 1);
    const auto then = device_.base.clock->now() + step.by;
    if (then < first || then >= end) return failed("the clock would leave the years 1 to 9999");
    device_.base.manualClock->advance(step.by);
    return {};
  }

  Played step(const RemoveStep& step) {
    const auto path = device_.base.temporaryDirectory + "/" + step.file;
    if (const auto error = device_.files.removeItemAtPath(path))
      return failed(error->localizedDescription());
    return {};
  }

  Played step(const AddAssetStep& step) {
    const auto added =
        device_.base.store->importFile({step.file, step.id}, device_.base.clock->now());
    if (!added) return failed(added.error().text);
    return {};
  }

  Played step(const RemoveAssetStep& step) {
    if (const auto error = device_.base.store->remove(step.asset)) return failed(error->text);
    return {};
  }

  Played step(const ReleaseStep&) {
    device_.container.release();
    return {};
  }

  Played step(const CreateStep&) {
    device_.createPlugin();
    return {};
  }

  Played step(const StateStep&) {
    const auto& plugin = device_.container.plugin();
    if (!plugin) return failed("there is no plug-in object; a \"create\" step makes one");
    const auto seen = plugin->inspect();
    const auto callback = std::dynamic_pointer_cast<container::Callback>(seen.currentCallBack);
    events_.write({{"event", "state"},
                   {"hasPendingOperation", seen.hasPendingOperation},
                   {"currentCallBack", callback ? Json(callback->name()) : Json()},
                   {"pickerController", seen.pickerController != nullptr},
                   {"data", seen.data ? Json(seen.data->size()) : Json()},
                   {"metadata", seen.metadata ? toJson(Value(*seen.metadata)) : Json()},
                   {"locationManager", seen.hasLocationManager},
                   {"webView", plugin->webView() != nullptr},
                   {"viewController", plugin->viewController() != nullptr},
                   {"usesGeolocation", plugin->usesGeolocation()}});
    return {};
  }

  Played step(const FilesStep&) {
    const std::string directory = device_.base.temporaryDirectory;
    std::set<std::string> names;
    if (const auto entries = device_.files.enumeratorAtPath(directory)) {
      while (const auto entry = entries->nextObject()) {
        const std::string name = *entry->text();
        std::error_code ignored;
        const bool isFolder = std::filesystem::is_directory(
            std::filesystem::symlink_status(directory + "/" + name, ignored));
        names.insert(isFolder ? name + "/" : name);
      }
    }
    events_.write({{"event", "files"}, {"names", names}});
    return {};
  }

  Played step(const LibraryStep&) {
    const auto records = device_.base.store->list();
    if (!records) return failed(records.error().text);
    Json assets = Json::array();
    for (const auto& record : *records)
      assets.push_back({{"id", record.identifier},
                        {"type", record.type == PHAssetResourceType::video ? "video" : "photo"},
                        {"bytes", record.byteCount},
                        {"width", record.width},
                        {"height", record.height},
                        {"format", photos::formatName(record)}});
    events_.write({{"event", "library"}, {"assets", assets}});
    return {};
  }

  /// A script that sets the media type itself knows what it does.
  static bool takes(const UIImagePickerController& picker, std::string_view type,
                    const Dictionary& changes) {
    if (changes.contains(UIImagePickerControllerMediaType)) return true;
    const auto& types = picker.mediaTypes();
    return std::find(types.begin(), types.end(), type) != types.end();
  }

  /// The camera's own movie, upright only when it is turned, as a phone stores it.
  Played recordScene(const UIImagePickerController& picker, double seconds, std::string& file) {
    media::SceneMovie scene;
    scene.seconds = seconds;
    scene.seed = static_cast<std::uint32_t>(picker.cameraDevice() + 1);
    scene.rotationDegrees = 90;
    const std::string folder = device_.base.recordings->path();
    file = folder + "/" + std::to_string(device_.recordedScenes++) + ".mov";
    const auto error =
        media::generateSceneMovie(file, scene, [&events = events_] { return events.wasStopped(); });
    if (error) return failed(events_.wasStopped() ? "interrupted" : error->localizedDescription());
    return {};
  }

  static container::Permission permissionOf(AnswerStep::Prompt prompt) {
    switch (prompt) {
      case AnswerStep::Prompt::camera: return container::Permission::camera;
      case AnswerStep::Prompt::photoLibrary: return container::Permission::photoLibrary;
      case AnswerStep::Prompt::location: return container::Permission::location;
    }
    return container::Permission::camera;
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

  /// The user uses what was taken or picked, after the script has had its say about the info.
  Played finish(const std::shared_ptr<UIImagePickerController>& picker, Dictionary info,
                const Dictionary& changes) {
    for (const auto& [key, value] : changes) {
      if (value.isNull())
        info.erase(key);
      else
        info.insert_or_assign(key, value);
    }
    if (const auto delegate = picker->delegate())
      delegate->imagePickerControllerDidFinishPickingMediaWithInfo(picker, std::move(info));
    return {};
  }

  ScriptedDevice& device_;
  PlayerEvents& events_;
  std::ostream& diagnostics_;
};

}  // namespace

PlaySession::PlaySession(const PlayOptions& options, EventSink sink, std::ostream& diagnostics)
    : options_(options),
      diagnostics_(diagnostics),
      events_(std::make_unique<PlayerEvents>(
          [this, sink = std::move(sink)](const Json& event) {
            if (isReporting_) sink(event);
          },
          options, diagnostics)) {}

Result<std::unique_ptr<PlaySession>, ScriptError> PlaySession::make(const DeviceSetup& setup,
                                                                    const PlayOptions& options,
                                                                    EventSink sink,
                                                                    std::ostream& diagnostics) {
  std::unique_ptr<PlaySession> session(new PlaySession(options, std::move(sink), diagnostics));
  auto device = ScriptedDevice::make(setup, *session->events_, session->traceSink());
  if (!device) return std::move(device).failure();
  session->device_ = *std::move(device);
  return session;
}

TraceSink PlaySession::traceSink() const {
  if (!options_.onTrace) return {};
  return [this](const TraceSpan& span) {
    if (isReporting_) options_.onTrace(span);
  };
}

PlaySession::~PlaySession() {
  isReporting_ = false;
}

Result<void, ScriptError> PlaySession::play(const Step& step) {
  return Steps(*device_, *events_, diagnostics_).play(step);
}

Result<void, ScriptError> PlaySession::checkProcess() const {
  const auto& error = device_->lanes.fatalError();
  if (error.empty()) return {};
  return failed("the module ended the process: " + error);
}

Result<void, ScriptError> PlaySession::settle() {
  events_->latestProgress = Clock::now();
  for (;;) {
    if (auto checked = checkProcess(); !checked) return checked;
    const bool moved = device_->lanes.step() || device_->lanes.retryWaiting();
    if (!moved && !device_->lanes.anyWaiting()) return {};
    if (events_->wasStopped()) return failed("interrupted");
    if (events_->takesTooLong()) {
      const auto waiting = waitingFor();
      return failed("not settled in " + secondsText(options_.limit) +
                    (waiting ? ": " + *waiting : std::string()));
    }
    // Only the world outside can free the name that the module waits for.
    if (!moved) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

Result<void, ScriptError> PlaySession::runReadyJobs() {
  events_->latestProgress = Clock::now();
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

std::string PlaySession::pendingReason(const container::Callback& callback) const {
  return script::pendingReason(callback, *device_, events_->history);
}

void PlaySession::reportOpenCallbacks() {
  for (const auto& callback : device_->container.ledger().open())
    events_->write(
        {{"event", "open"}, {"callback", callback->name()}, {"why", pendingReason(*callback)}});
}

void PlaySession::reportFailure(std::size_t step, const ScriptError& error) {
  events_->write({{"event", "failed"}, {"step", step}, {"why", error.message()}});
}

}  // namespace vecamera::device::script
