#include "simulator/server/phone/Session.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "device/script/json/JsonValue.h"

namespace vecamera::simulator {
namespace {

/// Of the protocol between browser and server.
constexpr int kVersion = 1;

}  // namespace

std::string byeMessage(std::string_view why) {
  return device::script::toLine({{"type", "bye"}, {"why", why}});
}

Session::Session(Identity identity, SessionLimits limits, std::function<Clock::time_point()> now)
    : identity_(std::move(identity)), limits_(limits), now_(std::move(now)), aloneSince_(now_()) {}

void Session::take(PhoneMessage message) {
  auto text = std::make_shared<const std::string>(std::move(message.text));
  switch (message.kind) {
    case PhoneMessage::Kind::restarted:
      device_ = *text;
      log_.clear();
      logBytes_ = 0;
      state_ = nullptr;
      return tell("{\"type\":\"restarted\",\"device\":" + device_ + "}");
    case PhoneMessage::Kind::logged: log(text); break;
    case PhoneMessage::Kind::state: state_ = text; break;
    case PhoneMessage::Kind::passing: break;
    case PhoneMessage::Kind::reply:
      if (!reply()) return;
      break;
  }
  send(text);
}

/// Takes note of a reply; whether it is for the browser that is there.
bool Session::reply() {
  if (askers_.empty()) return false;
  const auto asker = askers_.front();
  askers_.pop_front();
  if (askers_.size() + 1 == limits_.waitingRequests && peer_) peer_->readOn();
  return asker == connection_;
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

void Session::tell(std::string message) {
  send(std::make_shared<const std::string>(std::move(message)));
}

void Session::send(const Message& message) {
  if (peer_) peer_->send(message);
}

bool Session::isIdle() const {
  return !peer_ && now_() - aloneSince_ >= limits_.idle;
}

void Session::end(std::string_view why) {
  ended_ = true;
  if (const auto peer = std::exchange(peer_, nullptr)) peer->sendLast(byeMessage(why));
  if (phone_) phone_->stop();
}

std::string Session::hello() const {
  std::string messages;
  for (const auto& message : log_) messages += (messages.empty() ? "" : ",") + *message;
  auto text = device::script::toLine({{"type", "hello"},
                                      {"session", identity_.id},
                                      {"version", kVersion},
                                      {"app", identity_.app},
                                      {"appOrigin", identity_.appOrigin},
                                      {"unfinished", askers_.size()}});
  text.pop_back();
  return text + ",\"device\":" + device_ + ",\"messages\":[" + messages + "]}";
}

void Session::opened(const std::shared_ptr<Peer>& peer) {
  if (ended_) {
    peer->sendLast(byeMessage("this phone has ended"));
    return;
  }
  if (const auto older = std::exchange(peer_, peer))
    older->sendLast(byeMessage("this phone was opened in another tab"));
  ++connection_;
  tell(hello());
  if (state_) send(state_);
}

bool Session::received(Peer& peer, std::string message) {
  if (&peer != peer_.get()) return true;
  phone_->receive(std::move(message));
  askers_.push_back(connection_);
  return askers_.size() < limits_.waitingRequests;
}

void Session::closed(Peer& peer) {
  if (&peer != peer_.get()) return;
  peer_.reset();
  aloneSince_ = now_();
}

}  // namespace vecamera::simulator
