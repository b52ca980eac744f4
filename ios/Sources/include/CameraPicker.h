#pragma once

#import <UIKit/UIKit.h>

NS_ASSUME_NONNULL_BEGIN

/// The picker of one `takePicture` command. Every initializer of the superclass makes one, with the
/// same values.
@interface CameraPicker : UIImagePickerController

// Part of the picker's record; the plug-in does not use them.
@property(nonatomic, readonly, copy) NSString* postUrl;
@property(nonatomic, readonly) BOOL cropToSize;
@property(nullable, nonatomic, readonly) UIView* webView;

@end

NS_ASSUME_NONNULL_END
