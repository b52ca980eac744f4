#include "simulator/server/phone/PhoneState.h"

#include <chrono>
#include <filesystem>
#include <utility>

#include "device/foundation/Dates.h"
#include "device/foundation/Urls.h"
#include "simulator/server/base/ErrorCode.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;

/// Events longer than this are not looked into.
constexpr std::size_t maxEventBytes = 65536;

Json promptsOf(const script::ScriptedDevice& device) {
  Json prompts = Json::array();
  for (const auto permission : device.screen.prompts())
    prompts.push_back(device::container::nameOf(permission));
  return prompts;
}

Json callbacksOf(script::PlaySession& session) {
  Json callbacks = Json::array();
  for (const auto& callback : session.device().container.callbacks().open()) {
    auto command = callback->selector();
    if (command.ends_with(':')) command.pop_back();
    const auto reason = session.pendingReason(*callback);
    callbacks.push_back({{"name", callback->name()},
                         {"command", command},
                         {"code", script::nameOf(reason.code)},
                         {"why", reason.why},
                         {"endsWith", reason.endsWith ? Json(*reason.endsWith) : Json()}});
  }
  return callbacks;
}

Json heldOf(const script::ScriptedDevice& device) {
  Json list = Json::array();
  for (const auto& held : device.holds.held())
    list.push_back({{"at", script::nameOf(held.at)},
                    {"callback", held.callback ? Json(held.callback->name()) : Json()}});
  return list;
}

struct TemporaryFile {
  std::uint64_t bytes = 0;
  Date modified;
};

/// The files of the directory and its folders, by name relative to it.
std::map<std::string, TemporaryFile> temporaryFiles(const std::string& directory) {
  std::map<std::string, TemporaryFile> files;
  std::error_code failed;
  fs::recursive_directory_iterator entry(directory, failed);
  for (; !failed && entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
    std::error_code gone;
    if (!fs::is_regular_file(entry->symlink_status(gone)) || gone) continue;
    const auto bytes = entry->file_size(gone);
    if (gone) continue;
    const auto written = fs::file_time_type::clock::to_sys(entry->last_write_time(gone));
    if (gone) continue;
    const Date modified(std::chrono::floor<std::chrono::microseconds>(written).time_since_epoch());
    files.emplace(entry->path().lexically_relative(directory).string(),
                  TemporaryFile{bytes, modified});
  }
  return files;
}

}  // namespace

Json permissionsOf(const script::ScriptedDevice& device) {
  return {{"camera", script::nameOf(device.cameraPermission.status())},
          {"photoLibrary", script::nameOf(device.photoPermission.status())},
          {"location", script::nameOf(device.locationPermission.status())}};
}

Json PhoneState::faults(const script::ScriptedDevice& device) const {
  Json faults = Json::array();
  const auto left = device.faults.strikesLeft();
  for (std::size_t i = 0; i < left.size() && i < faults_.size(); ++i) {
    if (left[i] == 0) continue;
    faults.push_back(faults_[i]);
    if (left[i]) faults.back()["times"] = *left[i];
  }
  return faults;
}

void PhoneState::onEvent(const Json& event, std::string_view text) {
  if (text.size() > maxEventBytes) return;
  const auto name = event.value("event", "");
  if (name == "present") {
    Json screen{{"id", ++lastScreenId_}};
    for (const auto& [key, value] : event.items())
      if (key != "event" && key != "animated") screen[key] = value;
    screens_.push_back(std::move(screen));
  } else if (name == "dismiss") {
    const auto kind = event.value("kind", "");
    for (std::size_t i = screens_.size(); i-- > 0;) {
      if (screens_[i].value("kind", "") != kind) continue;
      screens_.erase(i);
      break;
    }
  } else if (name == "killed") {
    screens_.clear();
  } else if (name == "answer") {
    const auto address = text.find(filesAddress_);
    if (address == std::string_view::npos) return;
    const auto rest = text.substr(address + filesAddress_.size());
    const std::string file(rest.substr(0, rest.find('"')));
    owners_[foundation::removingPercentEncoding(file).value_or(file)] = event.value("to", "");
  }
}

/// A file without an owner is given to the callback of the current or latest command. Owners of
/// files that are gone are dropped.
Json PhoneState::files(script::ScriptedDevice& device) {
  const auto& plugin = device.container.plugin();
  const auto callback = std::dynamic_pointer_cast<device::container::Callback>(
      plugin ? plugin.inspect().currentCallBack : nullptr);
  const auto current = callback ? callback->name() : std::string();
  std::map<std::string, std::string> owners;
  Json files = Json::array();
  for (const auto& [name, file] : temporaryFiles(device.environment.temporaryDirectory)) {
    const auto found = owners_.find(name);
    const auto& owner = found == owners_.end() ? current : found->second;
    owners.emplace(name, owner);
    files.push_back({{"name", name},
                     {"bytes", file.bytes},
                     {"modified", foundation::formatISO8601(file.modified)},
                     {"command", owner.empty() ? Json() : Json(owner)}});
  }
  owners_ = std::move(owners);
  return files;
}

Json PhoneState::message(script::PlaySession* session, const std::string& broken,
                         ClockMode clockMode, std::uint64_t libraryVersion,
                         const Recording& recording, Json automatic) {
  const auto none = Json::array();
  const auto orNull = [](const std::optional<std::string>& text) {
    return text ? Json(*text) : Json();
  };
  Json state = {{"type", "state"},
                {"screen", none},
                {"prompts", none},
                {"permissions", Json::object()},
                {"callbacks", none},
                {"files", none},
                {"faults", none},
                {"clock",
                 {{"mode", clockMode == ClockMode::fixed ? "fixed" : "real"},
                  {"now", foundation::formatISO8601(Date())}}},
                {"location", {{"running", false}}},
                {"waiting", nullptr},
                {"held", none},
                {"app", "running"},
                {"library", libraryVersion},
                {"recorded", recording.steps()},
                {"recordingEnded", orNull(recording.ended())},
                {"automatic", std::move(automatic)},
                {"broken", broken},
                {"brokenCode", nameOf(ErrorCode::noDevice)}};
  if (session == nullptr) return state;
  auto& device = session->device();
  state["screen"] = screens_;
  state["prompts"] = promptsOf(device);
  state["permissions"] = permissionsOf(device);
  state["callbacks"] = callbacksOf(*session);
  state["files"] = files(device);
  state["faults"] = faults(device);
  state["clock"]["now"] = foundation::formatISO8601(device.environment.clock->now());
  state["location"]["running"] = device.location.isRunning();
  state["waiting"] = orNull(session->waitingFor());
  state["held"] = heldOf(device);
  if (!device.isAppRunning()) state["app"] = "killed";
  const auto process = session->checkProcess();
  state["broken"] = process ? Json() : Json(process.error().message);
  state["brokenCode"] = process ? Json() : Json(nameOf(ErrorCode::processEnded));
  return state;
}

}  // namespace vecamera::simulator
