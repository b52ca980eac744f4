#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/platform/CoreGraphics.h"
#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/platform/Value.h"
#include "device/container/DeviceObserver.h"
#include "device/location/LocationAuthorization.h"

/// A device script as values: what `ScriptReader` reads and what the player plays. Paths are
/// absolute, texts are valid UTF-8, and whatever the script left out has its default.
namespace vecamera::device::script {

struct Fix {
  /// In degrees, north and east positive.
  double latitude = 0;
  double longitude = 0;
  /// In metres above sea level; not-a-number where it is unknown.
  double altitude = std::numeric_limits<double>::quiet_NaN();
  /// Nothing: the device's clock at the time when the fix is delivered.
  std::optional<Date> timestamp;
};

/// What the container's URL transformer does.
struct UrlTransformerSetup {
  enum class Kind {
    /// The command delegate offers no transformer.
    none,
    /// The prefix `from` becomes `to`; a URL without it gives nothing.
    replace,
    /// The transformer always gives nothing.
    nothing,
    /// The command has no command delegate at all.
    noDelegate,
  };
  Kind kind = Kind::none;
  std::string from;
  std::string to;
};

enum class FaultPoint {
  performChanges,
  requestImageData,
  createFile,
  writeFile,
  removeItem,
  enumerator,
  jpegEncoder,
  pngEncoder,
  bitmapContext,
  settingsURL,
  exportMovie,
};

/// A platform operation that does not do its work. What "not" means is the place's own: where
/// nothing below is set, the operation gives nothing, false, or an error without a text.
struct Fault {
  FaultPoint at = FaultPoint::performChanges;
  /// How often it strikes from now on; nothing: always.
  std::optional<std::int64_t> times;
  /// The text of the platform's error (performChanges, writeFile, removeItem, export).
  std::optional<std::string> error;
  /// The change is refused without an error (performChanges).
  bool returnsFalse = false;
  /// The creation request has no placeholder (performChanges).
  bool noPlaceholder = false;
  /// The one name in the temporary directory that the fault is about (removeItem); nothing: any.
  std::optional<std::string> path;
};

/// Where a page command can be held.
enum class HoldPoint {
  /// Before the picker is presented.
  picker,
  /// Before a picture is encoded or a movie exported.
  encoding,
  /// Before the container takes the answer.
  answer,
};

inline std::string_view nameOf(HoldPoint point) {
  switch (point) {
    case HoldPoint::picker: return "picker";
    case HoldPoint::encoding: return "encoding";
    case HoldPoint::answer: return "answer";
  }
  return "unknown";
}

/// The name that scripts give to what the user allows: an authorization status of camera, photo
/// library or location.
template <class Status>
std::string_view nameOf(Status status);

struct AuthorizationSetup {
  AVAuthorizationStatus camera = AVAuthorizationStatus::authorized;
  PHAuthorizationStatus photoLibrary = PHAuthorizationStatus::authorized;
  location::LocationAuthorization location = location::LocationAuthorization::authorized;
};

/// What the user answers to a system prompt. Nothing: the prompt stays up until an answer step.
struct PromptSetup {
  /// True allows.
  std::optional<bool> camera;
  std::optional<PHAuthorizationStatus> photoLibrary;
};

/// The folder that stands for the main bundle.
struct MainBundleSetup {
  enum class Kind {
    /// The bundle that comes with the project.
    sample,
    /// A main bundle without any resource.
    empty,
    folder,
  };
  Kind kind = Kind::sample;
  std::filesystem::path folder;
};

struct LibraryAssetSetup {
  std::string id;
  /// An existing file.
  std::filesystem::path file;
  /// Not a key of the script: the bytes of the picture in the file, where they have been read.
  std::optional<Data> photo{};
};

/// How the device is set up before the first step.
struct DeviceSetup {
  /// Nothing: a fresh private folder (or the one of `home`), removed at the end.
  std::optional<std::filesystem::path> temporaryDirectory;
  /// Not a key of the script: an application home that outlives the device. Its "tmp" is the
  /// temporary directory and its "Library/Photos" holds the photo library.
  std::optional<std::filesystem::path> home;
  /// Text by name. Names are relative, stay inside the temporary directory and never contradict
  /// each other; one with a trailing slash is a folder, without text.
  std::map<std::string, std::string> files;
  MainBundleSetup mainBundle;
  std::vector<std::string> languages{"en"};
  std::string locale = "en_US";
  std::string timeZone = "UTC";
  /// Nothing: the real clock.
  std::optional<Date> clock;
  /// Nothing: random.
  std::optional<std::uint64_t> seed;
  /// Raw source-type values.
  std::vector<std::int64_t> availableSources{0, 1, 2};
  /// By raw source-type value, nothing where the platform returns none. A source that is not
  /// listed has image and movie.
  std::map<std::int64_t, std::optional<std::vector<std::string>>> availableMediaTypes;
  AuthorizationSetup authorization;
  PromptSetup prompts;
  /// In the order of creation, identifiers all different.
  std::vector<LibraryAssetSetup> library;
  std::optional<Fix> location;
  UrlTransformerSetup urlTransformer;
  bool viewController = true;
  std::vector<Fault> faults;
  /// Not a key of the script, as it shows in nothing but the time: how many threads the device's
  /// pictures may use, the one that asks for them included. Nothing: `defaultThreadCount()`.
  std::optional<unsigned> pictureThreads;
};

/// The container calls a page command of the plug-in.
struct CommandStep {
  /// The selector is this with a colon: "takePicture".
  std::string command;
  /// The callback's name in the events.
  std::string as;
  /// A null value is an empty slot.
  Array arguments;
};

/// The user takes a picture or a movie with the camera picker on screen and uses it.
struct CaptureStep {
  enum class Media { photo, movie };
  Media media = Media::photo;
  /// An existing file; empty: the camera makes a movie of a scene of its own.
  std::filesystem::path file;
  /// Not a key of the script: the bytes of the photo in the file, where they have been read.
  std::optional<Data> photo;
  /// How long that movie is.
  double seconds = 1;
  /// In pixels of the upright picture, for the edit step.
  std::optional<CGRect> crop;
  /// False leaves the media metadata out of the info.
  bool metadata = true;
  /// Keys of the info set to these values; null takes the key out.
  Dictionary info;
};

/// The user picks an asset in the library picker on screen.
struct PickStep {
  std::string asset;
  std::optional<CGRect> crop;
  Dictionary info;
  /// False leaves the key out of the info.
  bool referenceURL = true;
  bool phAsset = true;
};

/// The user backs out of the picker on screen.
struct CancelStep {};

/// The user taps the action with that title on the alert on screen.
struct TapStep {
  std::string action;
};

/// The user answers the system prompt on screen.
struct AnswerStep {
  container::Permission prompt = container::Permission::camera;
  /// For the camera and location prompts.
  bool allow = false;
  /// For the photo library's prompt; never `notDetermined`.
  PHAuthorizationStatus photoLibrary = PHAuthorizationStatus::denied;
};

/// A location update arrives at the running location managers; nothing: one without a fix.
struct LocationStep {
  std::optional<Fix> fix;
};

/// The user changes these in the settings; what is left out stays as it is.
struct AuthorizeStep {
  std::optional<AVAuthorizationStatus> camera;
  std::optional<PHAuthorizationStatus> photoLibrary;
  std::optional<location::LocationAuthorization> location;
};

struct ViewControllerStep {
  bool to = true;
};

struct UrlTransformerStep {
  UrlTransformerSetup to;
};

/// These faults replace all that are in force.
struct FaultsStep {
  std::vector<Fault> to;
};

/// The container calls an operation by its selector.
struct CallStep {
  /// One of the selectors that the format names.
  std::string selector;
  /// Stands for a selector with a colon, and only there: a text, for `urlTransformer:` a URL, null
  /// for none.
  std::optional<Value> argument;
};

/// Moves a clock that stands still.
struct AdvanceStep {
  std::chrono::microseconds by{0};
};

/// Removes a file or folder of the temporary directory.
struct RemoveStep {
  std::string file;
};

/// A picture or movie comes into the photo library without the plug-in.
struct AddAssetStep {
  /// An existing file.
  std::filesystem::path file;
  /// Nothing: one is drawn.
  std::optional<std::string> id;
};

/// The user removes an asset from the photo library.
struct RemoveAssetStep {
  std::string asset;
};

/// The container releases its plug-in object.
struct ReleaseStep {};

/// The container makes a new plug-in object, wired like the first.
struct CreateStep {};

/// Page commands that come to this point stop there. Replaces an earlier step for the point.
struct HoldStep {
  HoldPoint at = HoldPoint::answer;
  /// After so long on the device's clock the command goes on by itself; nothing: it does not.
  std::optional<std::chrono::microseconds> duration;
  /// How many times from now on; 0: none any more.
  std::int64_t times = 1;
};

/// Everything that is held goes on.
struct ContinueStep {};

/// Everything that is held never goes on.
struct DropStep {};

/// The system ends the app's process.
struct KillStep {};

/// The app starts anew, with the files, the library and the permissions that it had.
struct LaunchStep {};

// Each prints the event of its name.
struct StateStep {};
struct FilesStep {};
struct LibraryStep {};

using Step = std::variant<CommandStep, CaptureStep, PickStep, CancelStep, TapStep, AnswerStep,
                          LocationStep, AuthorizeStep, ViewControllerStep, UrlTransformerStep,
                          FaultsStep, CallStep, AdvanceStep, RemoveStep, AddAssetStep,
                          RemoveAssetStep, ReleaseStep, CreateStep, HoldStep, ContinueStep,
                          DropStep, KillStep, LaunchStep, StateStep, FilesStep, LibraryStep>;

/// Whether the container hands out a callback for the step, which stays open until it is answered.
inline bool opensCallback(const Step& step) {
  return std::holds_alternative<CommandStep>(step);
}

struct ScriptStep {
  Step step;
  /// False: the next step is played before the device has settled.
  bool settle = true;
  /// The step's "do"; empty where it was not read from a script.
  std::string action{};
};

struct Script {
  DeviceSetup device;
  std::vector<ScriptStep> steps;
  /// What holds the files whose bytes stand in the script itself; may be null.
  std::shared_ptr<const void> inlineFiles;
};

}  // namespace vecamera::device::script
