#include "apps/vecamera/commands/Commands.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "VECamera/platform/UIKit.h"
#include "apps/vecamera/commands/Files.h"
#include "apps/vecamera/commands/ResultBytes.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Descriptor.h"
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

/// The bytes of the picture in the file; nothing: it holds none. Of what cannot be a picture, which
/// may be a long movie, only the start is read.
std::optional<Data> pictureIn(const fs::path& path) {
  const auto file = device::foundation::openFileForReading(path).value();
  if (!file) return std::nullopt;
  const auto start =
      device::foundation::readUpTo(file->descriptor, device::imaging::signatureLength);
  if (!start || !device::imaging::isPicture(start->bytes())) return std::nullopt;
  if (lseek(file->descriptor.number(), 0, SEEK_SET) != 0) return std::nullopt;
  auto bytes = device::foundation::readAll(file->descriptor).value();
  return bytes && device::imaging::readHeader(bytes->bytes()) ? std::move(bytes) : std::nullopt;
}

bool opensCamera(const TakeOptions& options) {
  return sourceToOpen(options.source.value_or(Source::camera), options.media) == Source::camera;
}

/// What the user takes or picks: the bytes of a photo, or nothing for the movie in the file. The
/// failure: why the request cannot be played.
AppResult<std::optional<Data>> checked(const TakeOptions& options) {
  if (auto readable = requireFile(options.photo); !readable) return std::move(readable).failure();
  if (std::error_code ignored; !fs::is_regular_file(options.photo, ignored))
    return Failure(options.photo.string() +
                   ": it is no regular file; save the picture to one first");
  if (options.home && !device::foundation::ApplicationHome::open(options.home->string()))
    return Failure(options.home->string() +
                   ": it cannot be a device's home; name a folder of its own");
  const auto requested = options.media.value_or(mediaTypePicture);
  if (requested != mediaTypeVideo) {
    if (auto picture = pictureIn(options.photo)) return picture;
  }
  const bool isMovie{device::media::probeMovie(options.photo)};
  const std::string name = options.photo.string();
  if (requested != mediaTypePicture) {
    if (isMovie) return std::optional<Data>();
    return Failure(name + ": it is no movie that the device can open; give it an " +
                   device::media::movieFormatNames(" or ") + " file");
  }
  if (isMovie) return Failure(name + ": it is a movie; say so with --media video");
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
device::script::Script scriptFor(const TakeOptions& options, const std::optional<Data>& photo) {
  device::script::Script script;
  script.device.home = options.home;
  script.device.location = options.location;
  script.steps.push_back(
      {device::script::CommandStep{"takePicture", "page", argumentsFor(options)}});
  std::error_code ignored;
  const auto file = fs::absolute(options.photo, ignored);
  if (opensCamera(options)) {
    device::script::CaptureStep capture;
    capture.media = photo ? Media::photo : Media::movie;
    capture.file = file;
    capture.photo = photo;
    capture.crop = options.edit;
    script.steps.push_back({std::move(capture)});
  } else {
    const auto id = device::photos::RandomIdentifiers()() + "/L0/001";
    script.device.library.push_back({id, file, photo});
    device::script::PickStep pick;
    pick.asset = id;
    pick.crop = options.edit;
    script.steps.push_back({std::move(pick)});
  }
  return script;
}

}  // namespace

ExitStatus take(const TakeOptions& options) {
  const auto photo = checked(options);
  if (!photo) return refuse(photo.error());
  // Kept until the end, so that what the answer points to can still be read.
  std::optional<device::foundation::ApplicationHome> home;
  auto used = options;
  if (!options.home) {
    home = device::foundation::ApplicationHome::makePrivate().value();
    if (!home) return fail("no temporary folder can be made; check TMPDIR");
    used.home = home->path();
  }

  const bool leavesFile = options.destination == destinationTypeFileUri || !*photo;
  if (options.home && leavesFile) waitForNextSecond(*options.home);

  Reply reply;
  std::ostringstream notes;
  const auto played = device::script::playScriptAsJson(
      scriptFor(used, *photo), {options.limit, wasInterrupted, showExport},
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
