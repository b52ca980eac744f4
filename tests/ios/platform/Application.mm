#import <UIKit/UIKit.h>

#import "tests/ios/platform/Presenting.h"
#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

NSString* const UIApplicationOpenSettingsURLString = @"app-settings:";
NSNotificationName const UIApplicationDidReceiveMemoryWarningNotification =
    @"UIApplicationDidReceiveMemoryWarningNotification";
const UIBackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

@implementation UIApplication
+ (UIApplication*)sharedApplication {
  static UIApplication* application = [[UIApplication alloc] init];
  return application;
}
- (NSSet<UIScene*>*)connectedScenes {
  return [NSSet setWithArray:@[]];
}
- (BOOL)canOpenURL:(NSURL*)url {
  vecamera::ios::requireMainThread("the application is asked for a URL");
  return [url.scheme isEqualToString:@"app-settings"];
}
- (void)openURL:(NSURL*)url
              options:(NSDictionary<UIApplicationOpenExternalURLOptionsKey, id>*)options
    completionHandler:(void (^)(BOOL))completion {
  vecamera::ios::requireMainThread("a URL is opened");
  vecamera::ios::softwarePlatform().application.openURL(vecamera::ios::urlForDevice(url));
  if (completion)
    dispatch_async(dispatch_get_main_queue(), ^{
      completion(YES);
    });
}
- (UIBackgroundTaskIdentifier)beginBackgroundTaskWithName:(NSString*)name
                                        expirationHandler:(void (^)(void))handler {
  return 1;
}
- (void)endBackgroundTask:(UIBackgroundTaskIdentifier)identifier {
}
@end
