#include "ios/Sources/Value.h"

#import <CoreLocation/CoreLocation.h>
#import <Photos/Photos.h>
#import <UIKit/UIKit.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "ios/Sources/CoreLocation.h"
#include "ios/Sources/Images.h"
#include "ios/Sources/Photos.h"
#include "ios/Sources/Utf8.h"
#include "ios/Sources/ViewControllers.h"

namespace vecamera_ios {
namespace {

constexpr std::uint32_t replacementCharacter = 0xFFFD;

/// A native object that nothing here has an adapter for.
class OpaqueObject : public vecamera::Object, public NativeReference {
 public:
  explicit OpaqueObject(id object) : object_(object) {}
  id native() const override { return object_; }

 private:
  const id object_;
};

bool isBoolean(NSNumber* number) {
  return CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID();
}

vecamera::Value toNumber(NSNumber* number) {
  if (isBoolean(number)) return static_cast<bool>(number.boolValue);
  if ([number isKindOfClass:[NSDecimalNumber class]] ||
      CFNumberIsFloatType((__bridge CFNumberRef)number))
    return number.doubleValue;
  // A negative number has a large unsigned value, too.
  const bool isBeyondSigned =
      number.unsignedLongLongValue > std::uint64_t{INT64_MAX} && number.doubleValue > 0;
  if (isBeyondSigned) return number.doubleValue;
  return number.longLongValue;
}

bool hasTextKeysOnly(NSDictionary* dictionary) {
  for (id key in dictionary)
    if (![key isKindOfClass:[NSString class]]) return false;
  return true;
}

}  // namespace

std::string toText(NSString* text) {
  // By UTF-16: the platform's own conversion gives nothing at all where the text has half of a
  // surrogate pair.
  std::vector<unichar> units(text.length);
  [text getCharacters:units.data() range:NSMakeRange(0, units.size())];
  std::string result;
  result.reserve(units.size());
  const auto isSurrogate = [](std::uint32_t unit) { return (unit & 0xF800) == 0xD800; };
  for (std::size_t i = 0; i < units.size(); ++i) {
    std::uint32_t code = units[i];
    if (isSurrogate(code)) {
      const bool isPair =
          code < 0xDC00 && i + 1 < units.size() && (units[i + 1] & 0xFC00) == 0xDC00;
      code =
          isPair ? 0x10000 + ((code & 0x3FF) << 10) + (units[++i] & 0x3FF) : replacementCharacter;
    }
    appendUtf8(result, code);
  }
  return result;
}

NSString* toNSString(std::string_view text) {
  const auto native = [](std::string_view valid) -> NSString* {
    return [[NSString alloc] initWithBytes:valid.data()
                                    length:valid.size()
                                  encoding:NSUTF8StringEncoding];
  };
  if (text.empty()) return @"";
  std::size_t valid = utf8PrefixLength(text);
  if (valid == text.size()) return native(text);
  std::string repaired;
  for (; valid < text.size(); valid = utf8PrefixLength(text)) {
    repaired += text.substr(0, valid);
    appendUtf8(repaired, replacementCharacter);
    text.remove_prefix(valid + 1);
  }
  return native(repaired += text);
}

vecamera::Data toData(NSData* data) {
  // Immutable data gives itself. Its class would not tell it from mutable data: the platform's
  // bridged class is a subclass of `NSMutableData` for both.
  return adoptData([data copy]);
}

vecamera::Data adoptData(NSData* data) {
  if (data.length == 0) return {};
  const std::span<const std::uint8_t> bytes(static_cast<const std::uint8_t*>(data.bytes),
                                            data.length);
  return vecamera::Data(bytes, std::shared_ptr<const void>(CFBridgingRetain(data), CFRelease));
}

NSData* toNSData(const vecamera::Data& data) {
  if (data.empty()) return [NSData data];
  const vecamera::Data kept = data;
  return [[NSData alloc] initWithBytesNoCopy:const_cast<std::uint8_t*>(kept.bytes().data())
                                      length:kept.size()
                                 deallocator:^(void*, NSUInteger) {
                                   (void)kept;  // goes with this block
                                 }];
}

vecamera::URL toURL(NSURL* url, std::shared_ptr<const void> owner) {
  return vecamera::URL(toText(url.absoluteString), std::move(owner));
}

NSURL* toNSURL(const vecamera::URL& url) {
  NSString* text = toNSString(url.absoluteString());
  // Otherwise it escapes what makes the text no URL.
  if (@available(iOS 17.0, *)) return [NSURL URLWithString:text encodingInvalidCharacters:NO];
  return [NSURL URLWithString:text];
}

vecamera::Date toDate(NSDate* date) {
  using std::chrono::microseconds;
  constexpr double microsPerSecond = 1e6;
  const double seconds = date.timeIntervalSince1970;
  // Apart, because a double has no room for the microseconds of a distant date's whole value.
  const double whole = std::floor(seconds);
  constexpr double limit = 9e12;
  if (!(whole > -limit)) return vecamera::Date::min();
  if (!(whole < limit)) return vecamera::Date::max();
  const auto fraction = std::llround((seconds - whole) * microsPerSecond);
  return vecamera::Date(std::chrono::seconds(static_cast<std::int64_t>(whole)) +
                        microseconds(fraction));
}

NSDate* toNSDate(vecamera::Date date) {
  const std::chrono::duration<double> seconds = date.time_since_epoch();
  return [NSDate dateWithTimeIntervalSince1970:seconds.count()];
}

std::optional<vecamera::NSError> toError(NSError* error) {
  if (!error) return std::nullopt;
  vecamera::NSError result{toText(error.domain), error.code, toDictionary(error.userInfo)};
  result.userInfo.insert_or_assign(std::string(vecamera::NSLocalizedDescriptionKey),
                                   toText(error.localizedDescription));
  return result;
}

NSError* toNSError(const vecamera::NSError& error) {
  return [NSError errorWithDomain:toNSString(error.domain)
                             code:static_cast<NSInteger>(error.code)
                         userInfo:toNSDictionary(error.userInfo)];
}

vecamera::Value toValue(id object) {
  const auto is = [object](Class type) { return [object isKindOfClass:type]; };
  if (!object || is([NSNull class])) return {};
  if (is([NSString class])) return toText(object);
  if (is([NSNumber class])) return toNumber(object);
  if (is([NSData class])) return toData(object);
  if (is([NSURL class])) return toURL(object);
  if (is([NSArray class])) {
    vecamera::Array array;
    for (id element in static_cast<NSArray*>(object)) array.push_back(toValue(element));
    return array;
  }
  if (is([NSDictionary class]) && hasTextKeysOnly(object)) return toDictionary(object);
  if (is([UIImage class])) return imageOf(object);
  if (is([PHAsset class])) return assetOf(object);
  if (is([UIViewController class])) return viewControllerOf(object);
  if (is([CLLocationManager class])) return locationManagerOf(object);
  return std::make_shared<OpaqueObject>(object);
}

id toObject(const vecamera::Value& value) {
  if (const bool* flag = value.boolean()) return @(*flag);
  if (const auto* number = value.integer()) return @(*number);
  if (const double* number = value.real()) return @(*number);
  if (const auto* text = value.text()) return toNSString(*text);
  if (const auto* data = value.data()) return toNSData(*data);
  if (const auto* url = value.url()) {
    if (NSURL* native = toNSURL(*url)) return native;
    return toNSString(url->absoluteString());
  }
  if (const auto* dictionary = value.dictionary()) return toNSDictionary(*dictionary);
  if (const auto* array = value.array()) {
    NSMutableArray* native = [NSMutableArray arrayWithCapacity:array->size()];
    for (const auto& element : *array) [native addObject:toObject(element)];
    return native;
  }
  if (const auto reference = value.object<NativeReference>()) return reference->native();
  return [NSNull null];
}

vecamera::Dictionary toDictionary(NSDictionary* dictionary) {
  vecamera::Dictionary result;
  for (id key in dictionary)
    if ([key isKindOfClass:[NSString class]])
      result.insert_or_assign(toText(key), toValue([dictionary objectForKey:key]));
  return result;
}

NSDictionary<NSString*, id>* toNSDictionary(const vecamera::Dictionary& dictionary) {
  NSMutableDictionary* result = [NSMutableDictionary dictionaryWithCapacity:dictionary.size()];
  for (const auto& [key, value] : dictionary)
    [result setObject:toObject(value) forKey:toNSString(key)];
  return result;
}

}  // namespace vecamera_ios
