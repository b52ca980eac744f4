#pragma once

#import <CoreLocation/CoreLocation.h>
#import <UIKit/UIKit.h>

#import "VelmoraMobile.h"

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
@interface VECameraPlugin : NSObject <VelmoraPluginProtocol,
                                      UIImagePickerControllerDelegate,
                                      UINavigationControllerDelegate,
                                      CLLocationManagerDelegate>

- (instancetype)init;

@property(nullable, nonatomic, strong) UIView<VelmoraWebView>* webView;
/// The controller on which alerts and the picker are presented.
@property(nullable, nonatomic, strong) UIViewController* viewController;
/// Made on the first read; updates start with a photo that wants its place.
@property(null_resettable, nonatomic, strong) CLLocationManager* locationManager;
/// Drops the two views and leaves everything else as it is.
- (void)dispose;

/// Takes or picks a picture or a movie. Returns at once.
- (void)takePicture:(id<CallBackManager>)callback;
/// Empties the application's temporary directory, on the calling thread, and answers.
- (void)cleanup:(id<CallBackManager>)callback;

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
