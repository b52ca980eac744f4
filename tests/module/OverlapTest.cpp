#include <chrono>
#include <thread>

#include "tests/module/PluginTest.h"

namespace vecamera {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

/// Runs the queue's jobs until the condition holds; false where it does not within ten seconds.
bool runUntil(QueueExecutor& queue, const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    if (!queue.runOne()) std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  return true;
}

/// Two commands from two container threads, with the answers of the photo framework on a thread of
/// their own: the main queue is pumped here, and the user finishes each picker at once.
TEST(OverlapTest, TwoOverlappingCommandsAreAnsweredOnTheLatestCallback) {
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
    controller->onPresent = [&](const PresentedViewController& presented) {
      plugin->imagePickerControllerDidFinishPickingMediaWithInfo(
          std::get<std::shared_ptr<UIImagePickerController>>(presented), info);
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
    const bool answered = runUntil(
        fake.mainQueue, [&] { return native->answers().size() + file->answers().size() == 2; });
    one.join();
    two.join();
    fake.tasks.join();  // Album saves may be in flight; their changes end with the thread.
    photos = nullptr;
    ASSERT_TRUE(answered);
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
