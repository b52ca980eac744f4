// What the plug-in uses of its container, `VelmoraMobile`: the container's own header where it is
// found, else the declarations below, and the compiler says so. Nothing sees both. Where the
// container's selectors differ, Container.mm is the one source to change.
#pragma once

// Before the container: a header that Swift generates imports nothing in C++.
#import <UIKit/UIKit.h>

// A container in Swift may have both headers, and the first one empty. One that is no framework has
// no folder of its name.
#if __has_include(<VelmoraMobile/VelmoraMobile.h>)
#import <VelmoraMobile/VelmoraMobile.h>
#define VECAMERA_HAS_CONTAINER
#elif __has_include(<VelmoraMobile.h>)
#import <VelmoraMobile.h>
#define VECAMERA_HAS_CONTAINER
#endif
#if __has_include(<VelmoraMobile/VelmoraMobile-Swift.h>)
#import <VelmoraMobile/VelmoraMobile-Swift.h>
#define VECAMERA_HAS_CONTAINER
#elif __has_include(<VelmoraMobile-Swift.h>)
#import <VelmoraMobile-Swift.h>
#define VECAMERA_HAS_CONTAINER
#endif

#ifndef VECAMERA_HAS_CONTAINER
// An app that has its container in its own sources defines this, with statuses of the same numbers.
#ifndef VECAMERA_DECLARES_CONTAINER
#pragma message( \
    "No header of VelmoraMobile is found: VECameraContainer.h declares it, statuses too")
#endif

NS_ASSUME_NONNULL_BEGIN

/// The statuses that the plug-in uses. The codes are the container's: the plug-in knows the names
/// alone.
typedef NS_ENUM(NSInteger, CommandStatus) {
  INVALID_PARAM,
  NO_PERMISSION,
  FAIL_TAKE_PICTURE,
  UNABLE_FILE_WRITE,
  UNABLE_FILE_REMOVE,
  OBJECT_REFERENCE_FAILED,
};

/// The arguments of one page command.
@protocol VelmoraCommand <NSObject>
/// The value at the 0-based position of the page's argument list; nil, or `NSNull`, where the list
/// is shorter or the slot is empty.
- (nullable id)argumentAt:(NSInteger)position;
@end

/// What the container offers beside a command.
@protocol CommandDelegate <NSObject>
/// Rewrites URLs for the web view. Always gets a file URL: a library address comes as
/// `file:///assets-library:...`. Nil for what is not yours leaves the address as it is. Called on
/// any thread.
@property(nullable, nonatomic, copy, readonly) NSURL* _Nullable (^urlTransformer)(NSURL* url);
@end

/// One page command in flight. It takes answers on any thread, passes on the first one and drops
/// any other. A payload may hold `NSData` and `NSURL` beside what JSON knows.
@protocol CallBackManager <NSObject>
@property(nonatomic, readonly) id<VelmoraCommand> command;
@property(nullable, nonatomic, readonly) id<CommandDelegate> commandDelegate;
- (void)successWithKeepCallback:(BOOL)keepCallback;
- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback;
@end

/// What every plug-in object adopts.
@protocol VelmoraPluginProtocol <NSObject>
@property(nullable, nonatomic, strong) UIViewController* viewController;
@property(nullable, nonatomic, readonly) UIView* webView;
- (void)setVWebView:(nullable UIView*)webView;
- (void)dispose;
@optional
- (void)pluginInitialize;
- (void)handleOpenURL:(NSURL*)url;
- (void)handleOpenURLWithApplicationSourceAndAnnotation:(NSDictionary*)parameters;
- (void)onReset;
- (void)onMemoryWarning;
- (void)onAppTerminate;
@end

NS_ASSUME_NONNULL_END

#endif
