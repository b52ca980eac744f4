// Dispatch queues over threads of our own: Debian 12 has no libdispatch. Compiled without ARC,
// because the main queue is an object in static storage.
#import <Foundation/Foundation.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "MainQueue.h"

extern "C" {
void* _Block_copy(const void* block);
void _Block_release(const void* block);
void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
BOOL GSRegisterCurrentThread();
void* class_getClassMethod(Class type, SEL selector);
void* method_setImplementation(void* method, void* implementation);
}

namespace {

using Job = std::function<void()>;
using Clock = std::chrono::steady_clock;

Job jobOf(dispatch_block_t block) {
  const std::shared_ptr<void> kept(_Block_copy(block), _Block_release);
  return [kept] { ((dispatch_block_t)kept.get())(); };
}

// What the job captured goes with the pool's objects, before anything else runs.
void runInPool(Job job) {
  void* pool = objc_autoreleasePoolPush();
  job();
  job = nullptr;
  objc_autoreleasePoolPop(pool);
}

const vecamera::ios::QueueRunner* queueRunner = nullptr;

struct Queue;
thread_local Queue* currentQueue = nullptr;

// Lives as long as its object, or something that waits on it.
struct Queue : std::enable_shared_from_this<Queue> {
  enum class Kind { serial, concurrent, global, main };
  explicit Queue(Kind given) : kind(given) {}

  const Kind kind;
  std::mutex mutex;
  std::condition_variable changed;  // for the main queue, which a thread waits for
  std::deque<Job> jobs;
  bool scheduled = false;  // a serial queue has at most one turn among the workers
  std::map<const void*, void*> specific;

  void add(Job job);
  bool runOne();
  void run(Job job);
  vecamera::ios::QueueKind runnersKind() const {
    using vecamera::ios::QueueKind;
    if (kind == Kind::main) return QueueKind::main;
    return kind == Kind::global ? QueueKind::global : QueueKind::created;
  }
};

// The threads that all queues share but the main one.
class Workers {
 public:
  static Workers& shared() {
    static auto* workers = new Workers;
    return *workers;
  }
  void add(Job job, Clock::time_point when = Clock::time_point::min()) {
    const std::lock_guard guard(mutex_);
    waiting_.emplace(when, std::move(job));
    changed_.notify_all();
  }

 private:
  static constexpr int threadCount = 4;

  Workers() {
    for (int i = 0; i < threadCount; ++i) std::thread([this] { work(); }).detach();
  }
  [[noreturn]] void work() {
    GSRegisterCurrentThread();
    std::unique_lock guard(mutex_);
    for (;;) {
      if (waiting_.empty()) {
        changed_.wait(guard);
      } else if (const auto first = waiting_.begin(); first->first > Clock::now()) {
        changed_.wait_until(guard, Clock::time_point(first->first));
      } else {
        const Job job = std::move(first->second);
        waiting_.erase(first);
        guard.unlock();
        job();
        guard.lock();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<Clock::time_point, Job> waiting_;
};

bool Queue::runOne() {
  Job job;
  {
    const std::lock_guard guard(mutex);
    if (jobs.empty()) return scheduled = false;
    job = std::move(jobs.front());
    jobs.pop_front();
  }
  run(std::move(job));
  return true;
}

void Queue::run(Job job) {
  Queue* const outer = std::exchange(currentQueue, this);
  runInPool(std::move(job));
  currentQueue = outer;
}

void Queue::add(Job job) {
  if (queueRunner) {
    queueRunner->add(runnersKind(), [self = shared_from_this(), job = std::move(job)]() mutable {
      GSRegisterCurrentThread();
      self->run(std::move(job));
    });
    return;
  }
  const std::lock_guard guard(mutex);
  jobs.push_back(std::move(job));
  changed.notify_all();
  if (kind == Kind::main) return;
  if (kind == Kind::serial && std::exchange(scheduled, true)) return;
  Workers::shared().add([self = shared_from_this()] {
    while (self->runOne() && self->kind == Kind::serial) {
    }
  });
}

}  // namespace

// A queue's object. Queues are never destroyed: what waits on one may come after its last
// reference.
@interface DispatchQueue : NSObject <OS_dispatch_queue> {
 @public
  std::shared_ptr<Queue> queue;
}
@end
@implementation DispatchQueue
@end

// Objects in static storage have no count of references.
@interface StaticDispatchObject : DispatchQueue
@end

extern "C" {
struct dispatch_queue_s {
  Class isa;
  alignas(
      std::shared_ptr<Queue>) std::byte queue[sizeof(std::shared_ptr<Queue>)];  // never destroyed
} _dispatch_main_q;
struct dispatch_queue_attr_s {
  Class isa;
} _dispatch_queue_attr_concurrent;
}

@implementation StaticDispatchObject
+ (void)load {
  _dispatch_main_q.isa = self;
  new (_dispatch_main_q.queue) std::shared_ptr<Queue>(std::make_shared<Queue>(Queue::Kind::main));
  _dispatch_queue_attr_concurrent.isa = self;
}
- (id)retain {
  return self;
}
- (void)release {
}
- (id)autorelease {
  return self;
}
@end

namespace {

Queue& queueOf(dispatch_queue_t queue) {
  return *((DispatchQueue*)queue)->queue;
}

dispatch_queue_t makeQueue(Queue::Kind kind) {
  DispatchQueue* object = [[DispatchQueue alloc] init];
  object->queue = std::make_shared<Queue>(kind);
  return object;
}

}  // namespace

extern "C" {

dispatch_queue_t dispatch_queue_create(const char*, dispatch_queue_attr_t attributes) {
  return makeQueue(attributes ? Queue::Kind::concurrent : Queue::Kind::serial);
}
dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attributes,
                                                              qos_class_t, int) {
  return attributes;
}
dispatch_queue_global_t dispatch_get_global_queue(intptr_t, uintptr_t) {
  static dispatch_queue_t queue = makeQueue(Queue::Kind::global);
  return queue;
}
void dispatch_queue_set_specific(dispatch_queue_t queue, const void* key, void* context,
                                 dispatch_function_t) {
  const std::lock_guard guard(queueOf(queue).mutex);
  queueOf(queue).specific[key] = context;
}
void* dispatch_get_specific(const void* key) {
  if (!currentQueue) return nullptr;
  const std::lock_guard guard(currentQueue->mutex);
  const auto found = currentQueue->specific.find(key);
  return found == currentQueue->specific.end() ? nullptr : found->second;
}
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
  queueOf(queue).add(jobOf(block));
}
void dispatch_sync(dispatch_queue_t queue, NS_NOESCAPE dispatch_block_t block) {
  Queue& target = queueOf(queue);
  const bool isSerial = target.kind == Queue::Kind::serial || target.kind == Queue::Kind::main;
  if (&target == currentQueue && isSerial) {
    std::fputs("dispatch_sync on the queue that it was called on waits for itself\n", stderr);
    std::abort();
  }
  if (queueRunner) {
    if (target.kind == Queue::Kind::main) {
      std::fputs("dispatch_sync waits for the main thread\n", stderr);
      std::abort();
    }
    target.run([block] { block(); });
    return;
  }
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;
  target.add([&] {
    block();
    const std::lock_guard guard(mutex);
    done = true;
    finished.notify_one();
  });
  std::unique_lock guard(mutex);
  finished.wait(guard, [&] { return done; });
}
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t nanoseconds) {
  const auto base = when == DISPATCH_TIME_NOW
                        ? static_cast<dispatch_time_t>(Clock::now().time_since_epoch().count())
                        : when;
  return base + static_cast<dispatch_time_t>(nanoseconds);
}
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block) {
  Workers::shared().add(
      [target = queueOf(queue).shared_from_this(), job = jobOf(block)] { target->add(job); },
      Clock::time_point(std::chrono::nanoseconds(when)));
}
void dispatch_once(dispatch_once_t* predicate, NS_NOESCAPE dispatch_block_t block) {
  static std::recursive_mutex mutex;
  const std::lock_guard guard(mutex);
  if (std::exchange(*predicate, ~dispatch_once_t{}) == 0) block();
}
}

static BOOL (*isMainThreadOfGNUstep)(Class, SEL);

static BOOL isMainThread(Class type, SEL selector) {
  return queueRunner ? queueRunner->isMainThread() : isMainThreadOfGNUstep(type, selector);
}

@interface MainThreadAnswer : NSObject
@end
@implementation MainThreadAnswer
+ (void)load {
  void* method = class_getClassMethod([NSThread class], @selector(isMainThread));
  isMainThreadOfGNUstep = reinterpret_cast<BOOL (*)(Class, SEL)>(
      method_setImplementation(method, reinterpret_cast<void*>(isMainThread)));
}
@end

namespace vecamera::ios {

void setQueueRunner(const QueueRunner* runner) {
  queueRunner = runner;
}

void drainMainQueue() {
  while (queueOf(dispatch_get_main_queue()).runOne()) {
  }
}

bool runMainQueueUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  Queue& queue = queueOf(dispatch_get_main_queue());
  const Clock::time_point end = Clock::now() + limit;
  for (;;) {
    drainMainQueue();
    runInPool(
        [] { [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate date]]; });
    if (done()) return true;
    if (Clock::now() >= end) return false;
    std::unique_lock guard(queue.mutex);
    queue.changed.wait_for(guard, std::chrono::milliseconds(5),
                           [&] { return !queue.jobs.empty(); });
  }
}

}  // namespace vecamera::ios
