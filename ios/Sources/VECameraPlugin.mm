#import "ios/Sources/include/VECameraPlugin.h"

#include "ios/Sources/Container.h"
#include "ios/Sources/CoreLocation.h"
#include "ios/Sources/Images.h"
#include "ios/Sources/Pickers.h"
#include "ios/Sources/PlatformHost.h"
#include "ios/Sources/VECameraPlugin+Core.h"
#include "ios/Sources/Value.h"
#include "ios/Sources/ViewControllers.h"

using vecamera_ios::PlatformHost;

static id nativeOf(const std::shared_ptr<vecamera::Object>& object) {
  const auto* reference = dynamic_cast<const vecamera_ios::NativeReference*>(object.get());
  return reference ? reference->native() : nil;
}

@implementation VECameraPlugin {
  // The host outlives what refers to it: fields end in the opposite order.
  std::shared_ptr<PlatformHost> host_;
  std::shared_ptr<vecamera::VECameraPlugin> core_;
}

+ (unsigned long long)maxContextPixels {
  return vecamera_ios::maxBitmapPixels();
}

+ (void)setMaxContextPixels:(unsigned long long)pixels {
  vecamera_ios::setMaxBitmapPixels(pixels);
}

+ (unsigned long long)maxMovieDataURLBytes {
  return PlatformHost::shared()->maxMovieDataUrlBytes();
}

+ (void)setMaxMovieDataURLBytes:(unsigned long long)bytes {
  PlatformHost::shared()->setMaxMovieDataUrlBytes(bytes);
}

- (instancetype)init {
  self = [super init];
  if (self) {
    host_ = PlatformHost::shared();
    core_ = vecamera::VECameraPlugin::create(host_->platform());
  }
  return self;
}

- (std::shared_ptr<vecamera::VECameraPlugin>)core {
  return core_;
}

- (UIView*)webView {
  return nativeOf(core_->webView());
}

- (void)setWebView:(UIView*)webView {
  core_->setVWebView(vecamera_ios::webViewOf(webView));
}

- (void)setVWebView:(UIView*)webView {
  self.webView = webView;
}

- (UIViewController*)viewController {
  return nativeOf(core_->viewController());
}

- (void)setViewController:(UIViewController*)viewController {
  core_->setViewController(vecamera_ios::viewControllerOf(viewController));
}

- (CLLocationManager*)locationManager {
  return nativeOf(core_->locationManager());
}

- (void)setLocationManager:(CLLocationManager*)locationManager {
  core_->setLocationManager(vecamera_ios::locationManagerOf(locationManager));
}

- (void)dispose {
  core_->dispose();
}

- (void)takePicture:(id)callback {
  if (callback) core_->takePicture(vecamera_ios::callBackManagerOf(callback));
}

- (void)cleanup:(id)callback {
  if (callback) core_->cleanup(vecamera_ios::callBackManagerOf(callback));
}

- (NSURL*)urlTransformer:(NSURL*)url {
  if (!url) return url;
  NSURL* const transformed = vecamera_ios::toNSURL(core_->urlTransformer(vecamera_ios::toURL(url)));
  return transformed ? transformed : url;
}

- (void)retryPermission {
  core_->retryPermission();
}

- (BOOL)usesGeolocation {
  return core_->usesGeolocation();
}

- (NSString*)tempFilePath:(NSString*)extension {
  return vecamera_ios::toNSString(core_->tempFilePath(vecamera_ios::toText(extension)));
}

- (NSString*)getLocalizingString:(NSString*)key {
  return vecamera_ios::toNSString(core_->getLocalizingString(vecamera_ios::toText(key)));
}

- (void)imagePickerControllerReturnImageResult {
  core_->imagePickerControllerReturnImageResult();
}

- (void)imagePickerController:(UIImagePickerController*)picker
    didFinishPickingMediaWithInfo:(NSDictionary<UIImagePickerControllerInfoKey, id>*)info {
  core_->imagePickerControllerDidFinishPickingMediaWithInfo(vecamera_ios::pickerOf(picker),
                                                            vecamera_ios::pickerInfoOf(info));
}

- (void)imagePickerControllerDidCancel:(UIImagePickerController*)picker {
  core_->imagePickerControllerDidCancel(vecamera_ios::pickerOf(picker));
}

- (void)locationManager:(CLLocationManager*)manager
     didUpdateLocations:(NSArray<CLLocation*>*)locations {
  vecamera_ios::deliverUpdate(manager, locations, core_);
}

@end
