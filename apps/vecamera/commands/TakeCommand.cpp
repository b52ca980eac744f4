#include "apps/vecamera/commands/Commands.h"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "VECamera/platform/UIKit.h"
#include "apps/vecamera/commands/Files.h"
#include "apps/vecamera/commands/ResultBytes.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/imaging/codecs/Codecs.h"
#include "device/media/Movies.h"
#include "device/photos/RandomIdentifiers.h"
#include "device/script/json/JsonValue.h"
#include "device/script/play/PlaySession.h"

namespace vecamera::app {
namespace {

namespace fs = std::filesystem;
using device::Failure;
using enum DestinationType;
using enum MediaType;
using Source = UIImagePickerControllerSourceType;
using Media = device::script::CaptureStep::Media;

/// A number or an enumeration of the page's arguments.
template <class T>
Value argument(const std::optional<T>& value) {
  return value ? Value(static_cast<std::int64_t>(*value)) : Value();
}
Value argument(bool flag) {
  return flag ? Value(true) : Value();
}

Array argumentsFor(const TakeOptions& options) {
  using Position = TakePictureArguments::Position;
  Array arguments(TakePictureArguments::count);
  arguments[Position::quality] = argument(options.quality);
  arguments[Position::destination] = argument(options.destination);
  arguments[Position::source] = argument(options.source);
  if (const auto& size = options.size) {
    arguments[Position::width] = size->width;
    arguments[Position::height] = size->height;
  }
  arguments[Position::encoding] = argument(options.encoding);
  arguments[Position::media] = argument(options.media);
  arguments[Position::editing] = argument(options.edit.has_value());
  arguments[Position::orientation] = argument(options.correctOrientation);
  arguments[Position::album] = argument(options.save);
  arguments[Position::front] = argument(options.front);
  arguments[Position::geolocation] = argument(options.location.has_value());
  return arguments;
}

bool isPicture(const fs::path& file) {
  const auto bytes = device::foundation::readFile(file);
  return bytes && device::imaging::readHeader(bytes->bytes());
}

/// What the file holds; nothing: neither a picture nor a movie.
std::optional<Media> contentOf(const fs::path& file) {
  if (device::media::probeMovie(file)) return Media::movie;
  return isPicture(file) ? std::optional(Media::photo) : std::nullopt;
}

/// Whether the command opens the camera: a request for videos from the photo library does too.
bool opensCamera(const TakeOptions& options) {
  const auto source = options.source.value_or(Source::camera);
  return source == Source::camera ||
         (source == Source::photoLibrary && options.media == mediaTypeVideo);
}

/// What the user takes or picks, or why the request cannot be played. The device looks at the file
/// again, since the steps of a script name files and hand on nothing that is known of them.
AppResult<Media> checked(const TakeOptions& options) {
  if (auto readable = requireFile(options.photo); !readable) return std::move(readable).failure();
  if (std::error_code ignored; !fs::is_regular_file(options.photo, ignored))
    return Failure(options.photo.string() +
                   ": it is no regular file; save the picture to one first");
  if (options.home && !device::foundation::ApplicationHome::open(options.home->string()))
    return Failure(options.home->string() +
                   ": it cannot be a device's home; name a folder of its own");
  const auto content = contentOf(options.photo);
  const auto requested = options.media.value_or(mediaTypePicture);
  const bool isPhoto =
      requested == mediaTypePicture || (requested == mediaTypeAll && content == Media::photo);
  const Media media = isPhoto ? Media::photo : Media::movie;
  if (content == media) return media;
  const std::string name = options.photo.string();
  if (media == Media::movie)
    return Failure(name + ": it is no movie that the device can open; give it an " +
                   device::media::movieFormatNames(" or ") + " file");
  if (content == Media::movie) return Failure(name + ": it is a movie; say so with --media video");
  return Failure(name + ": it is no picture that the device can open; give it a " +
                 device::imaging::formatNames(" or ") + " file");
}

/// What the play shows of the command.
struct Reply {
  nlohmann::ordered_json answer;
  /// Why there is no answer.
  std::string reason;
};

void record(const nlohmann::ordered_json& event, Reply& reply) {
  const auto name = event.value("event", "");
  if (name == "open" || name == "failed")
    reply.reason = event.value("why", "");
  else if (name == "answer")
    reply.answer = event;
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
    return fail("the answer holds nothing that could be written to " + options.output->string() +
                ": " + bytes.error());
  if (const auto written = writeFile(*options.output, *bytes); !written)
    return fail(written.error() + "; check folder and permissions");
  return ExitStatus::success;
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
  const auto destination = options.destination.value_or(destinationTypeNativeUri);
  if (options.home || options.output || destination == destinationTypeDataUrl) return;
  complain(std::string(destination == destinationTypeNativeUri ? "the photo library" : "the file") +
           " of the answer goes away now, with its device; keep the device with --home DIR, or the "
           "result with --output FILE");
}

/// The script that plays the command on a device that says yes to everything.
device::script::Script scriptFor(const TakeOptions& options, Media media) {
  device::script::Script script;
  script.device.home = options.home;
  script.device.location = options.location;
  script.steps.push_back(
      {device::script::CommandStep{"takePicture", "page", argumentsFor(options)}});
  std::error_code ignored;
  const auto file = fs::absolute(options.photo, ignored);
  if (opensCamera(options)) {
    device::script::CaptureStep capture;
    capture.media = media;
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

}  // namespace

ExitStatus take(const TakeOptions& options) {
  const auto media = checked(options);
  if (!media) return refuse(media.error());
  // Kept until the end, so that what the answer points to can still be read.
  std::optional<device::foundation::ApplicationHome> home;
  auto used = options;
  if (!options.home) {
    home = device::foundation::ApplicationHome::makePrivate().value();
    if (!home) return fail("no temporary folder can be made; check TMPDIR");
    used.home = home->path();
  }

  const bool leavesFile = options.destination == destinationTypeFileUri || *media == Media::movie;
  if (options.home && leavesFile) waitForNextSecond(*options.home);

  Reply reply;
  std::ostringstream notes;
  const auto played = device::script::playScriptAsJson(
      scriptFor(used, *media), {options.limit, wasInterrupted, showExport},
      [&reply](const nlohmann::ordered_json& event) { record(event, reply); }, notes);
  endProgress();
  std::cerr << notes.str();
  if (!played) {
    std::cerr << options.photo.string() << ": " << played.error().description() << '\n';
    return ExitStatus::usage;
  }
  if (reply.answer.is_null())
    return fail("the command was not answered: " +
                (reply.reason.empty() ? "nothing says why" : reply.reason));

  std::cout << device::script::toLine(reply.answer) << std::endl;
  if (!std::cout) return fail("standard output cannot be written");
  if (reply.answer.value("result", "") != "success")
    return fail("the command was answered with an error: " + messageOf(reply.answer));
  if (*played == device::script::PlayResult::failed) return fail(reply.reason);
  if (resultOf(reply.answer).isNull())
    complain(options.photo.string() +
             ": the answer holds no picture, because the file cannot be decoded to its end");
  else
    warnOfWhatGoesAway(options);
  return options.output ? writeOutput(options, reply.answer, *used.home) : ExitStatus::success;
}

}  // namespace vecamera::app
