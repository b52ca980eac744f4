#include "simulator/server/sites/Session.h"

#include <utility>

namespace vecamera::simulator {

std::string byeMessage(std::string_view why) {
  return toLine({{"type", "bye"}, {"why", why}});
}

void Session::onPhoneMessage(PhoneMessage message) {
  auto text = std::make_shared<const std::string>(std::move(message.text));
  switch (message.kind) {
    case PhoneMessage::Kind::restarted:
      device_ = *text;
      log_.clear();
      logBytes_ = 0;
      state_ = nullptr;
      return send("{\"type\":\"restarted\",\"device\":" + device_ + "}");
    case PhoneMessage::Kind::logged: log(text); break;
    case PhoneMessage::Kind::state: state_ = text; break;
    case PhoneMessage::Kind::transient: break;
    case PhoneMessage::Kind::reply:
      if (!onReply()) return;
      break;
  }
  send(text);
}

/// Whether the reply is for the browser that is connected.
bool Session::onReply() {
  if (pending_.empty()) return false;
  const auto connection = pending_.front();
  pending_.pop_front();
  if (pending_.size() + 1 == limits_.pendingRequests && peer_) peer_->resumeReading();
  return connection == connection_;
}

void Session::log(Message message) {
  logBytes_ += message->size();
  log_.push_back(std::move(message));
  // The newest stays, however long it is.
  while (log_.size() > limits_.loggedMessages ||
         (logBytes_ > limits_.loggedBytes && log_.size() > 1)) {
    logBytes_ -= log_.front()->size();
    log_.pop_front();
  }
}

bool Session::isIdle() const {
  return !peer_ && now_() - disconnectedSince_ >= limits_.idle;
}

void Session::end(std::string_view why) {
  ended_ = true;
  if (const auto peer = std::exchange(peer_, nullptr)) peer->sendAndClose(byeMessage(why));
  if (phone_) phone_->stop();
}

std::string Session::hello() const {
  // Of the protocol between browser and server.
  constexpr int protocolVersion = 1;
  std::string messages;
  for (const auto& message : log_) messages += (messages.empty() ? "" : ",") + *message;
  auto text = toLine({{"type", "hello"},
                      {"session", identity_.id},
                      {"version", protocolVersion},
                      {"app", identity_.app},
                      {"appOrigin", identity_.appOrigin},
                      {"unfinished", pending_.size()}});
  text.pop_back();
  return text + ",\"device\":" + device_ + ",\"messages\":[" + messages + "]}";
}

void Session::onOpen(const std::shared_ptr<Peer>& peer) {
  if (ended_) return peer->sendAndClose(byeMessage("this phone has ended"));
  if (const auto older = std::exchange(peer_, peer))
    older->sendAndClose(byeMessage("this phone was opened in another tab"));
  ++connection_;
  send(hello());
  if (state_) send(state_);
}

Reading Session::onMessage(Peer& peer, std::string message) {
  if (&peer != peer_.get()) return Reading::proceed;
  phone_->receive(std::move(message));
  pending_.push_back(connection_);
  return pending_.size() < limits_.pendingRequests ? Reading::proceed : Reading::pause;
}

void Session::onClose(Peer& peer) {
  if (&peer != peer_.get()) return;
  peer_.reset();
  disconnectedSince_ = now_();
}

}  // namespace vecamera::simulator
