#include "ios/Sources/Container.h"

#include <optional>
#include <string>

#include "ios/Sources/MainThreadReference.h"
#include "ios/Sources/Value.h"

// What is sent to the container's objects, whose own types may be protocols or classes.

@protocol ContainerCommand
- (id)argumentAt:(NSInteger)position;
@end

@protocol ContainerCommandDelegate
- (NSURL* (^)(NSURL*))urlTransformer;
@end

@protocol ContainerCallBack
- (id<ContainerCommand>)command;
- (id<ContainerCommandDelegate>)commandDelegate;
- (void)successWithKeepCallback:(BOOL)keepCallback;
- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback;
@end

/// To its class `VELog`, where that has the method.
@protocol ContainerLog
+ (void)debugWithMsg:(NSString*)msg;
+ (void)errorWithTag:(NSString*)tag
                 msg:(NSString*)msg
            filename:(NSString*)filename
                line:(NSInteger)line
            funcName:(NSString*)funcName;
@end

namespace vecamera_ios {
namespace {

/// Calls into the container. Nothing that it raises or throws comes out; false where it did.
template <class Call>
bool guarded(Call call) {
  @autoreleasepool {
    @try {
      call();
      return true;
    } @catch (NSException* exception) {
      NSLog(@"The container raised %@: %@", exception.name, exception.reason);
    } @catch (...) {
      NSLog(@"The container threw an exception.");
    }
  }
  return false;
}

/// Nil where no container has the class with that method.
Class<ContainerLog> _Nullable logClassWith(SEL method) {
  // The second name is that of a class written in Swift.
  for (NSString* name in @[ @"VELog", @"VelmoraMobile.VELog" ])
    if (Class type = NSClassFromString(name))
      if ([type respondsToSelector:method]) return type;
  return nil;
}

// The codes are the container's. In a container written in Swift the names begin with that of the
// enumeration: `CommandStatusINVALID_PARAM`.
CommandStatus nativeStatus(vecamera::CommandStatus status) {
  switch (status) {
    case vecamera::CommandStatus::INVALID_PARAM: return INVALID_PARAM;
    case vecamera::CommandStatus::NO_PERMISSION: return NO_PERMISSION;
    case vecamera::CommandStatus::FAIL_TAKE_PICTURE: return FAIL_TAKE_PICTURE;
    case vecamera::CommandStatus::UNABLE_FILE_WRITE: return UNABLE_FILE_WRITE;
    case vecamera::CommandStatus::UNABLE_FILE_REMOVE: return UNABLE_FILE_REMOVE;
    case vecamera::CommandStatus::OBJECT_REFERENCE_FAILED: return OBJECT_REFERENCE_FAILED;
  }
}

// An object of the container's may own its web view, and then has to end on the main thread.

class CommandDelegateWrapper : public vecamera::CommandDelegate {
 public:
  explicit CommandDelegateWrapper(id<ContainerCommandDelegate> native) : native_(native) {}

  vecamera::URLTransformer urlTransformer() const override {
    using Transform = NSURL* (^)(NSURL*);
    Transform transform = nil;
    guarded([&] { transform = [[native_.get() urlTransformer] copy]; });
    if (!transform) return nullptr;
    const auto kept = std::make_shared<const MainThreadReference<Transform>>(transform);
    return [kept](const vecamera::URL& url) {
      std::optional<vecamera::URL> result;
      guarded([&] {
        NSURL* native = toNSURL(url);
        NSURL* rewritten = native ? kept->get()(native) : nil;
        if (rewritten) result = toURL(rewritten);
      });
      return result;
    };
  }

 private:
  const MainThreadReference<id<ContainerCommandDelegate>> native_;
};

/// One command with its arguments.
class CommandWrapper : public vecamera::CallBackManager,
                       public vecamera::VelmoraCommand,
                       public NativeReference {
 public:
  explicit CommandWrapper(id<ContainerCallBack> native) : native_(native) {}
  id native() const override { return native_.get(); }

  const vecamera::VelmoraCommand& command() const override { return *this; }

  std::optional<vecamera::Value> argument(std::size_t position) const override {
    vecamera::Value value;
    guarded([&] {
      value = toValue([[native_.get() command] argumentAt:static_cast<NSInteger>(position)]);
    });
    if (value.isNull()) return std::nullopt;
    return value;
  }

  void success(bool keepCallback) override {
    guarded([&] { [native_.get() successWithKeepCallback:keepCallback]; });
  }
  /// A container that does not take the data may not have answered the page.
  void success(vecamera::Dictionary data, bool keepCallback) override {
    const bool isTaken = guarded(
        [&] { [native_.get() successWithData:toNSDictionary(data) keepCallback:keepCallback]; });
    if (!isTaken)
      error(vecamera::CommandStatus::FAIL_TAKE_PICTURE, "The container refused the answer.",
            keepCallback);
  }
  void error(vecamera::CommandStatus status, std::string message, bool keepCallback) override {
    guarded([&] {
      [native_.get() errorWithStatus:nativeStatus(status)
                             message:toNSString(message)
                        keepCallback:keepCallback];
    });
  }
  void error(vecamera::CommandStatus status, vecamera::Dictionary data,
             bool keepCallback) override {
    guarded([&] {
      [native_.get() errorWithStatus:nativeStatus(status)
                                data:toNSDictionary(data)
                        keepCallback:keepCallback];
    });
  }

  /// Asked for each time: the container may change it.
  std::shared_ptr<vecamera::CommandDelegate> commandDelegate() const override {
    std::shared_ptr<vecamera::CommandDelegate> result;
    guarded([&] {
      if (const auto native = [native_.get() commandDelegate])
        result = std::make_shared<CommandDelegateWrapper>(native);
    });
    return result;
  }

 private:
  const MainThreadReference<id<ContainerCallBack>> native_;
};

class WebViewWrapper : public vecamera::VelmoraWebView, public NativeReference {
 public:
  explicit WebViewWrapper(::UIView* view) : view_(view) {}
  id native() const override { return view_.get(); }

 private:
  const MainThreadReference<::UIView*> view_;
};

}  // namespace

void Log::debug(std::string_view msg) {
  guarded([&] {
    if (Class<ContainerLog> type = logClassWith(@selector(debugWithMsg:)))
      [type debugWithMsg:toNSString(msg)];
    else
      NSLog(@"%@", toNSString(msg));
  });
}

void Log::error(std::string_view tag, std::string_view msg, std::string_view filename, int line,
                std::string_view funcName) {
  guarded([&] {
    if (Class<ContainerLog> type = logClassWith(@selector(errorWithTag:
                                                                   msg:filename:line:funcName:)))
      [type errorWithTag:toNSString(tag)
                     msg:toNSString(msg)
                filename:toNSString(filename)
                    line:line
                funcName:toNSString(funcName)];
    else
      NSLog(@"%@:%d %@: %@", toNSString(filename), line, toNSString(funcName), toNSString(msg));
  });
}

std::shared_ptr<vecamera::CallBackManager> callBackManagerOf(id native) {
  if (!native) return nullptr;
  return std::make_shared<CommandWrapper>(native);
}

std::shared_ptr<vecamera::VelmoraWebView> webViewOf(UIView* native) {
  if (!native) return nullptr;
  return std::make_shared<WebViewWrapper>(native);
}

}  // namespace vecamera_ios
