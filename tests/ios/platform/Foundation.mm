// What of Foundation must answer for the software device. GNUstep's own methods do the work where
// no device is set.
#import <Foundation/Foundation.h>
#include <dlfcn.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#import "tests/ios/platform/SoftwarePhone.h"
#import "tests/ios/platform/SoftwareValues.h"

extern "C" {
void* class_getInstanceMethod(Class type, SEL selector);
void* class_getClassMethod(Class type, SEL selector);
void* method_setImplementation(void* method, void* implementation);
}

using vecamera::ios::hasSoftwarePlatform;
using vecamera::ios::softwarePlatform;
using vecamera::ios::textForDevice;
using vecamera::ios::textFromDevice;

namespace {

/// A method of GNUstep's with ours before it.
template <class Function>
void replace(void* method, Function* ours, Function*& theirs) {
  theirs =
      reinterpret_cast<Function*>(method_setImplementation(method, reinterpret_cast<void*>(ours)));
}

vecamera::NSFileManager& deviceFiles() {
  return softwarePlatform().fileManager;
}

/// The path that the thread asked about last, which it may wait for.
thread_local std::string askedPath;

BOOL (*theirFileExists)(id, SEL, NSString*);
BOOL fileExists(id self, SEL selector, NSString* path) {
  if (hasSoftwarePlatform()) askedPath = textForDevice(path);
  return theirFileExists(self, selector, path);
}

void (*theirSleep)(id, SEL, NSTimeInterval);
void sleep(id self, SEL selector, NSTimeInterval seconds) {
  if (hasSoftwarePlatform())
    deviceFiles().waitForChangeAtPath(askedPath);
  else
    theirSleep(self, selector, seconds);
}

BOOL (*theirCreateFile)(id, SEL, NSString*, NSData*, NSDictionary*);
BOOL createFile(id self, SEL selector, NSString* path, NSData* contents, NSDictionary* attributes) {
  if (!hasSoftwarePlatform()) return theirCreateFile(self, selector, path, contents, attributes);
  return deviceFiles().createFileAtPath(textForDevice(path),
                                        vecamera::ios::dataForDevice(contents));
}

/// Whether it went well; else the error is handed out.
BOOL report(const std::optional<vecamera::NSError>& failure, NSError* __autoreleasing* error) {
  if (failure && error) *error = vecamera::ios::errorFromDevice(*failure);
  return !failure;
}

BOOL (*theirRemove)(id, SEL, NSString*, NSError* __autoreleasing*);
BOOL remove(id self, SEL selector, NSString* path, NSError* __autoreleasing* error) {
  // The device has no other files than those of the temporary directory.
  if (!hasSoftwarePlatform() || ![path hasPrefix:NSTemporaryDirectory()])
    return theirRemove(self, selector, path, error);
  return report(deviceFiles().removeItemAtPath(textForDevice(path)), error);
}

/// The entries of this folder alone, in the device's order.
NSArray* (*theirContents)(id, SEL, NSString*, NSError* __autoreleasing*);
NSArray* contents(id self, SEL selector, NSString* path, NSError* __autoreleasing* error) {
  if (!hasSoftwarePlatform()) return theirContents(self, selector, path, error);
  const auto entries = deviceFiles().enumeratorAtPath(textForDevice(path));
  if (!entries) {
    if (error)
      *error = [NSError errorWithDomain:NSCocoaErrorDomain
                                   code:NSFileReadNoSuchFileError
                               userInfo:nil];
    return nil;
  }
  NSMutableArray* names = [NSMutableArray array];
  while (const auto entry = entries->nextObject())
    if (entry->text()->find('/') == std::string::npos)
      [names addObject:textFromDevice(*entry->text())];
  return names;
}

/// The application's other folders, for the length of the process: GNUstep's are the user's, which
/// several processes share.
class ApplicationFolders {
 public:
  ApplicationFolders() {
    root_ = std::filesystem::temp_directory_path().string() + "/application-XXXXXX";
    if (!mkdtemp(root_.data())) std::abort();
  }
  ~ApplicationFolders() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  std::string make(NSSearchPathDirectory directory) const {
    const auto path = root_ + "/" + std::to_string(directory);
    std::filesystem::create_directory(path);
    return path;
  }

 private:
  std::string root_;
};

NSURL* (*theirFolder)(id, SEL, NSSearchPathDirectory, NSSearchPathDomainMask, NSURL*, BOOL,
                      NSError* __autoreleasing*);
NSURL* folder(id self, SEL selector, NSSearchPathDirectory directory, NSSearchPathDomainMask domain,
              NSURL* appropriate, BOOL create, NSError* __autoreleasing* error) {
  if (!hasSoftwarePlatform())
    return theirFolder(self, selector, directory, domain, appropriate, create, error);
  static const ApplicationFolders folders;
  return [NSURL fileURLWithPath:textFromDevice(folders.make(directory)) isDirectory:YES];
}

BOOL (*theirWrite)(id, SEL, NSString*, NSDataWritingOptions, NSError* __autoreleasing*);
BOOL write(id self, SEL selector, NSString* path, NSDataWritingOptions options,
           NSError* __autoreleasing* error) {
  if (!hasSoftwarePlatform()) return theirWrite(self, selector, path, options, error);
  return report(
      deviceFiles().writeAtomically(vecamera::ios::dataForDevice(self),
                                    softwarePlatform().urls.fileURLWithPath(textForDevice(path))),
      error);
}

id (*theirDate)(id, SEL);
id date(id self, SEL selector) {
  if (!hasSoftwarePlatform()) return theirDate(self, selector);
  const std::chrono::duration<double> seconds = softwarePlatform().clock.now().time_since_epoch();
  return [self dateWithTimeIntervalSince1970:seconds.count()];
}

id (*theirURL)(id, SEL, NSString*);
id url(id self, SEL selector, NSString* text) {
  if (hasSoftwarePlatform()) {
    const auto& platform = softwarePlatform();
    const std::string given = textForDevice(text);
    if (!platform.urls.URLWithString(given)) return nil;
    if (given == "app-settings:" && !platform.application.openSettingsURL()) return nil;
  }
  return theirURL(self, selector, text);
}

// A formatter's pattern and zone, beside what GNUstep keeps of them.
const char patternKey = 0;
const char zoneKey = 0;

void (*theirSetDateFormat)(id, SEL, NSString*);
void setDateFormat(id self, SEL selector, NSString* pattern) {
  objc_setAssociatedObject(self, &patternKey, pattern, OBJC_ASSOCIATION_COPY);
  if (!hasSoftwarePlatform()) theirSetDateFormat(self, selector, pattern);
}
void (*theirSetTimeZone)(id, SEL, NSTimeZone*);
void setTimeZone(id self, SEL selector, NSTimeZone* zone) {
  objc_setAssociatedObject(self, &zoneKey, zone.name, OBJC_ASSOCIATION_COPY);
  if (!hasSoftwarePlatform()) theirSetTimeZone(self, selector, zone);
}

/// With the device's locale, calendar and zone. A phone's formatter knows of no fraction beyond the
/// millisecond.
NSString* (*theirStringFromDate)(id, SEL, NSDate*);
NSString* stringFromDate(id self, SEL selector, NSDate* date) {
  if (!hasSoftwarePlatform()) return theirStringFromDate(self, selector, date);
  const auto formatter = softwarePlatform().dateFormatters.makeDateFormatter();
  formatter->setDateFormat(textForDevice(objc_getAssociatedObject(self, &patternKey)));
  if (NSString* zone = objc_getAssociatedObject(self, &zoneKey))
    formatter->setTimeZone(vecamera::NSTimeZone{textForDevice(zone)});
  const std::chrono::milliseconds since(
      static_cast<std::int64_t>(std::floor(date.timeIntervalSince1970 * 1000)));
  return textFromDevice(formatter->stringFromDate(vecamera::Date(since)));
}

/// Marks the bundles that were opened by their path on the device.
const char deviceKey = 0;

/// Null for the bundles of GNUstep's own.
std::unique_ptr<vecamera::NSBundle> deviceBundle(NSBundle* bundle) {
  if (!hasSoftwarePlatform()) return nullptr;
  auto& bundles = softwarePlatform().bundles;
  if (bundle == NSBundle.mainBundle) return bundles.mainBundle();
  NSString* path = objc_getAssociatedObject(bundle, &deviceKey);
  return path ? bundles.bundleWithPath(textForDevice(path)) : nullptr;
}

id (*theirBundleWithPath)(id, SEL, NSString*);
id bundleWithPath(id self, SEL selector, NSString* path) {
  if (hasSoftwarePlatform() && !softwarePlatform().bundles.bundleWithPath(textForDevice(path)))
    return nil;
  NSBundle* bundle = theirBundleWithPath(self, selector, path);
  if (bundle && hasSoftwarePlatform())
    objc_setAssociatedObject(bundle, &deviceKey, path, OBJC_ASSOCIATION_COPY);
  return bundle;
}
NSString* (*theirPathForResource)(id, SEL, NSString*, NSString*);
NSString* pathForResource(id self, SEL selector, NSString* name, NSString* type) {
  const auto bundle = deviceBundle(self);
  if (!bundle) return theirPathForResource(self, selector, name, type);
  const auto path = bundle->pathForResource(textForDevice(name), textForDevice(type));
  return path ? textFromDevice(*path) : nil;
}
NSString* (*theirLocalizedString)(id, SEL, NSString*, NSString*, NSString*);
NSString* localizedString(id self, SEL selector, NSString* key, NSString* value, NSString* table) {
  const auto bundle = deviceBundle(self);
  if (!bundle) return theirLocalizedString(self, selector, key, value, table);
  return textFromDevice(bundle->localizedStringForKey(textForDevice(key)));
}

}  // namespace

extern "C" NSString* NSTemporaryDirectory() {
  if (hasSoftwarePlatform()) {
    const auto path = deviceFiles().temporaryDirectory();
    return path ? textFromDevice(*path) : nil;
  }
  static auto* theirs = reinterpret_cast<NSString* (*)()>(dlsym(RTLD_NEXT, "NSTemporaryDirectory"));
  return theirs();
}

@interface SoftwareFoundation : NSObject
@end
@implementation SoftwareFoundation
+ (void)load {
  @autoreleasepool {
    Class files = NSFileManager.class;
    replace(class_getInstanceMethod(files, @selector(fileExistsAtPath:)), fileExists,
            theirFileExists);
    replace(class_getInstanceMethod(files, @selector(createFileAtPath:contents:attributes:)),
            createFile, theirCreateFile);
    replace(class_getInstanceMethod(files, @selector(removeItemAtPath:error:)), remove,
            theirRemove);
    replace(class_getInstanceMethod(files, @selector(contentsOfDirectoryAtPath:error:)), contents,
            theirContents);
    replace(class_getInstanceMethod(
                files, @selector(URLForDirectory:inDomain:appropriateForURL:create:error:)),
            folder, theirFolder);
    replace(class_getInstanceMethod(NSData.class, @selector(writeToFile:options:error:)), write,
            theirWrite);
    replace(class_getClassMethod(NSThread.class, @selector(sleepForTimeInterval:)), sleep,
            theirSleep);
    replace(class_getClassMethod(NSDate.class, @selector(date)), date, theirDate);
    replace(class_getClassMethod(NSURL.class, @selector(URLWithString:)), url, theirURL);
    Class formatters = NSDateFormatter.class;
    replace(class_getInstanceMethod(formatters, @selector(setDateFormat:)), setDateFormat,
            theirSetDateFormat);
    replace(class_getInstanceMethod(formatters, @selector(setTimeZone:)), setTimeZone,
            theirSetTimeZone);
    replace(class_getInstanceMethod(formatters, @selector(stringFromDate:)), stringFromDate,
            theirStringFromDate);
    Class bundles = NSBundle.class;
    replace(class_getClassMethod(bundles, @selector(bundleWithPath:)), bundleWithPath,
            theirBundleWithPath);
    replace(class_getInstanceMethod(bundles, @selector(pathForResource:ofType:)), pathForResource,
            theirPathForResource);
    replace(class_getInstanceMethod(bundles, @selector(localizedStringForKey:value:table:)),
            localizedString, theirLocalizedString);
  }
}
@end
