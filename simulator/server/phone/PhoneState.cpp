#include "simulator/server/phone/PhoneState.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

#include "device/foundation/Dates.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

Json promptsOf(const device::script::ScriptedDevice& device) {
  Json prompts = Json::array();
  for (const auto permission : device.screen.prompts())
    prompts.push_back(device::container::nameOf(permission));
  return prompts;
}

Json callbacksOf(device::script::PlaySession& session) {
  Json callbacks = Json::array();
  for (const auto& callback : session.device().container.callbacks().open()) {
    auto command = callback->selector();
    if (command.ends_with(':')) command.pop_back();
    callbacks.push_back({{"name", callback->name()},
                         {"command", command},
                         {"why", session.pendingReason(*callback)}});
  }
  return callbacks;
}

Json filesOf(const device::script::ScriptedDevice& device, const FileOwners& owners) {
  Json files = Json::array();
  for (const auto& file : temporaryFiles(device.base.temporaryDirectory)) {
    const auto owner = owners.ownerOf(file.name);
    files.push_back({{"name", file.name},
                     {"bytes", file.bytes},
                     {"modified", device::foundation::formatISO8601(file.modified)},
                     {"command", owner.empty() ? Json() : Json(owner)}});
  }
  return files;
}

/// Those of the faults that strike yet.
Json faultsOf(const device::script::ScriptedDevice& device, const Json& set) {
  Json faults = Json::array();
  const auto left = device.faults.strikesLeft();
  for (std::size_t i = 0; i < left.size() && i < set.size(); ++i) {
    if (left[i] == 0) continue;
    faults.push_back(set[i]);
    if (left[i]) faults.back()["times"] = *left[i];
  }
  return faults;
}

/// The keys that do not come from the device itself.
void addExtras(Json& state, const StateExtras& extras, const std::optional<std::string>& broken) {
  state["library"] = extras.libraryVersion;
  state["recorded"] = extras.recordedSteps;
  state["recordingEnded"] = extras.recordingEnded ? Json(*extras.recordingEnded) : Json();
  state["broken"] = broken ? Json(*broken) : Json();
}

}  // namespace

void PresentedScreens::note(const Json& event) {
  const auto name = event.value("event", "");
  if (name == "present") {
    Json screen{{"id", ++lastId_}};
    for (const auto& [key, value] : event.items())
      if (key != "event" && key != "animated") screen[key] = value;
    list_.push_back(std::move(screen));
  } else if (name == "dismiss") {
    const auto kind = event.value("kind", "");
    for (std::size_t i = list_.size(); i-- > 0;) {
      if (list_[i].value("kind", "") != kind) continue;
      list_.erase(i);
      break;
    }
  }
}

void FileOwners::settle(const std::vector<std::string>& present, const std::string& callback) {
  std::map<std::string, std::string> kept;
  for (const auto& file : present) {
    const auto found = owners_.find(file);
    kept.emplace(file, found == owners_.end() ? callback : found->second);
  }
  owners_ = std::move(kept);
}

std::string FileOwners::ownerOf(const std::string& file) const {
  const auto found = owners_.find(file);
  return found == owners_.end() ? std::string() : found->second;
}

std::vector<TemporaryFile> temporaryFiles(const std::string& directory) {
  using std::chrono::microseconds;
  std::vector<TemporaryFile> files;
  std::error_code failed;
  fs::recursive_directory_iterator entry(directory, failed);
  for (; !failed && entry != fs::recursive_directory_iterator(); entry.increment(failed)) {
    std::error_code gone;
    if (!fs::is_regular_file(entry->symlink_status(gone)) || gone) continue;
    TemporaryFile file;
    file.name = entry->path().lexically_relative(directory).string();
    file.bytes = entry->file_size(gone);
    if (gone) continue;
    const auto written = entry->last_write_time(gone);
    if (gone) continue;
    file.modified =
        Date(std::chrono::floor<microseconds>(fs::file_time_type::clock::to_sys(written))
                 .time_since_epoch());
    files.push_back(std::move(file));
  }
  std::sort(files.begin(), files.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  return files;
}

std::string currentCallback(device::script::ScriptedDevice& device) {
  const auto& plugin = device.container.plugin();
  if (!plugin) return {};
  const auto callback =
      std::dynamic_pointer_cast<device::container::Callback>(plugin->inspect().currentCallBack);
  return callback ? callback->name() : std::string();
}

Json stateMessage(device::script::PlaySession& session, const StateExtras& extras) {
  auto& device = session.device();
  const auto waiting = session.waitingFor();
  Json state = {{"type", "state"},
                {"screen", extras.screens.list()},
                {"prompts", promptsOf(device)},
                {"permissions",
                 {{"camera", device::script::nameOf(device.cameraPermission.status())},
                  {"photoLibrary", device::script::nameOf(device.photoPermission.status())},
                  {"location", device::script::nameOf(device.locationPermission.status())}}},
                {"callbacks", callbacksOf(session)},
                {"files", filesOf(device, extras.owners)},
                {"faults", faultsOf(device, extras.faults)},
                {"clock",
                 {{"mode", extras.isClockFixed ? "fixed" : "real"},
                  {"now", device::foundation::formatISO8601(device.base.clock->now())}}},
                {"location", {{"running", device.location.isRunning()}}},
                {"waiting", waiting ? Json(*waiting) : Json()}};
  const auto process = session.checkProcess();
  addExtras(state, extras, process ? std::nullopt : std::optional(process.error().message()));
  return state;
}

Json brokenStateMessage(const std::string& why, const StateExtras& extras) {
  const auto none = Json::array();
  Json state = {{"type", "state"},
                {"screen", none},
                {"prompts", none},
                {"permissions", Json::object()},
                {"callbacks", none},
                {"files", none},
                {"faults", none},
                {"clock",
                 {{"mode", extras.isClockFixed ? "fixed" : "real"},
                  {"now", device::foundation::formatISO8601(Date())}}},
                {"location", {{"running", false}}},
                {"waiting", nullptr}};
  addExtras(state, extras, why);
  return state;
}

}  // namespace vecamera::simulator
