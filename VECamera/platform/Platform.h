#pragma once

#include <cstdint>
#include <optional>

#include "VECamera/platform/AVFoundation.h"
#include "VECamera/platform/Container.h"
#include "VECamera/platform/CoreLocation.h"
#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/ImageIO.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/platform/UIKit.h"
#include "VECamera/runtime/Executor.h"
#include "VECamera/runtime/TaskScope.h"

namespace vecamera {

/// Everything that the plug-in asks of container and platform. The host owns what stands behind the
/// references and keeps it alive until the plug-in is gone, `tasks` has been joined, and nothing
/// that was handed out can run any more: jobs of the executors, actions of alerts, completions,
/// handlers of permissions, change blocks, calls of delegates. These hold references to it, not
/// always the plug-in. One record for the whole process, which is never torn down, is a supported
/// way to host.
///
/// No implementation waits for the main thread: a task that runs may be what the main thread waits
/// for in `TaskScope::join`. Objects that the module holds may be destroyed on any thread.
struct Platform {
  // The container.
  VELog& log;

  // Foundation.
  NSClock& clock;
  NSDateFormatters& dateFormatters;
  NSFileManager& fileManager;
  NSURLs& urls;
  NSDataBase64& base64;
  NSBundles& bundles;
  NSProcess& process;

  // UIKit and the image frameworks.
  UIApplication& application;
  UIImagePickerControllerClass& imagePickers;
  UIGraphics& graphics;
  UIImages& images;
  ImageIO& imageIO;

  // Movies.
  AVAssetExports& assetExports;

  // Services behind permissions.
  AVCaptureDevice& captureDevice;
  PHPhotoLibrary& photoLibrary;
  PHImageManager& imageManager;
  CoreLocation& coreLocation;

  // Executors. The main actor runs its jobs on the main queue.
  Executor& mainQueue;
  Executor& mainActor;
  Executor& background;
  /// Owns every task that the plug-in starts.
  TaskScope& tasks;

  /// The longest data URL of a movie, in bytes; nothing for no limit. A movie that needs a longer
  /// one is answered as one that failed, before anything of it is read.
  std::optional<std::uint64_t> maxMovieDataUrlBytes = std::nullopt;
};

}  // namespace vecamera
