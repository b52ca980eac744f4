#pragma once

#include <cstdint>
#include <filesystem>

#include "device/base/CancellationCheck.h"
#include "device/media/base/MediaErrors.h"

namespace vecamera::device::media {

/// The movie that the software camera takes when it is given none: hills that pass by under a
/// travelling sun, with a clock, a colour chart and an arrow that points up, and a tone of 440 Hz.
/// Each second begins with a white flash and, in step with it, a beep.
struct SceneMovie {
  /// More than 0, at most 3600.
  double seconds = 1;
  /// The stored sides in pixels: even, from 16 to 4096.
  int width = 640;
  int height = 480;
  /// From 1 to 120.
  int framesPerSecond = 30;
  /// Changes the land and the time of day.
  std::uint32_t seed = 1;
  /// The clockwise rotation that shows a stored frame upright: 0, 90, 180 or 270. Phones store it
  /// beside the frames, and so does this.
  int rotationDegrees = 0;
  bool hasAudio = true;
};

/// Writes H.264 and AAC into a file of mode 0600, MPEG-4 for the extension ".mp4" and QuickTime for
/// all others, index last, as phones do. The target must not exist, its folder must. The same
/// arguments give the same bytes. On an error there is no file. `isCancelled` is asked before each
/// frame, and true ends the work with `operationCancelled`; it may be empty.
/// Any thread.
MediaResult<void> generateSceneMovie(const std::filesystem::path& target, const SceneMovie& scene,
                                     const CancellationCheck& isCancelled = {});

}  // namespace vecamera::device::media
