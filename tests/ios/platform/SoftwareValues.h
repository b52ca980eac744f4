#pragma once

#import <Foundation/Foundation.h>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Value.h"

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
NSData* dataFromDevice(const Data& data);
Data dataForDevice(NSData* data);

}  // namespace vecamera::ios
