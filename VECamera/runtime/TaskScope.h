#pragma once

#include <coroutine>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>

#include "VECamera/runtime/Executor.h"
#include "VECamera/runtime/Task.h"

namespace vecamera {

class TaskScope;

namespace detail {

struct ScopeState;

/// One detached task: the outermost frame, and where the chain below it stands. Frames name it by a
/// plain pointer, because it outlives them; jobs and continuations share it.
class TaskRoot : public std::enable_shared_from_this<TaskRoot> {
 public:
  explicit TaskRoot(std::shared_ptr<ScopeState> scope) : scope_(std::move(scope)) {}

  /// Parks `next` and posts its resumption to the executor. The frame may already run elsewhere, or
  /// be gone, when this returns.
  void hop(std::coroutine_handle<> next, Executor& executor);
  /// Parks `next` until `wake` is called with the ticket that this returns.
  std::uint64_t wait(std::coroutine_handle<> next);
  /// Posts the resumption of the frame that waits under the ticket; does nothing where the scope
  /// has dropped it.
  void wake(std::uint64_t ticket, Executor& executor);

 private:
  friend class vecamera::TaskScope;
  friend struct RootPromise;

  enum class Phase { queued, running, waiting, ended };

  /// Posts the resumption of `next_` without the lock, which is the scope's.
  void post(std::unique_lock<std::mutex> lock, Executor& executor);
  void run(std::uint64_t ticket);
  void finished();

  const std::shared_ptr<ScopeState> scope_;
  // Guarded by the scope's mutex.
  std::coroutine_handle<> frame_;
  std::coroutine_handle<> next_;
  Phase phase_ = Phase::queued;
  std::uint64_t ticket_ = 0;
};

}  // namespace detail

/// Owns detached tasks. What a task throws goes to the error sink; it ends nothing else.
class TaskScope {
 public:
  using ErrorSink = std::function<void(std::exception_ptr)>;

  /// The sink is called on the executor on which the task ended.
  explicit TaskScope(ErrorSink sink);
  /// Joins.
  ~TaskScope();
  TaskScope(const TaskScope&) = delete;
  TaskScope& operator=(const TaskScope&) = delete;

  /// Starts the task on the executor. Any thread. After `join` the task is dropped unstarted.
  void start(Executor& executor, Task<void> task);
  /// Tasks that have not ended.
  std::size_t liveCount() const;
  /// Teardown: no task starts any more, each one that is suspended or queued is dropped with all
  /// its frames, and each one that runs is dropped at its next suspension; returns when none is
  /// left. Not from a task of the scope itself. A continuation that is resumed afterwards does
  /// nothing.
  void join();

 private:
  std::shared_ptr<detail::ScopeState> state_;
};

/// `co_await resumeOn(executor)`: the rest of the coroutine runs on the executor.
struct ResumeOn {
  Executor& executor;
  bool await_ready() const noexcept { return false; }
  // Not inlined: the frame may be gone before this returns, and a compiler may keep an inlined
  // function's locals in it.
  template <class Promise>
  [[gnu::noinline]] void await_suspend(std::coroutine_handle<Promise> awaiting) const {
    awaiting.promise().root->hop(awaiting, executor);
  }
  void await_resume() const noexcept {}
};
inline ResumeOn resumeOn(Executor& executor) {
  return ResumeOn{executor};
}

}  // namespace vecamera
