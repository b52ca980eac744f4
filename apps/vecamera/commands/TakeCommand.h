#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "VECamera/options/PictureOptions.h"
#include "VECamera/platform/CoreGraphics.h"
#include "apps/vecamera/terminal/Terminal.h"
#include "device/script/script/Script.h"

namespace vecamera::app {

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

}  // namespace vecamera::app
