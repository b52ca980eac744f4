#pragma once

#include <coroutine>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace vecamera {

namespace detail {

class TaskRoot;

/// The exception, or a `std::runtime_error` in place of a null one, as which the current exception
/// shows where C++ did not throw it.
inline std::exception_ptr orRuntimeError(std::exception_ptr thrown) {
  if (thrown) return thrown;
  return std::make_exception_ptr(std::runtime_error("an exception of an unknown kind"));
}

/// What every coroutine of the runtime carries: the detached task that it runs in. Set when the
/// coroutine is first awaited.
struct PromiseBase {
  TaskRoot* root = nullptr;
};

template <class Promise>
struct ResumeAwaiter {
  bool await_ready() const noexcept { return false; }
  std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> ended) const noexcept {
    return ended.promise().awaiting;
  }
  void await_resume() const noexcept {}
};

template <class T>
struct TaskPromise;

}  // namespace detail

/// An asynchronous operation that starts when it is awaited and gives a `T` or throws. It belongs
/// to its holder: destroying a task destroys its frame and those of all tasks that it awaits.
/// Awaited once, from another task; the outermost one is started by a `TaskScope`. Starting and
/// ending transfer control symmetrically, so a chain of any length uses no stack where the compiler
/// makes tail calls (g++: -O2, or -foptimize-sibling-calls).
template <class T>
class [[nodiscard]] Task {
 public:
  using promise_type = detail::TaskPromise<T>;

  Task(Task&& other) noexcept : frame_(std::exchange(other.frame_, nullptr)) {}
  Task& operator=(Task&& other) noexcept {
    if (this != &other) {
      if (frame_) frame_.destroy();
      frame_ = std::exchange(other.frame_, nullptr);
    }
    return *this;
  }
  ~Task() {
    if (frame_) frame_.destroy();
  }

  struct Awaiter {
    std::coroutine_handle<promise_type> frame;
    bool await_ready() const noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> awaiting) const noexcept {
      frame.promise().root = awaiting.promise().root;
      frame.promise().awaiting = awaiting;
      return frame;
    }
    T await_resume() const { return frame.promise().take(); }
  };
  Awaiter operator co_await() && noexcept { return Awaiter{frame_}; }

 private:
  friend promise_type;
  explicit Task(std::coroutine_handle<promise_type> frame) : frame_(frame) {}
  std::coroutine_handle<promise_type> frame_;
};

namespace detail {

template <class T, class Self>
struct TaskPromiseCommon : PromiseBase {
  std::coroutine_handle<> awaiting;
  std::exception_ptr thrown;

  std::suspend_always initial_suspend() const noexcept { return {}; }
  ResumeAwaiter<Self> final_suspend() const noexcept { return {}; }
  void unhandled_exception() noexcept { thrown = orRuntimeError(std::current_exception()); }
};

template <class T>
struct TaskPromise : TaskPromiseCommon<T, TaskPromise<T>> {
  std::optional<T> value;

  Task<T> get_return_object() {
    return Task<T>(std::coroutine_handle<TaskPromise>::from_promise(*this));
  }
  template <class U>
  void return_value(U&& given) {
    value.emplace(std::forward<U>(given));
  }
  T take() {
    if (this->thrown) std::rethrow_exception(this->thrown);
    return std::move(*value);
  }
};

template <>
struct TaskPromise<void> : TaskPromiseCommon<void, TaskPromise<void>> {
  Task<void> get_return_object() {
    return Task<void>(std::coroutine_handle<TaskPromise>::from_promise(*this));
  }
  void return_void() const noexcept {}
  void take() const {
    if (thrown) std::rethrow_exception(thrown);
  }
};

}  // namespace detail
}  // namespace vecamera
