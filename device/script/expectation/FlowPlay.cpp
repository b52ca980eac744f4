#include "device/script/expectation/FlowPlay.h"

#include <nlohmann/json.hpp>

#include "device/script/expectation/PortableEvents.h"

namespace vecamera::device::script {

ScriptResult<PlayedFlow> playFlow(const Script& script, const PlayOptions& options,
                                  std::ostream& diagnostics) {
  PlayedFlow played;
  auto& steps = played.shown.steps;
  std::optional<PortableEvents> portable;
  std::string failure;
  // Setting up the device is no step and shows nothing.
  const auto take = [&](const Json& event) {
    if (steps.empty()) return;
    if (event.value("event", "") == "failed")
      failure = event.value("why", "");
    else
      steps.back().events.push_back(portable->portable(event));
  };
  auto session = PlaySession::make(script.device, options, take, diagnostics);
  if (!session) return std::move(session).failure();
  portable.emplace(script, (*session)->device());
  const auto result = playSteps(script, **session, [&](std::size_t number) {
    const bool isStep = number < script.steps.size();
    steps.push_back({isStep ? script.steps[number].action : std::string(endOfScript), {}});
  });
  if (result == PlayResult::failed) {
    played.failure =
        Difference{steps.size() - 1, steps.back().action, "it cannot be played: " + failure};
    steps.pop_back();
  }
  return played;
}

std::vector<Difference> compare(const Expectation& expected, const PlayedFlow& played,
                                const ComparisonOptions& options) {
  auto differences = compare(expected, played.shown, options);
  if (played.failure) differences.push_back(*played.failure);
  return differences;
}

}  // namespace vecamera::device::script
