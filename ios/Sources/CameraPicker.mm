#import "ios/Sources/include/CameraPicker.h"

#include <utility>

#include "ios/Sources/Pickers.h"
#include "ios/Sources/Value.h"
#include "ios/Sources/ViewControllers.h"

using vecamera_ios::pickerInfoOf;
using vecamera_ios::pickerOf;

/// Hands what a picker reports on to its record's delegate. Where that is gone (the plug-in was
/// released), nobody else dismisses the picker, and it fills the screen.
@interface VECameraPickerDelegate
    : NSObject <UIImagePickerControllerDelegate, UINavigationControllerDelegate>
@end

@implementation VECameraPickerDelegate
- (void)imagePickerController:(UIImagePickerController*)picker
    didFinishPickingMediaWithInfo:(NSDictionary<UIImagePickerControllerInfoKey, id>*)info {
  const auto record = pickerOf(picker);
  if (const auto delegate = record->delegate())
    delegate->imagePickerControllerDidFinishPickingMediaWithInfo(record, pickerInfoOf(info));
  else
    record->dismissViewControllerAnimated(true, nullptr);
}

- (void)imagePickerControllerDidCancel:(UIImagePickerController*)picker {
  const auto record = pickerOf(picker);
  if (const auto delegate = record->delegate())
    delegate->imagePickerControllerDidCancel(record);
  else
    record->dismissViewControllerAnimated(true, nullptr);
}
@end

@implementation CameraPicker {
  std::shared_ptr<vecamera::UIImagePickerController> record_;
  /// UIKit's reference is weak.
  VECameraPickerDelegate* recordDelegate_;
}

- (void)adoptRecord:(std::shared_ptr<vecamera::UIImagePickerController>)record {
  record_ = std::move(record);
  record_->setPeer(std::make_shared<vecamera_ios::PresentedPeer>(self));
  recordDelegate_ = [[VECameraPickerDelegate alloc] init];
  self.delegate = recordDelegate_;
}

- (std::shared_ptr<vecamera::UIImagePickerController>)record {
  if (!record_) {
    record_ = std::make_shared<vecamera::CameraPicker>();
    record_->setPeer(std::make_shared<vecamera_ios::PresentedPeer>(self));
  }
  return record_;
}

- (const vecamera::CameraPicker*)cameraRecord {
  return dynamic_cast<const vecamera::CameraPicker*>(self.record.get());
}

- (void)viewWillAppear:(BOOL)animated {
  self.record->viewWillAppear(animated);
  [super viewWillAppear:animated];
}

- (NSString*)postUrl {
  const auto* record = [self cameraRecord];
  return record ? vecamera_ios::toNSString(record->postUrl()) : @"";
}

- (BOOL)cropToSize {
  const auto* record = [self cameraRecord];
  return record && record->cropToSize();
}

- (UIView*)webView {
  const auto* record = [self cameraRecord];
  const auto* view =
      record ? dynamic_cast<const vecamera_ios::NativeReference*>(record->webView().get())
             : nullptr;
  return view ? view->native() : nil;
}

@end
