#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "simulator/server/http/Http.h"
#include "simulator/server/http/RequestTarget.h"
#include "simulator/server/sites/SessionRegistry.h"

namespace vecamera::simulator {

/// The simulator's origin: the phone's pages, the sessions and their media, all behind the secret.
class SimulatorSite : public Site {
 public:
  struct Setup {
    std::uint16_t port = 0;
    std::uint16_t appPort = 0;
    std::string secret;
  };
  SimulatorSite(Setup setup, SessionRegistry& sessions)
      : setup_(std::move(setup)), sessions_(sessions) {}

  Reaction react(const Request& request) override;
  HeaderFields commonFields(const Request& request) const override;

 private:
  Reaction reactTo(const Request& request, const RequestTarget& target);
  Reaction reactInSession(const Request& request, const std::shared_ptr<Session>& session,
                          const RequestTarget& target);

  const Setup setup_;
  SessionRegistry& sessions_;
};

}  // namespace vecamera::simulator
