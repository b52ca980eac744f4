// Core Foundation: the types that are bridged to objects, and what sets a boolean apart from a
// number.
#pragma once

#import "../TargetConditionals.h"
#import "../objc/runtime.h"

NS_ASSUME_NONNULL_BEGIN

typedef unsigned long CFTypeID;
typedef unsigned char Boolean;
typedef double CGFloat;
#define CGFLOAT_IS_DOUBLE 1

#define CF_BRIDGED(type) __attribute__((objc_bridge(type)))
#define CF_BRIDGED_MUTABLE(type) __attribute__((objc_bridge_mutable(type)))
typedef const CF_BRIDGED(id) void* CFTypeRef;
typedef const struct CF_BRIDGED(NSString) __CFString* CFStringRef;
typedef const struct CF_BRIDGED(NSData) __CFData* CFDataRef;
typedef struct CF_BRIDGED_MUTABLE(NSMutableData) __CFData* CFMutableDataRef;
typedef const struct CF_BRIDGED(NSDictionary) __CFDictionary* CFDictionaryRef;
typedef const struct CF_BRIDGED(NSNumber) __CFNumber* CFNumberRef;
typedef const struct CF_BRIDGED(NSNumber) __CFBoolean* CFBooleanRef;
typedef const struct CF_BRIDGED(NSNull) __CFNull* CFNullRef;
typedef const struct __CFAllocator* CFAllocatorRef;

PLATFORM_EXTERN const CFAllocatorRef _Nullable kCFAllocatorDefault;
PLATFORM_EXTERN const CFBooleanRef kCFBooleanTrue;
PLATFORM_EXTERN const CFBooleanRef kCFBooleanFalse;
PLATFORM_EXTERN const CFNullRef kCFNull;

PLATFORM_EXTERN CFTypeRef CFRetain(CFTypeRef object);
PLATFORM_EXTERN void CFRelease(CFTypeRef object);
PLATFORM_EXTERN Boolean CFEqual(CFTypeRef a, CFTypeRef b);
PLATFORM_EXTERN CFTypeID CFGetTypeID(CFTypeRef object);
PLATFORM_EXTERN CFTypeID CFBooleanGetTypeID(void);
PLATFORM_EXTERN Boolean CFBooleanGetValue(CFBooleanRef boolean);
PLATFORM_EXTERN CFTypeID CFNumberGetTypeID(void);
PLATFORM_EXTERN Boolean CFNumberIsFloatType(CFNumberRef number);

NS_ASSUME_NONNULL_END
