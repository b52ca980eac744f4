#include "apps/vecamera/commands/Commands.h"

#include <stdlib.h>

#include <iostream>
#include <nlohmann/json.hpp>

#include "apps/vecamera/commands/Files.h"
#include "apps/vecamera/commands/ResultBytes.h"
#include "device/script/assembly/Samples.h"
#include "device/script/json/JsonValue.h"
#include "device/script/play/PlaySession.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::app {
namespace {

namespace fs = std::filesystem;

void say(const std::string& text) {
  std::cerr << text << std::endl;
}

/// The folder, made where it is missing, or a temporary one.
AppResult<fs::path> makeFolder(const std::optional<fs::path>& wanted) {
  std::error_code error;
  if (wanted) {
    fs::create_directories(*wanted, error);
    if (fs::is_directory(*wanted, error)) return fs::absolute(*wanted, error);
  } else {
    auto pattern = (fs::temp_directory_path(error) / "vecamera-demo-XXXXXX").string();
    if (!error && mkdtemp(pattern.data())) return fs::path(pattern);
  }
  return device::Failure((wanted ? wanted->string() : "a temporary folder") +
                         ": it cannot be made; name a folder that can, as in `vecamera demo DIR`");
}

/// What an event means to a newcomer; empty where that is plain.
std::string explain(const nlohmann::ordered_json& event) {
  const auto name = event.value("event", "");
  if (name == "present") return "The module shows the camera, set up as the page asked:";
  if (name == "dismiss")
    return "The user has taken the photo, and the module takes the camera away:";
  if (name == "answer") return "The page gets its answer, with the path of the new file:";
  if (name == "files") return "That file is all there is in the application's temporary directory:";
  if (name == "state") return "The module is ready for the next command; nothing is pending:";
  return "";
}

/// The sample script with the generated photograph in front of its camera.
device::Result<device::script::Script, device::script::ScriptError> readSample(
    const fs::path& file, const fs::path& photo) {
  auto read = device::script::readScript(file);
  if (read)
    for (auto& step : read->steps)
      if (auto* capture = std::get_if<device::script::CaptureStep>(&step.step))
        capture->file = photo;
  return read;
}

}  // namespace

ExitStatus demo(const std::optional<fs::path>& wantedFolder) {
  const auto folder = makeFolder(wantedFolder);
  if (!folder) return refuse(folder.error());
  const auto before = *folder / "before.jpg";
  const auto after = *folder / "after.jpg";
  SceneOptions scene;
  scene.file = before;
  // A phone held upright stores its pictures on their side.
  scene.orientation = 6;
  scene.size = {1200, 1600};
  if (const auto status = writeScene(scene); status != ExitStatus::success) return status;
  const auto sample = fs::path(device::script::samplesFolder()) / "first-photo.json";
  const auto script = readSample(sample, before);
  if (!script) return fail(sample.string() + ": " + script.error().description());

  say("A page asks for a photo as a JPEG file, upright, fitted into 640 by 480.\n"
      "Lines in braces are the events that `vecamera run` prints for programs.");
  std::optional<Data> photo;
  const auto played = device::script::playScriptAsJson(
      *script, {},
      [&photo](const nlohmann::ordered_json& event) {
        if (const auto text = explain(event); !text.empty()) say("\n" + text);
        std::cout << device::script::toLine(event) << std::endl;
        // The device takes its files away when the play ends.
        if (event.value("event", "") == "answer")
          photo = bytesOfResult(resultOf(event), {}).value();
      },
      std::cerr);
  if (!played) std::cerr << sample.string() << ": " << played.error().description() << '\n';
  if (!played || *played != device::script::PlayResult::finished || !photo)
    return fail("the demo did not come off; the lines above say why");
  if (const auto written = writeFile(after, *photo); !written) return fail(written.error());

  say("\nLook at these two pictures:\n  " + before.string() + "  what the camera saw\n  " +
      after.string() + "   what the page got: upright pixels, smaller\n\nNext: vecamera take " +
      before.string() +
      " --encoding png --destination file-uri --output small.png\n      vecamera run " +
      device::script::samplesFolder() + "/scripts/camera-denied.json");
  return ExitStatus::success;
}

}  // namespace vecamera::app
