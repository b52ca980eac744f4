#include "ios/Sources/Foundation.h"

#import <Foundation/Foundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ios/Sources/Value.h"
#include "tests/contracts/FileManagerContract.h"

extern "C" {
using Implementation = id (*)(id, SEL);
void* class_getClassMethod(Class type, SEL selector);
void* class_getInstanceMethod(Class type, SEL selector);
Implementation method_setImplementation(void* method, Implementation implementation);
}
@interface NSTimeZone (Setting)
@property(class, copy) NSTimeZone* defaultTimeZone;
@end

namespace vecamera {
INSTANTIATE_TEST_SUITE_P(Phone, FileManagerContract,
                         testing::Values([](const std::string& temporaryDirectory) {
                           return std::make_unique<vecamera_ios::FileManager>(temporaryDirectory +
                                                                              "/");
                         }));
}  // namespace vecamera

namespace vecamera_ios {
namespace {

using vecamera::Data;
using namespace std::chrono_literals;
using testing::Optional;

class FileManagerTest : public vecamera::FileManagerFixture, public testing::Test {
 protected:
  FileManagerTest() { files_ = std::make_unique<FileManager>(); }
};

TEST_F(FileManagerTest, TheApplicationsTemporaryDirectoryIsThere) {
  const auto directory = files_->temporaryDirectory();
  ASSERT_TRUE(directory);
  EXPECT_TRUE(directory->ends_with('/'));
  EXPECT_TRUE(files_->fileExistsAtPath(*directory));
}

TEST_F(FileManagerTest, OnlyFileUrlsAndPathsAreWrittenTo) {
  EXPECT_FALSE(files_->writeAtomically(Data::copyOf("1"), vecamera::URL(inside("a b|é"))));
  EXPECT_EQ(contents(inside("a b|é")), "1");
  const auto error = files_->writeAtomically(Data::copyOf("2"), vecamera::URL("https://host/a"));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, toText(NSCocoaErrorDomain));
  EXPECT_EQ(error->code, NSFileWriteUnsupportedSchemeError);
}

TEST_F(FileManagerTest, WhatWasReadOutlivesItsFile) {
  put(inside("a"), std::string(100000, 'x'));
  auto file = files_->fileHandleForReadingAtPath(inside("a"));
  const auto data = file->readDataUpToLength(1000000);
  file.reset();
  EXPECT_FALSE(files_->removeItemAtPath(inside("a")));
  EXPECT_THAT(data, Optional(Data::copyOf(std::string(100000, 'x'))));
}

TEST_F(FileManagerTest, AFileThatCannotBeReadGivesNothing) {
  put(inside("a"));
  const auto file = files_->fileHandleForReadingAtPath(inside("a"));
  static bool isError;
  void* method = class_getInstanceMethod([NSFileHandle class], @selector(readDataUpToLength:
                                                                                      error:));
  const auto original = method_setImplementation(
      method, reinterpret_cast<Implementation>(
                  +[](id, SEL, NSUInteger, NSError* __autoreleasing* error) -> NSData* {
                    if (isError)
                      *error = [NSError errorWithDomain:NSPOSIXErrorDomain code:5 userInfo:nil];
                    return nil;
                  }));
  isError = true;
  EXPECT_EQ(file->readDataUpToLength(1), std::nullopt);
  isError = false;  // some systems give no data at the end
  EXPECT_THAT(file->readDataUpToLength(1), Optional(Data()));
  method_setImplementation(method, original);
}

TEST_F(FileManagerTest, EntriesComeInThePlatformsOrder) {
  for (const char* name : {"c", "a", "d", "b", "e", "f"}) put(inside(name));
  @autoreleasepool {
    NSArray* names = [NSFileManager.defaultManager contentsOfDirectoryAtPath:toNSString(inside())
                                                                       error:nil];
    std::vector<std::string> expected;
    for (NSString* name in names) expected.push_back(toText(name));
    EXPECT_EQ(entries(inside()), expected);
  }
}

// The user's locale and time zone of a test.
class DateFormatterTest : public testing::Test {
 protected:
  DateFormatterTest() {
    @autoreleasepool {
      originalZone_ = NSTimeZone.defaultTimeZone;
      NSTimeZone.defaultTimeZone = [NSTimeZone timeZoneWithName:@"Asia/Seoul"];
      setLocale(@"en_US_POSIX");
      method_ = class_getClassMethod([NSLocale class], @selector(currentLocale));
      original_ = method_setImplementation(method_, [](id, SEL) -> id { return locale; });
    }
  }
  ~DateFormatterTest() override {
    @autoreleasepool {
      method_setImplementation(method_, original_);
      NSTimeZone.defaultTimeZone = originalZone_;
    }
  }
  static void setLocale(NSString* identifier) {
    @autoreleasepool {
      locale = [NSLocale localeWithLocaleIdentifier:identifier];
    }
  }

  static std::string formatted(std::string_view pattern, vecamera::Date date,
                               const std::optional<vecamera::NSTimeZone>& zone) {
    DateFormatters formatters;
    const auto formatter = formatters.makeDateFormatter();
    formatter->setDateFormat(pattern);
    formatter->setTimeZone(zone);
    return formatter->stringFromDate(date);
  }

  const std::optional<vecamera::NSTimeZone> utc_ = DateFormatters().timeZoneWithAbbreviation("UTC");

 private:
  static inline NSLocale* locale;
  void* method_;
  Implementation original_;
  NSTimeZone* originalZone_;
};

TEST_F(DateFormatterTest, SixDigitsOfTheMicrosecondStandWhereThePatternAsksForThem) {
  const vecamera::Date date{1700000000s + 34567us};
  const std::pair<const char*, const char*> cases[] = {
      {"HH:mm:ss.SSSSSS", "22:13:20.034567"},
      {"SSSSSS", "034567"},
      {"SSSSSS SSSSSSmm", "034567 03456713"},
      {"'SSSSSS'SSSSSS", "SSSSSS034567"},
      {"SSSSSS'x'", "034567x"},
      {"''SSSSSS''", "'034567'"},
      {"'a''SSSSSS'SSSSSS", "a'SSSSSS034567"},
      {"'a'''SSSSSS", "a'034567"},
      {"ss.SSS", "20.034"},
      {"yyyyMMddhhmmss", "20231114101320"},
      {"'é'HH", "é22"},
  };
  for (const auto& [pattern, expected] : cases)
    EXPECT_EQ(formatted(pattern, date, utc_), expected) << pattern;
}

TEST_F(DateFormatterTest, EveryMicrosecondAgreesWithArithmetic) {
  std::mt19937_64 random(5);
  DateFormatters formatters;
  const auto formatter = formatters.makeDateFormatter();
  formatter->setDateFormat("yyyy:MM:dd HH:mm:ss.SSSSSS");
  formatter->setTimeZone(utc_);
  for (int i = 0; i < 500; ++i) {
    // From 1938 to 2128; a fraction at the end of its second in every other case.
    const std::chrono::seconds seconds(static_cast<std::int64_t>(random() % 6000000000) -
                                       1000000000);
    const auto micros = i % 2 ? 999000 + random() % 1000 : random() % 1000000;
    const vecamera::Date date{seconds + std::chrono::microseconds(micros)};
    const auto day = std::chrono::floor<std::chrono::days>(date);
    const std::chrono::year_month_day ymd(day);
    const std::chrono::hh_mm_ss time(date - day);
    std::array<char, 64> expected;
    std::snprintf(expected.data(), expected.size(), "%04d:%02u:%02u %02d:%02d:%02d.%06d",
                  static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                  static_cast<unsigned>(ymd.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
                  static_cast<int>(time.subseconds().count()));
    ASSERT_EQ(formatter->stringFromDate(date), expected.data());
  }
}

TEST_F(DateFormatterTest, DigitsAreThoseOfTheUsersLocale) {
  setLocale(@"ar_EG");
  EXPECT_EQ(formatted("HH:mm:ss.SSSSSS", vecamera::Date(1700000000s + 123456us), utc_),
            "٢٢:١٣:٢٠.١٢٣٤٥٦");
}

TEST_F(DateFormatterTest, WithoutAZoneItIsTheDevicesOwn) {
  EXPECT_EQ(formatted("HH:mm", vecamera::Date(0us), utc_), "00:00");
  EXPECT_EQ(formatted("HH:mm", vecamera::Date(0us), std::nullopt), "09:00");
  EXPECT_EQ(DateFormatters().timeZoneWithAbbreviation("no zone"), std::nullopt);
}

TEST(ClockTest, TheTimeIsTheSystems) {
  const auto difference = std::chrono::system_clock::now() - Clock().now();
  EXPECT_LT(std::chrono::abs(difference), 10s);
}

TEST(URLsTest, TextsAreTakenAsTheyAreOrNotAtAll) {
  for (const char* text : {"/a/b.jpg", "file:///a%20b", "https://h:1/a?b=c&d#e",
                           "assets-library://asset/asset.JPG?id=1&ext=JPG"}) {
    const auto url = URLs().URLWithString(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), text);
  }
  for (const char* text : {"/a b", "/é", "/a|b", "http://h/\"", "/%zz", "/\xFF"})
    EXPECT_FALSE(URLs().URLWithString(text)) << text;
}

TEST(URLsTest, PathsAreEscaped) {
  const std::pair<const char*, const char*> paths[] = {
      {"/a b/é", "file:///a%20b/%C3%A9"},
      {"/a%20?#", "file:///a%2520%3F%23"},
      {"/folder/", "file:///folder/"},
      {"/tmp", "file:///tmp"},  // is there, and is a folder
  };
  for (const auto& [path, url] : paths)
    EXPECT_EQ(URLs().fileURLWithPath(path).absoluteString(), url);
  const std::array<const char*, 3> components[] = {
      {"/tmp/", "a.jpg", "/tmp/a.jpg"},
      {"/tmp", "a b/é", "/tmp/a%20b/%C3%A9"},
      {"file:///a", "100%", "file:///a/100%25"},
      {"file:///", "tmp", "file:///tmp"},
  };
  for (const auto& [url, component, expected] : components)
    EXPECT_THAT(URLs().appendingPathComponent(vecamera::URL(url), component),
                Optional(vecamera::URL(expected)));
  EXPECT_FALSE(URLs().appendingPathComponent(vecamera::URL("a b"), "c"));
}

TEST(URLsTest, OnlyTheGivenAndTheForeignCharactersAreEncoded) {
  const std::array<const char*, 3> cases[] = {
      {"a&b c%20", "&", "a%26b c%20"},
      {"é€📷", "", "%C3%A9%E2%82%AC%F0%9F%93%B7"},
      {"a%b", "%", "a%25b"},
      {"", "&", ""},
  };
  for (const auto& [text, escaped, expected] : cases)
    EXPECT_THAT(URLs().addingPercentEncoding(text, escaped), Optional(std::string(expected)));
  EXPECT_EQ(URLs().addingPercentEncoding("a\xC3", "&"), std::nullopt);
}

TEST(DataBase64Test, PiecesGiveTheTextOfTheWhole) {
  const DataBase64 base64;
  EXPECT_EQ(base64.base64EncodedString("data:,", Data::copyOf("Many hands\xFF\xFE")),
            "data:,TWFueSBoYW5kc//+");
  EXPECT_EQ(base64.base64EncodedString("p", Data()), "p");
  std::string bytes;
  for (std::size_t size = 0; size < 300; ++size, bytes += static_cast<char>(size * 7)) {
    @autoreleasepool {
      const std::string whole = base64.base64EncodedString("", Data::copyOf(bytes));
      NSData* decoded = [[NSData alloc] initWithBase64EncodedString:toNSString(whole)
                                                            options:NSDataBase64DecodingOptions{}];
      ASSERT_EQ(toData(decoded), Data::copyOf(bytes));
      std::string text;
      base64.appendBase64(text, Data::copyOf(bytes.substr(0, size / 2 / 3 * 3)));
      base64.appendBase64(text, Data::copyOf(bytes.substr(size / 2 / 3 * 3)));
      ASSERT_EQ(text, whole);
    }
  }
}

class BundlesTest : public FileManagerTest {};

TEST_F(BundlesTest, ResourcesAndTextsComeFromTheBundle) {
  put(inside("V.bundle/picture.png"));
  put(inside("V.bundle/en.lproj/Localizable.strings"), "\"CANCEL\" = \"Dismiss\";");
  const auto bundle = Bundles().bundleWithPath(inside("V.bundle"));
  ASSERT_NE(bundle, nullptr);
  EXPECT_THAT(bundle->pathForResource("picture", "png"), Optional(inside("V.bundle/picture.png")));
  EXPECT_EQ(bundle->pathForResource("picture", "jpg"), std::nullopt);
  EXPECT_EQ(bundle->localizedStringForKey("CANCEL"), "Dismiss");
  EXPECT_EQ(bundle->localizedStringForKey("OTHER"), "OTHER");
  EXPECT_EQ(Bundles().bundleWithPath(inside("missing.bundle")), nullptr);
  const auto main = Bundles().mainBundle();
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(main->pathForResource("no such resource", "bundle"), std::nullopt);
}

// GNUstep says on the error output where an object is left to a pool and there is none.
TEST_F(FileManagerTest, NothingNeedsAPoolOfTheCallers) {
  put(inside("a/b"), "text");
  testing::internal::CaptureStderr();
  files_->temporaryDirectory();
  files_->fileExistsAtPath(inside("a"));
  files_->createFileAtPath(inside("c"), Data::copyOf("x"));
  EXPECT_EQ(entries(inside()).size(), 3u);
  files_->fileHandleForReadingAtPath(inside("c"))->readDataUpToLength(1);
  files_->removeItemAtPath(inside("missing"));
  files_->writeAtomically(Data::copyOf("x"), vecamera::URL(inside("d")));
  files_->writeAtomically(Data::copyOf("x"), vecamera::URL("http://host/d"));
  Clock().now();
  DateFormatters formatters;
  const auto formatter = formatters.makeDateFormatter();
  formatter->setDateFormat("HH.SSSSSS");
  formatter->setTimeZone(formatters.timeZoneWithAbbreviation("UTC"));
  formatter->stringFromDate(vecamera::Date(1us));
  const auto url = URLs().URLWithString("file:///a");
  URLs().appendingPathComponent(*url, "b");
  URLs().fileURLWithPath("/a b");
  DataBase64().base64EncodedString("data:", Data::copyOf("x"));
  const auto bundle = Bundles().bundleWithPath(inside("a"));
  bundle->pathForResource("b", "");
  bundle->localizedStringForKey("key");
  Bundles().mainBundle()->localizedStringForKey("key");
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::Not(testing::HasSubstr("without pool")));
}

TEST(ProcessTest, ALineIsPrintedAsItIs) {
  testing::internal::CaptureStdout();
  Process().print("100% of é");
  Process().print("");
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "100% of é\n\n");
}

TEST(ProcessDeathTest, AFatalErrorIsLoggedAndEndsTheProcess) {
  EXPECT_DEATH(Process().fatalError("There is no 100% directory."), "There is no 100% directory.");
}

}  // namespace
}  // namespace vecamera_ios
