#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

/// Limits of what a browser can use: whatever it sends, the server's memory and files stay bounded.
namespace vecamera::simulator {

struct NetworkLimits {
  /// At the same time, of both origins.
  std::size_t connections = 512;
  std::size_t headerBytes = 16384;
  /// Of one WebSocket message from a browser.
  std::size_t messageBytes = 1U << 20U;
  /// What may be queued for a browser. One message alone may be longer.
  std::size_t queuedBytes = 64U << 20U;
  std::size_t queuedMessages = 8192;
  /// For the whole header section; also how long a connection waits for its next request.
  std::chrono::milliseconds headerTimeout{20'000};
  /// For one piece of a body, in or out.
  std::chrono::milliseconds bodyTimeout{30'000};
  /// Of a WebSocket that sends neither messages nor pongs. The time does not run while reading is
  /// paused.
  std::chrono::milliseconds idleTimeout{60'000};
};

struct MediaLimits {
  std::uint64_t fileBytes = 256U << 20U;
  /// Of all files that one phone has at the same time.
  std::uint64_t totalBytes = 1U << 30U;
  std::size_t files = 4096;
};

struct RecordingLimits {
  std::size_t steps = 20'000;
  /// Of the steps without their media.
  std::size_t bytes = 64U << 20U;
};

/// Each is of one device: a restart begins anew.
struct PhoneLimits {
  RecordingLimits recording;
  /// Calls of the page that have no answer.
  std::size_t openCalls = 256;
  /// Calls of the page, of which the device keeps a record, and their messages.
  std::size_t calls = 10'000;
  std::size_t callBytes = 64U << 20U;
  /// Of a movie that the camera makes itself.
  double sceneSeconds = 60;
};

struct SessionLimits {
  /// At the same time.
  std::size_t sessions = 64;
  /// Drivers and observers of one session, at the same time.
  std::size_t connections = 32;
  /// What a browser that comes back gets again: the newest messages, as many and as long.
  std::size_t loggedMessages = 2000;
  std::size_t loggedBytes = 32U << 20U;
  /// Requests without a reply; from those who send more, nothing is read.
  std::size_t pendingRequests = 32;
  /// After so long without a connection a session ends.
  std::chrono::seconds idle{15 * 60};
};

}  // namespace vecamera::simulator
