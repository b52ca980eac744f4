#include "simulator/server/model/Changes.h"

#include <utility>

#include "device/script/script/ScriptJson.h"

namespace vecamera::simulator {

RequestResult<Json> mergeFaults(const Json& inForce, const Json& changes) {
  if (!changes.is_object())
    return refused(ErrorCode::badRequest, "faults: it is an object of faults by place");
  Json merged = Json::array();
  for (const auto& fault : inForce)
    if (!changes.contains(fault["at"].get<std::string>())) merged.push_back(fault);
  for (const auto& [place, change] : changes.items()) {
    if (!change.is_null() && !change.is_object())
      return refused(ErrorCode::badRequest, "faults." + place + ": it is an object or null");
    Json fault = {{"at", place}};
    if (change.is_object()) fault.update(change);
    if (fault["at"] != place)
      return refused(ErrorCode::badRequest, "faults." + place + ".at: it is the place itself");
    // A place that the device does not have is found where the faults are read.
    auto read = script::stepFromJson({{"do", "faults"}, {"to", Json::array({fault})}}, "/",
                                     script::FileScope::folder);
    if (!read)
      return refused(ErrorCode::badRequest, "faults." + place + ": " + read.error().message);
    if (!change.is_null()) merged.push_back(std::move(fault));
  }
  return merged;
}

RequestResult<std::vector<Json>> stepsOf(const Json& changes, const Json& faults) {
  std::vector<Json> steps;
  if (const auto found = changes.find("faults"); found != changes.end()) {
    auto merged = mergeFaults(faults, *found);
    if (!merged) return std::move(merged).failure();
    steps.push_back({{"do", "faults"}, {"to", *std::move(merged)}});
  }
  if (const auto found = changes.find("permissions"); found != changes.end())
    steps.push_back({{"do", "authorize"}, {"to", *found}});
  if (const auto found = changes.find("viewController"); found != changes.end())
    steps.push_back({{"do", "viewController"}, {"to", *found}});
  if (const auto found = changes.find("location"); found != changes.end())
    steps.push_back({{"do", "location"}, {"to", *found}});
  for (const auto& step : steps)
    if (const auto read = script::stepFromJson(step, "/", script::FileScope::folder); !read)
      return refused(ErrorCode::badRequest,
                     step["do"].get<std::string>() + ": " + read.error().description());
  return steps;
}

Json changedDevice(Json device, const Json& changes) {
  for (const auto& [key, value] : changes.items()) {
    if (value.is_null())
      device.erase(key);
    else
      device[key] = value;
  }
  return device;
}

}  // namespace vecamera::simulator
