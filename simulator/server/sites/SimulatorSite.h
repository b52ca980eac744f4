#pragma once

#include "simulator/server/http/Http.h"
#include "simulator/server/sites/SessionRegistry.h"

namespace vecamera::simulator {

struct SimulatorSiteSetup {
  std::uint16_t port = 0;
  std::uint16_t appPort = 0;
  std::string secret;
};

/// The simulator's origin: the phone's pages, the sessions and their media, all behind the secret.
/// The sessions outlive it.
std::unique_ptr<Site> makeSimulatorSite(SimulatorSiteSetup setup, SessionRegistry& sessions);

}  // namespace vecamera::simulator
