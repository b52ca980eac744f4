#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/server/base/Limits.h"
#include "simulator/server/http/Http.h"
#include "simulator/server/phone/Phone.h"

namespace vecamera::simulator {

/// `{"type":"bye","why":WHY}`.
std::string byeMessage(std::string_view why);

/// One browser tab's phone. A connection that goes away leaves it as it is; a newer one takes the
/// place of an older one. On the server's thread, but for the phone.
class Session : public MessageHandler, public std::enable_shared_from_this<Session> {
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

  void onPhoneMessage(PhoneMessage message);
  /// To the browser that is connected, and to no later one.
  void send(std::string message) { send(std::make_shared<const std::string>(std::move(message))); }
  /// Whether it has been disconnected for the time after which it ends.
  bool isIdle() const;
  bool isDisconnected() const { return !peer_; }
  /// Of a session that is disconnected.
  Clock::time_point disconnectedSince() const { return disconnectedSince_; }
  /// Says why to the browser, closes its connection, and asks the phone to end.
  void end(std::string_view why);

  void onOpen(const std::shared_ptr<Peer>& peer) override;
  Reading onMessage(Peer& peer, std::string message) override;
  void onClose(Peer& peer) override;

 private:
  using Message = std::shared_ptr<const std::string>;

  bool onReply();
  void log(Message message);
  std::string hello() const;
  void send(const Message& message) {
    if (peer_) peer_->send(message);
  }

  const Identity identity_;
  const SessionLimits limits_;
  const std::function<Clock::time_point()> now_;
  std::unique_ptr<Phone> phone_;
  std::shared_ptr<Peer> peer_;
  Clock::time_point disconnectedSince_ = now_();
  bool ended_ = false;
  std::deque<Message> log_;
  std::size_t logBytes_ = 0;
  Message state_;
  std::string device_ = "{}";
  std::uint64_t connection_ = 0;
  /// For each request that has no reply yet, the number of the connection that it came by: a later
  /// one has requests of its own, with the same identifiers.
  std::deque<std::uint64_t> pending_;
};

}  // namespace vecamera::simulator
