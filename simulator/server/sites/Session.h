#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/server/base/ErrorCode.h"
#include "simulator/server/base/Limits.h"
#include "simulator/server/http/Http.h"
#include "simulator/server/phone/Phone.h"

namespace vecamera::simulator {

/// Of the protocol between clients and server: the newest that the server speaks. A client that
/// offers no subprotocol speaks version 1.
inline constexpr int protocolVersion = 2;

/// The WebSocket subprotocol of the version; empty for version 1.
std::string subprotocolOf(int version);

/// `{"type":"bye","code":CODE,"why":WHY}`.
std::string byeMessage(const RequestError& error);

/// What a connection is to its session.
enum class Role {
  /// Shows the phone and answers the page in it. There is at most one.
  page,
  /// Plays the user. There may be many.
  driver,
  /// Only looks on: its requests fail.
  observer,
};

std::string_view nameOf(Role role);

struct ConnectionSetup {
  Role role = Role::page;
  int version = 1;
  /// The number of the last message that the client has; nothing: it has none.
  std::optional<std::int64_t> after{};
};

/// One phone, and the connections of those who use it. Connections that go away leave it as it is.
/// On the server's thread, but for the phone.
class Session : public std::enable_shared_from_this<Session> {
 public:
  using Clock = std::chrono::steady_clock;

  struct Identity {
    std::string id;
    /// The secret part of the addresses of its temporary files.
    std::string fileToken;
    /// The app's address for the frame, and its origin.
    std::string app;
    std::string appOrigin;
  };

  Session(Identity identity, SessionLimits limits, std::function<Clock::time_point()> now)
      : identity_(std::move(identity)), limits_(limits), now_(std::move(now)) {}

  /// Gives the session its phone, which begins with this `device` part; once.
  void begin(std::unique_ptr<Phone> phone, std::string device) {
    phone_ = std::move(phone);
    device_ = std::move(device);
  }
  const Identity& identity() const { return identity_; }
  Phone& phone() { return *phone_; }
  /// The handler of one connection. A page takes the place of the one before it.
  std::shared_ptr<MessageHandler> connect(ConnectionSetup setup);

  void onPhoneMessage(PhoneMessage message);
  /// To everybody who is connected, and to nobody later.
  void send(std::string message);
  /// Whether nobody has used it for the time after which it ends.
  bool isIdle() const;
  bool isAnyConnected() const { return !connections_.empty(); }
  /// Whether neither page nor driver is connected: observers alone do not keep a session.
  bool isUnused() const;
  /// Of a session that is unused.
  Clock::time_point unusedSince() const { return unusedSince_; }
  /// Says why to everybody, closes the connections, and asks the phone to end.
  void end(const RequestError& why);

 private:
  class Handler;
  using Message = std::shared_ptr<const std::string>;

  struct Connection {
    std::shared_ptr<Peer> peer;
    ConnectionSetup setup;
    std::uint64_t number = 0;
    bool isPaused = false;
  };
  struct Logged {
    Message message;
    std::int64_t n = 0;
    int version = 1;
  };

  void open(const std::shared_ptr<Peer>& peer, const ConnectionSetup& setup);
  Reading receive(Peer& peer, std::string message);
  void close(const Peer& peer);
  void onReply(const Message& reply);
  void log(Logged message);
  void drop();
  std::string hello(const ConnectionSetup& setup) const;
  void send(const Message& message, int version = 1);

  const Identity identity_;
  const SessionLimits limits_;
  const std::function<Clock::time_point()> now_;
  std::unique_ptr<Phone> phone_;
  std::vector<Connection> connections_;
  std::uint64_t connectionNumber_ = 0;
  Clock::time_point unusedSince_ = now_();
  std::optional<RequestError> ended_;
  std::deque<Logged> log_;
  std::size_t logBytes_ = 0;
  /// The number of the newest message that the log no longer holds.
  std::int64_t dropped_ = -1;
  /// Whether messages of the device that is there are among them.
  bool isDeviceDropped_ = false;
  Message state_;
  std::string device_ = "{}";
  /// For each request that has no reply yet, the number of the connection that it came by: a later
  /// one has requests of its own, with the same identifiers.
  std::deque<std::uint64_t> pending_;
};

}  // namespace vecamera::simulator
