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

/// What is still on screen and waits for the user, or an empty text.
std::string waitingOnScreen(const ScriptedDevice& device) {
  if (!device.screen.prompts().empty())
    return "the system prompt for \"" +
           std::string(container::nameOf(*device.screen.prompts().begin())) +
           "\" is on screen and has not been answered";
  if (device.screen.alert()) return "an alert is on screen and none of its actions has been tapped";
  if (device.screen.picker())
    return "the picker is on screen: nothing has been used in it, and it has not been cancelled";
  return {};
}

std::string heldBackForLocation(const container::Callback& callback, const ScriptedDevice& device) {
  if (device.location.isRunning()) {
    if (device.locationPermission.status() != location::LocationAuthorization::authorized)
      return "the photo is held back for its location, and the user does not allow location; the "
             "plug-in is not notified of a refusal";
    return "the photo is held back for its location, and no location update has come";
  }
  if (isAt(callback, Position::destination, DestinationType::destinationTypeNativeUri,
           DestinationType::destinationTypeNativeUri))
    return "the photo was held back for its location, and then a native URI gets no answer";
  if (isAt(callback, Position::encoding, EncodingType::encodingTypePNG,
           EncodingType::encodingTypeJPEG))
    return "the photo is held back for its location, but a PNG starts no location manager";
  return "the photo is held back for its location, but without a JPEG and its media metadata no "
         "location manager is started";
}

/// Why nothing was put on screen for the command.
std::string nothingPresented(std::int64_t source, const ScriptedDevice& device) {
  if (source != Source::camera && device.photoPermission.status() == PHAuthorizationStatus::limited)
    return "access to the photo library is limited, which opens no picker and gives no answer";
  const auto& plugin = *device.container.plugin().protocol;
  // `dispose` clears both views; a script that takes the view controller away leaves the web view.
  if (!plugin.webView())
    return "the plug-in was disposed before it could present anything: it had no view controller";
  if (!plugin.viewController()) return "the plug-in has no view controller to present anything on";
  return "the plug-in had no view controller when it was to present something";
}

std::string_view stageOf(HoldPoint point) {
  switch (point) {
    case HoldPoint::picker: return "before the picker is presented";
    case HoldPoint::encoding: return "before its picture is encoded or its movie exported";
    case HoldPoint::answer: return "before the answer";
  }
  return "unknown";
}

/// Where the command is held, or was dropped, of the points in question; else an empty text.
std::string heldOrDropped(const container::Callback& callback, const ScriptedDevice& device,
                          std::initializer_list<HoldPoint> points) {
  const auto isMeant = [points](HoldPoint at) {
    return std::find(points.begin(), points.end(), at) != points.end();
  };
  for (const auto& held : device.holds.held())
    if (held.callback.get() == &callback && isMeant(held.at))
      return "it is held " + std::string(stageOf(held.at)) + "; a \"continue\" step lets it go on";
  if (const auto at = device.holds.droppedAt(callback); at && isMeant(*at))
    return "it was dropped " + std::string(stageOf(*at)) + ", and never goes on";
  return {};
}

}  // namespace

std::string pendingReason(const container::Callback& callback, const ScriptedDevice& device,
                          const CommandHistory& history) {
  if (auto held = heldOrDropped(callback, device, {HoldPoint::answer}); !held.empty()) return held;
  if (callback.isKilled())
    return "the app was killed before the answer, and nothing answers for it afterwards";
  if (device.lanes.anyWaiting())
    return "a temporary file of the wanted name exists, and the plug-in waits until it is gone";
  if (callback.selector() != "takePicture:") return "the command has not come to its end";
  if (!device.container.keepsPluginOf(callback))
    return "the container released the plug-in object, and nothing answers for it afterwards";
  if (device.container.callbacks().isReplaced(callback))
    return "a later takePicture took its place, and a callback that was replaced is never answered";
  if (auto held = heldOrDropped(callback, device, {HoldPoint::picker, HoldPoint::encoding});
      !held.empty())
    return held;
  if (auto waiting = waitingOnScreen(device); !waiting.empty()) return waiting;

  const auto source = sourceOf(callback);
  if (source != Source::photoLibrary && source != Source::camera &&
      source != Source::savedPhotosAlbum)
    return "the device has the source " + std::to_string(source) +
           ", but the plug-in knows no such source and stops without an answer";
  if (!history.hasPresentedPicker) {
    if (history.settings == CommandHistory::Settings::opened)
      return "the Settings action of the camera's alert opens the settings and answers nothing";
    if (history.settings == CommandHistory::Settings::unavailable)
      return "the Settings action of the alert found no settings to open, and answers nothing";
    if (!history.hasPresentedAlert) return nothingPresented(source, device);
  }
  if (asksForLocation(callback) && source == Source::camera)
    return heldBackForLocation(callback, device);
  return "the flow ended on a path that gives no answer";
}

}  // namespace vecamera::device::script
