#pragma once

#import <UIKit/UIKit.h>

NS_ASSUME_NONNULL_BEGIN

/// The picker of one `takePicture` command. Every initializer starts from the same field values.
@interface CameraPicker : UIImagePickerController

- (instancetype)initWithNavigationBarClass:(nullable Class)navigationBarClass
                              toolbarClass:(nullable Class)toolbarClass;
- (instancetype)initWithRootViewController:(UIViewController*)rootViewController;
- (instancetype)initWithNibName:(nullable NSString*)nibName bundle:(nullable NSBundle*)bundle;
- (nullable instancetype)initWithCoder:(NSCoder*)coder;

// Part of the picker's record; the plug-in does not use them.
@property(nonatomic, readonly, copy) NSString* postUrl;
@property(nonatomic, readonly) BOOL cropToSize;
@property(nullable, nonatomic, readonly) UIView* webView;

@end

NS_ASSUME_NONNULL_END
