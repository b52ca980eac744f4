// Plays a device script through the phone's side: `ios_player run [--limit SECONDS] SCRIPT` prints
// what `vecamera run` prints, with its exit status, and 3 where an object of the host's or of the
// stand-ins' is left over.
#import <Foundation/Foundation.h>
#include <dlfcn.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "device/script/play/PlaySession.h"
#include "device/script/script/ScriptReader.h"
#import "ios/Sources/PlatformHost.h"
#import "tests/ios/platform/CoreGraphics.h"
#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareViewControllers.h"
#import "tests/ios/player/PhonePlugin.h"
#import "tests/ios/player/StandardOutput.h"
#include "tests/ios/runtime/LivingObjects.h"
#include "tests/ios/runtime/MainQueue.h"

namespace vecamera::ios {
namespace {

namespace script = device::script;

enum ExitStatus { success = 0, failure = 1, usage = 2, leak = 3 };

/// A software device behind the phone's stand-ins, with the phone's plug-in object in its
/// container.
class Phone {
 public:
  /// The error says why the device cannot be set up.
  static script::ScriptResult<std::unique_ptr<Phone>> make(const script::DeviceSetup& setup,
                                                           script::PlayOptions options) {
    std::unique_ptr<Phone> phone(new Phone);
    options.onKill = [raw = phone.get()] { raw->endHost(); };
    options.makePlugin = [raw = phone.get()](const Platform& platform) {
      raw->connect(platform);
      return makePhonePlugin();
    };
    auto session = script::PlaySession::make(
        setup, options, [raw = phone.get()](const script::Json& event) { raw->write(event); },
        std::cerr);
    if (!session) return std::move(session).failure();
    phone->session_ = *std::move(session);
    phone->lanes_ = &phone->session_->device().lanes;
    return phone;
  }

  ~Phone() {
    isReporting_ = false;
    if (session_) endHost();
    session_.reset();
    setSoftwarePlatform(nullptr);
  }

  script::PlayResult play(const script::Script& script) {
    const auto result = playSteps(script, *session_);
    readOutput();
    return result;
  }

 private:
  Phone() = default;

  /// Everything that knows the host ends before the host does, and that before the device.
  void endHost() {
    @autoreleasepool {
      auto& device = session_->device();
      lanes_ = nullptr;
      device.lanes.stop();
      setQueueRunner(nullptr);
      // What was still to be done on the main thread may be to release something.
      for (const auto& job : std::exchange(left_, {}))
        if (*job) (*job)();
      device.holds.clear();
      device.container.release();
      device.cameraPermission.dropWaiting();
      device.photoPermission.dropWaiting();
      device.locationPermission.dropWaiting();
      device.screen.clear();
      device.root->clear();
      clearScreen();
      vecamera_ios::PlatformHost::resetShared();
    }
    @autoreleasepool {
      drainMainQueue();
    }
  }

  void connect(const Platform& platform) {
    platform_ = std::make_unique<Platform>(platform);
    if (session_) lanes_ = &session_->device().lanes;
    setSoftwarePlatform(platform_.get());
    runner_ = {[this](QueueKind kind, std::function<void()> job) { add(kind, std::move(job)); },
               // Whoever conducts the device does on the main thread what a user does.
               [this] {
                 const auto* lane = script::Lanes::current();
                 return !lane || lane == &platform_->mainQueue;
               }};
    setQueueRunner(&runner_);
  }

  /// A queue of the host's own is none of the module's: it runs beside both.
  void add(QueueKind kind, std::function<void()> job) {
    auto kept = std::make_shared<std::function<void()>>(std::move(job));
    const auto run = [kept] {
      if (auto job = std::exchange(*kept, nullptr)) job();
    };
    if (kind == QueueKind::main) {
      std::erase_if(left_, [](const auto& each) { return !*each; });
      left_.push_back(kept);
    }
    (kind == QueueKind::main                ? platform_->mainQueue
     : kind == QueueKind::created && lanes_ ? lanes_->platform()
                                            : platform_->background)
        .post(run);
  }

  void write(const script::Json& event) {
    readOutput();
    if (isReporting_) output_.writeLine(script::toLine(event));
  }

  /// What the host printed comes as an event before the next one.
  void readOutput() {
    if (!platform_) return;
    output_.readLines([this](std::string_view line) { platform_->process.print(line); });
  }

  StandardOutput output_;
  bool isReporting_ = true;
  std::unique_ptr<Platform> platform_;
  QueueRunner runner_;
  script::Lanes* lanes_ = nullptr;
  /// Of the main queue, in order; the empty ones have run.
  std::vector<std::shared_ptr<std::function<void()>>> left_;
  std::unique_ptr<script::PlaySession> session_;
};

/// Whether the program itself has the class, not GNUstep.
bool isOurs(const std::string& className) {
  Dl_info of, own;
  Class type = NSClassFromString(@(className.c_str()));
  static const int anchor = 0;
  return dladdr((__bridge const void*)type, &of) && dladdr(&anchor, &own) &&
         of.dli_fbase == own.dli_fbase;
}

/// Of which there is one for the whole process, and queues.
const std::set<std::string_view> liveForEver = {"UIApplication", "PHPhotoLibrary", "PHImageManager",
                                                "DispatchQueue", "StaticDispatchObject"};

/// Whether nothing is left of a play.
bool checkLivingObjects() {
  bool isClean = true;
  for (const auto& [name, count] : livingObjectsByClass()) {
    if (!isOurs(name) || liveForEver.contains(name)) continue;
    std::cerr << "left over: " << count << " of " << name << '\n';
    isClean = false;
  }
  if (const auto count = livingGraphics(); count > 0) {
    std::cerr << "left over: " << count << " of Core Graphics\n";
    isClean = false;
  }
  return isClean;
}

ExitStatus play(const std::string& path, script::PlayOptions options) {
  const auto refuseScript = [&path](const script::ScriptError& error) {
    std::cerr << path << ": " << error.description() << '\n';
    return usage;
  };
  const auto script = script::readScript(std::filesystem::absolute(path));
  if (!script) return refuseScript(script.error());
  std::filesystem::current_path("/");  // an application's
  countLivingObjects();
  ExitStatus status = success;
  {
    auto phone = Phone::make(script->device, std::move(options));
    if (!phone) return refuseScript(phone.error());
    if ((*phone)->play(*script) != script::PlayResult::finished) status = failure;
  }
  @autoreleasepool {
    if (!checkLivingObjects()) return leak;
  }
  return status;
}

}  // namespace
}  // namespace vecamera::ios

int main(int count, char** arguments) {
  using namespace vecamera::ios;
  vecamera::device::script::PlayOptions options;
  std::optional<std::string> path;
  for (int i = 2; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--limit" && i + 1 < count)
      options.limit = std::chrono::milliseconds(
          static_cast<std::int64_t>(std::ceil(std::atof(arguments[++i]) * 1000)));
    else
      path = argument;
  }
  if (!path || std::string_view(arguments[1]) != "run") {
    std::cerr << "usage: ios_player run [--limit SECONDS] SCRIPT\n";
    return usage;
  }
  return play(*path, std::move(options));
}
