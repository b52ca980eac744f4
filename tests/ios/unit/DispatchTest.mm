#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "tests/ios/runtime/LivingObjects.h"
#include "tests/ios/runtime/MainQueue.h"

@interface Receiver : NSObject
@property(nonatomic) BOOL received;
@end
@implementation Receiver
- (void)receive {
  self.received = YES;
}
@end

namespace vecamera::ios {
namespace {

TEST(DispatchTest, ASerialQueueRunsOneBlockAfterTheOther) {
  @autoreleasepool {
    dispatch_queue_t queue = dispatch_queue_create("serial", DISPATCH_QUEUE_SERIAL);
    __block std::vector<int> order;
    for (int i = 0; i < 200; ++i)
      dispatch_async(queue, ^{
        order.push_back(i);
      });
    dispatch_sync(queue, ^{
      ASSERT_EQ(order.size(), 200u);
      for (int i = 0; i < 200; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    });
  }
}

TEST(DispatchTest, AConcurrentQueueRunsBlocksThatWaitForEachOther) {
  @autoreleasepool {
    dispatch_queue_t queue = dispatch_queue_create(
        "concurrent", dispatch_queue_attr_make_with_qos_class(DISPATCH_QUEUE_CONCURRENT,
                                                              QOS_CLASS_USER_INITIATED, 0));
    const auto first = std::make_shared<std::atomic<bool>>();
    const auto both = std::make_shared<std::atomic<bool>>();
    dispatch_async(queue, ^{
      while (!*first) std::this_thread::yield();
      *both = true;
    });
    dispatch_async(queue, ^{
      *first = true;
    });
    EXPECT_TRUE(runMainQueueUntil([&] { return both->load(); }));
  }
}

TEST(DispatchTest, BlocksOfTheMainQueueWaitForTheMainThread) {
  @autoreleasepool {
    const auto ran = std::make_shared<std::atomic<bool>>();
    const auto queued = std::make_shared<std::promise<void>>();
    const auto main = std::this_thread::get_id();
    dispatch_async(dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^{
      dispatch_async(dispatch_get_main_queue(), ^{
        EXPECT_EQ(std::this_thread::get_id(), main);
        *ran = true;
      });
      queued->set_value();
    });
    EXPECT_EQ(queued->get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_FALSE(*ran);
    EXPECT_TRUE(runMainQueueUntil([&] { return ran->load(); }));
  }
}

TEST(DispatchTest, ADelayedBlockRunsAfterItsTime) {
  @autoreleasepool {
    const auto start = std::chrono::steady_clock::now();
    const auto ran = std::make_shared<bool>(false);
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, 30 * NSEC_PER_MSEC), dispatch_get_main_queue(),
                   ^{
                     *ran = true;
                   });
    EXPECT_TRUE(runMainQueueUntil([&] { return *ran; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
  }
}

TEST(DispatchTest, ASelectorWithoutDelayIsSentByTheRunLoop) {
  @autoreleasepool {
    Receiver* receiver = [[Receiver alloc] init];
    [receiver performSelector:@selector(receive) withObject:nil afterDelay:0];
    EXPECT_FALSE(receiver.received);
    EXPECT_TRUE(runMainQueueUntil([&] { return receiver.received; }));
  }
}

TEST(DispatchTest, ABlockIsFreedAfterItRanWithWhatItAutoreleased) {
  countLivingObjects();
  @autoreleasepool {
    dispatch_queue_t queue = dispatch_queue_create(nullptr, DISPATCH_QUEUE_SERIAL);
    Receiver* receiver = [[Receiver alloc] init];
    {
      dispatch_async(queue, ^{
        [NSArray arrayWithObject:receiver];
      });
    }
    receiver = nil;
    dispatch_sync(queue, ^{
      EXPECT_EQ(livingObjects("Receiver"), 0u);
    });
  }
}

TEST(DispatchTest, ABlockKnowsItsQueue) {
  static const char key = 0;
  @autoreleasepool {
    dispatch_queue_t queue = dispatch_queue_create(nullptr, DISPATCH_QUEUE_SERIAL);
    dispatch_queue_set_specific(queue, &key, const_cast<char*>(&key), nullptr);
    EXPECT_EQ(dispatch_get_specific(&key), nullptr);
    dispatch_sync(queue, ^{
      EXPECT_EQ(dispatch_get_specific(&key), &key);
    });
  }
}

TEST(DispatchTest, OnceIsOnceForAllThreads) {
  static dispatch_once_t predicate;
  static std::atomic<int> calls;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([] {
      dispatch_once(&predicate, ^{
        ++calls;
      });
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(calls, 1);
}

TEST(DispatchTest, ARunnerTakesTheJobsOfAllQueues) {
  static const char key = 0;
  @autoreleasepool {
    std::vector<std::pair<QueueKind, std::function<void()>>> jobs;
    bool onMain = false;
    const QueueRunner runner = {
        [&](QueueKind kind, std::function<void()> job) { jobs.emplace_back(kind, std::move(job)); },
        [&] { return onMain; }};
    setQueueRunner(&runner);
    EXPECT_FALSE(NSThread.isMainThread);
    onMain = true;
    EXPECT_TRUE(NSThread.isMainThread);

    dispatch_queue_t queue = dispatch_queue_create(nullptr, DISPATCH_QUEUE_SERIAL);
    dispatch_queue_set_specific(queue, &key, const_cast<char*>(&key), nullptr);
    __block int ran = 0;
    dispatch_async(dispatch_get_main_queue(), ^{
      ++ran;
    });
    dispatch_async(queue, ^{
      ran += dispatch_get_specific(&key) ? 10 : 0;
    });
    dispatch_sync(queue, ^{
      ran += dispatch_get_specific(&key) ? 100 : 0;
    });
    dispatch_async(dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), ^{
      ran += 1000;
    });
    EXPECT_EQ(ran, 100);
    ASSERT_EQ(jobs.size(), 3u);
    EXPECT_EQ(jobs[0].first, QueueKind::main);
    EXPECT_EQ(jobs[1].first, QueueKind::created);
    EXPECT_EQ(jobs[2].first, QueueKind::global);
    for (auto& job : jobs) job.second();
    EXPECT_EQ(ran, 1111);
    setQueueRunner(nullptr);
  }
}

}  // namespace
}  // namespace vecamera::ios
