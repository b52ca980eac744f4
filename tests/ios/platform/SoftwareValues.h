#pragma once

#import <Foundation/Foundation.h>

#include <memory>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/platform/Value.h"

/// A stand-in behind which an object of the software device stands. Each one adopts it that may
/// stand in a value.
@protocol SoftwareObject
@property(nonatomic, readonly) std::shared_ptr<vecamera::Object> softwareObject;
@end

@class PHAsset;

/// Crossing between the software device's values and those of the stand-ins, apart from the host's
/// own crossing, which it tests.
namespace vecamera::ios {

/// Pictures, assets and controllers of the device become stand-ins, which keep them.
id objectFromDevice(const Value& value);
/// The way back: a stand-in gives the device's object.
Value valueForDevice(id object);
NSDictionary* dictionaryFromDevice(const Dictionary& dictionary);
Dictionary dictionaryForDevice(NSDictionary* dictionary);
::NSError* errorFromDevice(const NSError& error);
/// With its description in the dictionary.
NSError errorForDevice(::NSError* error);
NSData* dataFromDevice(const Data& data);
Data dataForDevice(NSData* data);
NSString* textFromDevice(std::string_view text);
std::string textForDevice(NSString* text);
NSURL* urlFromDevice(const URL& url);
URL urlForDevice(NSURL* url);

/// Nil for null. In the source of the stand-in.
::PHAsset* assetFromDevice(std::shared_ptr<PHAsset> asset);

}  // namespace vecamera::ios
