#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/server/base/Limits.h"
#include "simulator/server/sites/RecordingFiles.h"
#include "simulator/server/sites/Session.h"

namespace vecamera::simulator {

/// Says why a client cannot be served, and ends its connection. The handshake names `subprotocol`,
/// one of those that the client offers, as a browser opens no connection else.
std::shared_ptr<MessageHandler> refuseConnection(RequestError why, std::string subprotocol = {});

/// Every session that there is. On the server's thread.
class SessionRegistry {
 public:
  struct Setup {
    /// Of every phone, but for what is its session's: `filesAddress`, `record` and `onMessage`.
    PhoneSetup phone;
    RecordingFiles recordings;
    SessionLimits limits;
    std::uint16_t appPort = 0;
    std::string appToken;
    /// For the idle time.
    std::function<Session::Clock::time_point()> now;
    /// Carries the job out on the server's thread. Called on any thread.
    std::function<void(std::function<void()>)> post;
    /// Finishes the phone of an ended session, apart from the server's thread.
    std::function<void(std::shared_ptr<Session>)> dispose;
  };
  explicit SessionRegistry(Setup setup) : setup_(std::move(setup)) {}

  /// The handler for a client that asks for this session: a connection to it, or one that says why
  /// there is none. A page gets a new session where there is none of that name; so does a driver
  /// that names none. `host` is the name by which the client knows the server.
  std::shared_ptr<MessageHandler> open(std::string_view id, std::string_view host,
                                       ConnectionSetup setup);
  /// A new session. Where there are as many as there may be, the one that has been unused for
  /// longest makes room.
  RequestResult<std::shared_ptr<Session>> make(std::string_view host);
  /// Null where there is none.
  std::shared_ptr<Session> find(std::string_view id) const;
  std::shared_ptr<Session> findByFileToken(std::string_view token) const;
  bool isAnyConnected() const;
  void sendToAll(const std::string& message);
  void endIdle();
  void endAll(const RequestError& why);

 private:
  /// Ends the session that has been unused for longest; false where all are in use.
  bool makeRoom();
  void end(const std::shared_ptr<Session>& session, const RequestError& why);

  const Setup setup_;
  std::map<std::string, std::shared_ptr<Session>, std::less<>> sessions_;
  /// How many there have been.
  std::size_t number_ = 0;
};

}  // namespace vecamera::simulator
