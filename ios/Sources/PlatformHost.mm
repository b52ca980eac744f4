#include "ios/Sources/PlatformHost.h"

#include <exception>
#include <mutex>
#include <utility>

namespace vecamera_ios {
namespace {

struct SharedHost {
  std::mutex mutex;
  std::shared_ptr<PlatformHost> host;
};

/// Never destroyed: the queues' threads still run while a process ends.
SharedHost& sharedHost() {
  static auto& shared = *new SharedHost;
  return shared;
}

std::string reasonOf(const std::exception_ptr& thrown) {
  try {
    std::rethrow_exception(thrown);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown";
  }
}

}  // namespace

std::shared_ptr<PlatformHost> PlatformHost::shared() {
  auto& shared = sharedHost();
  const std::lock_guard lock(shared.mutex);
  if (!shared.host) shared.host = std::make_shared<PlatformHost>();
  return shared.host;
}

void PlatformHost::resetShared() {
  auto& shared = sharedHost();
  std::shared_ptr<PlatformHost> dropped;
  {
    const std::lock_guard lock(shared.mutex);
    dropped = std::exchange(shared.host, nullptr);
  }
  if (dropped) dropped->tasks_.join();
}

PlatformHost::PlatformHost()
    : maxMovieDataUrlBytes_(NSProcessInfo.processInfo.physicalMemory / 32),
      mainQueue_(dispatch_get_main_queue()),
      background_(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0)),
      tasks_([this](std::exception_ptr thrown) {
        log_.error("", "A task ended with an error: " + reasonOf(thrown), __FILE__, __LINE__,
                   "PlatformHost()");
      }) {}

vecamera::Platform PlatformHost::platform() {
  return {.log = log_,
          .clock = clock_,
          .dateFormatters = dateFormatters_,
          .fileManager = fileManager_,
          .urls = urls_,
          .base64 = base64_,
          .bundles = bundles_,
          .process = process_,
          .application = application_,
          .imagePickers = imagePickers_,
          .graphics = graphics_,
          .images = images_,
          .imageIO = imageIO_,
          .assetExports = assetExports_,
          .captureDevice = captureDevice_,
          .photoLibrary = photoLibrary_,
          .imageManager = imageManager_,
          .coreLocation = locationServices_,
          .mainQueue = mainQueue_,
          .mainActor = mainActor_,
          .background = background_,
          .tasks = tasks_,
          .maxMovieDataUrlBytes = maxMovieDataUrlBytes_};
}

}  // namespace vecamera_ios
