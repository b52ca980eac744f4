#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "VECamera/platform/CoreGraphics.h"
#include "apps/vecamera/Terminal.h"
#include "device/script/script/Script.h"

namespace vecamera::app {

/// One `takePicture` command. What is left out stays out of the command, so that the module's own
/// default applies.
struct TakeOptions {
  std::filesystem::path photo;
  std::optional<std::int64_t> quality;
  // The raw values of the page's arguments.
  std::optional<std::int64_t> destination;
  std::optional<std::int64_t> source;
  std::optional<std::int64_t> encoding;
  std::optional<std::int64_t> media;
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

/// The script that plays the command on a device that says yes to everything.
device::script::Script scriptFor(const TakeOptions& options);

/// Takes the picture and prints the answer on standard output.
ExitStatus take(const TakeOptions& options);

}  // namespace vecamera::app
