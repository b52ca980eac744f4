#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "simulator/server/http/Http.h"
#include "simulator/server/http/RequestTarget.h"
#include "simulator/server/sites/RecordingFiles.h"
#include "simulator/server/sites/SessionRegistry.h"

namespace vecamera::simulator {

/// The app's origin: the page developer's own pages, or the demo app, and below "/.vecamera/" the
/// page bridge and the temporary files of the phones.
class AppSite : public Site {
 public:
  struct Setup {
    std::uint16_t port = 0;
    std::uint16_t simulatorPort = 0;
    std::string token;
    /// The developer's pages; nothing: the demo app.
    std::optional<std::filesystem::path> folder;
    RecordingFiles recordings;
  };
  AppSite(Setup setup, SessionRegistry& sessions) : setup_(std::move(setup)), sessions_(sessions) {}

  Reaction react(const Request& request) override;
  HeaderFields commonFields(const Request& request) const override;

 private:
  Response enter(const RequestTarget& target) const;
  bool hasEntered(const Request& request) const;
  Response ownFile(const RequestTarget& target) const;
  Response appFile(const RequestTarget& target) const;
  std::string cookieName() const { return "vecamera-" + std::to_string(setup_.port); }

  const Setup setup_;
  SessionRegistry& sessions_;
};

}  // namespace vecamera::simulator
