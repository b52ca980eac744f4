#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "VECamera/runtime/Continuation.h"
#include "VECamera/runtime/Task.h"

namespace vecamera {

/// Counts the objects that live, so that a frame that is not freed shows.
struct Sentinel {
  Sentinel() { ++live; }
  Sentinel(const Sentinel&) { ++live; }
  ~Sentinel() { --live; }
  static inline std::atomic<int> live{0};
};

class RuntimeTest : public testing::Test {
 protected:
  ~RuntimeTest() override {
    tasks.join();
    EXPECT_EQ(Sentinel::live, 0);
  }
  static std::string messageOf(std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& thrown) {
      return thrown.what();
    }
  }

  std::vector<std::string> errors;
  std::vector<int> seen;
  QueueExecutor main;
  QueueExecutor background;
  TaskScope tasks{[this](std::exception_ptr error) { errors.push_back(messageOf(error)); }};
};

inline Task<int> number(int value, Sentinel = {}) {
  co_return value;
}

inline Task<int> nested(int depth, Sentinel = {}) {
  if (depth == 0) co_return 0;
  const int below = co_await nested(depth - 1);
  co_return below + 1;
}

inline Task<int> failing(int depth, Sentinel = {}) {
  if (depth == 0) throw std::runtime_error("bottom");
  const int below = co_await failing(depth - 1);
  co_return below;
}

inline Task<void> keep(std::vector<int>& into, Task<int> task, Sentinel = {}) {
  const int value = co_await std::move(task);
  into.push_back(value);
}

inline Task<void> visit(std::vector<int>& into, QueueExecutor& first, QueueExecutor& second,
                        Sentinel = {}) {
  into.push_back(1);
  co_await resumeOn(second);
  into.push_back(2);
  co_await resumeOn(first);
  into.push_back(3);
}

/// Waits for the continuation that it puts into `out`, and keeps what comes.
inline Task<void> wait(std::vector<int>& into, std::optional<Continuation<int>>& out,
                       Executor& resumed, bool inlineResume = false, Sentinel = {}) {
  const auto start = [&out, inlineResume](Continuation<int> waiter) {
    out = waiter;
    if (inlineResume) waiter.resume(5);
  };
  const int value = co_await suspendUntilResumed<int>("waiting for a number", resumed, start);
  into.push_back(value);
}

}  // namespace vecamera
