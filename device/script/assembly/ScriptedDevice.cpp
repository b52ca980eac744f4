#include "device/script/assembly/ScriptedDevice.h"

#include <algorithm>
#include <filesystem>

#include "device/foundation/files/Folders.h"
#include "device/foundation/files/PartialFile.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/script/assembly/LibraryOptions.h"
#include "device/script/assembly/Samples.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {
namespace {

namespace fs = std::filesystem;

ScriptResult<> putFiles(const std::map<std::string, std::string>& files,
                        const std::string& directory) {
  for (const auto& [name, text] : files) {
    const std::string path = directory + "/" + name;
    const bool isFolder = name.ends_with('/');
    const auto folder = isFolder ? path : fs::path(path).parent_path().string();
    if (!foundation::makePrivateFolder(folder) ||
        (!isFolder && !foundation::replaceFile(path, Data::copyOf(text))))
      return failed("device.files", "\"" + name + "\" cannot be written in " + directory);
  }
  return {};
}

ScriptResult<> fillLibrary(const DeviceSetup& setup, ScriptedDevice::Environment& made) {
  for (std::size_t i = 0; i < setup.library.size(); ++i) {
    const auto& asset = setup.library[i];
    const auto imported =
        made.store->importFile({asset.file, asset.id, asset.photo}, made.clock->now());
    if (!imported) return failed(placeOfElement("device.library", i), imported.error().message);
  }
  return {};
}

ScriptResult<ScriptedDevice::Environment> prepare(const DeviceSetup& setup) {
  ScriptedDevice::Environment made;
  if (setup.clock) {
    auto clock = std::make_unique<foundation::ManualClock>(*setup.clock);
    made.manualClock = clock.get();
    made.clock = std::move(clock);
  } else {
    made.clock = std::make_unique<foundation::SystemClock>();
  }

  made.home = (setup.home ? foundation::ApplicationHome::open(setup.home->string())
                          : foundation::ApplicationHome::makePrivate())
                  .value();
  if (!made.home)
    return failed("the application's home" +
                  (setup.home ? " " + setup.home->string() : std::string()) +
                  " cannot be made; name a folder of your own that may be written");
  made.recordings = foundation::ApplicationHome::makePrivate().value();
  if (!made.recordings) return failed("no temporary folder can be made; check TMPDIR");
  made.temporaryDirectory = setup.temporaryDirectory ? setup.temporaryDirectory->string()
                                                     : made.home->temporaryDirectory();
  if (!foundation::makePrivateFolder(made.temporaryDirectory))
    return failed("device.temporaryDirectory", "the folder " + made.temporaryDirectory +
                                                   " cannot be made; name one that may be written");
  if (foundation::isSharedFolder(made.temporaryDirectory))
    return failed("device.temporaryDirectory",
                  made.temporaryDirectory +
                      " is shared with others, and cleanup would empty it; name a folder of its "
                      "own");
  foundation::removeAbandonedFiles(made.temporaryDirectory);

  auto options = libraryOptions();
  options.identifiers = [random = std::make_shared<photos::RandomIdentifiers>(setup.seed)] {
    return (*random)();
  };
  auto opened = photos::LibraryStore::open(libraryFolder(made.home->path()), std::move(options));
  if (!opened) return failed("the photo library cannot be opened: " + opened.error().message);
  made.store = std::move(*opened);

  if (auto put = putFiles(setup.files, made.temporaryDirectory); !put) return put.failure();
  if (auto filled = fillLibrary(setup, made); !filled) return filled.failure();
  return made;
}

unsigned threadsFor(const DeviceSetup& setup) {
  return std::max(1u, setup.pictureThreads.value_or(imaging::defaultThreadCount()));
}

std::optional<std::string> mainBundlePath(const MainBundleSetup& setup) {
  switch (setup.kind) {
    case MainBundleSetup::Kind::empty: return std::nullopt;
    case MainBundleSetup::Kind::folder: return setup.folder.string();
    case MainBundleSetup::Kind::sample: return samplesFolder() + "/MainBundle";
  }
  return std::nullopt;
}

}  // namespace

ScriptResult<std::unique_ptr<ScriptedDevice>> ScriptedDevice::make(
    const DeviceSetup& setup, ScriptObserver& observer, container::PluginFactory makePlugin,
    TraceSink trace) {
  auto made = prepare(setup);
  if (!made) return std::move(made).failure();
  return std::make_unique<ScriptedDevice>(setup, *std::move(made), observer, std::move(makePlugin),
                                          std::move(trace));
}

ScriptedDevice::ScriptedDevice(const DeviceSetup& setup, Environment made, ScriptObserver& observer,
                               container::PluginFactory makePlugin, TraceSink trace)
    : scriptObserver(observer),
      environment(std::move(made)),
      holds(
          lanes, *environment.clock,
          [this] {
            const auto& plugin = container.plugin();
            return std::dynamic_pointer_cast<container::Callback>(
                plugin ? plugin.inspect().currentCallBack : nullptr);
          },
          [&observer](HoldChange change, const Holds::Held& held) {
            observer.onHoldChanged(change, held);
          }),
      interception{faults, holds, std::move(trace), lanes.platform(),
                   [this](std::string_view path) {
                     takenName = path.substr(path.rfind('/') + 1);
                     lanes.yieldWaiting();
                   }},
      screen(observer),
      root(std::make_shared<HoldingRootViewController>(screen, lanes.main(), holds)),
      givesViewController(setup.viewController),
      cameraPermission(container::Permission::camera, setup.authorization.camera, screen,
                       lanes.platform()),
      photoPermission(container::Permission::photoLibrary, setup.authorization.photoLibrary, screen,
                      lanes.platform()),
      locationPermission(container::Permission::location, setup.authorization.location, screen,
                         lanes.platform()),
      dateFormatters(setup.locale, setup.timeZone),
      files(environment.temporaryDirectory),
      bundles(mainBundlePath(setup.mainBundle), setup.languages),
      process(observer),
      log(observer),
      application(faults, observer),
      pickerSources(setup),
      pictureWorkers(threadsFor(setup) - 1),
      pictureThreads(threadsFor(setup), pictureWorkers),
      images({}, pictureThreads),
      imageIO(
          [&observer](std::string_view type, const Dictionary& properties, std::size_t bytes) {
            observer.onImageDestinationFinalized(type, properties, bytes);
          },
          pictureThreads),
      exports(lanes.platform(),
              {[&observer](float progress) { observer.onExportProgress(progress); },
               [&observer] { return observer.isCancelled(); },
               [&observer](const NSError& error) { observer.onExportFailed(error); }}),
      captureDevice(cameraPermission),
      photoAuthorization(photoPermission),
      photoLibrary(*environment.store, *environment.clock, lanes.platform(), photoAuthorization,
                   [&observer](const photos::SavedAsset& asset) { observer.onSaved(asset); }),
      imageManager(*environment.store, lanes.platform(), photoAuthorization),
      location(locationPermission, lanes.main(), observer),
      services(intercept(files, base64, bundles, images, graphics, photoLibrary, imageManager,
                         exports, interception)),
      mainActor(lanes.main()),
      tasks(errorSink()),
      container(*environment.clock, observer, std::move(makePlugin),
                [this](const std::shared_ptr<container::Callback>& callback,
                       std::function<void()> deliver) {
                  return holds.keep(HoldPoint::answer, callback, std::move(deliver));
                }),
      observer_(observer) {
  faults.set(setup.faults);
  if (setup.prompts.camera)
    cameraPermission.answerPromptsWith(*setup.prompts.camera ? AVAuthorizationStatus::authorized
                                                             : AVAuthorizationStatus::denied);
  photoPermission.answerPromptsWith(setup.prompts.photoLibrary);
  if (setup.location) location.setFix(locationOf(*setup.location));
  setUrlTransformer(setup.urlTransformer);
  createPlugin();
}

ScriptedDevice::~ScriptedDevice() {
  endApp();
}

TaskScope::ErrorSink ScriptedDevice::errorSink() {
  return [this](std::exception_ptr thrown) { lanes.onException(thrown); };
}

void ScriptedDevice::killApp(const std::function<void()>& onKill) {
  container.killCallbacks();
  if (onKill) onKill();
  endApp();
  isAppRunning_ = false;
}

void ScriptedDevice::launchApp() {
  // The module has one flag for the process, which a command without arguments clears.
  PictureOptions::createFromTakePictureArguments(
      container::Callback("", "takePicture:", {}, 0, {}, *environment.clock, observer_));
  lanes.start();
  tasks.emplace(errorSink());
  isAppRunning_ = true;
  createPlugin();
}

void ScriptedDevice::endApp() {
  // Lanes first: a job that waits unwinds. Then the tasks, which may hold the plug-in, and last
  // what the screen and the prompts hold of them.
  lanes.stop();
  holds.clear();
  tasks->join();
  container.release();
  cameraPermission.dropWaiting();
  photoPermission.dropWaiting();
  locationPermission.dropWaiting();
  screen.clear();
  root->clear();
}

void ScriptedDevice::createPlugin() {
  const Platform platform{.log = log,
                          .clock = *environment.clock,
                          .dateFormatters = dateFormatters,
                          .fileManager = *services.fileManager,
                          .urls = urls,
                          .base64 = *services.base64,
                          .bundles = *services.bundles,
                          .process = process,
                          .application = application,
                          .imagePickers = pickerSources,
                          .graphics = *services.graphics,
                          .images = *services.images,
                          .imageIO = imageIO,
                          .assetExports = *services.assetExports,
                          .captureDevice = captureDevice,
                          .photoLibrary = *services.photoLibrary,
                          .imageManager = *services.imageManager,
                          .coreLocation = location,
                          .mainQueue = lanes.main(),
                          .mainActor = mainActor,
                          .background = lanes.background(),
                          .tasks = *tasks};
  container.create(platform, givesViewController ? root : nullptr);
}

void ScriptedDevice::setUrlTransformer(const UrlTransformerSetup& setup) {
  using Kind = UrlTransformerSetup::Kind;
  container::UrlTransformerOffer offer;
  offer.hasDelegate = setup.kind != Kind::noDelegate;
  if (setup.kind == Kind::nothing)
    offer.transformer = [](const URL&) { return std::optional<URL>(); };
  if (setup.kind == Kind::replace)
    offer.transformer = [from = setup.from, to = setup.to](const URL& url) -> std::optional<URL> {
      const std::string& text = url.absoluteString();
      if (!text.starts_with(from)) return std::nullopt;
      return URL(to + text.substr(from.size()));
    };
  setUrlTransformer(std::move(offer));
}

void ScriptedDevice::setUrlTransformer(container::UrlTransformerOffer offer) {
  if (offer.transformer)
    offer.transformer =
        [this, real = intercept(std::move(offer.transformer), interception)](const URL& url) {
          auto transformed = real(url);
          if (transformed) scriptObserver.onUrlTransformed(url, *transformed);
          return transformed;
        };
  container.setUrlTransformer(std::move(offer));
}

void ScriptedDevice::setViewController(bool given) {
  givesViewController = given;
  if (const auto& plugin = container.plugin())
    plugin.protocol->setViewController(given ? root : nullptr);
}

CLLocation ScriptedDevice::locationOf(const Fix& fix) const {
  return {{fix.latitude, fix.longitude},
          fix.altitude,
          fix.timestamp ? *fix.timestamp : environment.clock->now()};
}

}  // namespace vecamera::device::script
