#include "apps/vecamera/TakeCommand.h"

#include <chrono>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>

#include "VECamera/platform/UIKit.h"
#include "apps/vecamera/Answer.h"
#include "apps/vecamera/Files.h"
#include "apps/vecamera/Signals.h"
#include "device/foundation/ApplicationHome.h"
#include "device/imaging/platform/Pictures.h"
#include "device/media/Movies.h"
#include "device/photos/RandomIdentifiers.h"
#include "device/script/json/JsonValue.h"
#include "device/script/play/Player.h"

namespace vecamera::app {
namespace {

namespace fs = std::filesystem;
using Source = UIImagePickerControllerSourceType;
using Media = device::script::CaptureStep::Media;

// Raw values of the page's arguments that decide something here.
constexpr std::int64_t kDataUrl = 0;
constexpr std::int64_t kFileUri = 1;
constexpr std::int64_t kNativeUri = 2;
constexpr std::int64_t kPicture = 0;
constexpr std::int64_t kVideo = 1;

Value argument(const std::optional<std::int64_t>& value) {
  return value ? Value(*value) : Value();
}
Value argument(bool flag) {
  return flag ? Value(true) : Value();
}

Array argumentsFor(const TakeOptions& options) {
  const auto& size = options.size;
  return {argument(options.quality),
          argument(options.destination),
          argument(options.source),
          size ? Value(size->width) : Value(),
          size ? Value(size->height) : Value(),
          argument(options.encoding),
          argument(options.media),
          argument(options.edit.has_value()),
          argument(options.correctOrientation),
          argument(options.save),
          Value(),
          argument(options.front),
          argument(options.location.has_value())};
}

bool isPicture(const fs::path& file) {
  const auto bytes = readFile(file);
  return bytes && device::imaging::probe(*bytes);
}

Media mediaOf(const TakeOptions& options) {
  const auto media = options.media.value_or(kPicture);
  if (media == kPicture) return Media::photo;
  return media == kVideo || !isPicture(options.photo) ? Media::movie : Media::photo;
}

/// Whether the command opens the camera: a request for videos from the photo library does too.
bool opensCamera(const TakeOptions& options) {
  const auto source = options.source.value_or(Source::camera);
  return source == Source::camera || (source == Source::photoLibrary && options.media == kVideo);
}

/// Why the request cannot be played, or nothing.
std::optional<std::string> problemWith(const TakeOptions& options) {
  if (auto problem = problemWithFile(options.photo)) return problem;
  if (options.home && !device::foundation::ApplicationHome::open(options.home->string()))
    return options.home->string() + ": it cannot be a device's home; name a folder of its own";
  const bool isMovie = device::media::probeMovieFile(options.photo).has_value();
  const std::string name = options.photo.string();
  if (mediaOf(options) == Media::movie && !isMovie)
    return name +
           ": it is no movie that the device can open; give it an MP4, QuickTime or WebM file";
  if (mediaOf(options) == Media::photo && isMovie)
    return name + ": it is a movie; say so with --media video";
  if (mediaOf(options) == Media::photo && !isPicture(options.photo))
    return name +
           ": it is no picture that the device can open; give it a JPEG, PNG, HEIC or WebP file";
  return std::nullopt;
}

/// What the play told about the command.
struct Outcome {
  nlohmann::ordered_json answer;
  /// Why there is no answer.
  std::string why;
};

void note(const nlohmann::ordered_json& event, Outcome& outcome) {
  const auto name = event.value("event", "");
  if (name == "open" || name == "failed")
    outcome.why = event.value("why", "");
  else if (name == "answer")
    outcome.answer = event;
}

/// The value under "callbackURI" of the answer's data.
Value resultOf(const nlohmann::ordered_json& answer) {
  const auto data = device::script::toValue(answer.value("data", nlohmann::ordered_json()));
  const auto* dictionary = data ? data->dictionary() : nullptr;
  const auto* result = dictionary ? find(*dictionary, "callbackURI") : nullptr;
  return result ? *result : Value();
}

/// What the error answer says, in one line.
std::string messageOf(const nlohmann::ordered_json& answer) {
  auto message = answer.value("message", "");
  if (message.empty() && answer.contains("data") && answer["data"].is_object())
    message = answer["data"].value("errorMsg", "");
  return answer.value("status", "") + (message.empty() ? "" : ": " + message);
}

ExitStatus writeOutput(const TakeOptions& options, const nlohmann::ordered_json& answer,
                       const fs::path& home) {
  const auto bytes = bytesOfResult(resultOf(answer), home);
  if (!bytes)
    return fail("the answer holds nothing that could be written to " + options.output->string());
  if (writeFile(*options.output, *bytes)) return ExitStatus::success;
  return fail(options.output->string() + ": it cannot be written; check folder and permissions");
}

/// Two photos of one second would have the same name, and the plug-in would wait for the first to
/// be removed.
void waitForNextSecond(const fs::path& home) {
  using namespace std::chrono;
  std::error_code ignored;
  const auto written = fs::last_write_time(home / "tmp", ignored);
  if (ignored) return;
  const auto now = fs::file_time_type::clock::now();
  if (now - written < seconds(1)) std::this_thread::sleep_until(floor<seconds>(now) + seconds(1));
}

void showExport(float share) {
  showProgress(share, std::to_string(static_cast<int>(share * 100)) + " %");
}

void warnOfWhatGoesAway(const TakeOptions& options) {
  const auto destination = options.destination.value_or(kNativeUri);
  if (options.home || options.output || destination == kDataUrl) return;
  complain(std::string(destination == kNativeUri ? "the photo library" : "the file") +
           " of the answer goes away now, with its device; keep the device with --home DIR, or the "
           "result with --output FILE");
}

}  // namespace

device::script::Script scriptFor(const TakeOptions& options) {
  device::script::Script script;
  script.device.home = options.home;
  script.device.location = options.location;
  script.steps.push_back({device::script::TakePictureStep{"page", argumentsFor(options)}});
  std::error_code ignored;
  const auto file = fs::absolute(options.photo, ignored);
  if (opensCamera(options)) {
    device::script::CaptureStep capture;
    capture.media = mediaOf(options);
    capture.file = file;
    capture.crop = options.edit;
    script.steps.push_back({std::move(capture)});
  } else {
    const auto id = device::photos::RandomIdentifiers()() + "/L0/001";
    script.device.library.push_back({id, file});
    device::script::PickStep pick;
    pick.asset = id;
    pick.crop = options.edit;
    script.steps.push_back({std::move(pick)});
  }
  return script;
}

ExitStatus take(const TakeOptions& options) {
  if (const auto problem = problemWith(options)) return refuse(*problem);
  // Kept until the end, so that what the answer points to can still be read.
  std::unique_ptr<device::foundation::ApplicationHome> home;
  auto used = options;
  if (!options.home) {
    home = device::foundation::ApplicationHome::makePrivate();
    if (!home) return fail("no temporary folder can be made; check TMPDIR");
    used.home = home->path();
  }

  const bool leavesFile = options.destination == kFileUri || mediaOf(options) == Media::movie;
  if (options.home && leavesFile) waitForNextSecond(*options.home);

  Outcome outcome;
  std::ostringstream notes;
  const auto played = device::script::playScript(
      scriptFor(used), {options.limit, wasInterrupted, showExport},
      [&outcome](const auto& event) { note(event, outcome); }, notes);
  endProgress();
  std::cerr << notes.str();
  if (!played) {
    std::cerr << options.photo.string() << ": " << played.error().message() << '\n';
    return ExitStatus::usage;
  }
  if (outcome.answer.is_null())
    return fail("the command was not answered: " +
                (outcome.why.empty() ? "nothing says why" : outcome.why));

  std::cout << device::script::toLine(outcome.answer) << std::endl;
  if (!std::cout) return fail("standard output cannot be written");
  if (outcome.answer.value("result", "") != "success")
    return fail("the command was answered with an error: " + messageOf(outcome.answer));
  if (*played == device::script::PlayOutcome::failed) return fail(outcome.why);
  if (resultOf(outcome.answer).isNull())
    complain(options.photo.string() +
             ": the answer holds no picture, because the file cannot be decoded to its end");
  else
    warnOfWhatGoesAway(options);
  return options.output ? writeOutput(options, outcome.answer, *used.home) : ExitStatus::success;
}

}  // namespace vecamera::app
