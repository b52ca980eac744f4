#include "device/script/play/EventWriter.h"

#include <nlohmann/json.hpp>

#include "device/script/json/JsonValue.h"

namespace vecamera::device::script {
namespace {

std::string styleName(UIModalPresentationStyle style) {
  switch (style) {
    case UIModalPresentationStyle::fullScreen: return "fullScreen";
    case UIModalPresentationStyle::pageSheet: return "pageSheet";
    case UIModalPresentationStyle::formSheet: return "formSheet";
  }
  return "unknown";
}

std::string kindOf(const UIViewController& controller) {
  if (dynamic_cast<const UIAlertController*>(&controller)) return "alert";
  if (dynamic_cast<const UIImagePickerController*>(&controller)) return "picker";
  return "controller";
}

void describe(Json& event, const UIAlertController& alert) {
  event["title"] = alert.title();
  event["message"] = alert.message();
  event["actions"] = Json::array();
  for (const auto& action : alert.actions()) event["actions"].push_back(action.title);
}

void describe(Json& event, const UIImagePickerController& picker) {
  event["sourceType"] = picker.sourceType();
  event["mediaTypes"] = picker.mediaTypes();
  event["allowsEditing"] = picker.allowsEditing();
  event["cameraDevice"] = picker.cameraDevice();
  event["cameraCaptureMode"] =
      picker.cameraCaptureMode() == UIImagePickerControllerCameraCaptureMode::video ? "video"
                                                                                    : "photo";
  event["modalPresentationStyle"] = styleName(picker.modalPresentationStyle());
}

}  // namespace

void EventWriter::answered(const container::Callback& callback) {
  const auto answer = callback.answer();
  if (!answer) return;
  Json event{{"event", "answer"},
             {"to", callback.name()},
             {"result", answer->status ? "error" : "success"}};
  if (answer->status) event["status"] = nameOf(*answer->status);
  if (const auto* message = std::get_if<std::string>(&answer->payload)) event["message"] = *message;
  if (const auto* data = std::get_if<Dictionary>(&answer->payload))
    event["data"] = toJson(Value(*data));
  event["keepCallback"] = answer->keepCallback;
  write(event);
}

void EventWriter::loggedDebug(std::string_view msg) {
  write({{"event", "log"}, {"level", "debug"}, {"msg", msg}});
}

void EventWriter::loggedError(std::string_view tag, std::string_view msg, std::string_view filename,
                              int line, std::string_view funcName) {
  write({{"event", "log"},
         {"level", "error"},
         {"msg", msg},
         {"tag", tag},
         {"filename", filename},
         {"line", line},
         {"funcName", funcName}});
}

void EventWriter::printed(std::string_view line) {
  write({{"event", "stdout"}, {"text", line}});
}

void EventWriter::promptShown(container::Permission permission) {
  write({{"event", "prompt"}, {"for", container::nameOf(permission)}});
}

void EventWriter::presented(const UIViewController& controller, bool animated) {
  Json event{{"event", "present"}, {"kind", kindOf(controller)}};
  if (const auto* alert = dynamic_cast<const UIAlertController*>(&controller))
    describe(event, *alert);
  if (const auto* picker = dynamic_cast<const UIImagePickerController*>(&controller))
    describe(event, *picker);
  event["animated"] = animated;
  write(event);
}

void EventWriter::dismissed(const UIViewController& controller, bool animated) {
  write({{"event", "dismiss"}, {"kind", kindOf(controller)}, {"animated", animated}});
}

void EventWriter::openedURL(const URL& url) {
  write({{"event", "openURL"}, {"url", url.absoluteString()}});
}

void EventWriter::locationManagerTold(std::string_view what) {
  write({{"event", "location"}, {"manager", what}});
}

void EventWriter::onSaved(const photos::SavedAsset& asset) {
  write({{"event", "saved"},
         {"id", asset.id},
         {"type", asset.type},
         {"bytes", asset.bytes},
         {"format", asset.format}});
}

void EventWriter::onImageDestinationFinalized(std::string_view type, const Dictionary& properties,
                                              std::size_t bytes) {
  write({{"event", "imageDestination"},
         {"type", type},
         {"properties", toJson(Value(properties))},
         {"bytes", bytes}});
}

}  // namespace vecamera::device::script
