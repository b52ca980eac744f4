#pragma once

#include <cassert>
#include <coroutine>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "VECamera/runtime/Executor.h"
#include "VECamera/runtime/TaskScope.h"

namespace vecamera {

namespace detail {

template <class T>
struct ContinuationState {
  ContinuationState(std::string labelText, Executor& executor)
      : label(std::move(labelText)), resumeOn(executor) {}

  const std::string label;
  Executor& resumeOn;
  std::mutex mutex;
  // Guarded by the mutex until the waiter has been resumed, which is the only reader then.
  std::optional<T> value;
  std::exception_ptr thrown;
  bool resumed = false;
  std::shared_ptr<TaskRoot> waiter;
  std::uint64_t ticket = 0;

  void resume(std::optional<T> given, std::exception_ptr error) {
    std::shared_ptr<TaskRoot> parked;
    {
      const std::lock_guard lock(mutex);
      if (resumed) {
        std::fprintf(stderr, "A continuation was resumed twice: %s\n", label.c_str());
        assert(!"A continuation was resumed twice.");
        return;
      }
      resumed = true;
      value = std::move(given);
      thrown = std::move(error);
      parked = waiter;
    }
    if (parked) parked->wake(ticket, resumeOn);
  }
};

}  // namespace detail

/// A single-use handle that resumes one waiter, with a value or an error. Copies name the same
/// waiter; any thread may resume. The waiter always resumes through its executor, never inline. A
/// second resumption is a fault of the caller: it is logged to standard error with the label, and
/// then stops a debug build at an assertion and is dropped by a release build. A waiter whose task
/// has been dropped is left alone. Dropping every copy without resuming leaves the waiter suspended
/// until its scope is joined.
template <class T>
class Continuation {
 public:
  explicit Continuation(std::shared_ptr<detail::ContinuationState<T>> state)
      : state_(std::move(state)) {}

  void resume(T value) const { state_->resume(std::move(value), nullptr); }
  /// A null pointer becomes a `std::runtime_error`.
  void resumeThrowing(std::exception_ptr error) const {
    state_->resume(std::nullopt, detail::orRuntimeError(std::move(error)));
  }

 private:
  std::shared_ptr<detail::ContinuationState<T>> state_;
};

namespace detail {

template <class T, class Start>
struct SuspendUntilResumed {
  std::shared_ptr<ContinuationState<T>> state;
  Start start;

  bool await_ready() const noexcept { return false; }
  // From `wait` on, the frame may be resumed on another thread or dropped, so only locals are used;
  // and not inlined, because a compiler may keep an inlined function's locals in the frame.
  template <class Promise>
  [[gnu::noinline]] void await_suspend(std::coroutine_handle<Promise> awaiting) {
    const auto shared = state;
    const auto root = awaiting.promise().root->shared_from_this();
    start(Continuation<T>(shared));
    bool alreadyResumed = false;
    std::uint64_t ticket = 0;
    {
      const std::lock_guard lock(shared->mutex);
      ticket = root->wait(awaiting);
      shared->waiter = root;
      shared->ticket = ticket;
      alreadyResumed = shared->resumed;
    }
    if (alreadyResumed) root->wake(ticket, shared->resumeOn);
  }
  T await_resume() {
    if (state->thrown) std::rethrow_exception(state->thrown);
    return std::move(*state->value);
  }
};

}  // namespace detail

/// Suspends the awaiting task, hands `start` a continuation, and gives what the continuation is
/// resumed with; the task goes on on `resumeOn`. `start` runs at once, on the current executor. The
/// label names the waiting operation in errors.
template <class T, class Start>
detail::SuspendUntilResumed<T, Start> suspendUntilResumed(std::string label, Executor& resumeOn,
                                                          Start start) {
  return {std::make_shared<detail::ContinuationState<T>>(std::move(label), resumeOn),
          std::move(start)};
}

}  // namespace vecamera
