#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "VECamera/runtime/Executor.h"

namespace vecamera_ios {

/// Runs jobs on a dispatch queue, each in an autorelease pool of its own, in which the job also
/// ends. A job that throws is logged. The destructor drops the jobs that have not started and does
/// not wait for those that run.
class DispatchQueueExecutor : public vecamera::Executor {
 public:
  explicit DispatchQueueExecutor(dispatch_queue_t _Nonnull queue);
  ~DispatchQueueExecutor() override;
  void post(vecamera::Job job) override;

 private:
  class Jobs;

  const dispatch_queue_t _Nonnull queue_;
  const std::shared_ptr<Jobs> jobs_;
};

}  // namespace vecamera_ios
