#include "device/script/play/PendingReason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "device/script/assembly/Samples.h"
#include "device/script/play/PlaySession.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::device::script {
namespace {

using testing::HasSubstr;

/// Why the callback is open when the script has been played.
std::string reasonAfter(const std::string& device, const std::string& steps) {
  const auto script =
      parseScript("{\"device\": {" + device + "}, \"steps\": [" + steps + "]}", samplesFolder());
  if (!script) return script.error().description();
  std::string reason = "the last step did not leave a callback open";
  std::ostringstream diagnostics;
  const auto played = playScriptAsJson(
      *script, {},
      [&reason](const Json& event) {
        if (event.contains("why")) reason = event["why"];
      },
      diagnostics);
  return played ? reason : played.error().description();
}

struct OpenCommand {
  std::string what;
  std::string device;
  std::string steps;
  std::string reason;
};

TEST(PendingReasonTest, SaysWhatKeptThisCommandOpen) {
  const auto takePicture = [](const std::string& arguments, const std::string& members = "") {
    return R"({"do": "takePicture", "as": "a", "arguments": [)" + arguments + "]" + members + "}";
  };
  const std::string camera = takePicture("50, 0, 1");
  const std::string library = takePicture("50, 0, 0");
  const std::string libraryVideo = takePicture("50, 0, 0, null, null, 0, 1");
  const std::string withLocation =
      "50, 0, 1, null, null, 0, 0, false, false, false, null, false, true";
  const std::string dispose = R"({"do": "call", "selector": "dispose"})";
  const std::string capture = R"({"do": "capture", "photo": "first-photo.jpg"})";
  const std::string noSettings = R"("faults": [{"at": "settingsURL"}])";
  const std::string tap = R"(, {"do": "tap", "action": "Settings"})";
  const auto hold = [](const std::string& at) {
    return R"({"do": "hold", "at": ")" + at + "\"}, ";
  };
  const std::string cancel = R"(, {"do": "cancel"})";
  const std::vector<OpenCommand> table = {
      {"a library video, which takes the camera, so that library access does not count",
       R"("viewController": false, "authorization": {"photoLibrary": "limited"})", libraryVideo,
       "has no view controller to present anything on"},
      {"the same with a view controller that comes too late", R"("viewController": false)",
       libraryVideo + R"(, {"do": "viewController", "to": true})",
       "had no view controller when it was to present something"},
      {"a library picture with limited access",
       R"("viewController": false, "authorization": {"photoLibrary": "limited"})", library,
       "is limited"},
      {"disposed while the prompt was up", R"("authorization": {"camera": "notDetermined"})",
       camera + ", " + dispose + R"(, {"do": "answer", "prompt": "camera", "with": "allow"})",
       "was disposed before it could present anything"},
      {"disposed, with a location wanted and a view controller that came later", "",
       takePicture(withLocation, R"(, "settle": false)") + ", " + dispose +
           R"(, {"do": "viewController", "to": true})",
       "was disposed before it could present anything"},
      {"disposed while a photo was held back", R"("location": null)",
       takePicture(withLocation) + ", " + capture + ", " + dispose, "no location update has come"},
      {"the camera's alert finds no settings",
       R"("authorization": {"camera": "denied"}, )" + noSettings, camera + tap,
       "found no settings to open"},
      {"the photo library's alert finds no settings",
       R"("authorization": {"photoLibrary": "denied"}, )" + noSettings, library + tap,
       "found no settings to open"},
      {"held before the picker", "", hold("picker") + camera,
       "held before the picker is presented; a \"continue\" step lets it go on"},
      {"held before the encoding", "", hold("encoding") + camera + ", " + capture,
       "held before its picture is encoded"},
      {"held before the answer", "", hold("answer") + camera + cancel, "held before the answer"},
      {"held, and replaced", "", hold("picker") + camera + ", " + takePicture("50, 0, 1") + cancel,
       "took its place"},
      {"its answer held, and the object released", "",
       hold("answer") + camera + cancel + R"(, {"do": "release"})", "held before the answer"},
      {"dropped", "", hold("picker") + camera + R"(, {"do": "drop"})",
       "dropped before the picker is presented"},
      {"killed", "", camera + R"(, {"do": "kill"}, {"do": "launch"})", "the app was killed"},
      {"killed with a dropped answer", "",
       hold("answer") + camera + cancel + R"(, {"do": "drop"}, {"do": "kill"})",
       "dropped before the answer"},
      {"the camera's alert opens the settings", R"("authorization": {"camera": "denied"})",
       camera + tap, "opens the settings and answers nothing"},
  };
  for (const auto& [what, device, steps, reason] : table)
    EXPECT_THAT(reasonAfter(device, steps), HasSubstr(reason)) << what;
}

}  // namespace
}  // namespace vecamera::device::script
