#include "simulator/server/sites/Session.h"

#include <algorithm>
#include <utility>

#include "simulator/server/phone/PhoneRequest.h"

namespace vecamera::simulator {

std::string subprotocolOf(int version) {
  return version > 1 ? "vecamera." + std::to_string(version) : std::string();
}

std::string byeMessage(const RequestError& error) {
  return toLine({{"type", "bye"}, {"code", nameOf(error.code)}, {"why", error.message}});
}

std::string_view nameOf(Role role) {
  switch (role) {
    case Role::page: return "page";
    case Role::driver: return "driver";
    case Role::observer: return "observer";
  }
  return "page";
}

class Session::Handler : public MessageHandler {
 public:
  Handler(std::shared_ptr<Session> session, ConnectionSetup setup)
      : session_(std::move(session)), setup_(setup) {}
  std::string subprotocol() const override { return subprotocolOf(setup_.version); }
  void onOpen(const std::shared_ptr<Peer>& peer) override { session_->open(peer, setup_); }
  Reading onMessage(Peer& peer, std::string message) override {
    return session_->receive(peer, std::move(message));
  }
  void onClose(Peer& peer) override { session_->close(peer); }

 private:
  const std::shared_ptr<Session> session_;
  const ConnectionSetup setup_;
};

std::shared_ptr<MessageHandler> Session::connect(ConnectionSetup setup) {
  return std::make_shared<Handler>(shared_from_this(), setup);
}

void Session::onPhoneMessage(PhoneMessage message) {
  auto text = std::make_shared<const std::string>(std::move(message.text));
  switch (message.kind) {
    case PhoneMessage::Kind::restarted:
      device_ = *text;
      while (!log_.empty()) drop();
      isDeviceDropped_ = false;
      state_ = nullptr;
      return send("{\"type\":\"restarted\",\"device\":" + device_ + "}");
    case PhoneMessage::Kind::logged: log({text, message.n, message.version}); break;
    case PhoneMessage::Kind::state: state_ = text; break;
    case PhoneMessage::Kind::transient: break;
    case PhoneMessage::Kind::reply: return onReply(text);
  }
  send(text, message.version);
}

/// The reply is for the connection that asked, where that is there yet.
void Session::onReply(const Message& reply) {
  if (pending_.empty()) return;
  const auto number = pending_.front();
  pending_.pop_front();
  const auto asker = std::find_if(connections_.begin(), connections_.end(),
                                  [number](const Connection& one) { return one.number == number; });
  if (asker != connections_.end()) {
    // Sending may end the connection.
    const auto peer = asker->peer;
    peer->send(reply);
  }
  if (pending_.size() + 1 != limits_.pendingRequests) return;
  std::vector<std::shared_ptr<Peer>> paused;
  for (auto& connection : connections_)
    if (std::exchange(connection.isPaused, false)) paused.push_back(connection.peer);
  for (const auto& peer : paused) peer->resumeReading();
}

void Session::drop() {
  logBytes_ -= log_.front().message->size();
  dropped_ = log_.front().n;
  isDeviceDropped_ = true;
  log_.pop_front();
}

void Session::log(Logged message) {
  logBytes_ += message.message->size();
  log_.push_back(std::move(message));
  // The newest stays, however long it is.
  while (log_.size() > limits_.loggedMessages ||
         (logBytes_ > limits_.loggedBytes && log_.size() > 1))
    drop();
}

bool Session::isUnused() const {
  return std::all_of(connections_.begin(), connections_.end(), [](const Connection& connection) {
    return connection.setup.role == Role::observer;
  });
}

bool Session::isIdle() const {
  return isUnused() && now_() - unusedSince_ >= limits_.idle;
}

void Session::end(const RequestError& why) {
  ended_ = why;
  for (const auto& connection : std::exchange(connections_, {}))
    connection.peer->sendAndClose(byeMessage(why));
  if (phone_) phone_->stop();
}

void Session::send(std::string message) {
  send(std::make_shared<const std::string>(std::move(message)));
}

void Session::send(const Message& message, int version) {
  // A peer that is sent too much may be closed by that.
  for (const auto& connection : std::vector(connections_))
    if (connection.setup.version >= version) connection.peer->send(message);
}

std::string Session::hello(const ConnectionSetup& setup) const {
  std::string messages;
  for (const auto& logged : log_)
    if (logged.version <= setup.version && (!setup.after || logged.n > *setup.after))
      messages += (messages.empty() ? "" : ",") + *logged.message;
  auto text = toLine({{"type", "hello"},
                      {"session", identity_.id},
                      {"version", setup.version},
                      {"role", nameOf(setup.role)},
                      {"app", identity_.app},
                      {"appOrigin", identity_.appOrigin},
                      {"unfinished", pending_.size()},
                      {"gap", setup.after ? *setup.after < dropped_ : isDeviceDropped_}});
  text.pop_back();
  return text + ",\"device\":" + device_ + ",\"messages\":[" + messages + "]}";
}

void Session::open(const std::shared_ptr<Peer>& peer, const ConnectionSetup& setup) {
  if (ended_) return peer->sendAndClose(byeMessage({ErrorCode::noSession, "this phone has ended"}));
  if (setup.role == Role::page) {
    const auto older =
        std::find_if(connections_.begin(), connections_.end(),
                     [](const Connection& one) { return one.setup.role == Role::page; });
    if (older != connections_.end()) {
      const auto replaced = older->peer;
      connections_.erase(older);
      replaced->sendAndClose(
          byeMessage({ErrorCode::takenOver, "this phone was opened in another tab"}));
    }
  } else if (static_cast<std::size_t>(
                 std::count_if(connections_.begin(), connections_.end(), [](const Connection& one) {
                   return one.setup.role != Role::page;
                 })) >= limits_.connections) {
    return peer->sendAndClose(
        byeMessage({ErrorCode::tooMany, "this phone has as many connections as it may have"}));
  }
  connections_.push_back({peer, setup, ++connectionNumber_, false});
  peer->send(std::make_shared<const std::string>(hello(setup)));
  if (state_) peer->send(state_);
}

Reading Session::receive(Peer& peer, std::string message) {
  const auto found =
      std::find_if(connections_.begin(), connections_.end(),
                   [&peer](const Connection& one) { return one.peer.get() == &peer; });
  if (found == connections_.end()) return Reading::proceed;
  if (found->setup.role == Role::observer) {
    const auto request = parsePhoneRequest(message);
    Json reply = {{"type", "failed"},
                  {"id", request ? request->id : request.error().id},
                  {"code", nameOf(ErrorCode::forbidden)},
                  {"why", "an observer only looks on; connect as a driver"},
                  {"through", nullptr}};
    peer.send(std::make_shared<const std::string>(toLine(reply)));
    return Reading::proceed;
  }
  phone_->receive(std::move(message));
  pending_.push_back(found->number);
  found->isPaused = pending_.size() >= limits_.pendingRequests;
  return found->isPaused ? Reading::pause : Reading::proceed;
}

void Session::close(const Peer& peer) {
  const bool wasUnused = isUnused();
  std::erase_if(connections_, [&peer](const Connection& one) { return one.peer.get() == &peer; });
  if (!wasUnused && isUnused()) unusedSince_ = now_();
}

}  // namespace vecamera::simulator
