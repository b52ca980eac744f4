// What GNUstep base 1.28 lacks or does wrong of the Foundation that a host uses. Compiled without
// ARC.
#import <Foundation/Foundation.h>

// The declarations have these methods in the classes themselves.
#pragma clang diagnostic ignored "-Wobjc-protocol-method-implementation"

// GNUstep's older names for the same.
@interface NSFileHandle (Older)
- (NSData*)readDataOfLength:(NSUInteger)length;
- (unsigned long long)seekToEndOfFile;
- (void)seekToFileOffset:(unsigned long long)offset;
- (void)closeFile;
@end
@interface NSTimeZone (Older)
+ (NSTimeZone*)defaultTimeZone;
@end
@interface NSValue (Older)
- (void)getValue:(void*)value;
@end

extern "C" {
// The key itself, which values carry, is another one in GNUstep; its own code uses this one, too.
NSErrorUserInfoKey const NSLocalizedDescriptionKey = @"NSLocalizedDescription";

id objc_retain(id object);
void objc_release(id object);
void* class_getClassMethod(Class type, SEL selector);
void* class_getInstanceMethod(Class type, SEL selector);
void* method_setImplementation(void* method, void* implementation);
}

static NSError* errorOf(NSInteger code, NSString* path) {
  return [NSError errorWithDomain:NSCocoaErrorDomain
                             code:code
                         userInfo:path ? @{NSFilePathErrorKey : path} : nil];
}

@implementation NSFileHandle (Newer)
- (NSData*)readDataUpToLength:(NSUInteger)length error:(NSError**)error {
  @try {
    return [self readDataOfLength:length];
  } @catch (...) {
    if (error) *error = errorOf(NSFileReadNoSuchFileError, nil);
    return nil;
  }
}
- (BOOL)seekToEndReturningOffset:(unsigned long long*)offset error:(NSError**)error {
  const unsigned long long end = [self seekToEndOfFile];
  if (offset) *offset = end;
  return YES;
}
- (BOOL)seekToOffset:(unsigned long long)offset error:(NSError**)error {
  [self seekToFileOffset:offset];
  return YES;
}
- (BOOL)closeAndReturnError:(NSError**)error {
  [self closeFile];
  return YES;
}
@end

// Bytes of somebody else, who hears when they are not needed any more. GNUstep has this method, and
// loses the bytes.
@interface BorrowedData : NSData {
 @public
  const void* borrowedBytes;
  NSUInteger borrowedLength;
  void (^onRelease)(void*, NSUInteger);
}
@end

// Takes the place of the method in the class that `alloc` of NSData gives.
static id initBorrowed(id self, SEL, void* bytes, NSUInteger length,
                       void (^deallocator)(void*, NSUInteger)) {
  objc_release(self);
  BorrowedData* data = [BorrowedData alloc];  // NSData's own `init` makes another object
  data->borrowedBytes = bytes;
  data->borrowedLength = length;
  data->onRelease = [deallocator copy];
  return data;
}

@implementation BorrowedData
+ (void)load {
  @autoreleasepool {
    NSData* unfinished = [NSData alloc];
    void* method = class_getInstanceMethod([unfinished class],
                                           @selector(initWithBytesNoCopy:length:deallocator:));
    objc_release([unfinished init]);
    method_setImplementation(method, reinterpret_cast<void*>(initBorrowed));
  }
}
- (const void*)bytes {
  return borrowedBytes;
}
- (NSUInteger)length {
  return borrowedLength;
}
- (id)copyWithZone:(NSZone*)zone {
  return objc_retain(self);
}
- (void)dealloc {
  if (onRelease) onRelease(const_cast<void*>(borrowedBytes), borrowedLength);
  objc_release(onRelease);
  [super dealloc];
}
@end

@implementation NSData (Newer)
+ (instancetype)dataWithContentsOfURL:(NSURL*)url
                              options:(NSDataReadingOptions)options
                                error:(NSError**)error {
  NSData* data = [url isFileURL] ? [self dataWithContentsOfFile:[url path]] : nil;
  if (!data && error) *error = errorOf(NSFileReadNoSuchFileError, [url path]);
  return data;
}
@end

@implementation NSFileManager (Newer)
- (NSURL*)temporaryDirectory {
  return [NSURL fileURLWithPath:NSTemporaryDirectory() isDirectory:YES];
}
@end

// GNUstep asks the disk whether a URL leads to a folder, even where the caller says so, and then
// puts a slash at the end.
static NSURL* withoutSlash(NSURL* url, NSString* given, BOOL isDirectory) {
  NSString* text = [url absoluteString];
  if (isDirectory || [given hasSuffix:@"/"] || ![text hasSuffix:@"/"]) return url;
  return [NSURL URLWithString:[text substringToIndex:[text length] - 1]];
}
static NSURL* (*originalFileURL)(id, SEL, NSString*, BOOL);
static NSURL* fileURL(id self, SEL selector, NSString* path, BOOL isDirectory) {
  return withoutSlash(originalFileURL(self, selector, path, isDirectory), path, isDirectory);
}
static NSURL* (*originalAppended)(id, SEL, NSString*, BOOL);
static NSURL* appended(id self, SEL selector, NSString* component, BOOL isDirectory) {
  return withoutSlash(originalAppended(self, selector, component, isDirectory), component,
                      isDirectory);
}

// No zone is the device's own, and not that of Greenwich.
static void (*originalSetTimeZone)(id, SEL, NSTimeZone*);
static void setTimeZone(id self, SEL selector, NSTimeZone* zone) {
  originalSetTimeZone(self, selector, zone ? zone : [NSTimeZone defaultTimeZone]);
}

template <class Function>
static void replace(void* method, Function* ours, Function*& original) {
  original =
      reinterpret_cast<Function*>(method_setImplementation(method, reinterpret_cast<void*>(ours)));
}

@interface Corrections : NSObject
@end
@implementation Corrections
+ (void)load {
  @autoreleasepool {
    Class urls = [NSURL class];
    replace(class_getClassMethod(urls, @selector(fileURLWithPath:isDirectory:)), fileURL,
            originalFileURL);
    replace(class_getInstanceMethod(urls, @selector(URLByAppendingPathComponent:isDirectory:)),
            appended, originalAppended);
    replace(class_getInstanceMethod([NSDateFormatter class], @selector(setTimeZone:)), setTimeZone,
            originalSetTimeZone);
  }
}
@end

@implementation NSURL (Newer)
// GNUstep's own is strict: nothing comes of a text with a character that a URL cannot have.
+ (instancetype)URLWithString:(NSString*)text encodingInvalidCharacters:(BOOL)encode {
  return encode ? nil : [self URLWithString:text];
}
@end

@implementation NSValue (Newer)
- (void)getValue:(void*)value size:(NSUInteger)size {
  [self getValue:value];
}
@end
