#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "device/base/CancellationCheck.h"
#include "simulator/server/base/DeviceNames.h"
#include "simulator/server/base/Limits.h"
#include "simulator/server/phone/PhoneSetup.h"
#include "simulator/server/sites/AppSite.h"
#include "simulator/server/sites/DevServer.h"

namespace vecamera::simulator {

/// A port to listen on.
struct PortChoice {
  /// 0 takes a free one.
  std::uint16_t number = 0;
  enum class WhenTaken {
    fail,
    /// With a line for the developer.
    takeFree,
  };
  WhenTaken whenTaken = WhenTaken::fail;
};

/// Tried first where nobody names a port: outside the range from which systems give free ones, so
/// that the origins, and what browsers keep for them, are the same from start to start.
constexpr PortChoice defaultPort{7552, PortChoice::WhenTaken::takeFree};
constexpr PortChoice defaultAppPort{7553, PortChoice::WhenTaken::takeFree};

struct ServerSetup {
  AppSource app;
  /// What the app's page and its developer's server take the browser for; nothing: what it is.
  std::optional<std::string> userAgent;
  /// Where the first session's recording is kept; those of later ones stand beside it.
  std::optional<std::filesystem::path> record;
  /// Of every phone, but for what the server gives each: `filesAddress`, `record` and `onMessage`.
  /// Its `onDiagnostic` is called on any thread.
  PhoneSetup phone;
  /// Of the simulator's origin, and of the app's.
  PortChoice port;
  PortChoice appPort;

  /// The length of a request's content is that of a media file.
  NetworkLimits network;
  SessionLimits session;

  /// Asked now and then while the server runs; true ends it. Empty: never.
  device::CancellationCheck isCancelled;
  /// For the idle time.
  std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
};

/// Serves phones to the browsers of this machine, and to nobody else.
class Server {
 public:
  /// A server that listens.
  static ScriptResult<std::unique_ptr<Server>> make(ServerSetup setup);
  virtual ~Server() = default;

  /// What a browser opens, with the secret. It ends in a slash.
  virtual std::string address() const = 0;
  /// The same for programs, a JSON object in one line: "address", "port" and "appPort" of the two
  /// origins, "pid", and "version" of the protocol.
  virtual std::string addressAsJson() const = 0;
  /// Serves until `stop` or an interruption; then every phone has ended, its recording is written
  /// and its files are removed. Once.
  virtual void run() = 0;

  // Any thread.
  virtual void stop() = 0;
  /// Ends the sessions that have been idle for too long, as the server does now and then by itself.
  virtual void endIdleSessions() = 0;
  /// Looks for changes of the app's files, as the server does now and then by itself.
  virtual void lookForChanges() = 0;
};

}  // namespace vecamera::simulator
