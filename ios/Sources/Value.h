#pragma once

#import <Foundation/Foundation.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Value.h"

/// The host's own types stand beside the module's namespace and not in it, because both the phone
/// and the module have a `UIImage`: here the plain name is the phone's class.
namespace vecamera_ios {

/// What stands for a native object in a `vecamera::Value`. Each adapter of a native object is one.
class NativeReference {
 public:
  virtual ~NativeReference() = default;
  /// The native object; never nil.
  virtual id _Nonnull native() const = 0;
};

// Crossing between the phone's values and the module's. Any thread. No function raises or throws
// but for a lack of memory.

/// UTF-8; half of a surrogate pair becomes U+FFFD. Nil gives an empty text.
std::string toText(NSString* _Nullable text);
/// Each byte that is not UTF-8 becomes U+FFFD.
NSString* _Nonnull toNSString(std::string_view text);

/// Shares the bytes, which the `NSData` keeps. Mutable data is copied.
vecamera::Data toData(NSData* _Nonnull data);
/// The same without a copy of mutable data, which nobody changes from here on: for what an encoder
/// has made.
vecamera::Data adoptData(NSData* _Nonnull data);
/// Shares the bytes, which the buffer keeps.
NSData* _Nonnull toNSData(const vecamera::Data& data);

/// The absolute text; the owner as in `vecamera::URL`.
vecamera::URL toURL(NSURL* _Nonnull url, std::shared_ptr<const void> owner = nullptr);
/// Nil where the text is no URL. Nothing is escaped to make it one.
NSURL* _Nullable toNSURL(const vecamera::URL& url);

/// To the nearest microsecond; beyond the range, its end.
vecamera::Date toDate(NSDate* _Nonnull date);
NSDate* _Nonnull toNSDate(vecamera::Date date);

/// Nil gives nothing. The computed description is put into the dictionary.
std::optional<vecamera::NSError> toError(NSError* _Nullable error);
NSError* _Nonnull toNSError(const vecamera::NSError& error);

/// A boxed boolean becomes a boolean and no number; an integer of the signed 64-bit range an
/// integer; every other number a double; text, data, URLs, arrays and dictionaries with text keys
/// become theirs; nil and `NSNull` the null value. Pictures, assets, view controllers and what else
/// has an adapter cross by reference, and any other object as one that only its own side knows.
vecamera::Value toValue(id _Nullable object);
/// The way back. The null value gives `NSNull`, as does an object that no native one stands behind;
/// a URL whose text is none gives the text.
id _Nonnull toObject(const vecamera::Value& value);

/// Keys that are no texts are left out.
vecamera::Dictionary toDictionary(NSDictionary* _Nullable dictionary);
NSDictionary<NSString*, id>* _Nonnull toNSDictionary(const vecamera::Dictionary& dictionary);

}  // namespace vecamera_ios
