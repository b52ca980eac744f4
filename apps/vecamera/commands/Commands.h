#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "VECamera/options/PictureOptions.h"
#include "VECamera/platform/CoreGraphics.h"
#include "apps/vecamera/terminal/Terminal.h"
#include "device/script/script/Script.h"

/// What the program can be asked for: a function and, mostly, a record of options for each command.
namespace vecamera::app {

struct RunOptions {
  /// A file, or "-" for standard input.
  std::string script;
  std::chrono::milliseconds limit{30000};
};

/// Plays the script; its events go to standard output, each as soon as it happens.
ExitStatus run(const RunOptions& options);

struct TestOptions {
  /// Device scripts, and folders with some.
  std::vector<std::filesystem::path> flows;
  /// Whether expectations are written where they differ, in place of a comparison.
  bool update = false;
  /// Where the results go as JUnit XML.
  std::optional<std::filesystem::path> junit;
  /// In how many of its 64 bits the perceptual hash of a picture may differ.
  int distance = 6;
  std::chrono::milliseconds limit{30000};
};

/// Plays each flow and compares it with the expectation beside it. What differs goes to standard
/// output, with a summary.
ExitStatus test(const TestOptions& options);

/// One `takePicture` command. What is left out stays out of the command, so that the module's own
/// default applies.
struct TakeOptions {
  std::filesystem::path photo;
  std::optional<std::int64_t> quality;
  std::optional<DestinationType> destination;
  /// A raw value of `UIImagePickerControllerSourceType`.
  std::optional<std::int64_t> source;
  std::optional<EncodingType> encoding;
  std::optional<MediaType> media;
  std::optional<CGSize> size;
  /// The crop of the picker's edit step, in pixels of the upright picture.
  std::optional<CGRect> edit;
  bool correctOrientation = false;
  bool save = false;
  bool front = false;
  std::optional<device::script::Fix> location;
  /// Nothing: a fresh device that is gone afterwards.
  std::optional<std::filesystem::path> home;
  std::optional<std::filesystem::path> output;
  std::chrono::milliseconds limit{30000};
};

/// Takes the picture and prints the answer on standard output.
ExitStatus take(const TakeOptions& options);

// The photo library of an application home, by hand.

/// Adds each file that is a picture, and prints what it became.
ExitStatus addToLibrary(const std::filesystem::path& home,
                        const std::vector<std::filesystem::path>& files);

enum class ListForm { table, jsonLines };
ExitStatus listLibrary(const std::filesystem::path& home, ListForm form);

struct LibraryExport {
  /// None: every asset.
  std::vector<std::string> identifiers;
  /// Made where it is missing.
  std::filesystem::path folder;
  /// Whether files of the same name are replaced.
  bool force = false;
};
/// Copies assets out, each into a file named after its identifier, and prints the files' names.
ExitStatus exportLibrary(const std::filesystem::path& home, const LibraryExport& options);

enum class Confirmation { ask, given };
ExitStatus clearLibrary(const std::filesystem::path& home, Confirmation confirmation);

/// Plays the first sample script on a generated photograph. The pictures stay in the folder
/// (nothing: a fresh temporary one); the events go to standard output, and the explanations to
/// standard error.
ExitStatus demo(const std::optional<std::filesystem::path>& folder);

struct SceneOptions {
  std::filesystem::path file;
  /// In whole pixels, as seen.
  CGSize size{1600, 1200};
  /// An Exif orientation, 1 to 8.
  int orientation = 1;
  /// The movie's length; nothing: a photograph.
  std::optional<double> seconds;
};

/// Writes a generated photograph, or a movie where it has a length.
ExitStatus writeScene(const SceneOptions& options);

struct ServeOptions {
  /// The folder of the developer's pages, or the address of their server; nothing: the demo app.
  std::optional<std::string> app;
  /// Whether the folder's "index.html" is shown for addresses that it does not have.
  bool isSinglePage = false;
  /// Whether the app's server may be on another machine.
  bool allowsRemoteApp = false;
  /// What the app's page and its server take the browser for; nothing: what it is.
  std::optional<std::string> userAgent;
  std::optional<std::filesystem::path> home;
  std::optional<std::filesystem::path> record;
  /// A device script whose `device` part the phones begin with.
  std::optional<std::filesystem::path> device;
  /// 0 takes a free one; nothing: a port that is the same at each start, where it is free.
  std::optional<std::uint16_t> port;
  std::optional<std::uint16_t> appPort;
  bool opensBrowser = false;
  /// Prints a line of JSON for programs in place of the address.
  bool printsJson = false;
};

/// Serves phones until the program is interrupted. The address goes to standard output as soon as
/// browsers can come.
ExitStatus serve(const ServeOptions& options);

}  // namespace vecamera::app
