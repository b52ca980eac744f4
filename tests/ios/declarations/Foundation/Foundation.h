// Foundation: values, files, dates, texts and errors.
#pragma once

#include <stdarg.h>

#import "../CoreFoundation/CoreFoundation.h"

NS_ASSUME_NONNULL_BEGIN

@class NSArray<ObjectType>, NSCharacterSet, NSCoder, NSData, NSDate,
    NSDictionary<KeyType, ValueType>;
@class NSEnumerator<ObjectType>, NSError, NSLocale, NSString, NSTimeZone, NSURL;

typedef double NSTimeInterval;
typedef struct _NSZone NSZone;
typedef struct _NSRange {
  NSUInteger location;
  NSUInteger length;
} NSRange;
static const NSInteger NSNotFound = INTPTR_MAX;
static inline NSRange NSMakeRange(NSUInteger location, NSUInteger length) {
  NSRange range = {location, length};
  return range;
}

@protocol NSObject
- (BOOL)isEqual:(nullable id)object;
@property(readonly) NSUInteger hash;
@property(readonly) Class superclass;
- (Class)class;
- (instancetype)self;
- (id)performSelector:(SEL)selector;
- (id)performSelector:(SEL)selector withObject:(nullable id)object;
- (BOOL)isKindOfClass:(Class)type;
- (BOOL)conformsToProtocol:(Protocol*)protocol;
- (BOOL)respondsToSelector:(SEL)selector;
@property(readonly, copy) NSString* description;
@optional
@property(readonly, copy) NSString* debugDescription;
@end

@protocol NSCopying
- (id)copyWithZone:(nullable NSZone*)zone;
@end
@protocol NSMutableCopying
- (id)mutableCopyWithZone:(nullable NSZone*)zone;
@end
@protocol NSCoding
- (void)encodeWithCoder:(NSCoder*)coder;
- (nullable instancetype)initWithCoder:(NSCoder*)coder;
@end
@protocol NSSecureCoding <NSCoding>
@end

// The first field of every object: without it, a class that is made here would be laid out wrongly.
__attribute__((objc_root_class))
@interface NSObject<NSObject> {
  Class isa __attribute__((deprecated));
}
+ (void)load;
+ (void)initialize;
+ (instancetype)new;
+ (instancetype)alloc;
+ (Class)class;
+ (Class)superclass;
+ (BOOL)instancesRespondToSelector:(SEL)selector;
+ (BOOL)conformsToProtocol:(Protocol*)protocol;
- (instancetype)init NS_DESIGNATED_INITIALIZER;
- (void)dealloc;
- (id)copy;
- (id)mutableCopy;
- (void)performSelector:(SEL)selector
             withObject:(nullable id)argument
             afterDelay:(NSTimeInterval)delay;
@end

typedef struct {
  unsigned long state;
  id __unsafe_unretained _Nullable* _Nullable itemsPtr;
  unsigned long* _Nullable mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;
@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)length;
@end

@interface NSCoder : NSObject
- (nullable id)decodeObjectForKey:(NSString*)key;
- (void)encodeObject:(nullable id)object forKey:(NSString*)key;
- (BOOL)decodeBoolForKey:(NSString*)key;
@end

@interface NSEnumerator<ObjectType> : NSObject <NSFastEnumeration>
- (nullable ObjectType)nextObject;
@property(readonly, copy) NSArray<ObjectType>* allObjects;
@end

typedef unsigned short unichar;
typedef NSUInteger NSStringEncoding;
enum : NSStringEncoding {
  NSUTF8StringEncoding = 4,
};

@interface NSString : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
+ (instancetype)string;
+ (nullable instancetype)stringWithUTF8String:(const char*)text;
+ (instancetype)stringWithFormat:(NSString*)format, ... __attribute__((format(__NSString__, 1, 2)));
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSStringEncoding)encoding;
- (nullable instancetype)initWithData:(NSData*)data encoding:(NSStringEncoding)encoding;
@property(readonly) NSUInteger length;
- (unichar)characterAtIndex:(NSUInteger)index;
- (void)getCharacters:(unichar*)buffer range:(NSRange)range;
@property(nullable, readonly) const char* UTF8String NS_RETURNS_INNER_POINTER;
@property(readonly) const char* fileSystemRepresentation NS_RETURNS_INNER_POINTER;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)string;
- (BOOL)hasPrefix:(NSString*)text;
- (BOOL)hasSuffix:(NSString*)text;
- (BOOL)containsString:(NSString*)text;
- (NSString*)substringFromIndex:(NSUInteger)from;
- (NSString*)substringToIndex:(NSUInteger)to;
- (NSString*)stringByAppendingString:(NSString*)string;
- (NSArray<NSString*>*)componentsSeparatedByString:(NSString*)separator;
@property(readonly, copy) NSString* stringByStandardizingPath;
@property(readonly, copy) NSString* stringByDeletingLastPathComponent;
@property(readonly, copy) NSString* lastPathComponent;
@property(readonly, copy) NSString* pathExtension;
@property(readonly, copy) NSString* lowercaseString;
@property(readonly) NSInteger integerValue;
@property(readonly) long long longLongValue;
@property(readonly) double doubleValue;
@property(readonly) BOOL boolValue;
- (NSString*)stringByAppendingPathComponent:(NSString*)component;
@end

@interface NSMutableString : NSString
- (void)appendString:(NSString*)string;
@end

@interface NSCharacterSet : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@end

@interface NSValue : NSObject <NSCopying, NSSecureCoding>
+ (NSValue*)valueWithBytes:(const void*)value objCType:(const char*)type;
- (void)getValue:(void*)value size:(NSUInteger)size;
@property(readonly) const char* objCType NS_RETURNS_INNER_POINTER;
@end

@interface NSNumber : NSValue
+ (NSNumber*)numberWithChar:(char)value;
+ (NSNumber*)numberWithUnsignedChar:(unsigned char)value;
+ (NSNumber*)numberWithShort:(short)value;
+ (NSNumber*)numberWithUnsignedShort:(unsigned short)value;
+ (NSNumber*)numberWithInt:(int)value;
+ (NSNumber*)numberWithUnsignedInt:(unsigned int)value;
+ (NSNumber*)numberWithLong:(long)value;
+ (NSNumber*)numberWithUnsignedLong:(unsigned long)value;
+ (NSNumber*)numberWithLongLong:(long long)value;
+ (NSNumber*)numberWithUnsignedLongLong:(unsigned long long)value;
+ (NSNumber*)numberWithInteger:(NSInteger)value;
+ (NSNumber*)numberWithUnsignedInteger:(NSUInteger)value;
+ (NSNumber*)numberWithFloat:(float)value;
+ (NSNumber*)numberWithDouble:(double)value;
+ (NSNumber*)numberWithBool:(BOOL)value;
@property(readonly) long long longLongValue;
@property(readonly) unsigned long long unsignedLongLongValue;
@property(readonly) NSInteger integerValue;
@property(readonly) double doubleValue;
@property(readonly) BOOL boolValue;
@end

@interface NSDecimalNumber : NSNumber
+ (NSDecimalNumber*)decimalNumberWithString:(nullable NSString*)text;
@end

@interface NSNull : NSObject <NSCopying, NSSecureCoding>
+ (NSNull*)null;
@end

@interface NSArray<__covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
+ (instancetype)array;
+ (instancetype)arrayWithObject:(ObjectType)object;
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nonnull])objects
                           count:(NSUInteger)count;
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndex:(NSUInteger)index;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)index;
- (BOOL)containsObject:(ObjectType)object;
@property(nullable, nonatomic, readonly) ObjectType firstObject;
@property(nullable, nonatomic, readonly) ObjectType lastObject;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)arrayWithCapacity:(NSUInteger)count;
- (void)addObject:(ObjectType)object;
- (void)removeAllObjects;
- (void)removeObject:(ObjectType)object;
- (void)setObject:(ObjectType)object atIndexedSubscript:(NSUInteger)index;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
+ (instancetype)dictionary;
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType<NSCopying> _Nonnull[_Nullable])keys
                                count:(NSUInteger)count;
@property(readonly) NSUInteger count;
@property(readonly, copy) NSArray<KeyType>* allKeys;
- (nullable ObjectType)objectForKey:(KeyType)key;
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
+ (instancetype)dictionaryWithCapacity:(NSUInteger)count;
- (void)setObject:(ObjectType)object forKey:(KeyType<NSCopying>)key;
- (void)setObject:(nullable ObjectType)object forKeyedSubscript:(KeyType<NSCopying>)key;
- (void)removeAllObjects;
@end

@interface NSSet<__covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSSecureCoding, NSFastEnumeration>
+ (instancetype)setWithArray:(NSArray<ObjectType>*)array;
@property(readonly) NSUInteger count;
@property(readonly, copy) NSArray<ObjectType>* allObjects;
- (BOOL)containsObject:(ObjectType)object;
@end
@interface NSMutableSet<ObjectType> : NSSet <ObjectType>
+ (instancetype)set;
- (void)addObject:(ObjectType)object;
- (void)removeObject:(ObjectType)object;
@end

typedef NS_OPTIONS(NSUInteger, NSDataReadingOptions) {
  NSDataReadingMappedIfSafe = 1UL << 0,
  NSDataReadingUncached = 1UL << 1,
  NSDataReadingMappedAlways = 1UL << 3,
};
typedef NS_OPTIONS(NSUInteger, NSDataWritingOptions) {
  NSDataWritingAtomic = 1UL << 0,
  NSDataWritingWithoutOverwriting = 1UL << 1,
};
typedef NS_OPTIONS(NSUInteger, NSDataBase64EncodingOptions) {
  NSDataBase64Encoding64CharacterLineLength = 1UL << 0,
  NSDataBase64Encoding76CharacterLineLength = 1UL << 1,
};
typedef NS_OPTIONS(NSUInteger, NSDataBase64DecodingOptions) {
  NSDataBase64DecodingIgnoreUnknownCharacters = 1UL << 0,
};

@interface NSData : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
+ (instancetype)data;
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
+ (nullable instancetype)dataWithContentsOfFile:(NSString*)path;
+ (nullable instancetype)dataWithContentsOfURL:(NSURL*)url
                                       options:(NSDataReadingOptions)options
                                         error:(NSError* _Nullable* _Nullable)error;
- (instancetype)initWithBytesNoCopy:(void*)bytes
                             length:(NSUInteger)length
                        deallocator:(nullable void (^)(void* bytes, NSUInteger length))deallocator;
- (nullable instancetype)initWithBase64EncodedString:(NSString*)text
                                             options:(NSDataBase64DecodingOptions)options;
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes NS_RETURNS_INNER_POINTER;
- (BOOL)isEqualToData:(NSData*)data;
- (NSString*)base64EncodedStringWithOptions:(NSDataBase64EncodingOptions)options;
- (NSData*)base64EncodedDataWithOptions:(NSDataBase64EncodingOptions)options;
- (BOOL)writeToFile:(NSString*)path
            options:(NSDataWritingOptions)options
              error:(NSError* _Nullable* _Nullable)error;
@end

@interface NSMutableData : NSData
+ (nullable instancetype)dataWithLength:(NSUInteger)length;
@property(readonly) void* mutableBytes NS_RETURNS_INNER_POINTER;
@property NSUInteger length;
- (void)appendBytes:(const void*)bytes length:(NSUInteger)length;
@end

@interface NSDate : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)date;
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)seconds;
@property(readonly) NSTimeInterval timeIntervalSince1970;
@end

@interface NSLocale : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)localeWithLocaleIdentifier:(NSString*)identifier;
@property(class, readonly, copy) NSLocale* currentLocale;
@end

@interface NSTimeZone : NSObject <NSCopying, NSSecureCoding>
+ (nullable instancetype)timeZoneWithName:(NSString*)name;
+ (nullable instancetype)timeZoneWithAbbreviation:(NSString*)abbreviation;
@property(readonly, copy) NSString* name;
@end

@interface NSFormatter : NSObject <NSCopying, NSCoding>
@end

@interface NSDateFormatter : NSFormatter
@property(null_resettable, copy) NSString* dateFormat;
@property(null_resettable, copy) NSTimeZone* timeZone;
@property(null_resettable, copy) NSLocale* locale;
- (NSString*)stringFromDate:(NSDate*)date;
@end

typedef NSString* NSErrorDomain;
typedef NSString* NSErrorUserInfoKey;
PLATFORM_EXTERN NSErrorDomain const NSCocoaErrorDomain;
PLATFORM_EXTERN NSErrorDomain const NSPOSIXErrorDomain;
PLATFORM_EXTERN NSErrorDomain const NSURLErrorDomain;
PLATFORM_EXTERN NSErrorUserInfoKey const NSLocalizedDescriptionKey;
PLATFORM_EXTERN NSErrorUserInfoKey const NSUnderlyingErrorKey;
PLATFORM_EXTERN NSErrorUserInfoKey const NSFilePathErrorKey;
enum : NSInteger {
  NSFileNoSuchFileError = 4,
  NSFileReadNoSuchFileError = 260,
  NSFileWriteUnknownError = 512,
  NSFileWriteFileExistsError = 516,
  NSFileWriteUnsupportedSchemeError = 518,
  NSFileWriteOutOfSpaceError = 640,
  NSUserCancelledError = 3072,
};
enum : NSInteger {
  NSURLErrorUnsupportedURL = -1002,
};

@interface NSError : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)errorWithDomain:(NSErrorDomain)domain
                           code:(NSInteger)code
                       userInfo:(nullable NSDictionary<NSErrorUserInfoKey, id>*)userInfo;
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSDictionary<NSErrorUserInfoKey, id>* userInfo;
@property(readonly, copy) NSString* localizedDescription;
@end

typedef NSString* NSExceptionName;
PLATFORM_EXTERN NSExceptionName const NSInvalidArgumentException;
PLATFORM_EXTERN NSExceptionName const NSInternalInconsistencyException;
@interface NSException : NSObject <NSCopying, NSSecureCoding>
+ (NSException*)exceptionWithName:(NSExceptionName)name
                           reason:(nullable NSString*)reason
                         userInfo:(nullable NSDictionary*)userInfo;
@property(readonly, copy) NSExceptionName name;
@property(nullable, readonly, copy) NSString* reason;
- (void)raise;
@end

@interface NSURL : NSObject <NSCopying, NSSecureCoding>
+ (nullable instancetype)URLWithString:(NSString*)text;
+ (nullable instancetype)URLWithString:(NSString*)text
             encodingInvalidCharacters:(BOOL)encodingInvalidCharacters API_AVAILABLE(ios(17.0));
+ (NSURL*)fileURLWithPath:(NSString*)path;
+ (NSURL*)fileURLWithPath:(NSString*)path isDirectory:(BOOL)isDirectory;
@property(nullable, readonly, copy) NSString* absoluteString;
@property(nullable, readonly, copy) NSString* scheme;
@property(nullable, readonly, copy) NSString* host;
@property(nullable, readonly, copy) NSString* path;
@property(nullable, readonly, copy) NSString* pathExtension;
@property(nullable, readonly, copy) NSString* lastPathComponent;
@property(readonly, getter=isFileURL) BOOL fileURL;
- (nullable NSURL*)URLByAppendingPathComponent:(NSString*)component;
- (nullable NSURL*)URLByAppendingPathComponent:(NSString*)component isDirectory:(BOOL)isDirectory;
@end

@interface NSURLComponents : NSObject <NSCopying>
- (instancetype)init;
@property(nullable, copy) NSString* scheme;
@property(nullable, copy) NSString* host;
@property(nullable, copy) NSString* path;
@property(nullable, readonly, copy) NSURL* URL;
@end

typedef NSString* NSFileAttributeKey;
typedef NSString* NSFileAttributeType;
PLATFORM_EXTERN NSFileAttributeKey const NSFileType;
PLATFORM_EXTERN NSFileAttributeType const NSFileTypeDirectory;
typedef NS_ENUM(NSUInteger, NSSearchPathDirectory) {
  NSDocumentDirectory = 9,
  NSCachesDirectory = 13,
  NSApplicationSupportDirectory = 14,
};
typedef NS_OPTIONS(NSUInteger, NSSearchPathDomainMask) {
  NSUserDomainMask = 1,
};

@interface NSDirectoryEnumerator<ObjectType> : NSEnumerator <ObjectType>
@end

@interface NSFileManager : NSObject
@property(class, readonly) NSFileManager* defaultManager;
@property(readonly, copy) NSURL* temporaryDirectory;
- (BOOL)fileExistsAtPath:(NSString*)path;
- (BOOL)fileExistsAtPath:(NSString*)path isDirectory:(nullable BOOL*)isDirectory;
- (BOOL)createFileAtPath:(NSString*)path
                contents:(nullable NSData*)data
              attributes:(nullable NSDictionary<NSFileAttributeKey, id>*)attributes;
- (BOOL)createDirectoryAtPath:(NSString*)path
    withIntermediateDirectories:(BOOL)createIntermediates
                     attributes:(nullable NSDictionary<NSFileAttributeKey, id>*)attributes
                          error:(NSError* _Nullable* _Nullable)error;
- (BOOL)removeItemAtPath:(NSString*)path error:(NSError* _Nullable* _Nullable)error;
- (BOOL)removeItemAtURL:(NSURL*)url error:(NSError* _Nullable* _Nullable)error;
- (BOOL)copyItemAtURL:(NSURL*)from toURL:(NSURL*)to error:(NSError* _Nullable* _Nullable)error;
- (nullable NSDictionary<NSFileAttributeKey, id>*)
    attributesOfItemAtPath:(NSString*)path
                     error:(NSError* _Nullable* _Nullable)error;
- (nullable NSArray<NSString*>*)contentsOfDirectoryAtPath:(NSString*)path
                                                    error:(NSError* _Nullable* _Nullable)error;
- (nullable NSDirectoryEnumerator<NSString*>*)enumeratorAtPath:(NSString*)path;
- (nullable NSURL*)URLForDirectory:(NSSearchPathDirectory)directory
                          inDomain:(NSSearchPathDomainMask)domain
                 appropriateForURL:(nullable NSURL*)url
                            create:(BOOL)create
                             error:(NSError* _Nullable* _Nullable)error;
@end
PLATFORM_EXTERN NSString* NSTemporaryDirectory(void);

@interface NSFileHandle : NSObject <NSSecureCoding>
+ (nullable instancetype)fileHandleForReadingAtPath:(NSString*)path;
- (nullable NSData*)readDataUpToLength:(NSUInteger)length
                                 error:(NSError* _Nullable* _Nullable)error;
- (BOOL)seekToEndReturningOffset:(out unsigned long long* _Nullable)offset
                           error:(NSError* _Nullable* _Nullable)error;
- (BOOL)seekToOffset:(unsigned long long)offset error:(NSError* _Nullable* _Nullable)error;
- (BOOL)closeAndReturnError:(NSError* _Nullable* _Nullable)error;
@end

@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
+ (nullable instancetype)bundleWithPath:(NSString*)path;
@property(readonly, copy) NSString* bundlePath;
- (nullable NSString*)pathForResource:(nullable NSString*)name ofType:(nullable NSString*)extension;
- (NSString*)localizedStringForKey:(NSString*)key
                             value:(nullable NSString*)value
                             table:(nullable NSString*)table;
@end

@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
+ (void)sleepForTimeInterval:(NSTimeInterval)seconds;
@end

typedef NSString* NSRunLoopMode;
PLATFORM_EXTERN NSRunLoopMode const NSDefaultRunLoopMode;
@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* currentRunLoop;
- (BOOL)runMode:(NSRunLoopMode)mode beforeDate:(NSDate*)limit;
@end

@interface NSProcessInfo : NSObject
@property(class, readonly, strong) NSProcessInfo* processInfo;
@property(readonly, copy) NSString* globallyUniqueString;
@property(readonly) unsigned long long physicalMemory;
@property(readonly) NSTimeInterval systemUptime;
@end

typedef NSString* NSNotificationName;

@interface NSUUID : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)UUID;
@property(readonly, copy) NSString* UUIDString;
@end

typedef NS_OPTIONS(NSUInteger, NSJSONReadingOptions) {
  NSJSONReadingFragmentsAllowed = 1UL << 2,
};
@interface NSJSONSerialization : NSObject
+ (nullable id)JSONObjectWithData:(NSData*)data
                          options:(NSJSONReadingOptions)options
                            error:(NSError* _Nullable* _Nullable)error;
@end

@interface NSURLRequest : NSObject <NSSecureCoding, NSCopying, NSMutableCopying>
+ (instancetype)requestWithURL:(NSURL*)url;
@property(nullable, readonly, copy) NSURL* URL;
- (nullable NSString*)valueForHTTPHeaderField:(NSString*)field;
@end
@interface NSURLResponse : NSObject <NSSecureCoding, NSCopying>
- (instancetype)initWithURL:(NSURL*)url
                   MIMEType:(nullable NSString*)type
      expectedContentLength:(NSInteger)length
           textEncodingName:(nullable NSString*)name NS_DESIGNATED_INITIALIZER;
@end
@interface NSHTTPURLResponse : NSURLResponse
- (nullable instancetype)initWithURL:(NSURL*)url
                          statusCode:(NSInteger)statusCode
                         HTTPVersion:(nullable NSString*)version
                        headerFields:(nullable NSDictionary<NSString*, NSString*>*)headers;
@end

PLATFORM_EXTERN void NSLog(NSString* format, ...) __attribute__((format(__NSString__, 1, 2)));
PLATFORM_EXTERN SEL NSSelectorFromString(NSString* name);
PLATFORM_EXTERN NSString* NSStringFromClass(Class type);
PLATFORM_EXTERN Class _Nullable NSClassFromString(NSString* name);

#if __has_feature(objc_arc)
// A reference that changes hands between Core Foundation and ARC.
CF_RETURNS_RETAINED static inline CFTypeRef _Nullable CFBridgingRetain(id _Nullable object) {
  return (__bridge_retained CFTypeRef)object;
}
static inline id _Nullable CFBridgingRelease(CFTypeRef
                                             __attribute__((cf_consumed)) _Nullable object) {
  return (__bridge_transfer id)object;
}
#endif

NS_ASSUME_NONNULL_END

// Whoever imports Foundation has the queues, too.
#import "../dispatch/dispatch.h"
