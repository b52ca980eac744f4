#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "simulator/server/http/Http.h"
#include "simulator/server/sites/DevServer.h"
#include "simulator/server/sites/SessionRegistry.h"

namespace vecamera::simulator {

/// What a folder gives for a page that it does not have.
enum class UnknownPages {
  refused,
  /// Its "index.html", which handles addresses by itself: a single-page app.
  indexPage,
};

/// A folder of the developer's pages.
struct AppFolder {
  std::filesystem::path path;
  UnknownPages unknownPages = UnknownPages::refused;
};

struct DemoApp {};

/// Where the app's pages come from.
using AppSource = std::variant<DemoApp, AppFolder, DevServer>;

struct AppSiteSetup {
  std::uint16_t port = 0;
  std::uint16_t simulatorPort = 0;
  std::string token;
  AppSource source;
  /// What the app's page and its developer's server take the browser for; nothing: what it is.
  std::optional<std::string> userAgent;
  RecordingFiles recordings;
};

/// The app's origin: the page developer's own pages, or the demo app, and below "/.vecamera/" the
/// page bridge, the script of every page, and the temporary files of the phones. The sessions
/// outlive it.
std::unique_ptr<Site> makeAppSite(AppSiteSetup setup, SessionRegistry& sessions);

}  // namespace vecamera::simulator
