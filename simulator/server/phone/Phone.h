#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "device/foundation/files/ApplicationHome.h"
#include "simulator/server/phone/MediaFolder.h"
#include "simulator/server/phone/PhoneLibrary.h"
#include "simulator/server/phone/PhoneSetup.h"
#include "simulator/server/phone/Recording.h"

namespace vecamera::simulator {

class PhoneDevice;

/// What a browser tab shows: a device with a thread of its own, on which the tab's requests are
/// carried out one after the other, and its recording.
class Phone {
 public:
  /// Begins at once. `home` is a private one, for the phone alone.
  Phone(PhoneSetup setup, foundation::ApplicationHome home);
  /// Removes what was the phone's own, after `finish`.
  ~Phone() { finish(); }
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
  std::shared_ptr<device::photos::LibraryStore> library() const { return library_.store(); }
  std::string temporaryDirectory() const { return home_.temporaryDirectory(); }
  /// A folder for files of the phone's own.
  const std::string& folder() const { return home_.path(); }

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  void run();
  bool isStopping() const;
  std::optional<TimePoint> nextWork(const PhoneDevice& device) const;
  std::optional<std::string> waitForMessage(std::optional<TimePoint> end);

  const PhoneSetup setup_;
  const foundation::ApplicationHome home_;
  MediaFolder media_;
  PhoneLibrary library_;
  Recording recording_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by the mutex.
  std::deque<std::string> received_;
  bool stopping_ = false;

  std::thread thread_;
};

}  // namespace vecamera::simulator
