#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/server/phone/DevicePart.h"
#include "simulator/server/phone/Session.h"
#include "simulator/server/sites/RecordingFiles.h"

namespace vecamera::simulator {

struct SessionsSetup {
  DevicePart device;
  std::optional<std::filesystem::path> home;
  RecordingFiles recordings;
  /// At the same time.
  std::size_t maxSessions = 64;
  SessionLimits limits;
  MediaLimits media;
  std::uint16_t appPort = 0;
  std::string appToken;
  /// For the idle time, and the real time for the phones.
  std::function<Session::Clock::time_point()> now;
  std::function<Date()> realTime;
  /// Carries the job out on the server's thread. Called on any thread.
  std::function<void(std::function<void()>)> post;
  /// Sees to it, apart from the server's thread, that the phone of an ended session finishes.
  std::function<void(std::shared_ptr<Session>)> letGo;
  /// Takes lines for the developer; any thread.
  std::function<void(const std::string&)> diagnose;
};

/// Every phone that there is. On the server's thread.
class Sessions {
 public:
  explicit Sessions(SessionsSetup setup) : setup_(std::move(setup)) {}

  /// What a browser that wants this session gets: the session, a new one where there is none of
  /// that name, or somebody who says why it gets none. Where there are as many as there may be, the
  /// one that has been without a browser for longest makes room. `host` is the name by which the
  /// browser knows the server.
  std::shared_ptr<MessageReceiver> open(std::string_view id, std::string_view host);
  /// Null where there is none.
  std::shared_ptr<Session> find(std::string_view id) const;
  std::shared_ptr<Session> findByFileToken(std::string_view token) const;
  bool anybodyThere() const;
  /// To every browser.
  void tellAll(const std::string& message);
  /// Ends the sessions that nobody came back to.
  void endIdle();
  void endAll(std::string_view why);
  std::size_t size() const { return sessions_.size(); }

 private:
  std::shared_ptr<Session> make(std::string_view host);
  /// Ends the one that has been without a browser for longest; false where all have one.
  bool makeRoom();
  void end(const std::shared_ptr<Session>& session, std::string_view why);

  const SessionsSetup setup_;
  std::map<std::string, std::shared_ptr<Session>, std::less<>> sessions_;
  /// How many there have been.
  std::size_t number_ = 0;
};

}  // namespace vecamera::simulator
