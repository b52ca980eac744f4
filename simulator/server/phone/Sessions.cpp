#include "simulator/server/phone/Sessions.h"

#include <algorithm>
#include <utility>

#include "device/foundation/files/ApplicationHome.h"
#include "device/script/json/JsonValue.h"
#include "simulator/server/http/Secrets.h"

namespace vecamera::simulator {
namespace {

/// Says why there is no session.
class Refusal : public MessageReceiver {
 public:
  explicit Refusal(std::string why) : why_(std::move(why)) {}
  void opened(const std::shared_ptr<Peer>& peer) override { peer->sendLast(byeMessage(why_)); }
  bool received(Peer&, std::string) override { return false; }
  void closed(Peer&) override {}

 private:
  const std::string why_;
};

}  // namespace

std::shared_ptr<MessageReceiver> Sessions::open(std::string_view id, std::string_view host) {
  if (auto found = find(id)) return found;
  if (sessions_.size() >= setup_.maxSessions && !makeRoom())
    return std::make_shared<Refusal>("there are " + std::to_string(sessions_.size()) +
                                     " phones already; close a tab of one");
  if (auto made = make(host)) return made;
  return std::make_shared<Refusal>("no temporary folder can be made; check TMPDIR");
}

std::shared_ptr<Session> Sessions::find(std::string_view id) const {
  const auto found = sessions_.find(id);
  return found == sessions_.end() ? nullptr : found->second;
}

std::shared_ptr<Session> Sessions::findByFileToken(std::string_view token) const {
  for (const auto& [id, session] : sessions_)
    if (sameSecret(token, session->identity().fileToken)) return session;
  return nullptr;
}

std::shared_ptr<Session> Sessions::make(std::string_view host) {
  auto home = device::foundation::ApplicationHome::makePrivate();
  if (!home) return nullptr;
  const auto origin = "http://" + std::string(host) + ":" + std::to_string(setup_.appPort);
  Session::Identity identity{randomToken(), randomToken(),
                             origin + "/.vecamera/enter?token=" + setup_.appToken, origin};

  PhoneSetup phone;
  phone.device = setup_.device;
  phone.home = setup_.home;
  phone.filesAddress = origin + "/.vecamera/files/" + identity.fileToken + "/";
  phone.record = setup_.recordings.ofSession(++number_);
  phone.media = setup_.media;
  phone.realTime = setup_.realTime;
  phone.diagnose = setup_.diagnose;
  const auto session = std::make_shared<Session>(std::move(identity), setup_.limits, setup_.now);
  phone.send = [post = setup_.post, weak = std::weak_ptr<Session>(session)](PhoneMessage message) {
    post([weak, message = std::move(message)]() mutable {
      if (const auto told = weak.lock()) told->take(std::move(message));
    });
  };
  session->begin(std::make_unique<Phone>(std::move(phone), std::move(home)),
                 device::script::toLine(setup_.device.asked));
  sessions_.emplace(session->identity().id, session);
  return session;
}

bool Sessions::makeRoom() {
  std::shared_ptr<Session> longest;
  for (const auto& [id, session] : sessions_)
    if (session->isAlone() && (!longest || session->aloneSince() < longest->aloneSince()))
      longest = session;
  if (longest) end(longest, "it made room for another phone, as nobody was there");
  return longest != nullptr;
}

bool Sessions::anybodyThere() const {
  return std::any_of(sessions_.begin(), sessions_.end(),
                     [](const auto& entry) { return !entry.second->isAlone(); });
}

void Sessions::tellAll(const std::string& message) {
  for (const auto& [id, session] : sessions_) session->tell(message);
}

void Sessions::endIdle() {
  for (auto next = sessions_.begin(); next != sessions_.end();) {
    const auto session = next++->second;
    if (session->isIdle()) end(session, "nobody was there for a long time");
  }
}

void Sessions::end(const std::shared_ptr<Session>& session, std::string_view why) {
  sessions_.erase(session->identity().id);
  session->end(why);
  setup_.letGo(session);
}

void Sessions::endAll(std::string_view why) {
  for (auto& [id, session] : std::exchange(sessions_, {})) {
    session->end(why);
    setup_.letGo(std::move(session));
  }
}

}  // namespace vecamera::simulator
