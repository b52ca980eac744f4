#include "ios/Sources/Container.h"

#import <Foundation/Foundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ios/Sources/Value.h"
#include "tests/ios/runtime/LivingObjects.h"
#include "tests/ios/runtime/MainQueue.h"

extern "C" {
void* class_getClassMethod(Class type, SEL selector);
void* method_getImplementation(void* method);
void* method_setImplementation(void* method, void* implementation);
}

// A command with its arguments and its delegate, which writes down what it is answered.
@interface TestCommand : NSObject <CallBackManager, VelmoraCommand, CommandDelegate> {
 @public
  std::vector<std::string> answers;
  CommandStatus status;
  NSDictionary* payload;
}
@property(nonatomic, copy) NSArray* arguments;
@property(nonatomic) BOOL hasDelegate;
@property(nonatomic) BOOL raises;
@property(nonatomic) BOOL takesNoData;
@property(nullable, nonatomic, copy) NSURL* _Nullable (^urlTransformer)(NSURL* url);
@end
@implementation TestCommand
- (id<VelmoraCommand>)command {
  return self;
}
- (id<CommandDelegate>)commandDelegate {
  [self raiseIfAsked];
  return self.hasDelegate ? self : nil;
}
- (id)argumentAt:(NSInteger)position {
  // Raises where the list is shorter, as a careless container would.
  return [self.arguments objectAtIndex:static_cast<NSUInteger>(position)];
}
- (void)raiseIfAsked {
  if (self.raises) [[NSException exceptionWithName:@"Refused" reason:nil userInfo:nil] raise];
}
- (void)answered:(const char*)answer keepCallback:(BOOL)keepCallback {
  [self raiseIfAsked];
  answers.push_back(std::string(answer) + (keepCallback ? " keep" : ""));
}
- (void)successWithKeepCallback:(BOOL)keepCallback {
  [self answered:"success" keepCallback:keepCallback];
}
- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback {
  if (self.takesNoData) [[NSException exceptionWithName:@"Refused" reason:nil userInfo:nil] raise];
  payload = data;
  [self answered:"success with data" keepCallback:keepCallback];
}
- (void)errorWithStatus:(CommandStatus)given
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback {
  status = given;
  [self answered:message.UTF8String keepCallback:keepCallback];
}
- (void)errorWithStatus:(CommandStatus)given
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback {
  status = given;
  payload = data;
  [self answered:"error with data" keepCallback:keepCallback];
}
@end

// What stands behind the container's log in a test.
@interface TestLog : NSObject
@end
static NSMutableArray<NSString*>* logged;
@implementation TestLog
+ (void)debugWithMsg:(NSString*)msg {
  if ([msg isEqual:@"raise"]) [[NSException exceptionWithName:msg reason:nil userInfo:nil] raise];
  [logged addObject:msg];
}
+ (void)errorWithTag:(NSString*)tag
                 msg:(NSString*)msg
            filename:(NSString*)filename
                line:(NSInteger)line
            funcName:(NSString*)funcName {
  [logged addObject:[NSString stringWithFormat:@"%@|%@|%@|%ld|%@", tag, msg, filename,
                                               static_cast<long>(line), funcName]];
}
@end

namespace vecamera_ios {
namespace {

using vecamera::Value;
using testing::ElementsAre;
using testing::Optional;

class CallBackManagerTest : public testing::Test {
 protected:
  CallBackManagerTest() {
    @autoreleasepool {
      native_ = [[TestCommand alloc] init];
      callback_ = callBackManagerOf(native_);
    }
  }
  TestCommand* native_;
  std::shared_ptr<vecamera::CallBackManager> callback_;
};

TEST_F(CallBackManagerTest, EachStatusIsTheContainersOfThatName) {
  const std::pair<vecamera::CommandStatus, CommandStatus> statuses[] = {
      {vecamera::CommandStatus::INVALID_PARAM, INVALID_PARAM},
      {vecamera::CommandStatus::NO_PERMISSION, NO_PERMISSION},
      {vecamera::CommandStatus::FAIL_TAKE_PICTURE, FAIL_TAKE_PICTURE},
      {vecamera::CommandStatus::UNABLE_FILE_WRITE, UNABLE_FILE_WRITE},
      {vecamera::CommandStatus::UNABLE_FILE_REMOVE, UNABLE_FILE_REMOVE},
      {vecamera::CommandStatus::OBJECT_REFERENCE_FAILED, OBJECT_REFERENCE_FAILED},
  };
  for (const auto& [status, expected] : statuses) {
    native_->status = static_cast<CommandStatus>(-1);
    callback_->error(status, "text", false);
    EXPECT_EQ(native_->status, expected) << nameOf(status);
    native_->status = static_cast<CommandStatus>(-1);
    callback_->error(status, vecamera::Dictionary(), true);
    EXPECT_EQ(native_->status, expected) << nameOf(status);
  }
}

TEST_F(CallBackManagerTest, AnswersComeThroughWithTheirPayload) {
  @autoreleasepool {
    const vecamera::Dictionary payload{{"callbackURI", vecamera::URL("file:///a")},
                                       {"bytes", vecamera::Data::copyOf("x")},
                                       {"flag", true}};
    callback_->success(false);
    callback_->success(payload, true);
    EXPECT_EQ(toDictionary(native_->payload), payload);
    EXPECT_TRUE([native_->payload[@"callbackURI"] isKindOfClass:[NSURL class]]);
    callback_->error(vecamera::CommandStatus::NO_PERMISSION, "é", true);
    callback_->error(vecamera::CommandStatus::NO_PERMISSION, {{"errorMsg", "m"}}, false);
    EXPECT_EQ(toDictionary(native_->payload), (vecamera::Dictionary{{"errorMsg", "m"}}));
    EXPECT_THAT(native_->answers,
                ElementsAre("success", "success with data keep", "é keep", "error with data"));
  }
}

TEST_F(CallBackManagerTest, EmptySlotsGiveNoArgument) {
  @autoreleasepool {
    native_.arguments = @[ @YES, [NSNull null], @"", @0 ];
    const vecamera::VelmoraCommand& command = callback_->command();
    EXPECT_THAT(command.argument(0), Optional(Value(true)));
    EXPECT_EQ(command.argument(1), std::nullopt);
    EXPECT_THAT(command.argument(2), Optional(Value("")));
    EXPECT_THAT(command.argument(3), Optional(Value(0)));
    EXPECT_EQ(command.argument(4), std::nullopt);
    native_.arguments = nil;
    EXPECT_EQ(command.argument(0), std::nullopt);
  }
}

TEST_F(CallBackManagerTest, WhatTheContainerRaisesGoesNoFurther) {
  native_.raises = YES;
  native_.hasDelegate = YES;
  callback_->success(false);
  callback_->success(vecamera::Dictionary(), false);
  callback_->error(vecamera::CommandStatus::NO_PERMISSION, "", false);
  EXPECT_EQ(callback_->commandDelegate(), nullptr);
  EXPECT_THAT(native_->answers, ElementsAre());
  native_.raises = NO;
  native_.takesNoData = YES;
  callback_->success(vecamera::Dictionary(), true);
  EXPECT_THAT(native_->answers, ElementsAre("The container refused the answer. keep"));
  EXPECT_EQ(native_->status, FAIL_TAKE_PICTURE);
  native_.urlTransformer = ^NSURL*(NSURL*) {
    throw std::runtime_error("thrown by the container");
  };
  const auto transform = callback_->commandDelegate()->urlTransformer();
  EXPECT_EQ(transform(vecamera::URL("file:///a")), std::nullopt);
}

TEST_F(CallBackManagerTest, TheDelegateAndItsFunctionAreAskedForEachTime) {
  @autoreleasepool {
    EXPECT_EQ(callback_->commandDelegate(), nullptr);
    native_.hasDelegate = YES;
    const auto delegate = callback_->commandDelegate();
    ASSERT_NE(delegate, nullptr);
    EXPECT_FALSE(delegate->urlTransformer());
    native_.urlTransformer = ^NSURL*(NSURL* url) {
      return [url.scheme isEqual:@"file"] ? [NSURL URLWithString:@"app://x"] : nil;
    };
    const auto transform = delegate->urlTransformer();
    ASSERT_TRUE(transform);
    EXPECT_THAT(transform(vecamera::URL("file:///a")), Optional(vecamera::URL("app://x")));
    EXPECT_EQ(transform(vecamera::URL("http://a")), std::nullopt);
    EXPECT_EQ(transform(vecamera::URL("no url")), std::nullopt);
    native_.urlTransformer = nil;
    EXPECT_FALSE(delegate->urlTransformer());
  }
}

TEST(ContainerTest, ATransformerOutlivesItsCommandAndNothingStays) {
  vecamera::ios::countLivingObjects();
  vecamera::URLTransformer transform;
  std::shared_ptr<vecamera::CallBackManager> callback;
  @autoreleasepool {
    TestCommand* native = [[TestCommand alloc] init];
    native.hasDelegate = YES;
    NSMutableString* prefix = [@"app://" mutableCopy];
    native.urlTransformer = ^NSURL*(NSURL* url) {
      return [NSURL URLWithString:[prefix stringByAppendingString:url.lastPathComponent]];
    };
    callback = callBackManagerOf(native);
    transform = callback->commandDelegate()->urlTransformer();
  }
  EXPECT_EQ(vecamera::ios::livingObjects("TestCommand"), 1u);  // kept by the wrapper
  callback.reset();
  EXPECT_EQ(vecamera::ios::livingObjects("TestCommand"), 0u);
  std::optional<vecamera::URL> result;
  std::thread([&] { result = std::exchange(transform, {})(vecamera::URL("file:///a")); }).join();
  EXPECT_THAT(result, Optional(vecamera::URL("app://a")));
}

TEST(ContainerTest, WhatOfACommandEndsInTheBackgroundIsReleasedOnTheMainThread) {
  using vecamera::ios::livingObjects;
  vecamera::ios::drainMainQueue();
  const struct {
    const char* what;
    std::function<std::shared_ptr<void>(TestCommand*)> keep;
  } cases[] = {
      {"the callback", callBackManagerOf},
      {"its delegate", [](auto* native) { return callBackManagerOf(native)->commandDelegate(); }},
      {"the function",
       [](TestCommand* native) {
         const id owned = native;
         native.urlTransformer = ^NSURL*(NSURL* url) {
           return owned ? url : nil;
         };
         const auto transform = callBackManagerOf(native)->commandDelegate()->urlTransformer();
         native.urlTransformer = nil;
         return std::make_shared<vecamera::URLTransformer>(transform);
       }},
  };
  for (const auto& [what, keep] : cases) {
    vecamera::ios::countLivingObjects();
    std::shared_ptr<void> last;
    @autoreleasepool {
      TestCommand* native = [[TestCommand alloc] init];
      native.hasDelegate = YES;
      last = keep(native);
    }
    EXPECT_EQ(livingObjects("TestCommand"), 1u) << what;
    std::thread([ends = std::exchange(last, nullptr)]() mutable { ends.reset(); }).join();
    EXPECT_EQ(livingObjects("TestCommand"), 1u) << what;
    vecamera::ios::drainMainQueue();
    EXPECT_EQ(livingObjects("TestCommand"), 0u) << what;
  }
}

TEST(ContainerTest, NoObjectHasNoWrapper) {
  EXPECT_EQ(callBackManagerOf(nil), nullptr);
  EXPECT_EQ(webViewOf(nil), nullptr);
}

TEST(ContainerTest, AWebViewGoesThereAndBackAndEndsOnTheMainThread) {
  vecamera::ios::drainMainQueue();
  vecamera::ios::countLivingObjects();
  std::shared_ptr<vecamera::VelmoraWebView> view;
  @autoreleasepool {
    UIView* native = [[UIView alloc] init];
    view = webViewOf(native);
    EXPECT_EQ(toObject(view), native);
  }
  EXPECT_EQ(vecamera::ios::livingObjects("UIView"), 1u);
  std::thread([last = std::exchange(view, nullptr)]() mutable { last.reset(); }).join();
  EXPECT_EQ(vecamera::ios::livingObjects("UIView"), 1u);
  vecamera::ios::drainMainQueue();
  EXPECT_EQ(vecamera::ios::livingObjects("UIView"), 0u);
}

// The methods of its log that a test's container has.
static std::atomic<bool> hasDebug = true;
static std::atomic<bool> hasError = true;
static BOOL (*respondsToSelector)(id, SEL, SEL);
static BOOL respondsIfAllowed(id object, SEL name, SEL asked) {
  if (!hasDebug && sel_isEqual(asked, @selector(debugWithMsg:))) return NO;
  if (!hasError && sel_isEqual(asked, @selector(errorWithTag:msg:filename:line:funcName:)))
    return NO;
  return respondsToSelector(object, name, asked);
}

// The container's class, with the methods of `TestLog`.
class LogTest : public testing::Test {
 protected:
  LogTest() {
    for (SEL selector :
         { @selector(debugWithMsg:), @selector(errorWithTag:msg:filename:line:funcName:) })
      replace(selector, method_getImplementation(class_getClassMethod([TestLog class], selector)));
    // The method is that of every class, and other threads may be using it.
    respondsToSelector = reinterpret_cast<BOOL (*)(id, SEL, SEL)>(method_getImplementation(
        class_getClassMethod(NSClassFromString(@"VELog"), @selector(respondsToSelector:))));
    replace(@selector(respondsToSelector:), reinterpret_cast<void*>(&respondsIfAllowed));
    logged = [[NSMutableArray alloc] init];
  }
  ~LogTest() override {
    for (const auto& [method, original] : originals_) method_setImplementation(method, original);
    hasDebug = hasError = true;
    logged = nil;
  }

 private:
  void* replace(SEL selector, void* implementation) {
    void* const method = class_getClassMethod(NSClassFromString(@"VELog"), selector);
    originals_.emplace_back(method, method_setImplementation(method, implementation));
    return originals_.back().second;
  }

  std::vector<std::pair<void*, void*>> originals_;
};

TEST_F(LogTest, LinesGoToTheContainersClass) {
  @autoreleasepool {
    Log().debug("100% of é");
    Log().debug("raise");
    Log().error("t", "failed", "File", 12, "f()");
    EXPECT_EQ(toValue(logged), (vecamera::Array{"100% of é", "t|failed|File|12|f()"}));
  }
}

TEST_F(LogTest, ALineForWhichTheClassHasNoMethodGoesToTheSystemsLog) {
  for (const bool first : {true, false}) {
    @autoreleasepool {
      hasDebug = first;
      hasError = !first;
      [logged removeAllObjects];
      testing::internal::CaptureStderr();
      Log().debug("100% of é");
      Log().error("t", "failed", "File", 12, "f()");
      EXPECT_THAT(testing::internal::GetCapturedStderr(),
                  testing::HasSubstr(first ? "File:12 f(): failed" : "100% of é"));
      EXPECT_EQ(toValue(logged), (vecamera::Array{first ? "100% of é" : "t|failed|File|12|f()"}));
    }
  }
}

}  // namespace
}  // namespace vecamera_ios
