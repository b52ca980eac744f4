#include "ios/Sources/DispatchQueueExecutor.h"

#import <Foundation/Foundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/ios/runtime/LivingObjects.h"
#include "tests/ios/runtime/MainQueue.h"

@interface Witness : NSObject
@end
@implementation Witness
@end

namespace vecamera_ios {
namespace {

using vecamera::ios::drainMainQueue;
using vecamera::ios::livingObjects;

class DispatchQueueExecutorTest : public testing::Test {
 protected:
  DispatchQueueExecutorTest() {
    drainMainQueue();
    vecamera::ios::countLivingObjects();
  }
  std::unique_ptr<DispatchQueueExecutor> executor_ =
      std::make_unique<DispatchQueueExecutor>(dispatch_get_main_queue());
};

TEST_F(DispatchQueueExecutorTest, JobsRunLaterAndInOrder) {
  std::vector<int> order;
  for (int i = 0; i < 3; ++i) executor_->post([&order, i] { order.push_back(i); });
  executor_->post([&] { executor_->post([&] { order.push_back(9); }); });
  EXPECT_TRUE(order.empty());
  drainMainQueue();
  EXPECT_THAT(order, testing::ElementsAre(0, 1, 2, 9));
}

TEST_F(DispatchQueueExecutorTest, AJobEndsWhenItHasRun) {
  const auto post = [&] {
    @autoreleasepool {
      Witness* witness = [[Witness alloc] init];
      executor_->post([witness] { [NSArray arrayWithObject:witness]; });
    }
  };
  post();
  EXPECT_EQ(livingObjects("Witness"), 1u);
  drainMainQueue();
  EXPECT_EQ(livingObjects("Witness"), 0u);
  std::size_t left = 9;
  post();
  executor_->post([&] { left = livingObjects("Witness"); });
  drainMainQueue();
  EXPECT_EQ(left, 0u);
}

TEST_F(DispatchQueueExecutorTest, WhatAJobThrowsEndsThere) {
  bool ran = false;
  executor_->post([] { throw std::runtime_error("thrown by a job"); });
  executor_->post(
      [] { [[NSException exceptionWithName:@"Raised" reason:nil userInfo:nil] raise]; });
  executor_->post([&] { ran = true; });
  drainMainQueue();
  EXPECT_TRUE(ran);
}

TEST_F(DispatchQueueExecutorTest, WhatHasNotRunIsDroppedWithTheExecutor) {
  bool ran = false;
  @autoreleasepool {
    Witness* witness = [[Witness alloc] init];
    executor_->post([witness, &ran] { ran = [witness isKindOfClass:[Witness class]]; });
  }
  executor_.reset();
  EXPECT_EQ(livingObjects("Witness"), 0u);
  drainMainQueue();
  EXPECT_FALSE(ran);
}

TEST_F(DispatchQueueExecutorTest, AJobMayEndItsExecutor) {
  bool ran = false;
  executor_->post([&] { executor_.reset(); });
  executor_->post([&] { ran = true; });
  drainMainQueue();
  EXPECT_EQ(executor_, nullptr);
  EXPECT_FALSE(ran);
}

TEST(BackgroundExecutorTest, EveryJobOfAConcurrentQueueRunsOnce) {
  @autoreleasepool {
    DispatchQueueExecutor executor(dispatch_queue_create(nullptr, DISPATCH_QUEUE_CONCURRENT));
    const auto count = std::make_shared<std::atomic<int>>(0);
    for (int i = 0; i < 500; ++i) executor.post([count] { ++*count; });
    EXPECT_TRUE(vecamera::ios::runMainQueueUntil([&] { return *count == 500; }));
    EXPECT_EQ(*count, 500);
  }
}

}  // namespace
}  // namespace vecamera_ios
