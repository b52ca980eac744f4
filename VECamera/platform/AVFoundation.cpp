#include "VECamera/platform/AVFoundation.h"

#include <cstdint>
#include <variant>

#include "VECamera/runtime/Continuation.h"

namespace vecamera {
namespace {

// The platform's codes in "AVFoundationErrorDomain".
constexpr std::int64_t unknownError = -11800;
constexpr std::int64_t operationCancelled = -11878;

NSError errorOf(const AVAssetExportSession& session) {
  if (auto error = session.error()) return *std::move(error);
  const bool cancelled = session.status() == AVAssetExportSessionStatus::cancelled;
  return {"AVFoundationErrorDomain", cancelled ? operationCancelled : unknownError, {}};
}

}  // namespace

Task<void> exportAsync(std::shared_ptr<AVAssetExportSession> session, Executor& resumeOn) {
  using Ended = std::monostate;
  // The session keeps its handler, which therefore must not keep the session.
  auto start = [&session](Continuation<Ended> waiter) {
    session->exportAsynchronouslyWithCompletionHandler([waiter] { waiter.resume(Ended{}); });
  };
  co_await suspendUntilResumed<Ended>("exportAsync()", resumeOn, std::move(start));
  if (session->status() != AVAssetExportSessionStatus::completed)
    throw NSErrorException(errorOf(*session));
}

}  // namespace vecamera
