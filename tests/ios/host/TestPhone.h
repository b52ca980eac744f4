#pragma once

#import <UIKit/UIKit.h>
#include <gmock/gmock.h>

#include <stdlib.h>

#include <filesystem>
#include <string>

#include "device/foundation/files/FileManager.h"
#include "device/imaging/base/PictureFormat.h"
#include "device/imaging/platform/Graphics.h"
#include "device/imaging/platform/ImageFactory.h"
#include "tests/ios/host/ServicesPhone.h"
#include "tests/ios/platform/SoftwarePhone.h"
#include "tests/ios/runtime/LivingObjects.h"
#include "tests/ios/runtime/MainQueue.h"
#include "tests/module/FakePlatform.h"

namespace vecamera_ios {

/// The phone behind the host: real pictures and files, and fakes for everything else.
class TestPhone : public testing::Test {
 protected:
  TestPhone() {
    vecamera::ios::countLivingObjects();
    vecamera::ios::setSoftwarePlatform(&platform_);
  }
  ~TestPhone() override {
    @autoreleasepool {
      vecamera::ios::drainMainQueue();
    }
    vecamera::ios::setSoftwarePlatform(nullptr);
    std::filesystem::remove_all(folder_);
  }

  /// A folder of the test's own.
  const std::filesystem::path& folder() const { return folder_; }

  vecamera::FakePlatform fake;
  vecamera::device::imaging::Graphics deviceGraphics;

 private:
  static std::filesystem::path makeFolder() {
    std::string name = std::filesystem::temp_directory_path() / "test-phone-XXXXXX";
    return mkdtemp(name.data());
  }

  const std::filesystem::path folder_ = makeFolder();
  /// The largest canvas has 10,000 pixels.
  vecamera::device::imaging::Graphics graphics_{vecamera::device::imaging::PictureLimits{10000}};
  vecamera::device::imaging::ImageFactory images_;
  vecamera::device::foundation::FileManager files_{folder_.string() + "/"};
  const vecamera::Platform platform_ = platformWith(
      fake.platform(), {.fileManager = &files_, .graphics = &graphics_, .images = &images_});
};

}  // namespace vecamera_ios
