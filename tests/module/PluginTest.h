#pragma once

#include <gmock/gmock.h>

#include "tests/module/FakePlatform.h"

namespace vecamera {

using enum TakePictureArguments::Position;

/// A plug-in on the fake platform, with its controller. A test pumps the executors with
/// `fake.settle()`.
class PluginTest : public testing::Test {
 protected:
  using Arguments = FakeCallBack::Arguments;
  static constexpr int dataUrl = 0, fileUri = 1, nativeUri = 2;
  static constexpr int library = 0, camera = 1, savedAlbum = 2;

  PluginTest() { plugin->setViewController(controller); }
  ~PluginTest() override { EXPECT_THAT(fake.unhandled.all(), testing::IsEmpty()); }

  /// Issues the command and leaves everything queued.
  std::shared_ptr<FakeCallBack> issue(Arguments arguments) {
    auto callback = std::make_shared<FakeCallBack>(std::move(arguments));
    callback->delegate =
        std::make_shared<FakeCommandDelegate>([this](const URL& url) { return transform(url); });
    plugin->takePicture(callback);
    return callback;
  }
  std::shared_ptr<FakeCallBack> take(Arguments arguments) {
    auto callback = issue(std::move(arguments));
    fake.settle();
    return callback;
  }
  std::shared_ptr<UIImagePickerController> picker() const {
    return plugin->inspect().pickerController;
  }
  bool pending() const { return plugin->inspect().hasPendingOperation; }
  /// The user finishes the picker with a picture; `more` is laid over the usual info.
  void finish(Dictionary more = {}) {
    Dictionary info{{std::string(UIImagePickerControllerMediaType), std::string(kUTTypeImage)},
                    {std::string(UIImagePickerControllerOriginalImage), photo}};
    more.merge(info);
    plugin->imagePickerControllerDidFinishPickingMediaWithInfo(picker(), std::move(more));
    fake.settle();
  }
  /// What the camera's pickers give beside the picture.
  static Dictionary cameraInfo() {
    const Dictionary metadata{{"{Exif}", Dictionary{{"Lens", "wide"}}}, {"{TIFF}", Dictionary()}};
    return {{std::string(UIImagePickerControllerMediaMetadata), metadata}};
  }
  /// What a handler of the platform has resumed goes on in the background.
  void expectBackgroundJob() const {
    EXPECT_EQ(fake.mainQueue.pending(), 0u);
    EXPECT_EQ(fake.manualBackground.pending(), 1u);
  }
  /// A fix arrives at the plug-in's location manager.
  void update() { plugin->locationManagerDidUpdateLocations(nullptr, {}); }

  FakePlatform fake;
  std::function<std::optional<URL>(const URL&)> transform = [](const URL& url) {
    return URL("app:" + url.absoluteString());
  };
  std::shared_ptr<FakeImage> photo = std::make_shared<FakeImage>("photo");
  std::shared_ptr<FakeController> controller = std::make_shared<FakeController>(fake.mainQueue);
  std::shared_ptr<VECameraPlugin> plugin = VECameraPlugin::create(fake.platform());
};

}  // namespace vecamera
