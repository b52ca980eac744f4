#pragma once

#include <chrono>
#include <functional>

namespace vecamera::ios {

// Runs what waits on the main queue and the main run loop until `done` is true, and says whether it
// came true in time. The thread that calls it is the main thread from then on; `done` is asked
// there.
bool runMainQueueUntil(const std::function<bool()>& done,
                       std::chrono::milliseconds limit = std::chrono::seconds(10));

// Runs what waits on the main queue now, and what that puts there.
void drainMainQueue();

// The main queue, the global ones that the process shares, and those that somebody created.
enum class QueueKind { main, global, created };

// Who runs what is put on any queue. `add` may be called on any thread and does not run the job
// itself. `isMainThread` answers for the calling thread.
struct QueueRunner {
  std::function<void(QueueKind kind, std::function<void()> job)> add;
  std::function<bool()> isMainThread;
};

// From now on the runner has the jobs and says which thread is the main one, until null takes it
// away. `dispatch_sync` runs its block at once; on the main queue it ends the process where it
// would wait for the main thread. Set while no job waits.
void setQueueRunner(const QueueRunner* runner);

}  // namespace vecamera::ios
