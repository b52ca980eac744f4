#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "VECamera/platform/Foundation.h"
#include "simulator/server/phone/DevicePart.h"
#include "simulator/server/phone/MediaFolder.h"
#include "simulator/server/phone/Session.h"

namespace vecamera::simulator {

struct ServerSetup {
  /// The developer's pages; nothing: the demo app.
  std::optional<std::filesystem::path> app;
  /// The home whose photo library all phones use; nothing: each has its own.
  std::optional<std::filesystem::path> home;
  /// Where the first session's recording is kept; those of later ones stand beside it.
  std::optional<std::filesystem::path> record;
  DevicePart device;
  /// Of the simulator's origin; 0 takes a free one.
  std::uint16_t port = 0;

  std::size_t maxSessions = 64;
  std::size_t maxConnections = 512;
  /// Of one message from a browser, and of what may wait for it to be taken.
  std::size_t messageBytes = 1U << 20U;
  std::size_t waitingBytes = 64U << 20U;
  /// For the head of a request, for a piece of a body, and of a browser's silence.
  std::chrono::milliseconds headTime{20'000};
  std::chrono::milliseconds pieceTime{30'000};
  std::chrono::milliseconds silence{60'000};
  SessionLimits session;
  MediaLimits media;

  /// Asked now and then while the server runs; true ends it. Empty: never.
  std::function<bool()> interrupted;
  /// For the idle time, and the real time for the phones.
  std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
  std::function<Date()> realTime;
  /// Takes lines for the developer; any thread.
  std::function<void(const std::string&)> diagnose;
};

/// Serves phones to the browsers of this machine, and to nobody else.
class Server {
 public:
  /// A server that listens, or why there is none.
  static std::variant<std::unique_ptr<Server>, std::string> make(ServerSetup setup);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// What a browser opens, with the secret. It ends in a slash.
  std::string address() const;
  /// Serves until `stop` or an interruption; then every phone has ended, its recording is written
  /// and what it kept is removed. Once.
  void run();

  // Any thread.
  void stop();
  /// Ends the sessions that have been idle for too long, as the server does now and then by itself.
  void endIdleSessions();
  /// Looks for changes of the app's files, as the server does now and then by itself.
  void lookForChanges();

 private:
  class Inside;
  explicit Server(std::unique_ptr<Inside> inside);

  const std::unique_ptr<Inside> inside_;
};

}  // namespace vecamera::simulator
