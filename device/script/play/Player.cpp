#include "device/script/play/Player.h"

namespace vecamera::device::script {

Result<PlayOutcome, ScriptError> playScript(const Script& script, const PlayOptions& options,
                                            EventSink sink, std::ostream& diagnostics) {
  auto made = PlaySession::make(script.device, options, std::move(sink), diagnostics);
  if (!made) return std::move(made).failure();
  auto& session = **made;
  for (std::size_t i = 0; i < script.steps.size(); ++i) {
    const auto& [step, settles] = script.steps[i];
    auto played = session.play(step);
    if (played) played = settles ? session.settle() : session.checkProcess();
    if (played) continue;
    session.reportFailure(i, played.error());
    return PlayOutcome::failed;
  }
  session.reportOpenCallbacks();
  return PlayOutcome::finished;
}

}  // namespace vecamera::device::script
