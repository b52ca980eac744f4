#pragma once

#include <nlohmann/json.hpp>
#include <ostream>

#include "device/script/json/JsonValue.h"
#include "device/script/play/EventMedia.h"
#include "device/script/play/PendingReason.h"
#include "device/script/play/PlaySession.h"

namespace vecamera::device::script {

/// Turns what happens on a scripted device into the events of a script's output. Keeps what the
/// reasons of open callbacks depend on, and the time that exports take.
class EventWriter : public ScriptObserver {
 public:
  using Clock = std::chrono::steady_clock;

  EventWriter(EventSink sink, const PlayOptions& options, std::ostream& diagnostics)
      : sink_(std::move(sink)), options_(options), diagnostics_(diagnostics) {}

  void onAnswered(const container::Callback& callback) override {
    const auto answer = callback.answer();
    if (!answer) return;
    Json event{{"event", "answer"},
               {"to", callback.name()},
               {"result", answer->status ? "error" : "success"}};
    if (answer->status) event["status"] = nameOf(*answer->status);
    if (const auto* message = std::get_if<std::string>(&answer->payload))
      event["message"] = *message;
    if (const auto* data = std::get_if<Dictionary>(&answer->payload))
      event["data"] = toJson(Value(*data));
    event["keepCallback"] = answer->keepCallback;
    const auto* data = std::get_if<Dictionary>(&answer->payload);
    if (data && !answer->status && media_) addMedia(event, media_->ofAnswer(*data));
    write(event);
  }
  void onAnswerRefused(const container::Callback& callback) override {
    diagnostics_ << "fault: the callback " << inQuotes(callback.name())
                 << " was answered again; the container refused that answer\n";
  }
  void onDebugLogged(std::string_view msg) override {
    write({{"event", "log"}, {"level", "debug"}, {"msg", msg}});
  }
  void onErrorLogged(std::string_view tag, std::string_view msg, std::string_view filename,
                     int line, std::string_view funcName) override {
    write({{"event", "log"},
           {"level", "error"},
           {"msg", msg},
           {"tag", tag},
           {"filename", filename},
           {"line", line},
           {"funcName", funcName}});
  }
  void onPrinted(std::string_view line) override { write({{"event", "stdout"}, {"text", line}}); }
  void onPromptShown(container::Permission permission) override {
    write({{"event", "prompt"}, {"for", container::nameOf(permission)}});
  }
  void onPresented(const PresentedViewController& controller, bool animated) override {
    Json event{{"event", "present"}, {"kind", kindOf(controller)}};
    std::visit([&](const auto& presented) { describe(event, *presented); }, controller);
    (isPicker(controller) ? history.hasPresentedPicker : history.hasPresentedAlert) = true;
    event["animated"] = animated;
    write(event);
  }
  void onDismissed(const PresentedViewController& controller, bool animated) override {
    write({{"event", "dismiss"}, {"kind", kindOf(controller)}, {"animated", animated}});
  }
  void onURLOpened(const URL& url) override {
    history.settings = CommandHistory::Settings::opened;
    write({{"event", "openURL"}, {"url", url.absoluteString()}});
  }
  void onSettingsUnavailable() override {
    history.settings = CommandHistory::Settings::unavailable;
  }
  void onLocationManagerCall(std::string_view what) override {
    write({{"event", "location"}, {"manager", what}});
  }
  void onSaved(const photos::SavedAsset& asset) override {
    Json event{{"event", "saved"},
               {"id", asset.id},
               {"type", asset.type},
               {"bytes", asset.bytes},
               {"format", asset.format}};
    if (media_) addMedia(event, media_->ofAsset(asset.id));
    write(event);
  }
  void onUrlTransformed(const URL& from, const URL& to) override {
    if (media_) media_->onUrlTransformed(from, to);
  }
  void onImageDestinationFinalized(std::string_view type, const Dictionary& properties,
                                   std::size_t bytes) override {
    write({{"event", "imageDestination"},
           {"type", type},
           {"properties", toJson(Value(properties))},
           {"bytes", bytes}});
  }
  void onExportProgress(float progress) override {
    latestProgress = Clock::now();
    if (options_.onExportProgress) options_.onExportProgress(progress);
  }
  void onExportFailed(const NSError& error) override {
    diagnostics_ << "note: the movie's export failed: " << error.localizedDescription() << '\n';
  }
  void onHoldChanged(HoldChange change, const Holds::Held& held) override {
    write({{"event", eventOf(change)},
           {"at", nameOf(held.at)},
           {"callback", held.callback ? Json(held.callback->name()) : Json()}});
  }
  bool isCancelled() override { return takesTooLong() || wasStopped(); }
  bool wasStopped() const { return options_.isCancelled && options_.isCancelled(); }
  bool takesTooLong() const { return Clock::now() - latestProgress >= options_.limit; }

  /// From here on, events say what the device's pictures and movies are.
  void readMediaOf(photos::LibraryStore& library) { media_.emplace(library); }

  /// Writes any other event.
  void write(const Json& event) { sink_(event); }

  /// Of the latest `takePicture`.
  CommandHistory history;
  /// When the settling began, or an export last made progress: a movie takes its time.
  Clock::time_point latestProgress = Clock::now();

 private:
  static void addMedia(Json& event, std::optional<Json> media) {
    if (media) event["media"] = *std::move(media);
  }

  static std::string styleName(UIModalPresentationStyle style) {
    switch (style) {
      case UIModalPresentationStyle::fullScreen: return "fullScreen";
      case UIModalPresentationStyle::pageSheet: return "pageSheet";
      case UIModalPresentationStyle::formSheet: return "formSheet";
    }
    return "unknown";
  }

  static std::string_view eventOf(HoldChange change) {
    switch (change) {
      case HoldChange::held: return "held";
      case HoldChange::continued: return "continued";
      case HoldChange::dropped: return "dropped";
    }
    return "unknown";
  }

  static bool isPicker(const PresentedViewController& controller) {
    return std::holds_alternative<std::shared_ptr<UIImagePickerController>>(controller);
  }
  static std::string_view kindOf(const PresentedViewController& controller) {
    return isPicker(controller) ? "picker" : "alert";
  }

  static void describe(Json& event, const UIAlertController& alert) {
    event["title"] = alert.title();
    event["message"] = alert.message();
    event["actions"] = Json::array();
    for (const auto& action : alert.actions()) event["actions"].push_back(action.title);
  }

  static void describe(Json& event, const UIImagePickerController& picker) {
    event["sourceType"] = picker.sourceType();
    event["mediaTypes"] = picker.mediaTypes();
    event["allowsEditing"] = picker.allowsEditing();
    event["cameraDevice"] = picker.cameraDevice();
    event["cameraCaptureMode"] =
        picker.cameraCaptureMode() == UIImagePickerControllerCameraCaptureMode::video ? "video"
                                                                                      : "photo";
    event["modalPresentationStyle"] = styleName(picker.modalPresentationStyle());
  }

  const EventSink sink_;
  const PlayOptions options_;
  std::ostream& diagnostics_;
  std::optional<EventMedia> media_;
};

}  // namespace vecamera::device::script
