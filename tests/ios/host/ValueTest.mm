#include "ios/Sources/Value.h"

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/ios/runtime/LivingObjects.h"

// A text of any UTF-16 units, also of halves of surrogate pairs.
@interface UnitsText : NSString {
 @public
  std::vector<unichar> units;
}
@end
@implementation UnitsText
- (NSUInteger)length {
  return units.size();
}
- (unichar)characterAtIndex:(NSUInteger)index {
  return units.at(index);
}
@end

namespace vecamera_ios {
namespace {

using vecamera::Data;
using vecamera::Value;
using namespace std::chrono_literals;

constexpr auto int64Min = std::numeric_limits<std::int64_t>::min();
constexpr auto int64Max = std::numeric_limits<std::int64_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();

bool isBoolean(id object) {
  return CFGetTypeID((__bridge CFTypeRef)object) == CFBooleanGetTypeID();
}

// The same values, and booleans at the same places: alone, `isEqual:` takes YES for 1.
bool areSame(id a, id b) {
  if ([a isKindOfClass:[NSArray class]] && [b isKindOfClass:[NSArray class]]) {
    if ([a count] != [b count]) return false;
    for (NSUInteger i = 0; i < [a count]; ++i)
      if (!areSame(a[i], b[i])) return false;
    return true;
  }
  if ([a isKindOfClass:[NSDictionary class]] && [b isKindOfClass:[NSDictionary class]]) {
    if ([a count] != [b count]) return false;
    for (id key in a)
      if (!b[key] || !areSame(a[key], b[key])) return false;
    return true;
  }
  return isBoolean(a) == isBoolean(b) && [a isEqual:b];
}

class RandomValues {
 public:
  explicit RandomValues(unsigned seed) : random_(seed) {}

  std::uint64_t below(std::uint64_t limit) { return random_() % limit; }

  std::string text() {
    std::u32string codes(below(8), U'\0');
    std::string utf8;
    for (char32_t& code : codes) {
      const char32_t limits[] = {0x80, 0x800, 0xD800, 0x110000};
      do code = static_cast<char32_t>(below(limits[below(4)]));
      while (code >= 0xD800 && code < 0xE000);
      const auto add = [&](std::uint32_t byte) { utf8 += static_cast<char>(byte); };
      if (code < 0x80) {
        add(code);
        continue;
      }
      const unsigned more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
      add((0xFF00u >> (more + 1) & 0xFF) | code >> 6 * more);
      for (unsigned i = more; i-- > 0;) add(0x80 | (code >> 6 * i & 0x3F));
    }
    return utf8;
  }
  std::int64_t integer() {
    const std::int64_t ends[] = {0, 1, -1, int64Min, int64Max, int64Max - 1, 1LL << 53};
    return below(2) ? ends[below(std::size(ends))]
                    : static_cast<std::int64_t>(random_()) >> below(64);
  }
  double real() {
    const double special[] = {0.0, -0.0, 1.0, infinity, -infinity, 5e-324, 1e308, 0x1p63};
    const double any = std::bit_cast<double>(random_());
    return below(2) || std::isnan(any) ? special[below(std::size(special))] : any;
  }
  std::vector<std::uint8_t> bytes() {
    std::vector<std::uint8_t> bytes(below(50));
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random_());
    return bytes;
  }

  Value value(int depth = 0) {
    switch (below(depth < 4 ? 9 : 7)) {
      case 0: return {};
      case 1: return below(2) == 0;
      case 2: return integer();
      case 3: return real();
      case 4: return text();
      case 5: return Data(bytes());
      case 6: return vecamera::URL("file:///a/" + std::to_string(below(100)) + "%20b");
      case 7: {
        vecamera::Array array(below(5));
        for (Value& element : array) element = value(depth + 1);
        return array;
      }
      default: return dictionary(depth + 1);
    }
  }
  vecamera::Dictionary dictionary(int depth = 0) {
    vecamera::Dictionary dictionary;
    for (auto count = below(5); count > 0; --count) dictionary[text()] = value(depth);
    return dictionary;
  }

  id object(int depth = 0) {
    switch (below(depth < 4 ? 12 : 10)) {
      case 0: return [NSNull null];
      case 1: return @(below(2) == 0);
      case 2: return [NSNumber numberWithChar:static_cast<char>(below(2))];
      case 3: return [NSNumber numberWithLongLong:integer()];
      case 4: return [NSNumber numberWithUnsignedInt:static_cast<unsigned>(random_())];
      case 5: return @(real());
      case 6: return @(static_cast<float>(below(1000)) / 8);
      case 7: return toNSString(text());
      case 8: {
        const auto held = bytes();
        return [NSData dataWithBytes:held.data() length:held.size()];
      }
      case 9: return [NSDate dateWithTimeIntervalSince1970:static_cast<double>(below(1000))];
      case 10: {
        NSMutableArray* array = [NSMutableArray arrayWithCapacity:5];
        for (auto count = below(5); count > 0; --count) [array addObject:object(depth + 1)];
        return array;
      }
      default: {
        NSMutableDictionary* dictionary = [NSMutableDictionary dictionaryWithCapacity:5];
        for (auto count = below(5); count > 0; --count)
          [dictionary setObject:object(depth + 1) forKey:toNSString(text())];
        return dictionary;
      }
    }
  }

 private:
  std::mt19937_64 random_;
};

TEST(ValueTest, RandomValuesComeBackEqual) {
  RandomValues random(1);
  for (int i = 0; i < 3000; ++i) {
    @autoreleasepool {
      const Value value = random.value();
      ASSERT_EQ(toValue(toObject(value)), value) << i;
      const vecamera::Dictionary dictionary = random.dictionary();
      ASSERT_EQ(toDictionary(toNSDictionary(dictionary)), dictionary) << i;
    }
  }
}

TEST(ValueTest, RandomObjectsComeBackEqual) {
  RandomValues random(2);
  for (int i = 0; i < 3000; ++i) {
    @autoreleasepool {
      id object = random.object();
      id back = toObject(toValue(object));
      ASSERT_TRUE(areSame(object, back))
          << i << " " << toText([object description]) << " " << toText([back description]);
    }
  }
}

TEST(ValueTest, CrossingLeavesNoObjectBehind) {
  vecamera::ios::countLivingObjects();
  const auto cross = [] {
    RandomValues random(3);
    for (int i = 0; i < 200; ++i) {
      @autoreleasepool {
        toValue(toObject(random.value()));
        toObject(toValue(random.object()));
      }
    }
  };
  cross();  // what the platform keeps for good is there after this
  const auto before = vecamera::ios::livingObjectsByClass();
  cross();
  EXPECT_EQ(vecamera::ios::livingObjectsByClass(), before);
}

TEST(ValueTest, NumbersAreWhatTheyHold) {
  @autoreleasepool {
    const bool flag = true;
    const struct {
      NSNumber* number;
      Value value;
    } cases[] = {
        {@YES, true},
        {@NO, false},
        {@(flag), true},
        {@1, 1},
        {@0, 0},
        {[NSNumber numberWithChar:1], 1},
        {[NSNumber numberWithUnsignedChar:255], 255},
        {@1.0, 1.0},
        {@0.1f, static_cast<double>(0.1f)},
        {@(int64Min), int64Min},
        {@(int64Max), int64Max},
        {@(std::uint64_t{int64Max}), int64Max},
        {@(std::uint64_t{1} << 63), 0x1p63},
        {@(std::numeric_limits<std::uint64_t>::max()), 0x1p64},
        {[NSDecimalNumber decimalNumberWithString:@"2.5"], 2.5},
        {[NSDecimalNumber decimalNumberWithString:@"3"], 3.0},
    };
    for (const auto& [number, value] : cases)
      EXPECT_EQ(toValue(number), value) << toText(number.description);
    for (const bool held : {true, false}) EXPECT_TRUE(isBoolean(toObject(Value(held))));
    for (const Value& number : {Value(0), Value(1), Value(0.0), Value(1.0)})
      EXPECT_FALSE(isBoolean(toObject(number)));
    for (const double real : {-0.0, 0.0, infinity, -infinity, 5e-324, 1 + 0x1p-52}) {
      const Value back = toValue(toObject(real));
      ASSERT_TRUE(back.real()) << real;
      EXPECT_EQ(std::bit_cast<std::uint64_t>(*back.real()), std::bit_cast<std::uint64_t>(real));
    }
    const Value nan = toValue(toObject(std::nan("")));
    EXPECT_TRUE(nan.real() && std::isnan(*nan.real()));
  }
}

TEST(ValueTest, NothingIsNull) {
  @autoreleasepool {
    struct Unknown : vecamera::Object {};
    EXPECT_TRUE(toValue(nil).isNull());
    EXPECT_TRUE(toValue([NSNull null]).isNull());
    EXPECT_EQ(toObject({}), [NSNull null]);
    EXPECT_EQ(toObject(std::make_shared<Unknown>()), [NSNull null]);
    EXPECT_EQ(toText(nil), "");
    EXPECT_TRUE(toDictionary(nil).empty());
    EXPECT_FALSE(toError(nil));
  }
}

TEST(ValueTest, WhatIsNoTextGetsReplacementCharacters) {
  @autoreleasepool {
    const std::string r = "\xEF\xBF\xBD";
    using namespace std::string_literals;
    const std::pair<std::string, std::string> utf8[] = {
        {"\xFF", r},
        {"a\xC3", "a" + r},
        {"\xC3\xA9\x80z", "\xC3\xA9" + r + "z"},
        {"\xC0\xAF", r + r},
        {"\xE0\x80\x80", r + r + r},
        {"\xED\xA0\x80", r + r + r},
        {"\xF4\x90\x80\x80", r + r + r + r},
        {"\xF5z", r + "z"},
        {"a\0b"s, "a\0b"s},
        {"", ""},
    };
    for (const auto& [given, expected] : utf8) EXPECT_EQ(toText(toNSString(given)), expected);
    const std::pair<std::vector<unichar>, std::string> utf16[] = {
        {{'a', 0xD800}, "a" + r},
        {{0xDC00, 'a'}, r + "a"},
        {{0xD800, 0xD83D, 0xDCF7}, r + "\xF0\x9F\x93\xB7"},
        {{0xDCF7, 0xD83D, 'b'}, r + r + "b"},
        {{0xDBFF, 0xDFFF, 0xE000}, "\xF4\x8F\xBF\xBF\xEE\x80\x80"},
    };
    for (const auto& [units, expected] : utf16) {
      UnitsText* text = [[UnitsText alloc] init];
      text->units = units;
      EXPECT_EQ(toText(text), expected);
    }
  }
}

TEST(ValueTest, BytesCrossWithoutACopyAndAreReleasedOnce) {
  vecamera::ios::countLivingObjects();
  std::vector<std::uint8_t> bytes(1000, 7);
  int released = 0;
  @autoreleasepool {
    Data data(bytes, std::shared_ptr<const void>(&bytes, [&](const void*) { ++released; }));
    NSData* native = toNSData(data);
    EXPECT_EQ(native.bytes, bytes.data());
    const Data back = toData(native);
    EXPECT_EQ(back.bytes().data(), bytes.data());
    EXPECT_EQ(toNSData(back).length, bytes.size());
    data = {};
    EXPECT_EQ(released, 0);
  }
  EXPECT_EQ(released, 1);
  EXPECT_EQ(vecamera::ios::livingObjects("BorrowedData"), 0u);
}

TEST(ValueTest, NativeBytesLiveAsLongAsAnyCopyOnAnyThread) {
  std::vector<std::uint8_t> bytes(1000, 7);
  __block int released = 0;
  Data data;
  @autoreleasepool {
    data = toData([[NSData alloc] initWithBytesNoCopy:bytes.data()
                                               length:bytes.size()
                                          deallocator:^(void*, NSUInteger) {
                                            ++released;
                                          }]);
    EXPECT_EQ(data.bytes().data(), bytes.data());
  }
  Data copy = data;
  data = {};
  EXPECT_EQ(released, 0);
  std::thread([last = std::exchange(copy, {})]() mutable { last = {}; }).join();
  EXPECT_EQ(released, 1);
}

TEST(ValueTest, MutableDataIsCopiedAndNoDataIsEmpty) {
  @autoreleasepool {
    NSMutableData* changing = [NSMutableData dataWithLength:4];
    const Data data = toData(changing);
    EXPECT_EQ(adoptData(changing).bytes().data(), changing.bytes);
    static_cast<char*>(changing.mutableBytes)[0] = 1;
    EXPECT_EQ(data, Data(std::vector<std::uint8_t>(4)));
    EXPECT_TRUE(toData([NSData data]).empty());
    EXPECT_EQ(toNSData(Data()).length, 0u);
  }
}

TEST(ValueTest, DictionariesWithOtherKeysAreObjects) {
  @autoreleasepool {
    NSDictionary* mixed = @{@1 : @"a", @"k" : @"b"};
    const Value value = toValue(@{@"inner" : mixed});
    const Value& inner = value.dictionary()->at("inner");
    EXPECT_FALSE(inner.dictionary());
    EXPECT_EQ(toObject(inner), mixed);
    EXPECT_EQ(toDictionary(mixed), (vecamera::Dictionary{{"k", "b"}}));
    NSDate* date = [NSDate date];
    EXPECT_EQ(toObject(toValue(date)), date);
  }
}

TEST(ValueTest, UrlsAreCarriedByTheirText) {
  @autoreleasepool {
    const auto owner = std::make_shared<int>();
    const vecamera::URL url = toURL([NSURL fileURLWithPath:@"/a b"], owner);
    EXPECT_EQ(url.absoluteString(), "file:///a%20b");
    EXPECT_EQ(owner.use_count(), 2);
    EXPECT_TRUE([toNSURL(url).path isEqual:@"/a b"]);
    for (const char* text : {"a b", "/é", "file:///a|b", "\xFF"}) {
      EXPECT_EQ(toNSURL(vecamera::URL(text)), nil) << text;
      EXPECT_TRUE([toObject(vecamera::URL(text)) isKindOfClass:[NSString class]]) << text;
    }
  }
}

TEST(ValueTest, ErrorsCarryTheirDescription) {
  @autoreleasepool {
    NSError* cause = [NSError errorWithDomain:@"Cause" code:7 userInfo:nil];
    NSError* native = [NSError errorWithDomain:NSCocoaErrorDomain
                                          code:-5
                                      userInfo:@{NSUnderlyingErrorKey : cause}];
    const auto error = toError(native);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, toText(NSCocoaErrorDomain));
    EXPECT_EQ(error->code, -5);
    const std::string key(vecamera::NSLocalizedDescriptionKey);
    EXPECT_EQ(error->userInfo.at(key), Value(toText(native.localizedDescription)));
    NSError* back = toNSError(*error);
    EXPECT_EQ(back.code, -5);
    EXPECT_TRUE([back.localizedDescription isEqual:native.localizedDescription]);
    EXPECT_EQ(back.userInfo[NSUnderlyingErrorKey], cause);
    EXPECT_TRUE([NSLocalizedDescriptionKey isEqual:toNSString(key)]);
  }
}

TEST(ValueTest, DatesAreRoundedToTheNearestMicrosecond) {
  @autoreleasepool {
    const std::pair<double, std::chrono::microseconds> cases[] = {
        {0, 0us},
        {0.0000014, 1us},
        {0.0000016, 2us},
        {-0.0000014, -1us},
        {-0.0000016, -2us},
        {-1.25, -1250000us},
        {1700000000.123456, 1700000000123456us},
        {0.9999999, 1000000us},
        {-infinity, vecamera::Date::min().time_since_epoch()},
        {infinity, vecamera::Date::max().time_since_epoch()},
        {64092211200, 64092211200000000us},
    };
    for (const auto& [seconds, expected] : cases)
      EXPECT_EQ(toDate([NSDate dateWithTimeIntervalSince1970:seconds]).time_since_epoch(), expected)
          << seconds;
    RandomValues random(4);
    for (int i = 0; i < 10000; ++i) {
      // From 1900 to 2100, where a double keeps the microsecond.
      const auto seconds = static_cast<std::int64_t>(random.below(6311433600)) - 2208988800;
      const auto micros = seconds * 1000000 + static_cast<std::int64_t>(random.below(1000000));
      const vecamera::Date date{std::chrono::microseconds(micros)};
      ASSERT_EQ(toDate(toNSDate(date)), date) << micros;
    }
  }
}

}  // namespace
}  // namespace vecamera_ios
