#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "device/foundation/files/ApplicationHome.h"
#include "device/photos/LibraryStore.h"
#include "device/script/play/PlaySession.h"
#include "simulator/server/phone/DevicePart.h"
#include "simulator/server/phone/MediaFolder.h"
#include "simulator/server/phone/PhoneState.h"
#include "simulator/server/phone/Recording.h"
#include "simulator/server/phone/Requests.h"

namespace vecamera::simulator {

/// One message of a phone to its browser.
struct PhoneMessage {
  enum class Kind {
    /// An event or a trace: a browser that comes back gets it again.
    logged,
    state,
    /// `done` or `failed`: each request gets one, the last message that it brings about.
    reply,
    /// Passes: nobody gets it again.
    passing,
    /// Not for the browser as it is: the device ends for a new one, with this `device` part, and
    /// what
    /// follows is of that one.
    restarted,
  };
  Kind kind = Kind::logged;
  std::string text;
};

/// So that what a browser sends cannot make a phone grow without end. Each is of one device: a
/// restart begins anew.
struct PhoneLimits {
  RecordingLimits recording;
  /// Calls of the page that have no answer.
  std::size_t openCalls = 256;
  /// Calls of the page, of which the device keeps a record, and their arguments.
  std::size_t calls = 10'000;
  std::size_t callBytes = 64U << 20U;
  /// Of a movie that the camera makes itself.
  double sceneSeconds = 60;
};

struct PhoneSetup {
  DevicePart device;
  /// The home whose photo library is used; nothing: a library of the phone's own.
  std::optional<std::filesystem::path> home;
  /// In the place of the temporary directory's file URLs: an address with a trailing slash.
  std::string filesAddress;
  /// Where the recording is kept; nothing: nowhere.
  std::optional<std::filesystem::path> record;
  MediaLimits media;
  PhoneLimits limits;
  /// What time it is. Called on the phone's thread.
  std::function<Date()> realTime;
  /// Takes the messages in their order; called on the phone's threads, one at a time.
  std::function<void(PhoneMessage)> send;
  /// Takes lines for the developer; called on the phone's thread.
  std::function<void(const std::string&)> diagnose;
};

/// A device with a thread that plays on it what a browser asks for, and keeps the recording.
class Phone {
 public:
  /// Begins at once. `home` is a private one, for the phone alone.
  Phone(PhoneSetup setup, std::unique_ptr<device::foundation::ApplicationHome> home);
  /// Removes what was the phone's own, after `finish`.
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  // Any thread.

  /// Carries the request out after those before it.
  void receive(std::string message);
  /// Ends the phone as soon as the work at hand allows; nothing that is received after it counts.
  void stop();
  /// Returns when the phone has ended; nothing is sent any more. One thread at a time.
  void finish();
  MediaFolder& media() { return media_; }
  const Recording& recording() const { return recording_; }
  /// The photo library; null before the phone has begun.
  std::shared_ptr<device::photos::LibraryStore> library() const;
  std::string temporaryDirectory() const { return home_->temporaryDirectory(); }
  /// A folder for files of the phone's own.
  const std::string& folder() const { return home_->path(); }

 private:
  using Json = nlohmann::ordered_json;
  /// Why something could not be done; nothing: it was.
  using Failure = std::optional<std::string>;

  void run();
  void waitForWork(std::unique_lock<std::mutex>& lock);
  void handle(const std::string& message);
  Failure carryOut(const StepRequest& request);
  Failure carryOut(const RestartRequest& request);
  Failure carryOut(const RestoreSamplesRequest& request);

  template <class Request>
  Failure carryOutSafely(const Request& request);

  Failure begin(const DevicePart& part, bool keepLibrary);
  Failure makeDevice(const DevicePart& part, bool keepLibrary);
  Failure openLibrary(bool keepLibrary);
  DevicePart withFreshLibrary(DevicePart part) const;
  URLTransformer urlTransformer() const;
  void beginRecording(const device::script::DeviceSetup& setup);
  Failure holdLibrary(std::vector<Recording::Asset>& assets);
  Failure play(Json step);
  Failure problemWith(const device::script::Step& step, const Json& asked);
  void record(Json step, Recording::File file);
  Failure replaceFile(Json& step, Recording::File& file);
  /// The finished media file's name, or nothing where it cannot be written. Whoever asks for it
  /// holds it next.
  std::optional<std::string> keep(const Data& contents, std::string_view name);
  void moveClock();
  void runOn();
  void noteLibrary();
  void noteEvent(const std::string& line);
  void noteTrace(const device::script::TraceSpan& span);
  /// Numbers the message of that type, which ends in `rest`, and sends it.
  void sendLogged(std::string_view type, const std::string& rest);
  void sendState();
  void sendState(const Json& state);
  bool isRecordingDue() const;
  void writeRecording();
  std::int64_t millisecondsSoFar() const;

  const PhoneSetup setup_;
  const std::unique_ptr<device::foundation::ApplicationHome> home_;
  MediaFolder media_;
  Recording recording_;
  const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by the mutex.
  std::deque<std::string> received_;
  bool stopping_ = false;
  std::shared_ptr<device::photos::LibraryStore> library_;

  // The rest is used on the phone's threads, one at a time.
  DevicePart part_;
  std::ostringstream diagnostics_;
  std::unique_ptr<device::script::PlaySession> session_;
  /// Why there is no device.
  std::string broken_;
  PresentedScreens screens_;
  FileOwners owners_;
  Json faults_ = Json::array();
  /// How far the phone's clock is ahead of the real time.
  std::chrono::microseconds clockOffset_{0};
  bool isClockFixed_ = false;
  /// The last step asked not to settle.
  bool isUnsettled_ = false;
  std::int64_t messages_ = 0;
  std::size_t step_ = 0;
  std::vector<std::int64_t> assets_;
  std::uint64_t libraryVersion_ = 0;
  std::string lastState_;
  /// Files that a step uses and no recording holds.
  std::vector<HeldFile> unrecorded_;
  std::size_t calls_ = 0;
  std::size_t callBytes_ = 0;
  bool isRecordingDirty_ = false;
  bool hasWritingFailed_ = false;
  /// The recording is not written before; it is written whole, so that has its price.
  std::chrono::steady_clock::time_point nextWriting_ = begun_;

  std::thread thread_;
};

}  // namespace vecamera::simulator
