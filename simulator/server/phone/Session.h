#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/server/http/Http.h"
#include "simulator/server/phone/Phone.h"

namespace vecamera::simulator {

struct SessionLimits {
  /// What a browser that comes back is told again: the newest messages, as many and as long.
  std::size_t loggedMessages = 2000;
  std::size_t loggedBytes = 32U << 20U;
  /// Requests that wait; a browser that sends more is not read on.
  std::size_t waitingRequests = 32;
  /// After so long without a connection a session ends.
  std::chrono::seconds idle{15 * 60};
};

/// `{"type":"bye","why":WHY}`.
std::string byeMessage(std::string_view why);

/// One browser tab's phone. A connection that goes away leaves it as it is; a newer one takes the
/// place of an older one. On the server's thread, but for the phone.
class Session : public MessageReceiver, public std::enable_shared_from_this<Session> {
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

  Session(Identity identity, SessionLimits limits, std::function<Clock::time_point()> now);

  /// Gives the session its phone, which begins with this `device` part; once.
  void begin(std::unique_ptr<Phone> phone, std::string device) {
    phone_ = std::move(phone);
    device_ = std::move(device);
  }
  const Identity& identity() const { return identity_; }
  Phone& phone() { return *phone_; }

  /// A message of the phone.
  void take(PhoneMessage message);
  /// To the browser that is there, and to no other.
  void tell(std::string message);
  /// Whether nobody has been there for the time after which the session ends.
  bool isIdle() const;
  /// Whether nobody is there.
  bool isAlone() const { return !peer_; }
  /// Since when, where nobody is there.
  Clock::time_point aloneSince() const { return aloneSince_; }
  /// Says why and lets the browser go, and asks the phone to end.
  void end(std::string_view why);

  void opened(const std::shared_ptr<Peer>& peer) override;
  bool received(Peer& peer, std::string message) override;
  void closed(Peer& peer) override;

 private:
  using Message = std::shared_ptr<const std::string>;

  bool reply();
  void log(Message message);
  std::string hello() const;
  void send(const Message& message);

  const Identity identity_;
  const SessionLimits limits_;
  const std::function<Clock::time_point()> now_;
  std::unique_ptr<Phone> phone_;
  std::shared_ptr<Peer> peer_;
  Clock::time_point aloneSince_;
  bool ended_ = false;
  std::deque<Message> log_;
  std::size_t logBytes_ = 0;
  Message state_;
  std::string device_ = "{}";
  /// Counts the connections.
  std::uint64_t connection_ = 0;
  /// For each request that has no reply yet, the number of the connection that it came by: a later
  /// one has requests of its own, with the same identifiers.
  std::deque<std::uint64_t> askers_;
};

}  // namespace vecamera::simulator
