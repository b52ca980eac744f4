#include "VECamera/runtime/TaskScope.h"

#include <condition_variable>
#include <mutex>
#include <unordered_set>
#include <vector>

namespace vecamera {
namespace detail {

struct ScopeState {
  explicit ScopeState(TaskScope::ErrorSink errorSink) : sink(std::move(errorSink)) {}

  const TaskScope::ErrorSink sink;
  std::mutex mutex;
  std::condition_variable changed;
  std::unordered_set<std::shared_ptr<TaskRoot>> roots;
  /// Calls of `Executor::post` under way, for whose end `join` waits: the executor may end after
  /// it.
  std::size_t posting = 0;
  bool closed = false;
};

struct RootPromise;

/// The outermost coroutine of a detached task. It destroys its own frame when it ends.
struct RootCoroutine {
  using promise_type = RootPromise;
  std::coroutine_handle<RootPromise> frame;
};

struct RootPromise : PromiseBase {
  struct End {
    bool await_ready() const noexcept { return false; }
    // Not inlined, for the reason given at `ResumeOn`.
    [[gnu::noinline]] void await_suspend(std::coroutine_handle<RootPromise> frame) const noexcept {
      const auto root = frame.promise().root->shared_from_this();
      // The frame holds what the task captured; it goes before the scope counts the task as ended.
      frame.destroy();
      root->finished();
    }
    void await_resume() const noexcept {}
  };

  RootCoroutine get_return_object() {
    return {std::coroutine_handle<RootPromise>::from_promise(*this)};
  }
  std::suspend_always initial_suspend() const noexcept { return {}; }
  End final_suspend() const noexcept { return {}; }
  void return_void() const noexcept {}
  // Reached only when the error sink throws.
  void unhandled_exception() const noexcept { std::terminate(); }
};

namespace {

RootCoroutine runDetached(Task<void> task, std::shared_ptr<ScopeState> scope) {
  std::exception_ptr thrown;
  try {
    co_await std::move(task);
  } catch (...) {
    thrown = std::current_exception();
  }
  if (thrown && scope->sink) scope->sink(thrown);
}

}  // namespace

void TaskRoot::post(std::unique_lock<std::mutex> lock, Executor& executor) {
  // The job may end the task before `post` returns.
  const auto scope = scope_;
  Job job = [self = shared_from_this(), ticket = ticket_ + 1] { self->run(ticket); };
  ++ticket_;
  phase_ = Phase::queued;
  ++scope->posting;
  lock.unlock();
  // An executor may have no memory for the job. `join` must not wait for it then.
  const auto onEnd = [&scope] {
    const std::lock_guard relock(scope->mutex);
    --scope->posting;
    if (scope->closed) scope->changed.notify_all();
  };
  try {
    executor.post(std::move(job));
  } catch (...) {
    onEnd();
    throw;
  }
  onEnd();
}

void TaskRoot::hop(std::coroutine_handle<> next, Executor& executor) {
  std::unique_lock lock(scope_->mutex);
  next_ = next;
  post(std::move(lock), executor);
}

std::uint64_t TaskRoot::wait(std::coroutine_handle<> next) {
  const auto scope = scope_;
  const std::lock_guard lock(scope->mutex);
  next_ = next;
  phase_ = Phase::waiting;
  const auto ticket = ++ticket_;
  if (scope->closed) scope->changed.notify_all();
  return ticket;
}

void TaskRoot::wake(std::uint64_t ticket, Executor& executor) {
  std::unique_lock lock(scope_->mutex);
  if (phase_ == Phase::waiting && ticket_ == ticket) post(std::move(lock), executor);
}

void TaskRoot::run(std::uint64_t ticket) {
  std::coroutine_handle<> next;
  {
    const std::lock_guard lock(scope_->mutex);
    if (phase_ != Phase::queued || ticket_ != ticket) return;
    phase_ = Phase::running;
    next = next_;
  }
  next.resume();
}

void TaskRoot::finished() {
  const std::lock_guard lock(scope_->mutex);
  phase_ = Phase::ended;
  scope_->roots.erase(shared_from_this());
  scope_->changed.notify_all();
}

}  // namespace detail

TaskScope::TaskScope(ErrorSink sink)
    : state_(std::make_shared<detail::ScopeState>(std::move(sink))) {}

TaskScope::~TaskScope() {
  join();
}

void TaskScope::start(Executor& executor, Task<void> task) {
  auto root = std::make_shared<detail::TaskRoot>(state_);
  const auto frame = detail::runDetached(std::move(task), state_).frame;
  frame.promise().root = root.get();
  {
    std::unique_lock lock(state_->mutex);
    if (!state_->closed) {
      root->frame_ = frame;
      root->next_ = frame;
      state_->roots.insert(root);
      root->post(std::move(lock), executor);
      return;
    }
  }
  frame.destroy();
}

std::size_t TaskScope::liveCount() const {
  const std::lock_guard lock(state_->mutex);
  return state_->roots.size();
}

void TaskScope::join() {
  using Phase = detail::TaskRoot::Phase;
  std::unique_lock lock(state_->mutex);
  state_->closed = true;
  while (!state_->roots.empty() || state_->posting > 0) {
    std::vector<std::shared_ptr<detail::TaskRoot>> dropped;
    for (const auto& root : state_->roots) {
      if (root->phase_ == Phase::running) continue;
      root->phase_ = Phase::ended;
      dropped.push_back(root);
    }
    if (dropped.empty()) {
      state_->changed.wait(lock);
      continue;
    }
    for (const auto& root : dropped) state_->roots.erase(root);
    lock.unlock();
    // Unlocked: what the frames hold may run destructors of any kind.
    for (const auto& root : dropped) root->frame_.destroy();
    lock.lock();
  }
}

}  // namespace vecamera
