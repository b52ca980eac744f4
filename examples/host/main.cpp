#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>

#include "Container.h"
#include "FileManager.h"
#include "Foundation.h"
#include "Pictures.h"
#include "Screen.h"
#include "Services.h"
#include "VECamera/core/VECameraPlugin.h"

namespace {

namespace vc = vecamera;
using namespace host;

/// Everything behind the platform's interfaces.
struct Device {
  explicit Device(std::string temporaryDirectory, vc::Executor& handlers)
      : files(std::move(temporaryDirectory)),
        captureDevice(handlers),
        photoLibrary(handlers),
        imageManager(handlers) {}

  Log log;
  Clock clock;
  DateFormatters dateFormatters;
  FileManager files;
  URLs urls;
  Base64 base64;
  Bundles bundles;
  Process process;
  Application application;
  PickerClass pickers;
  Graphics graphics;
  Images images;
  ImageIO imageIO;
  AssetExports exports;
  CaptureDevice captureDevice;
  PhotoLibrary photoLibrary;
  ImageManager imageManager;
  CoreLocation coreLocation;
};

/// The person in front of the screen: presses the last button of an alert, and takes a picture
/// where there is a camera.
struct Person {
  void operator()(const std::shared_ptr<vc::UIAlertController>& alert) const {
    alert->actions().back().handler(alert);
  }
  void operator()(const std::shared_ptr<vc::UIImagePickerController>& picker) const {
    const std::vector<std::uint8_t> pixels{255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
    const auto picture = std::make_shared<Picture>(std::make_shared<Bitmap>(2, 2, pixels));
    if (const auto delegate = picker->delegate())
      delegate->imagePickerControllerDidFinishPickingMediaWithInfo(
          picker,
          {{std::string(vc::UIImagePickerControllerMediaType), std::string(vc::kUTTypeImage)},
           {std::string(vc::UIImagePickerControllerOriginalImage), picture}});
  }
};

/// A folder of the application's own, removed at the end.
struct Folder {
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "host-XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    path = pattern;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string path;
};

}  // namespace

/// Takes the same picture as a data URL and as a file, empties the temporary directory, and prints
/// what the page was answered.
int main() {
  const Folder temporary;
  vc::QueueExecutor mainQueue;
  vc::MainActor mainActor(mainQueue);
  std::optional<vc::ThreadPoolExecutor> background(1);
  Device device(temporary.path, *background);
  vc::TaskScope tasks([](std::exception_ptr) { std::abort(); });

  auto plugin = vc::VECameraPlugin::create({
      .log = device.log,
      .clock = device.clock,
      .dateFormatters = device.dateFormatters,
      .fileManager = device.files,
      .urls = device.urls,
      .base64 = device.base64,
      .bundles = device.bundles,
      .process = device.process,
      .application = device.application,
      .imagePickers = device.pickers,
      .graphics = device.graphics,
      .images = device.images,
      .imageIO = device.imageIO,
      .assetExports = device.exports,
      .captureDevice = device.captureDevice,
      .photoLibrary = device.photoLibrary,
      .imageManager = device.imageManager,
      .coreLocation = device.coreLocation,
      .mainQueue = mainQueue,
      .mainActor = mainActor,
      .background = *background,
      .tasks = tasks,
  });
  plugin->setVWebView(std::make_shared<vc::VelmoraWebView>());
  const auto root = std::make_shared<RootViewController>(
      mainQueue, [](const auto& shown) { std::visit(Person(), shown); });
  plugin->setViewController(root);

  const auto takePicture = [&](int destination) {
    constexpr int png = 1;
    const auto command =
        std::make_shared<Command>(Command::Arguments{{1, destination}, {5, png}}, mainQueue);
    plugin->takePicture(command);
    mainQueue.runUntil([&] { return command->answer().has_value(); });
    return *command->answer();
  };
  std::cout << takePicture(0) << '\n';
  std::cout << std::filesystem::file_size(takePicture(1)) << " bytes in a file\n";
  const auto cleanup = std::make_shared<Command>(Command::Arguments(), mainQueue);
  plugin->cleanup(cleanup);
  std::cout << *cleanup->answer() << ", "
            << (std::filesystem::is_empty(temporary.path) ? "no file is left\n"
                                                          : "files are left\n");

  plugin->dispose();
  // Its jobs hold the plug-in, and may present once more.
  mainQueue.runAll();
  root->clear();
  plugin = nullptr;
  tasks.join();
  // Before the device, which its handlers may use.
  background.reset();
  mainQueue.runAll();
}
