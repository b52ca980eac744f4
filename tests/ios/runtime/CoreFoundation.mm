// The few functions of Core Foundation that a host calls, over GNUstep's objects. Compiled without
// ARC.
#import <Foundation/Foundation.h>

extern "C" {
id objc_retain(id object);
void objc_release(id object);
}

// GNUstep has one class for booleans alone, which sets them apart from numbers.
static Class booleanClass() {
  static Class type = [[NSNumber numberWithBool:YES] class];
  return type;
}

extern "C" {
// Constants for everybody else.
CFBooleanRef booleanTrue asm("kCFBooleanTrue");
CFBooleanRef booleanFalse asm("kCFBooleanFalse");
CFNullRef null asm("kCFNull");
const CFAllocatorRef kCFAllocatorDefault = nullptr;
}

// Sets the constants as soon as messages can be sent, which is later than C++ sets its own.
@interface CoreFoundationConstants : NSObject
@end
@implementation CoreFoundationConstants
+ (void)load {
  @autoreleasepool {
    booleanTrue = (CFBooleanRef)objc_retain([NSNumber numberWithBool:YES]);
    booleanFalse = (CFBooleanRef)objc_retain([NSNumber numberWithBool:NO]);
    null = (CFNullRef)objc_retain([NSNull null]);
  }
}
@end

extern "C" {

CFTypeRef CFRetain(CFTypeRef object) {
  return objc_retain((id)object);
}
void CFRelease(CFTypeRef object) {
  objc_release((id)object);
}
Boolean CFEqual(CFTypeRef a, CFTypeRef b) {
  return [(id)a isEqual:(id)b];
}

CFTypeID CFBooleanGetTypeID() {
  return (CFTypeID)booleanClass();
}
CFTypeID CFNumberGetTypeID() {
  return (CFTypeID)[NSNumber class];
}
CFTypeID CFGetTypeID(CFTypeRef object) {
  if ([(id)object isKindOfClass:booleanClass()]) return CFBooleanGetTypeID();
  if ([(id)object isKindOfClass:[NSNumber class]]) return CFNumberGetTypeID();
  return (CFTypeID)[(id)object class];
}
Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  return [(NSNumber*)boolean boolValue];
}
Boolean CFNumberIsFloatType(CFNumberRef number) {
  const char type = *[(NSNumber*)number objCType];
  return type == 'f' || type == 'd';
}
}
