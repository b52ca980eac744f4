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

}  // namespace vecamera::ios
