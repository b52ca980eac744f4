#pragma once

#include "simulator/server/http/Http.h"
#include "simulator/server/sites/SessionRegistry.h"

namespace vecamera::simulator {

struct AppSiteSetup {
  std::uint16_t port = 0;
  std::uint16_t simulatorPort = 0;
  std::string token;
  /// The developer's pages; nothing: the demo app.
  std::optional<std::filesystem::path> folder;
  RecordingFiles recordings;
};

/// The app's origin: the page developer's own pages, or the demo app, and below "/.vecamera/" the
/// page bridge and the temporary files of the phones. The sessions outlive it.
std::unique_ptr<Site> makeAppSite(AppSiteSetup setup, SessionRegistry& sessions);

}  // namespace vecamera::simulator
