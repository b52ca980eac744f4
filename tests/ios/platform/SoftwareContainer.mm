#import "tests/ios/platform/SoftwareContainer.h"

#include <utility>

#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

using vecamera::ios::dictionaryForDevice;
using vecamera::ios::textForDevice;

@interface SoftwareCommandDelegate : NSObject <CommandDelegate>
@property(nonatomic) std::shared_ptr<vecamera::CommandDelegate> device;
@end
@implementation SoftwareCommandDelegate
- (NSURL* (^)(NSURL*))urlTransformer {
  const auto transform = self.device->urlTransformer();
  if (!transform) return nil;
  return ^NSURL*(NSURL* url) {
    const auto rewritten = transform(vecamera::ios::urlForDevice(url));
    return rewritten ? vecamera::ios::urlFromDevice(*rewritten) : nil;
  };
}
@end

/// The command and its arguments.
@interface SoftwareCallback : NSObject <CallBackManager, VelmoraCommand, SoftwareObject>
@property(nonatomic) std::shared_ptr<vecamera::CallBackManager> device;
@end
@implementation SoftwareCallback
- (std::shared_ptr<vecamera::Object>)softwareObject {
  return self.device;
}
- (id<VelmoraCommand>)command {
  return self;
}
- (id)argumentAt:(NSInteger)position {
  if (position < 0) return nil;
  const auto value = self.device->command().argument(static_cast<std::size_t>(position));
  return value ? vecamera::ios::objectFromDevice(*value) : nil;
}
- (id<CommandDelegate>)commandDelegate {
  auto device = self.device->commandDelegate();
  if (!device) return nil;
  SoftwareCommandDelegate* delegate = [[SoftwareCommandDelegate alloc] init];
  delegate.device = std::move(device);
  return delegate;
}
- (void)successWithKeepCallback:(BOOL)keepCallback {
  self.device->success(keepCallback);
}
- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback {
  self.device->success(dictionaryForDevice(data), keepCallback);
}
- (void)errorWithStatus:(CommandStatus)status
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback {
  self.device->error(static_cast<vecamera::CommandStatus>(status), textForDevice(message),
                     keepCallback);
}
- (void)errorWithStatus:(CommandStatus)status
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback {
  self.device->error(static_cast<vecamera::CommandStatus>(status), dictionaryForDevice(data),
                     keepCallback);
}
@end

@interface SoftwareWebView : UIView <SoftwareObject>
@property(nonatomic) std::shared_ptr<vecamera::VelmoraWebView> device;
@end
@implementation SoftwareWebView
- (std::shared_ptr<vecamera::Object>)softwareObject {
  return self.device;
}
@end

@interface VELog : NSObject
@end
@implementation VELog
+ (void)debugWithMsg:(NSString*)msg {
  if (vecamera::ios::hasSoftwarePlatform())
    vecamera::ios::softwarePlatform().log.debug(textForDevice(msg));
}
+ (void)errorWithTag:(NSString*)tag
                 msg:(NSString*)msg
            filename:(NSString*)filename
                line:(NSInteger)line
            funcName:(NSString*)funcName {
  if (vecamera::ios::hasSoftwarePlatform())
    vecamera::ios::softwarePlatform().log.error(textForDevice(tag), textForDevice(msg),
                                                textForDevice(filename), static_cast<int>(line),
                                                textForDevice(funcName));
}
@end

namespace vecamera::ios {

id<CallBackManager> callbackFromDevice(std::shared_ptr<vecamera::CallBackManager> callback) {
  if (!callback) return nil;
  SoftwareCallback* made = [[SoftwareCallback alloc] init];
  made.device = std::move(callback);
  return made;
}

::UIView* webViewFromDevice(std::shared_ptr<vecamera::VelmoraWebView> webView) {
  if (!webView) return nil;
  SoftwareWebView* made = [[SoftwareWebView alloc] initWithFrame:CGRectZero];
  made.device = std::move(webView);
  return made;
}

}  // namespace vecamera::ios
