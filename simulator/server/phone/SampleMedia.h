#pragma once

#include <span>
#include <string>

#include "VECamera/platform/Value.h"

namespace vecamera::simulator {

/// A picture or movie that a fresh phone has in its library.
struct Sample {
  /// The same in every phone.
  std::string identifier;
  std::string fileName;
  Data contents;
};

/// The samples, oldest first. Made with the first call; any thread.
std::span<const Sample> sampleMedia();

}  // namespace vecamera::simulator
