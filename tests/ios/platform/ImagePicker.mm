// UIKit's picker, which raises where the documentation says so.
#import <UIKit/UIKit.h>

#include <filesystem>
#include <memory>
#include <string>

#include "device/foundation/Urls.h"
#import "tests/ios/platform/Presenting.h"
#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

using vecamera::ios::requireMainThread;
using vecamera::ios::softwarePlatform;

UIImagePickerControllerInfoKey const UIImagePickerControllerMediaType =
    @"UIImagePickerControllerMediaType";
UIImagePickerControllerInfoKey const UIImagePickerControllerOriginalImage =
    @"UIImagePickerControllerOriginalImage";
UIImagePickerControllerInfoKey const UIImagePickerControllerEditedImage =
    @"UIImagePickerControllerEditedImage";
UIImagePickerControllerInfoKey const UIImagePickerControllerCropRect =
    @"UIImagePickerControllerCropRect";
UIImagePickerControllerInfoKey const UIImagePickerControllerMediaURL =
    @"UIImagePickerControllerMediaURL";
UIImagePickerControllerInfoKey const UIImagePickerControllerReferenceURL =
    @"UIImagePickerControllerReferenceURL";
UIImagePickerControllerInfoKey const UIImagePickerControllerMediaMetadata =
    @"UIImagePickerControllerMediaMetadata";
UIImagePickerControllerInfoKey const UIImagePickerControllerPHAsset =
    @"UIImagePickerControllerPHAsset";
UIImagePickerControllerInfoKey const UIImagePickerControllerImageURL =
    @"UIImagePickerControllerImageURL";

namespace {

namespace fs = std::filesystem;

void refuse(NSString* reason) {
  [[NSException exceptionWithName:NSInvalidArgumentException reason:reason userInfo:nil] raise];
}

/// A copy of the picked movie, which the phone takes away when the delegate returns.
class PickedMovie {
 public:
  explicit PickedMovie(vecamera::Dictionary& info) {
    const auto found = info.find(vecamera::UIImagePickerControllerMediaURL);
    const auto* url = found == info.end() ? nullptr : found->second.url();
    const auto path = url ? vecamera::device::foundation::filePathOf(*url) : std::nullopt;
    std::error_code error;
    if (!path || !fs::is_regular_file(*path, error)) return;
    std::string folder = fs::temp_directory_path().string() + "/picked-XXXXXX";
    if (!mkdtemp(folder.data())) return;
    folder_ = folder;
    const auto copy = folder_ / fs::path(*path).filename();
    fs::copy_file(*path, copy, error);
    if (!error)
      found->second = vecamera::Value(softwarePlatform().urls.fileURLWithPath(copy.string()));
  }
  PickedMovie(const PickedMovie&) = delete;
  PickedMovie& operator=(const PickedMovie&) = delete;
  ~PickedMovie() {
    std::error_code ignored;
    if (!folder_.empty()) fs::remove_all(folder_, ignored);
  }

 private:
  fs::path folder_;
};

}  // namespace

@interface UIImagePickerController ()
- (void)finishWithInfo:(vecamera::Dictionary)info;
- (void)cancel;
@end

namespace {

/// What the user does in the picker.
class PickerUser : public vecamera::UIImagePickerControllerDelegate {
 public:
  explicit PickerUser(UIImagePickerController* picker) : picker_(picker) {}
  void imagePickerControllerDidFinishPickingMediaWithInfo(
      std::shared_ptr<vecamera::UIImagePickerController> /*record*/,
      vecamera::Dictionary info) override {
    @autoreleasepool {
      [picker_ finishWithInfo:std::move(info)];
    }
  }
  void imagePickerControllerDidCancel(
      std::shared_ptr<vecamera::UIImagePickerController> /*record*/) override {
    @autoreleasepool {
      [picker_ cancel];
    }
  }

 private:
  __weak UIImagePickerController* const picker_;
};

}  // namespace

@implementation UIImagePickerController {
  UIImagePickerControllerSourceType sourceType_;
  NSArray<NSString*>* mediaTypes_;
  UIImagePickerControllerCameraDevice cameraDevice_;
  UIImagePickerControllerCameraCaptureMode cameraCaptureMode_;
  std::shared_ptr<PickerUser> user_;
}
@dynamic delegate;

+ (BOOL)isSourceTypeAvailable:(UIImagePickerControllerSourceType)sourceType {
  requireMainThread("the picker's sources are asked for");
  return softwarePlatform().imagePickers.isSourceTypeAvailable(sourceType);
}
+ (NSArray<NSString*>*)availableMediaTypesForSourceType:
    (UIImagePickerControllerSourceType)sourceType {
  requireMainThread("the picker's media types are asked for");
  const auto types = softwarePlatform().imagePickers.availableMediaTypesForSourceType(sourceType);
  if (!types) return nil;
  NSMutableArray* made = [NSMutableArray array];
  for (const auto& type : *types) [made addObject:vecamera::ios::textFromDevice(type)];
  return made;
}
+ (BOOL)isCameraDeviceAvailable:(UIImagePickerControllerCameraDevice)cameraDevice {
  return [self isSourceTypeAvailable:UIImagePickerControllerSourceTypeCamera] &&
         (cameraDevice == UIImagePickerControllerCameraDeviceRear ||
          cameraDevice == UIImagePickerControllerCameraDeviceFront);
}

- (UIImagePickerControllerSourceType)sourceType {
  return sourceType_;
}
- (void)setSourceType:(UIImagePickerControllerSourceType)sourceType {
  requireMainThread("a picker is set up");
  if (![UIImagePickerController isSourceTypeAvailable:sourceType])
    refuse([NSString stringWithFormat:@"Source type %ld not available", (long)sourceType]);
  sourceType_ = sourceType;
}

- (NSArray<NSString*>*)mediaTypes {
  return mediaTypes_ ?: @[ @"public.image" ];
}
- (void)setMediaTypes:(NSArray<NSString*>*)mediaTypes {
  requireMainThread("a picker is set up");
  NSArray* available = [UIImagePickerController availableMediaTypesForSourceType:sourceType_];
  BOOL offersOne = NO;
  for (NSString* type in mediaTypes) offersOne = offersOne || [available containsObject:type];
  if (!offersOne)
    refuse([NSString stringWithFormat:@"No available types for source %ld", (long)sourceType_]);
  mediaTypes_ = [mediaTypes copy];
}

- (void)requireCamera {
  requireMainThread("a picker is set up");
  if (sourceType_ != UIImagePickerControllerSourceTypeCamera)
    refuse(@"Source type must be UIImagePickerControllerSourceTypeCamera");
}
- (UIImagePickerControllerCameraDevice)cameraDevice {
  return cameraDevice_;
}
- (void)setCameraDevice:(UIImagePickerControllerCameraDevice)cameraDevice {
  [self requireCamera];
  cameraDevice_ = cameraDevice;
}
- (UIImagePickerControllerCameraCaptureMode)cameraCaptureMode {
  return cameraCaptureMode_;
}
- (void)setCameraCaptureMode:(UIImagePickerControllerCameraCaptureMode)cameraCaptureMode {
  [self requireCamera];
  NSString* type = cameraCaptureMode == UIImagePickerControllerCameraCaptureModeVideo
                       ? @"public.movie"
                       : @"public.image";
  if (![self.mediaTypes containsObject:type])
    refuse(@"cameraCaptureMode not available because mediaTypes does not contain its type");
  cameraCaptureMode_ = cameraCaptureMode;
}

- (std::optional<vecamera::PresentedViewController>)makeRecord {
  const auto record = std::make_shared<vecamera::UIImagePickerController>();
  std::vector<std::string> types;
  for (NSString* type in self.mediaTypes) types.push_back(vecamera::ios::textForDevice(type));
  record->setSourceType(sourceType_);
  record->setAllowsEditing(self.allowsEditing);
  record->setMediaTypes(std::move(types));
  record->setCameraDevice(cameraDevice_);
  record->setCameraCaptureMode(
      static_cast<vecamera::UIImagePickerControllerCameraCaptureMode>(cameraCaptureMode_));
  record->setModalPresentationStyle(
      static_cast<vecamera::UIModalPresentationStyle>(self.modalPresentationStyle));
  user_ = std::make_shared<PickerUser>(self);
  record->setDelegate(user_);
  return record;
}

- (void)finishWithInfo:(vecamera::Dictionary)info {
  const PickedMovie movie(info);
  NSMutableDictionary* given = [vecamera::ios::dictionaryFromDevice(info) mutableCopy];
  if (NSArray* crop = given[UIImagePickerControllerCropRect]; [crop isKindOfClass:NSArray.class])
    given[UIImagePickerControllerCropRect] =
        [NSValue valueWithCGRect:CGRectMake([crop[0] doubleValue], [crop[1] doubleValue],
                                            [crop[2] doubleValue], [crop[3] doubleValue])];
  id<UIImagePickerControllerDelegate> delegate = self.delegate;
  if ([delegate respondsToSelector:@selector(imagePickerController:didFinishPickingMediaWithInfo:)])
    [delegate imagePickerController:self didFinishPickingMediaWithInfo:given];
}
- (void)cancel {
  id<UIImagePickerControllerDelegate> delegate = self.delegate;
  if ([delegate respondsToSelector:@selector(imagePickerControllerDidCancel:)])
    [delegate imagePickerControllerDidCancel:self];
}
@end

@implementation NSValue (UIGeometry)
+ (NSValue*)valueWithCGRect:(CGRect)rect {
  return [NSValue valueWithBytes:&rect objCType:@encode(CGRect)];
}
- (CGRect)CGRectValue {
  CGRect rect = CGRectZero;
  [self getValue:&rect size:sizeof rect];
  return rect;
}
+ (NSValue*)valueWithCGSize:(CGSize)size {
  return [NSValue valueWithBytes:&size objCType:@encode(CGSize)];
}
- (CGSize)CGSizeValue {
  CGSize size = CGSizeZero;
  [self getValue:&size size:sizeof size];
  return size;
}
@end
