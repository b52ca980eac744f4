#pragma once

#import <Foundation/Foundation.h>

#include <functional>
#include <utility>

#include "tests/ios/platform/SoftwarePhone.h"
#include "tests/ios/runtime/LivingObjects.h"
#include "tests/ios/runtime/MainQueue.h"
#include "tests/module/FakePlatform.h"

namespace vecamera_ios {

/// What stands in the place of fakes; null: the fake.
struct Services {
  vecamera::NSFileManager* fileManager = nullptr;
  vecamera::UIGraphics* graphics = nullptr;
  vecamera::ImageIO* imageIO = nullptr;
  vecamera::UIImages* images = nullptr;
  vecamera::AVCaptureDevice* captureDevice = nullptr;
  vecamera::PHPhotoLibrary* photoLibrary = nullptr;
  vecamera::PHImageManager* imageManager = nullptr;
  vecamera::CoreLocation* coreLocation = nullptr;
};

inline vecamera::Platform platformWith(const vecamera::Platform& fakes, const Services& services) {
  const auto given = [](auto* service, auto& fake) -> auto& {
    return service ? *service : fake;
  };
  return {.log = fakes.log,
          .clock = fakes.clock,
          .dateFormatters = fakes.dateFormatters,
          .fileManager = given(services.fileManager, fakes.fileManager),
          .urls = fakes.urls,
          .base64 = fakes.base64,
          .bundles = fakes.bundles,
          .process = fakes.process,
          .application = fakes.application,
          .imagePickers = fakes.imagePickers,
          .graphics = given(services.graphics, fakes.graphics),
          .images = given(services.images, fakes.images),
          .imageIO = given(services.imageIO, fakes.imageIO),
          .assetExports = fakes.assetExports,
          .captureDevice = given(services.captureDevice, fakes.captureDevice),
          .photoLibrary = given(services.photoLibrary, fakes.photoLibrary),
          .imageManager = given(services.imageManager, fakes.imageManager),
          .coreLocation = given(services.coreLocation, fakes.coreLocation),
          .mainQueue = fakes.mainQueue,
          .mainActor = fakes.mainActor,
          .background = fakes.background,
          .tasks = fakes.tasks};
}

/// The phone behind the adapters of its services, on one thread that plays both the main one and
/// those in the background. Blocks wait until the test runs their queue.
class ServicesPhone {
 public:
  explicit ServicesPhone(const Services& services)
      : platform_(platformWith(fake.platform(), services)) {
    vecamera::ios::countLivingObjects();
    vecamera::ios::setSoftwarePlatform(&platform_);
    vecamera::ios::setQueueRunner(&runner_);
  }
  ServicesPhone() : ServicesPhone(Services()) {}
  ServicesPhone(const ServicesPhone&) = delete;
  ServicesPhone& operator=(const ServicesPhone&) = delete;
  ~ServicesPhone() {
    settle();
    vecamera::ios::setQueueRunner(nullptr);
    vecamera::ios::setSoftwarePlatform(nullptr);
  }

  /// Calls the function as on a thread in the background.
  void inBackground(const std::function<void()>& function) {
    const bool was = std::exchange(isMainThread_, false);
    @autoreleasepool {
      function();
    }
    isMainThread_ = was;
  }
  std::size_t runMain() { return main_.runAll(); }
  std::size_t runBackground() {
    std::size_t ran = 0;
    inBackground([&] { ran = background_.runAll(); });
    return ran;
  }
  void settle() {
    while (runMain() + runBackground() > 0) {
    }
  }

  vecamera::FakePlatform fake;

 private:
  vecamera::QueueExecutor main_;
  vecamera::QueueExecutor background_;
  bool isMainThread_ = true;
  const vecamera::ios::QueueRunner runner_{
      .add =
          [this](vecamera::ios::QueueKind kind, std::function<void()> job) {
            (kind == vecamera::ios::QueueKind::main ? main_ : background_).post(std::move(job));
          },
      .isMainThread = [this] { return isMainThread_; }};
  const vecamera::Platform platform_;
};

}  // namespace vecamera_ios
