#include "device/foundation/Dates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

namespace vecamera::device::foundation {
namespace {

using std::chrono::microseconds;
using testing::Optional;

Date instant(std::string_view text) {
  return parseISO8601(text).value();
}

std::string formatted(const std::string& locale, const std::string& zone, std::string_view pattern,
                      Date date) {
  DateFormatters formatters(locale, zone);
  const auto formatter = formatters.makeDateFormatter();
  formatter->setDateFormat(pattern);
  return formatter->stringFromDate(date);
}

TEST(DateFormattersTest, CalendarAndDigitsOfTheLocaleApply) {
  const Date date = instant("2026-11-16T14:03:27.123456Z");
  const struct {
    const char* locale;
    const char* pattern;
    const char* expected;
  } cases[] = {
      {"en_US", "yyyyMMddhhmmss", "20261116020327"},
      {"ko_KR", "yyyyMMddhhmmss", "20261116020327"},
      {"ja_JP", "yyyyMMddhhmmss", "20261116020327"},
      {"ja_JP@calendar=japanese", "yyyyMMddhhmmss", "00081116020327"},
      {"th_TH@calendar=buddhist", "yyyy:MM:dd", "2569:11:16"},
      {"en_US@calendar=buddhist", "yyyy:MM:dd", "2569:11:16"},
      {"ar_EG", "yyyyMMddhhmmss", "٢٠٢٦١١١٦٠٢٠٣٢٧"},
      {"ar_EG", "HH:mm:ss.SSSSSS", "١٤:٠٣:٢٧.١٢٣٤٥٦"},
      {"ar_EG@numbers=latn", "HH:mm:ss.SSSSSS", "14:03:27.123456"},
  };
  for (const auto& [locale, pattern, expected] : cases) {
    EXPECT_EQ(formatted(locale, "UTC", pattern, date), expected) << locale;
  }
}

TEST(DateFormattersTest, TwelveHourStampAgreesWithArithmetic) {
  // Zones that have kept their offset over the years drawn from.
  const std::pair<const char*, int> zones[] = {{"UTC", 0},
                                               {"Asia/Seoul", 540},
                                               {"Asia/Kolkata", 330},
                                               {"Asia/Kathmandu", 345},
                                               {"Etc/GMT+11", -660},
                                               {"America/Phoenix", -420}};
  std::mt19937_64 random(5);
  const auto first = instant("1990-01-01T00:00:00Z").time_since_epoch().count();
  const auto last = instant("2090-01-01T00:00:00Z").time_since_epoch().count();
  for (const auto& [zone, offsetMinutes] : zones) {
    DateFormatters formatters("en_US", zone);
    const auto formatter = formatters.makeDateFormatter();
    formatter->setDateFormat("yyyyMMddhhmmss");
    for (int round = 0; round < 2000; ++round) {
      const Date date(microseconds(first + static_cast<std::int64_t>(random() % (last - first))));
      // "2026-11-16T14:03:27.123456Z", shifted to the zone.
      const std::string iso = formatISO8601(date + std::chrono::minutes(offsetMinutes));
      const int hour = (std::stoi(iso.substr(11, 2)) + 11) % 12 + 1;
      const std::string expected = iso.substr(0, 4) + iso.substr(5, 2) + iso.substr(8, 2) +
                                   (hour < 10 ? "0" : "") + std::to_string(hour) +
                                   iso.substr(14, 2) + iso.substr(17, 2);
      ASSERT_EQ(formatter->stringFromDate(date), expected) << iso;
    }
  }
}

TEST(DateFormattersTest, FractionIsTrueToTheMicrosecondAlsoBefore1970) {
  std::mt19937_64 random(6);
  DateFormatters formatters("en_US", "Asia/Seoul");
  const auto formatter = formatters.makeDateFormatter();
  formatter->setDateFormat("HH:mm:ss.SSSSSS");
  formatter->setTimeZone(formatters.timeZoneWithAbbreviation("UTC"));
  for (int round = 0; round < 2000; ++round) {
    const Date date(microseconds(static_cast<std::int64_t>(random() % 4'000'000'000'000'000) -
                                 2'000'000'000'000'000));
    ASSERT_EQ(formatter->stringFromDate(date), formatISO8601(date).substr(11, 15));
  }
}

TEST(DateFormattersTest, FractionHasAsManyDigitsAsThePatternAsksForAndQuotesAreKept) {
  const Date date = instant("2026-01-02T03:04:05.987654Z");
  EXPECT_EQ(formatted("en_US", "UTC", "S SS SSS SSSSSSSS", date), "9 98 987 98765400");
  EXPECT_EQ(formatted("en_US", "UTC", "'SSS'SSS''ss", date), "SSS987'05");
}

TEST(DateFormattersTest, ZoneOfTheFormatterReplacesThatOfTheDeviceUntilItIsTakenBack) {
  DateFormatters formatters("en_US", "America/New_York");
  const auto formatter = formatters.makeDateFormatter();
  EXPECT_EQ(formatter->stringFromDate(Date()), "");
  formatter->setTimeZone(NSTimeZone{"UTC"});
  formatter->setDateFormat("HH");
  const Date winter = instant("2026-01-15T12:00:00Z");
  EXPECT_EQ(formatter->stringFromDate(winter), "12");
  formatter->setTimeZone(std::nullopt);
  EXPECT_EQ(formatter->stringFromDate(winter), "07");
  EXPECT_EQ(formatter->stringFromDate(instant("2026-07-15T12:00:00Z")), "08");
}

TEST(DateFormattersTest, EveryKnownAbbreviationNamesAZone) {
  DateFormatters formatters("en_US", "UTC");
  for (const char* known : {"UTC", "GMT", "EST", "EDT", "PST", "CET", "JST", "KST", "IST"}) {
    const auto zone = formatters.timeZoneWithAbbreviation(known);
    ASSERT_TRUE(zone) << known;
    EXPECT_TRUE(isTimeZone(zone->identifier)) << known;
  }
  EXPECT_FALSE(formatters.timeZoneWithAbbreviation("XYZ"));
  EXPECT_FALSE(formatters.timeZoneWithAbbreviation(""));
}

TEST(DatesTest, ReadsInstantsWithOffsetsAndFractions) {
  const Date base = instant("2026-11-16T14:03:27Z");
  const std::pair<const char*, microseconds> cases[] = {
      {"2026-11-16T14:03:27.1Z", microseconds(100000)},
      {"2026-11-16T14:03:27.123456Z", microseconds(123456)},
      {"2026-11-16T14:03:27.123456999Z", microseconds(123456)},
      {"2026-11-16T23:03:27+09:00", microseconds(0)},
      {"2026-11-16T09:33:27.5-04:30", microseconds(500000)},
      {"2026-11-17T00:03:27+10:00", microseconds(0)},
  };
  for (const auto& [text, ahead] : cases) EXPECT_THAT(parseISO8601(text), Optional(base + ahead));
  EXPECT_EQ(instant("1970-01-01T00:00:00Z"), Date());
  EXPECT_EQ(instant("1969-12-31T23:59:59.999999Z"), Date(microseconds(-1)));
  EXPECT_TRUE(parseISO8601("2024-02-29T00:00:00Z"));
}

TEST(DatesTest, RejectsOtherFormsAndImpossibleDates) {
  for (const char* text : {"",
                           "2026-11-16",
                           "2026-11-16T14:03Z",
                           "2026-11-16T14:03:27",
                           "2026-11-16 14:03:27Z",
                           "2026-11-16t14:03:27z",
                           "2026-11-16T14:03:27.Z",
                           "2026-11-16T14:03:27.1234567890Z",
                           "2026-11-16T14:03:27Zx",
                           " 2026-11-16T14:03:27Z",
                           "26-11-16T14:03:27Z",
                           "+2026-11-16T14:03:27Z",
                           "2026-13-01T00:00:00Z",
                           "2026-00-01T00:00:00Z",
                           "2026-02-29T00:00:00Z",
                           "2026-04-31T00:00:00Z",
                           "2026-04-00T00:00:00Z",
                           "2026-11-16T24:00:00Z",
                           "2026-11-16T23:60:00Z",
                           "2026-11-16T23:59:60Z",
                           "2026-11-16T14:03:27+24:00",
                           "2026-11-16T14:03:27+0900",
                           "2026-11-16T14:03:27+9:00"}) {
    EXPECT_EQ(parseISO8601(text), std::nullopt) << text;
  }
}

TEST(DatesTest, FormattingAndReadingAreInverse) {
  std::mt19937_64 random(7);
  const auto first = instant("0000-01-01T00:00:00Z").time_since_epoch().count();
  const auto last = instant("9999-12-31T23:59:59.999999Z").time_since_epoch().count();
  for (int round = 0; round < 5000; ++round) {
    const Date date(microseconds(first + static_cast<std::int64_t>(random() % (last - first))));
    ASSERT_THAT(parseISO8601(formatISO8601(date)), Optional(date));
  }
  EXPECT_EQ(formatISO8601(Date(microseconds(-1))), "1969-12-31T23:59:59.999999Z");
}

TEST(DatesTest, KnownZonesAndLocalesAreTakenAndOthersAreNot) {
  for (const char* zone : {"UTC", "Europe/Berlin", "America/Argentina/Buenos_Aires", "Etc/GMT+5"}) {
    EXPECT_TRUE(isTimeZone(zone)) << zone;
  }
  for (const char* zone : {"", "Mars/Olympus", "GMT+25:99", "Etc/Unknown", "europe berlin"}) {
    EXPECT_FALSE(isTimeZone(zone)) << zone;
  }
  for (const char* locale : {"en", "en_US", "de-AT", "zh_Hant_TW", "es_419", "ar_EG@numbers=latn",
                             "ja_JP@calendar=japanese", "th_TH@calendar=buddhist"}) {
    EXPECT_TRUE(isLocale(locale)) << locale;
  }
  for (const char* locale : {"", "English", "xx_US", "en_XX", "en US", "en_US@calendar=martian",
                             "en_US@numbers=none", "@calendar=japanese", "../en"}) {
    EXPECT_FALSE(isLocale(locale)) << locale;
  }
}

}  // namespace
}  // namespace vecamera::device::foundation
