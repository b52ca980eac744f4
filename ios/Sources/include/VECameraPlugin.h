#pragma once

#import <CoreLocation/CoreLocation.h>
#import <UIKit/UIKit.h>

#import "VECameraContainer.h"

NS_ASSUME_NONNULL_BEGIN

/// Through this an embedding application may take over the handling of refused permissions.
@protocol CameraDelegate <NSObject>
- (void)cameraPermissionDeny;
- (void)photoLibraryPermissionDeny;
@end

/// The camera plug-in: one object for each web view. It answers the page commands `takePicture` and
/// `cleanup` through the command's `CallBackManager`.
///
/// The two commands may be sent on any thread, everything else on the main thread unless it says
/// otherwise. Nothing raises. Answers come on any thread.
NS_EXTENSION_UNAVAILABLE_IOS("There is no shared application in an extension")
@interface VECameraPlugin : NSObject <VelmoraPluginProtocol,
                                      UIImagePickerControllerDelegate,
                                      UINavigationControllerDelegate,
                                      CLLocationManagerDelegate>

- (instancetype)init;

/// The largest picture that is scaled or turned, in pixels of the result; a larger one fails as if
/// memory were short. Of the process; at first an eighth of the phone's memory, at four bytes a
/// pixel. Any thread.
@property(class, nonatomic) unsigned long long maxContextPixels;
/// The longest data URL of a movie, in bytes; a movie that needs a longer one is answered as one
/// that failed. Of the process, for objects that are made later; at first a 32nd of the phone's
/// memory, because the container and the web view copy the text on its way to the page. Any thread.
@property(class, nonatomic) unsigned long long maxMovieDataURLBytes;

// A container's protocol may say more of the view, or keep the controller weakly. The plug-in keeps
// both strongly, until `dispose`.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wincompatible-property-type"
#pragma clang diagnostic ignored "-Wproperty-attribute-mismatch"
/// The container's web view, which the plug-in keeps and never calls.
@property(nullable, nonatomic, strong) UIView* webView;
/// The controller on which alerts and the picker are presented.
@property(nullable, nonatomic, strong) UIViewController* viewController;
#pragma clang diagnostic pop
- (void)setVWebView:(nullable UIView*)webView;
/// Made on the first read; updates start with a photo that wants its place.
@property(null_resettable, nonatomic, strong) CLLocationManager* locationManager;
/// Drops the two views and leaves everything else as it is.
- (void)dispose;

// The callback of a command is the container's `CallBackManager`, which may be a protocol or a
// class.

/// Takes or picks a picture or a movie. Returns at once.
- (void)takePicture:(id)callback;
/// Empties the application's temporary directory, on the calling thread, and answers.
- (void)cleanup:(id)callback;

/// The URL as the command's delegate rewrites it, or the URL itself. Any thread.
- (NSURL*)urlTransformer:(NSURL*)url;
/// Shows the alert for a refused photo library.
- (void)retryPermission;
/// What the latest `takePicture:` of any object of the process asked for. Any thread.
- (BOOL)usesGeolocation;
/// A path in the temporary directory at which no file exists. Any thread.
- (NSString*)tempFilePath:(NSString*)extension;
/// The text of the key in `Velmora.bundle`. Any thread.
- (NSString*)getLocalizingString:(NSString*)key;
/// Answers a photo that was held back for its location.
- (void)imagePickerControllerReturnImageResult;

@end

NS_ASSUME_NONNULL_END
