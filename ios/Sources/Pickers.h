#pragma once

#import "ios/Sources/include/CameraPicker.h"

#include <memory>

#include "VECamera/picker/CameraPicker.h"
#include "VECamera/platform/UIKit.h"
#include "VECamera/platform/Value.h"

namespace vecamera_ios {

/// A native picker that is configured as the record says; nil where UIKit refuses, which is logged.
/// It keeps the record, and its delegate hands what happens on to the record's. Main thread.
CameraPicker* _Nullable makePicker(
    const std::shared_ptr<vecamera::UIImagePickerController>& record);

/// The record of a native picker, whoever made it; null for nil. Main thread.
std::shared_ptr<vecamera::UIImagePickerController> pickerOf(
    UIImagePickerController* _Nullable native);

/// A picker's info dictionary for the module. The movie of it is kept as long as its URL is: the
/// phone takes the file away when the delegate's call returns, and so this is called inside that.
vecamera::Dictionary pickerInfoOf(NSDictionary* _Nullable info);

}  // namespace vecamera_ios

/// What is behind a picker.
@interface CameraPicker ()
/// The module's record: the adopted one, or one of its own where an app made the picker. Never
/// null.
@property(nonatomic, readonly) std::shared_ptr<vecamera::UIImagePickerController> record;
/// The picker is the record's from now on, and its delegate hands on to the record's. Once, before
/// it is presented.
- (void)adoptRecord:(std::shared_ptr<vecamera::UIImagePickerController>)record;
@end
