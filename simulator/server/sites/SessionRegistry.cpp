#include "simulator/server/sites/SessionRegistry.h"

#include <algorithm>
#include <utility>

#include "device/foundation/files/ApplicationHome.h"
#include "simulator/server/http/Secrets.h"

namespace vecamera::simulator {
namespace {

class Refusal : public MessageHandler {
 public:
  Refusal(RequestError why, std::string subprotocol)
      : why_(std::move(why)), subprotocol_(std::move(subprotocol)) {}
  std::string subprotocol() const override { return subprotocol_; }
  void onOpen(const std::shared_ptr<Peer>& peer) override { peer->sendAndClose(byeMessage(why_)); }
  Reading onMessage(Peer&, std::string) override { return Reading::pause; }
  void onClose(Peer&) override {}

 private:
  const RequestError why_;
  const std::string subprotocol_;
};

}  // namespace

std::shared_ptr<MessageHandler> refuseConnection(RequestError why, std::string subprotocol) {
  return std::make_shared<Refusal>(std::move(why), std::move(subprotocol));
}

std::shared_ptr<MessageHandler> SessionRegistry::open(std::string_view id, std::string_view host,
                                                      ConnectionSetup setup) {
  auto session = find(id);
  const auto handshake = subprotocolOf(setup.version);
  const bool mayMake = setup.role == Role::page || (setup.role == Role::driver && id.empty());
  if (!session && !mayMake)
    return refuseConnection({ErrorCode::noSession, "there is no such session (any more); make one"},
                            handshake);
  if (!session) {
    auto made = make(host);
    if (!made) return refuseConnection(made.error(), handshake);
    session = *made;
  }
  return session->connect(setup);
}

std::shared_ptr<Session> SessionRegistry::find(std::string_view id) const {
  const auto found = sessions_.find(id);
  return found == sessions_.end() ? nullptr : found->second;
}

std::shared_ptr<Session> SessionRegistry::findByFileToken(std::string_view token) const {
  for (const auto& [id, session] : sessions_)
    if (sameSecret(token, session->identity().fileToken)) return session;
  return nullptr;
}

RequestResult<std::shared_ptr<Session>> SessionRegistry::make(std::string_view host) {
  if (sessions_.size() >= setup_.limits.sessions && !makeRoom())
    return refused(ErrorCode::tooMany, "there are " + std::to_string(sessions_.size()) +
                                           " phones already; close a tab of one");
  auto home = foundation::ApplicationHome::makePrivate();
  if (!home) return refused(ErrorCode::internal, "no temporary folder can be made; check TMPDIR");
  const auto origin = "http://" + std::string(host) + ":" + std::to_string(setup_.appPort);
  Session::Identity identity{randomToken(), randomToken(),
                             origin + "/.vecamera/enter?token=" + setup_.appToken, origin};

  auto phone = setup_.phone;
  phone.filesAddress = origin + "/.vecamera/files/" + identity.fileToken + "/";
  phone.record = setup_.recordings.ofSession(++number_);
  const auto session = std::make_shared<Session>(std::move(identity), setup_.limits, setup_.now);
  phone.onMessage = [post = setup_.post,
                     weak = std::weak_ptr<Session>(session)](PhoneMessage message) {
    post([weak, message = std::move(message)]() mutable {
      if (const auto alive = weak.lock()) alive->onPhoneMessage(std::move(message));
    });
  };
  session->begin(std::make_unique<Phone>(std::move(phone), *std::move(home)),
                 toLine(setup_.phone.device.requested));
  sessions_.emplace(session->identity().id, session);
  return session;
}

bool SessionRegistry::makeRoom() {
  std::shared_ptr<Session> longest;
  for (const auto& [id, session] : sessions_)
    if (session->isUnused() && (!longest || session->unusedSince() < longest->unusedSince()))
      longest = session;
  if (longest)
    end(longest, {ErrorCode::madeRoom, "it made room for another phone, as nobody was there"});
  return longest != nullptr;
}

bool SessionRegistry::isAnyConnected() const {
  return std::any_of(sessions_.begin(), sessions_.end(),
                     [](const auto& entry) { return entry.second->isAnyConnected(); });
}

void SessionRegistry::sendToAll(const std::string& message) {
  for (const auto& [id, session] : sessions_) session->send(message);
}

void SessionRegistry::endIdle() {
  for (auto next = sessions_.begin(); next != sessions_.end();) {
    const auto session = next++->second;
    if (session->isIdle()) end(session, {ErrorCode::idle, "nobody was there for a long time"});
  }
}

void SessionRegistry::end(const std::shared_ptr<Session>& session, const RequestError& why) {
  sessions_.erase(session->identity().id);
  session->end(why);
  setup_.dispose(session);
}

void SessionRegistry::endAll(const RequestError& why) {
  for (auto& [id, session] : std::exchange(sessions_, {})) {
    session->end(why);
    setup_.dispose(std::move(session));
  }
}

}  // namespace vecamera::simulator
