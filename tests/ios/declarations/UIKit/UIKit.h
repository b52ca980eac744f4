// UIKit: pictures, contexts, controllers, alerts, the picker and the application.
#pragma once

#import "../CoreGraphics/CoreGraphics.h"
#import "../CoreImage/CoreImage.h"
#import "../Foundation/Foundation.h"

NS_ASSUME_NONNULL_BEGIN

@class UINavigationController, UIPresentationController, UISceneConfiguration, UISceneSession;
@class UIView, UIViewController, UIWindow, UIWindowScene;

typedef NS_ENUM(NSInteger, UIImageOrientation) {
  UIImageOrientationUp,
  UIImageOrientationDown,
  UIImageOrientationLeft,
  UIImageOrientationRight,
  UIImageOrientationUpMirrored,
  UIImageOrientationDownMirrored,
  UIImageOrientationLeftMirrored,
  UIImageOrientationRightMirrored,
};

@interface UIImage : NSObject <NSSecureCoding>
+ (nullable UIImage*)imageWithData:(NSData*)data;
+ (UIImage*)imageWithCGImage:(CGImageRef)image;
+ (UIImage*)imageWithCGImage:(CGImageRef)image
                       scale:(CGFloat)scale
                 orientation:(UIImageOrientation)orientation;
+ (UIImage*)imageWithCIImage:(CIImage*)image;
- (nullable instancetype)initWithData:(NSData*)data;
- (instancetype)initWithCGImage:(CGImageRef)image;
- (instancetype)initWithCGImage:(CGImageRef)image
                          scale:(CGFloat)scale
                    orientation:(UIImageOrientation)orientation;
@property(nonatomic, readonly) CGSize size;
@property(nonatomic, readonly) CGFloat scale;
@property(nonatomic, readonly) UIImageOrientation imageOrientation;
@property(nullable, nonatomic, readonly) CGImageRef CGImage NS_RETURNS_INNER_POINTER;
@property(nullable, nonatomic, readonly) CIImage* CIImage;
- (void)drawInRect:(CGRect)rect;
@end
PLATFORM_EXTERN NSData* _Nullable UIImageJPEGRepresentation(UIImage* image, CGFloat quality);
PLATFORM_EXTERN NSData* _Nullable UIImagePNGRepresentation(UIImage* image);

PLATFORM_EXTERN void UIGraphicsBeginImageContext(CGSize size);
PLATFORM_EXTERN void UIGraphicsBeginImageContextWithOptions(CGSize size, BOOL opaque,
                                                            CGFloat scale);
PLATFORM_EXTERN CGContextRef _Nullable UIGraphicsGetCurrentContext(void);
PLATFORM_EXTERN UIImage* _Nullable UIGraphicsGetImageFromCurrentImageContext(void);
PLATFORM_EXTERN void UIGraphicsEndImageContext(void);

@interface NSValue (UIGeometry)
+ (NSValue*)valueWithCGRect:(CGRect)rect;
+ (NSValue*)valueWithCGSize:(CGSize)size;
@property(nonatomic, readonly) CGRect CGRectValue;
@property(nonatomic, readonly) CGSize CGSizeValue;
@end

@interface UIScreen : NSObject
@property(nonatomic, readonly) CGRect bounds;
@property(nonatomic, readonly) CGFloat scale;
@end

@interface UIResponder : NSObject
@property(nonatomic, readonly, nullable) UIResponder* nextResponder;
@end

typedef NS_OPTIONS(NSUInteger, UIViewAutoresizing) {
  UIViewAutoresizingNone = 0,
  UIViewAutoresizingFlexibleWidth = 1 << 1,
  UIViewAutoresizingFlexibleHeight = 1 << 4,
};
@interface UIView : UIResponder <NSCoding>
- (instancetype)initWithFrame:(CGRect)frame NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
@property(nonatomic) CGRect frame;
@property(nonatomic) CGRect bounds;
@property(nonatomic) UIViewAutoresizing autoresizingMask;
@property(nullable, nonatomic, readonly) UIView* superview;
@property(nullable, nonatomic, readonly) UIWindow* window;
- (void)addSubview:(UIView*)view;
- (void)removeFromSuperview;
@end

@interface UIToolbar : UIView
@end

typedef NS_ENUM(NSInteger, UIModalPresentationStyle) {
  UIModalPresentationFullScreen = 0,
  UIModalPresentationPageSheet,
  UIModalPresentationFormSheet,
  UIModalPresentationCurrentContext,
  UIModalPresentationCustom,
  UIModalPresentationOverFullScreen,
  UIModalPresentationOverCurrentContext,
  UIModalPresentationPopover,
  UIModalPresentationNone = -1,
  UIModalPresentationAutomatic = -2,
};
typedef NS_ENUM(NSInteger, UIStatusBarStyle) {
  UIStatusBarStyleDefault = 0,
  UIStatusBarStyleLightContent = 1,
  UIStatusBarStyleDarkContent = 3,
};
typedef NS_OPTIONS(NSUInteger, UIInterfaceOrientationMask) {
  UIInterfaceOrientationMaskPortrait = (1 << 1),
  UIInterfaceOrientationMaskAll = (1 << 1) | (1 << 4) | (1 << 3) | (1 << 2),
};

@protocol UIViewControllerTransitionCoordinatorContext <NSObject>
@end
@protocol UIViewControllerTransitionCoordinator <UIViewControllerTransitionCoordinatorContext>
- (BOOL)animateAlongsideTransition:
            (void (^_Nullable)(id<UIViewControllerTransitionCoordinatorContext> context))animation
                        completion:(void (^_Nullable)(
                                       id<UIViewControllerTransitionCoordinatorContext> context))
                                       completion;
@end
@interface UIViewController : UIResponder <NSCoding>
- (instancetype)initWithNibName:(nullable NSString*)nibName
                         bundle:(nullable NSBundle*)bundle NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
@property(null_resettable, nonatomic, strong) UIView* view;
@property(nullable, nonatomic, readonly, strong) UIView* viewIfLoaded;
@property(nullable, nonatomic, copy) NSString* title;
@property(nullable, nonatomic, readonly) UIViewController* presentedViewController;
@property(nullable, nonatomic, readonly) UIViewController* presentingViewController;
@property(nullable, nonatomic, readonly) UIPresentationController* presentationController;
@property(nullable, nonatomic, weak, readonly) UIViewController* parentViewController;
@property(nonatomic, assign) UIModalPresentationStyle modalPresentationStyle;
@property(nonatomic, getter=isModalInPresentation) BOOL modalInPresentation;
@property(nonatomic, readonly, getter=isBeingPresented) BOOL beingPresented;
@property(nonatomic, readonly, getter=isBeingDismissed) BOOL beingDismissed;
@property(nullable, nonatomic, readonly) id<UIViewControllerTransitionCoordinator>
    transitionCoordinator;
@property(nonatomic, readonly) UIStatusBarStyle preferredStatusBarStyle;
@property(nonatomic, readonly) BOOL prefersStatusBarHidden;
@property(nonatomic, readonly) UIInterfaceOrientationMask supportedInterfaceOrientations;
@property(nonatomic, readonly, nullable) UIViewController* childViewControllerForStatusBarStyle;
@property(nonatomic, readonly, nullable) UIViewController* childViewControllerForStatusBarHidden;
- (void)loadView;
- (void)viewDidLoad;
- (void)viewWillAppear:(BOOL)animated;
- (void)viewDidAppear:(BOOL)animated;
- (void)viewWillDisappear:(BOOL)animated;
- (void)viewDidDisappear:(BOOL)animated;
- (void)setNeedsStatusBarAppearanceUpdate;
- (void)presentViewController:(UIViewController*)controller
                     animated:(BOOL)animated
                   completion:(void (^_Nullable)(void))completion;
- (void)dismissViewControllerAnimated:(BOOL)animated completion:(void (^_Nullable)(void))completion;
@end

@protocol UIAdaptivePresentationControllerDelegate <NSObject>
@optional
@end
@interface UIPresentationController : NSObject
@property(nullable, nonatomic, weak) id<UIAdaptivePresentationControllerDelegate> delegate;
@end

@protocol UINavigationControllerDelegate <NSObject>
@optional
- (void)navigationController:(UINavigationController*)navigationController
      willShowViewController:(UIViewController*)viewController
                    animated:(BOOL)animated;
@end
@interface UINavigationController : UIViewController
- (instancetype)initWithNavigationBarClass:(nullable Class)navigationBarClass
                              toolbarClass:(nullable Class)toolbarClass NS_DESIGNATED_INITIALIZER;
- (instancetype)initWithRootViewController:(UIViewController*)rootViewController
    NS_DESIGNATED_INITIALIZER;
- (instancetype)initWithNibName:(nullable NSString*)nibName
                         bundle:(nullable NSBundle*)bundle NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
@property(nullable, nonatomic, weak) id<UINavigationControllerDelegate> delegate;
@property(nonatomic, copy) NSArray<UIViewController*>* viewControllers;
@end

typedef NS_ENUM(NSInteger, UIAlertActionStyle) {
  UIAlertActionStyleDefault = 0,
  UIAlertActionStyleCancel,
  UIAlertActionStyleDestructive,
};
typedef NS_ENUM(NSInteger, UIAlertControllerStyle) {
  UIAlertControllerStyleActionSheet = 0,
  UIAlertControllerStyleAlert,
};
@interface UIAlertAction : NSObject <NSCopying>
+ (instancetype)actionWithTitle:(nullable NSString*)title
                          style:(UIAlertActionStyle)style
                        handler:(void (^_Nullable)(UIAlertAction* action))handler;
@property(nullable, nonatomic, readonly) NSString* title;
@property(nonatomic, readonly) UIAlertActionStyle style;
@end
@interface UIAlertController : UIViewController
+ (instancetype)alertControllerWithTitle:(nullable NSString*)title
                                 message:(nullable NSString*)message
                          preferredStyle:(UIAlertControllerStyle)style;
- (void)addAction:(UIAlertAction*)action;
@property(nonatomic, readonly) NSArray<UIAlertAction*>* actions;
@property(nullable, nonatomic, copy) NSString* title;
@property(nullable, nonatomic, copy) NSString* message;
@property(nonatomic, readonly) UIAlertControllerStyle preferredStyle;
@end

typedef NS_ENUM(NSInteger, UIImagePickerControllerSourceType) {
  UIImagePickerControllerSourceTypePhotoLibrary,
  UIImagePickerControllerSourceTypeCamera,
  UIImagePickerControllerSourceTypeSavedPhotosAlbum,
};
typedef NS_ENUM(NSInteger, UIImagePickerControllerCameraDevice) {
  UIImagePickerControllerCameraDeviceRear,
  UIImagePickerControllerCameraDeviceFront,
};
typedef NS_ENUM(NSInteger, UIImagePickerControllerCameraCaptureMode) {
  UIImagePickerControllerCameraCaptureModePhoto,
  UIImagePickerControllerCameraCaptureModeVideo,
};
typedef NSString* UIImagePickerControllerInfoKey;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerMediaType;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerOriginalImage;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerEditedImage;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerCropRect;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerMediaURL;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerReferenceURL
    API_DEPRECATED("Use UIImagePickerControllerPHAsset", ios(4.1, 11.0));
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerMediaMetadata;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerPHAsset;
PLATFORM_EXTERN UIImagePickerControllerInfoKey const UIImagePickerControllerImageURL;

@class UIImagePickerController;
@protocol UIImagePickerControllerDelegate <NSObject>
@optional
- (void)imagePickerController:(UIImagePickerController*)picker
    didFinishPickingMediaWithInfo:(NSDictionary<UIImagePickerControllerInfoKey, id>*)info;
- (void)imagePickerControllerDidCancel:(UIImagePickerController*)picker;
@end
@interface UIImagePickerController : UINavigationController <NSCoding>
+ (BOOL)isSourceTypeAvailable:(UIImagePickerControllerSourceType)sourceType;
+ (nullable NSArray<NSString*>*)availableMediaTypesForSourceType:
    (UIImagePickerControllerSourceType)sourceType;
+ (BOOL)isCameraDeviceAvailable:(UIImagePickerControllerCameraDevice)cameraDevice;
@property(nullable, nonatomic, weak)
    id<UINavigationControllerDelegate, UIImagePickerControllerDelegate>
        delegate;
@property(nonatomic) UIImagePickerControllerSourceType sourceType;
@property(nonatomic, copy) NSArray<NSString*>* mediaTypes;
@property(nonatomic) BOOL allowsEditing;
@property(nonatomic) UIImagePickerControllerCameraDevice cameraDevice;
@property(nonatomic) UIImagePickerControllerCameraCaptureMode cameraCaptureMode;
@end

typedef NSString* UIApplicationOpenExternalURLOptionsKey;
typedef NSString* UIApplicationLaunchOptionsKey;
typedef NSUInteger UIBackgroundTaskIdentifier;
PLATFORM_EXTERN NSString* const UIApplicationOpenSettingsURLString;
PLATFORM_EXTERN NSNotificationName const UIApplicationDidReceiveMemoryWarningNotification;
PLATFORM_EXTERN const UIBackgroundTaskIdentifier UIBackgroundTaskInvalid;
@class UIApplication, UIScene;
@protocol UIApplicationDelegate <NSObject>
@optional
- (BOOL)application:(UIApplication*)application
    didFinishLaunchingWithOptions:
        (nullable NSDictionary<UIApplicationLaunchOptionsKey, id>*)launchOptions;
@property(nullable, nonatomic, strong) UIWindow* window;
@end
@interface UIApplication : UIResponder
@property(class, nonatomic, readonly) UIApplication* sharedApplication;
@property(nullable, nonatomic, assign) id<UIApplicationDelegate> delegate;
@property(nonatomic, readonly) NSSet<UIScene*>* connectedScenes;
- (void)openURL:(NSURL*)url
              options:(NSDictionary<UIApplicationOpenExternalURLOptionsKey, id>*)options
    completionHandler:(void (^_Nullable)(BOOL success))completion;
- (BOOL)canOpenURL:(NSURL*)url;
- (UIBackgroundTaskIdentifier)beginBackgroundTaskWithName:(nullable NSString*)name
                                        expirationHandler:(void (^_Nullable)(void))handler;
- (void)endBackgroundTask:(UIBackgroundTaskIdentifier)identifier;
@end
PLATFORM_EXTERN int UIApplicationMain(int argc, char* _Nullable* _Nonnull argv,
                                      NSString* _Nullable principalClassName,
                                      NSString* _Nullable delegateClassName);

@interface UISceneConnectionOptions : NSObject
@end
@interface UISceneSession : NSObject <NSSecureCoding>
@end
@interface UIScene : UIResponder
@end
@protocol UISceneDelegate <NSObject>
@optional
- (void)scene:(UIScene*)scene
    willConnectToSession:(UISceneSession*)session
                 options:(UISceneConnectionOptions*)options;
- (void)sceneDidDisconnect:(UIScene*)scene;
@end
@protocol UIWindowSceneDelegate <UISceneDelegate>
@optional
@property(nullable, nonatomic, strong) UIWindow* window;
@end
@interface UIWindowScene : UIScene
@property(nonatomic, readonly) UIScreen* screen;
@end
@interface UIWindow : UIView
- (instancetype)initWithWindowScene:(UIWindowScene*)windowScene;
@property(nullable, nonatomic, strong) UIViewController* rootViewController;
- (void)makeKeyAndVisible;
@end

NS_ASSUME_NONNULL_END
