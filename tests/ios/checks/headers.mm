// The module's headers beside the phone's own, whose names many of them bear.
#import <AVFoundation/AVFoundation.h>
#import <CoreLocation/CoreLocation.h>
#import <ImageIO/ImageIO.h>
#import <Photos/Photos.h>
#import <UIKit/UIKit.h>
#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>
#import <WebKit/WebKit.h>

#include "VECamera/core/VECameraPlugin.h"
#include "VECamera/platform/Platform.h"
