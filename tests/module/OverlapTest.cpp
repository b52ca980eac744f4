#include <thread>

#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

/// Two commands from two container threads, with the answers of the photo framework on a thread of
/// their own: the main queue is pumped here, and the user finishes each picker at once.
TEST(Threads, TwoOverlappingCommandsAreAnsweredOnTheLatestCallback) {
  for (int round = 0; round < 20; ++round) {
    ThreadPoolExecutor background(2);
    FakePlatform fake(&background);
    auto photos = std::make_unique<ThreadPoolExecutor>(1);
    fake.photoLibrary.answersOn = photos.get();
    fake.imageManager.answersOn = photos.get();
    const auto controller = std::make_shared<FakeController>(fake.mainQueue);
    const auto plugin = VECameraPlugin::create(fake.platform());
    plugin->setViewController(controller);
    const Dictionary info{
        {std::string(UIImagePickerControllerMediaType), "public.image"},
        {std::string(UIImagePickerControllerOriginalImage), std::make_shared<FakeImage>("photo")},
        {std::string(UIImagePickerControllerPHAsset), std::make_shared<FakeAsset>("A")}};
    controller->onPresent = [&](const std::shared_ptr<UIViewController>& presented) {
      plugin->imagePickerControllerDidFinishPickingMediaWithInfo(
          std::static_pointer_cast<UIImagePickerController>(presented), info);
    };

    const auto command = [](int form, bool located) {
      return std::make_shared<FakeCallBack>(FakeCallBack::Arguments{{destination, form},
                                                                    {source, 0},
                                                                    {width, 20},
                                                                    {height, 20},
                                                                    {orientation, true},
                                                                    {album, true},
                                                                    {geolocation, located}});
    };
    const auto native = command(2, false), file = command(1, true);
    std::thread one([&] { plugin->takePicture(native); });
    std::thread two([&] { plugin->takePicture(file); });
    fake.mainQueue.runUntil([&] { return native->answers().size() + file->answers().size() == 2; });
    one.join();
    two.join();
    fake.tasks.join();  // Album saves may be in flight; their changes end with the thread.
    photos = nullptr;
    EXPECT_THAT(fake.unhandled.all(), testing::IsEmpty());
    std::vector<std::string> answers = native->answers();
    for (auto& answer : file->answers()) answers.push_back(answer);
    EXPECT_THAT(answers, testing::UnorderedElementsAre(StartsWith("success {callbackURI: '"),
                                                       StartsWith("success {callbackURI: <")));
    EXPECT_EQ(plugin->inspect().pickerController, nullptr);
  }
}

}  // namespace
}  // namespace vecamera
