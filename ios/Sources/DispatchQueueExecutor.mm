#include "ios/Sources/DispatchQueueExecutor.h"

#include <deque>
#include <mutex>
#include <utility>

namespace vecamera_ios {

/// What waits. A dispatch queue takes no block back, so each of its blocks takes a job from here
/// and does nothing where none is left.
class DispatchQueueExecutor::Jobs {
 public:
  void add(vecamera::Job job) {
    const std::lock_guard guard(mutex_);
    jobs_.push_back(std::move(job));
  }
  void runOne() {
    @autoreleasepool {
      vecamera::Job job = take();
      @try {
        if (job) job();
      } @catch (...) {
        // It would end in a frame of the dispatch library, which ends the application.
        NSLog(@"A job of the camera plug-in failed.");
      }
    }
  }
  void dropAll() {
    std::deque<vecamera::Job> dropped;  // ends after the lock: what it holds may post
    const std::lock_guard guard(mutex_);
    dropped.swap(jobs_);
  }

 private:
  vecamera::Job take() {
    const std::lock_guard guard(mutex_);
    if (jobs_.empty()) return nullptr;
    vecamera::Job job = std::move(jobs_.front());
    jobs_.pop_front();
    return job;
  }

  std::mutex mutex_;
  std::deque<vecamera::Job> jobs_;
};

DispatchQueueExecutor::DispatchQueueExecutor(dispatch_queue_t queue)
    : queue_(queue), jobs_(std::make_shared<Jobs>()) {}

DispatchQueueExecutor::~DispatchQueueExecutor() {
  @autoreleasepool {
    jobs_->dropAll();
  }
}

void DispatchQueueExecutor::post(vecamera::Job job) {
  jobs_->add(std::move(job));
  const std::shared_ptr<Jobs> jobs = jobs_;
  dispatch_async(queue_, ^{
    jobs->runOne();
  });
}

}  // namespace vecamera_ios
