#include "device/script/play/PendingReason.h"

#include <algorithm>
#include <initializer_list>

namespace vecamera::device::script {
namespace {

using Source = UIImagePickerControllerSourceType;
using Position = TakePictureArguments::Position;

std::int64_t integerAt(const container::Callback& callback, Position position,
                       std::int64_t otherwise) {
  const auto argument = callback.command().argument(position);
  return argument ? argument->integerValue().value_or(otherwise) : otherwise;
}

/// Whether the argument has the value; `otherwise` stands for one that is missing.
template <class Value>
bool isAt(const container::Callback& callback, Position position, Value value, Value otherwise) {
  return integerAt(callback, position, static_cast<std::int64_t>(otherwise)) ==
         static_cast<std::int64_t>(value);
}

std::int64_t sourceOf(const container::Callback& callback) {
  using enum MediaType;
  const bool isVideo = isAt(callback, Position::media, mediaTypeVideo, mediaTypePicture);
  return sourceToOpen(integerAt(callback, Position::source, Source::camera),
                      isVideo ? mediaTypeVideo : mediaTypePicture);
}

bool asksForLocation(const container::Callback& callback) {
  const auto argument = callback.command().argument(Position::geolocation);
  return argument && argument->booleanValue().value_or(false);
}

std::string buttonsOf(const UIAlertController& alert) {
  std::string buttons;
  for (const auto& action : alert.actions())
    buttons += (buttons.empty() ? "“" : " or “") + action.title + "”";
  return buttons;
}

/// What is still on screen and waits for the user.
std::optional<PendingReason> waitingOnScreen(const ScriptedDevice& device) {
  using Code = PendingReason::Code;
  if (!device.screen.prompts().empty())
    return PendingReason{Code::prompt,
                         "the system prompt for \"" +
                             std::string(container::nameOf(*device.screen.prompts().begin())) +
                             "\" is on screen and has not been answered",
                         "An answer to the system prompt on the phone."};
  if (const auto shown = device.screen.alert())
    return PendingReason{Code::alert,
                         "an alert is on screen and none of its actions has been tapped",
                         "A button of the alert: " + buttonsOf(*shown) + "."};
  const auto shown = device.screen.picker();
  if (!shown) return std::nullopt;
  return PendingReason{
      Code::picker,
      "the picker is on screen: nothing has been used in it, and it has not been cancelled",
      shown->sourceType() == Source::camera
          ? "Taking and using a picture, or backing out of the camera."
          : "Choosing from the library, or backing out of it."};
}

PendingReason heldBackForLocation(const container::Callback& callback,
                                  const ScriptedDevice& device) {
  using Code = PendingReason::Code;
  if (device.location.isRunning()) {
    if (device.locationPermission.status() != location::LocationAuthorization::authorized)
      return {Code::location,
              "the photo is held back for its location, and the user does not allow location; the "
              "plug-in is not notified of a refusal",
              "A location update, once the user allows the location in the settings."};
    return {Code::location,
            "the photo is held back for its location, and no location update has come",
            "A location update."};
  }
  if (isAt(callback, Position::destination, DestinationType::destinationTypeNativeUri,
           DestinationType::destinationTypeNativeUri))
    return {Code::noAnswer,
            "the photo was held back for its location, and then a native URI gets no answer",
            {}};
  if (isAt(callback, Position::encoding, EncodingType::encodingTypePNG,
           EncodingType::encodingTypeJPEG))
    return {Code::noLocationManager,
            "the photo is held back for its location, but a PNG starts no location manager",
            {}};
  return {Code::noLocationManager,
          "the photo is held back for its location, but without a JPEG and its media metadata no "
          "location manager is started",
          {}};
}

/// Why nothing was put on screen for the command.
PendingReason nothingPresented(std::int64_t source, const ScriptedDevice& device) {
  using Code = PendingReason::Code;
  if (source != Source::camera && device.photoPermission.status() == PHAuthorizationStatus::limited)
    return {Code::limited,
            "access to the photo library is limited, which opens no picker and gives no answer",
            {}};
  const auto& plugin = *device.container.plugin().protocol;
  // `dispose` clears both views; a script that takes the view controller away leaves the web view.
  if (!plugin.webView())
    return {Code::viewController,
            "the plug-in was disposed before it could present anything: it had no view controller",
            {}};
  if (!plugin.viewController())
    return {Code::viewController, "the plug-in has no view controller to present anything on", {}};
  return {Code::viewController,
          "the plug-in had no view controller when it was to present something",
          {}};
}

std::string_view stageOf(HoldPoint point) {
  switch (point) {
    case HoldPoint::picker: return "before the picker is presented";
    case HoldPoint::encoding: return "before its picture is encoded or its movie exported";
    case HoldPoint::answer: return "before the answer";
  }
  return "unknown";
}

/// Where the command is held, or was dropped, of the points in question; else nothing.
std::optional<PendingReason> heldOrDropped(const container::Callback& callback,
                                           const ScriptedDevice& device,
                                           std::initializer_list<HoldPoint> points) {
  using Code = PendingReason::Code;
  const auto isMeant = [points](HoldPoint at) {
    return std::find(points.begin(), points.end(), at) != points.end();
  };
  for (const auto& held : device.holds.held())
    if (held.callback.get() == &callback && isMeant(held.at))
      return PendingReason{
          Code::held,
          "it is held " + std::string(stageOf(held.at)) + "; a \"continue\" step lets it go on",
          "A \"continue\" step, or the end of the hold's seconds."};
  if (const auto at = device.holds.droppedAt(callback); at && isMeant(*at))
    return PendingReason{
        Code::dropped, "it was dropped " + std::string(stageOf(*at)) + ", and never goes on", {}};
  return std::nullopt;
}

}  // namespace

std::string_view nameOf(PendingReason::Code code) {
  using enum PendingReason::Code;
  switch (code) {
    case held: return "held";
    case dropped: return "dropped";
    case killed: return "killed";
    case fileName: return "fileName";
    case running: return "running";
    case released: return "released";
    case replaced: return "replaced";
    case prompt: return "prompt";
    case alert: return "alert";
    case picker: return "picker";
    case source: return "source";
    case settings: return "settings";
    case limited: return "limited";
    case viewController: return "viewController";
    case location: return "location";
    case noLocationManager: return "noLocationManager";
    case noAnswer: return "noAnswer";
  }
  return "noAnswer";
}

PendingReason pendingReason(const container::Callback& callback, const ScriptedDevice& device,
                            const CommandHistory& history) {
  using Code = PendingReason::Code;
  if (auto held = heldOrDropped(callback, device, {HoldPoint::answer})) return *std::move(held);
  if (callback.isKilled())
    return {Code::killed,
            "the app was killed before the answer, and nothing answers for it afterwards",
            {}};
  if (device.lanes.anyWaiting())
    return {Code::fileName,
            "a temporary file of the wanted name exists, and the plug-in waits until it is gone",
            "A free file name: remove the file of that name from the temporary files."};
  if (callback.selector() != "takePicture:")
    return {Code::running, "the command has not come to its end", "The end of the command."};
  if (!device.container.keepsPluginOf(callback))
    return {Code::released,
            "the container released the plug-in object, and nothing answers for it afterwards",
            {}};
  if (device.container.callbacks().replacementOf(callback))
    return {
        Code::replaced,
        "a later takePicture took its place, and a callback that was replaced is never answered",
        {}};
  if (auto held = heldOrDropped(callback, device, {HoldPoint::picker, HoldPoint::encoding}))
    return *std::move(held);
  if (auto waiting = waitingOnScreen(device)) return *std::move(waiting);

  const auto source = sourceOf(callback);
  if (source != Source::photoLibrary && source != Source::camera &&
      source != Source::savedPhotosAlbum)
    return {Code::source,
            "the device has the source " + std::to_string(source) +
                ", but the plug-in knows no such source and stops without an answer",
            {}};
  if (!history.hasPresentedPicker) {
    if (history.settings == CommandHistory::Settings::opened)
      return {Code::settings,
              "the Settings action of the camera's alert opens the settings and answers nothing",
              {}};
    if (history.settings == CommandHistory::Settings::unavailable)
      return {Code::settings,
              "the Settings action of the alert found no settings to open, and answers nothing",
              {}};
    if (!history.hasPresentedAlert) return nothingPresented(source, device);
  }
  if (asksForLocation(callback) && source == Source::camera)
    return heldBackForLocation(callback, device);
  return {Code::noAnswer, "the flow ended on a path that gives no answer", {}};
}

}  // namespace vecamera::device::script
