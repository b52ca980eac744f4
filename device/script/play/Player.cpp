#include "device/script/play/Player.h"

#include <ostream>

#include "device/script/play/PlaySession.h"

namespace vecamera::device::script {
namespace {

/// Why the steps could not all be played, and where that was; nothing: they were.
struct Failure {
  std::size_t step = 0;
  std::string why;
};

std::optional<Failure> playAll(PlaySession& session, const std::vector<ScriptStep>& steps) {
  for (std::size_t i = 0; i < steps.size(); ++i) {
    auto why = session.play(steps[i].step);
    if (!why) why = steps[i].settle ? session.settle() : session.fatalError();
    if (why) return Failure{i, *std::move(why)};
  }
  return std::nullopt;
}

}  // namespace

PlayOutcome playScript(const Script& script, const PlayerOptions& options, const EventSink& sink,
                       std::ostream& diagnostics) {
  auto made = PlaySession::make(script.device, options, sink, diagnostics);
  if (const auto* error = std::get_if<std::string>(&made)) {
    diagnostics << script.name << ": " << *error << '\n';
    return PlayOutcome::notPlayable;
  }
  const auto& session = std::get<std::unique_ptr<PlaySession>>(made);
  if (const auto failure = playAll(*session, script.steps)) {
    session->reportFailure(failure->step, failure->why);
    return PlayOutcome::failed;
  }
  session->reportOpenCallbacks();
  return PlayOutcome::finished;
}

}  // namespace vecamera::device::script
