#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/ios/runtime/LivingObjects.h"

namespace vecamera::ios {
namespace {

enum class Kind { boolean, integer, real };

Kind kindOf(NSNumber* number) {
  const auto object = (__bridge CFTypeRef)number;
  if (CFGetTypeID(object) == CFBooleanGetTypeID()) return Kind::boolean;
  EXPECT_EQ(CFGetTypeID(object), CFNumberGetTypeID());
  return CFNumberIsFloatType((__bridge CFNumberRef)number) ? Kind::real : Kind::integer;
}

TEST(BridgingTest, ANumberIsKnownByWhatItHolds) {
  @autoreleasepool {
    NSData* json = [@"[true, 1.5]" dataUsingEncoding:NSUTF8StringEncoding];
    NSArray* parsed = [NSJSONSerialization JSONObjectWithData:json
                                                      options:NSJSONReadingOptions {}
                                                        error:nil];
    const bool flag = true;
    const struct {
      NSNumber* number;
      Kind kind;
    } cases[] = {
        {@YES, Kind::boolean},
        {@(flag), Kind::boolean},
        {(__bridge NSNumber*)kCFBooleanFalse, Kind::boolean},
        {parsed[0], Kind::boolean},
        {@1, Kind::integer},
        {@('\1'), Kind::integer},
        {[NSNumber numberWithChar:1], Kind::integer},
        {[NSNumber numberWithInteger:0], Kind::integer},
        {@(std::numeric_limits<std::int64_t>::min()), Kind::integer},
        {@(std::numeric_limits<std::uint64_t>::max()), Kind::integer},
        {@1.0, Kind::real},
        {@1.0f, Kind::real},
        {@(std::numeric_limits<double>::infinity()), Kind::real},
        {parsed[1], Kind::real},
    };
    for (const auto& [number, kind] : cases)
      EXPECT_EQ(kindOf(number), kind)
          << number.description.UTF8String << " " << NSStringFromClass([number class]).UTF8String;
  }
}

TEST(BridgingTest, NumbersStayThemselvesInADictionary) {
  @autoreleasepool {
    const std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
    const double tiny = std::numeric_limits<double>::denorm_min();
    NSDictionary* dictionary = @{
      @"smallest" : @(smallest),
      @"large" : @(std::uint64_t{1} << 63),
      @"tiny" : @(tiny),
      @"null" : [NSNull null]
    };
    EXPECT_EQ([dictionary[@"smallest"] longLongValue], smallest);
    EXPECT_EQ([dictionary[@"large"] unsignedLongLongValue], std::uint64_t { 1 } << 63);
    EXPECT_EQ([dictionary[@"tiny"] doubleValue], tiny);
    EXPECT_EQ(dictionary[@"null"], (__bridge id)kCFNull);
    EXPECT_EQ(dictionary[@"absent"], nil);
  }
}

TEST(BridgingTest, DataOverSomebodyElsesBytesReleasesThemOnce) {
  countLivingObjects();
  std::vector<std::uint8_t> bytes(1 << 20, 0x5a);
  const void* start = bytes.data();
  const NSUInteger size = bytes.size();
  __block int released = 0;
  @autoreleasepool {
    NSData* data = [[NSData alloc] initWithBytesNoCopy:bytes.data()
                                                length:bytes.size()
                                           deallocator:^(void* freed, NSUInteger length) {
                                             EXPECT_EQ(freed, start);
                                             EXPECT_EQ(length, size);
                                             ++released;
                                           }];
    EXPECT_EQ(data.bytes, start);
    NSData* copy = [data copy];
    EXPECT_EQ(copy.length, size);
    EXPECT_EQ(released, 0);
  }
  EXPECT_EQ(released, 1);
}

TEST(BridgingTest, TextOutsideOfAsciiComesThrough) {
  @autoreleasepool {
    const std::string text = "\xc3\xa9\xe2\x82\xac\xf0\x9f\x93\xb7 \\ \"";
    NSString* native = @(text.c_str());
    EXPECT_EQ(std::string(native.UTF8String), text);
    EXPECT_TRUE([native isEqualToString:@"é€📷 \\ \""]);
    EXPECT_EQ(native.length, 8u);
    EXPECT_EQ([NSString stringWithUTF8String:"\xff"], nil);
  }
}

TEST(BridgingTest, UrlsAreMadeStrictly) {
  @autoreleasepool {
    EXPECT_EQ([NSURL URLWithString:@"a b" encodingInvalidCharacters:NO], nil);
    EXPECT_STREQ(
        [NSURL URLWithString:@"x:/a%20b" encodingInvalidCharacters:NO].absoluteString.UTF8String,
        "x:/a%20b");
    EXPECT_STREQ([NSURL fileURLWithPath:@"/a b/é"].absoluteString.UTF8String,
                 "file:///a%20b/%C3%A9");
  }
}

TEST(BridgingTest, AFileIsReadToItsEnd) {
  @autoreleasepool {
    NSString* path = [NSTemporaryDirectory()
        stringByAppendingPathComponent:NSProcessInfo.processInfo.globallyUniqueString];
    NSData* written = [@"abcde" dataUsingEncoding:NSUTF8StringEncoding];
    ASSERT_TRUE([NSFileManager.defaultManager createFileAtPath:path
                                                      contents:written
                                                    attributes:nil]);
    NSFileHandle* file = [NSFileHandle fileHandleForReadingAtPath:path];
    unsigned long long size = 0;
    EXPECT_TRUE([file seekToEndReturningOffset:&size error:nil]);
    EXPECT_EQ(size, 5u);
    EXPECT_TRUE([file seekToOffset:3 error:nil]);
    EXPECT_TRUE([[file readDataUpToLength:10 error:nil]
        isEqualToData:[@"de" dataUsingEncoding:NSUTF8StringEncoding]]);
    EXPECT_EQ([file readDataUpToLength:10 error:nil].length, 0u);
    EXPECT_TRUE([NSFileManager.defaultManager removeItemAtPath:path error:nil]);
    NSError* error = nil;
    EXPECT_FALSE([NSFileManager.defaultManager removeItemAtPath:path error:&error]);
    EXPECT_NE(error, nil);
  }
}

}  // namespace
}  // namespace vecamera::ios
