#include "device/foundation/Dates.h"

#include <unicode/calendar.h>
#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>
#include <unicode/numsys.h>
#include <unicode/region.h>
#include <unicode/smpdtfmt.h>
#include <unicode/strenum.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <regex>
#include <utility>

namespace vecamera::device::foundation {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int>(text.size())));
}

std::unique_ptr<icu::TimeZone> timeZone(std::string_view identifier) {
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(unicode(identifier)));
}

class DateFormatter : public NSDateFormatter {
 public:
  DateFormatter(const icu::Locale& locale, std::string deviceZone)
      : locale_(locale), deviceZone_(std::move(deviceZone)), symbols_(locale, symbolsStatus_) {}

  void setDateFormat(std::string_view pattern) override {
    pattern_ = unicode(pattern);
    UErrorCode status = U_ZERO_ERROR;
    format_ = std::make_unique<icu::SimpleDateFormat>(pattern_, locale_, status);
    if (U_FAILURE(status)) format_.reset();
    applyZone();
  }

  void setTimeZone(const std::optional<NSTimeZone>& zone) override {
    zone_ = zone;
    applyZone();
  }

  std::string stringFromDate(Date date) const override {
    if (!format_) return "";
    format_->applyPattern(patternWithFraction(date));
    const auto sinceEpoch = std::chrono::floor<milliseconds>(date.time_since_epoch());
    icu::UnicodeString formatted;
    format_->format(static_cast<UDate>(sinceEpoch.count()), formatted);
    std::string text;
    return formatted.toUTF8String(text);
  }

 private:
  void applyZone() {
    if (format_)
      format_->adoptTimeZone(timeZone(zone_ ? zone_->identifier : deviceZone_).release());
  }

  /// The pattern with each run of "S" replaced by the digits of the date's fraction, because the
  /// library's own fraction ends at the millisecond. Digits stand for themselves in a pattern.
  icu::UnicodeString patternWithFraction(Date date) const {
    icu::UnicodeString pattern;
    bool quoted = false;
    int position = 0;
    for (int32_t i = 0; i < pattern_.length(); ++i) {
      const char16_t c = pattern_[i];
      if (c == u'\'') quoted = !quoted;
      if (c != u'S' || quoted) {
        position = 0;
        pattern += c;
      } else {
        pattern += localizedDigit(fractionDigit(date, position++));
      }
    }
    return pattern;
  }

  static int fractionDigit(Date date, int position) {
    auto fraction = (date - std::chrono::floor<std::chrono::seconds>(date)).count();
    for (int i = position; i < 5; ++i) fraction /= 10;
    return position < 6 ? static_cast<int>(fraction % 10) : 0;
  }

  icu::UnicodeString localizedDigit(int digit) const {
    // The symbols of the digits one to nine follow each other, apart from that of zero.
    const int symbol = digit == 0 ? icu::DecimalFormatSymbols::kZeroDigitSymbol
                                  : icu::DecimalFormatSymbols::kOneDigitSymbol + digit - 1;
    return symbols_.getSymbol(static_cast<icu::DecimalFormatSymbols::ENumberFormatSymbol>(symbol));
  }

  icu::Locale locale_;
  std::string deviceZone_;
  UErrorCode symbolsStatus_ = U_ZERO_ERROR;
  icu::DecimalFormatSymbols symbols_;
  icu::UnicodeString pattern_;
  std::optional<NSTimeZone> zone_;
  std::unique_ptr<icu::SimpleDateFormat> format_;
};

/// What the platform makes of an abbreviation: a place for most, so that a summer abbreviation
/// and its winter one are the same zone.
constexpr std::pair<std::string_view, std::string_view> abbreviations[] = {
    {"UTC", "UTC"},
    {"GMT", "GMT"},
    {"BST", "Europe/London"},
    {"WET", "Europe/Lisbon"},
    {"CET", "Europe/Paris"},
    {"CEST", "Europe/Paris"},
    {"EET", "Europe/Athens"},
    {"MSK", "Europe/Moscow"},
    {"IST", "Asia/Kolkata"},
    {"SGT", "Asia/Singapore"},
    {"HKT", "Asia/Hong_Kong"},
    {"KST", "Asia/Seoul"},
    {"JST", "Asia/Tokyo"},
    {"NZST", "Pacific/Auckland"},
    {"EST", "America/New_York"},
    {"EDT", "America/New_York"},
    {"CST", "America/Chicago"},
    {"CDT", "America/Chicago"},
    {"MST", "America/Denver"},
    {"MDT", "America/Denver"},
    {"PST", "America/Los_Angeles"},
    {"PDT", "America/Los_Angeles"}};

bool isRegion(const char* code) {
  UErrorCode status = U_ZERO_ERROR;
  return icu::Region::getInstance(code, status) && U_SUCCESS(status);
}

bool isCalendar(std::string_view type) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::StringEnumeration> known(
      icu::Calendar::getKeywordValuesForLocale("calendar", icu::Locale::getRoot(), false, status));
  while (U_SUCCESS(status)) {
    const char* name = known->next(nullptr, status);
    if (!name) break;
    if (type == name) return true;
  }
  return false;
}

bool isNumberingSystem(const std::string& name) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberingSystem> system(
      icu::NumberingSystem::createInstanceByName(name.c_str(), status));
  return U_SUCCESS(status) && system;
}

std::optional<std::string> keyword(const icu::Locale& locale, const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  const auto value = locale.getKeywordValue<std::string>(name, status);
  if (U_FAILURE(status) || value.empty()) return std::nullopt;
  return value;
}

}  // namespace

DateFormatters::DateFormatters(std::string localeIdentifier, std::string timeZoneIdentifier)
    : localeIdentifier_(std::move(localeIdentifier)),
      timeZoneIdentifier_(std::move(timeZoneIdentifier)) {}

std::unique_ptr<NSDateFormatter> DateFormatters::makeDateFormatter() {
  return std::make_unique<DateFormatter>(icu::Locale(localeIdentifier_.c_str()),
                                         timeZoneIdentifier_);
}

std::optional<NSTimeZone> DateFormatters::timeZoneWithAbbreviation(std::string_view abbreviation) {
  for (const auto& [known, identifier] : abbreviations)
    if (known == abbreviation) return NSTimeZone{std::string(identifier)};
  return std::nullopt;
}

std::optional<Date> parseISO8601(std::string_view text) {
  static const std::regex form(
      "([0-9]{4})-([0-9]{2})-([0-9]{2})T([01][0-9]|2[0-3]):([0-5][0-9]):([0-5][0-9])"
      "(?:[.]([0-9]{1,9}))?(?:Z|([+-])([01][0-9]|2[0-3]):([0-5][0-9]))");
  std::cmatch parts;
  if (!std::regex_match(text.data(), text.data() + text.size(), parts, form)) return std::nullopt;
  const auto number = [&parts](std::size_t part) {
    int value = 0;
    std::from_chars(parts[part].first, parts[part].second, value);
    return value;
  };
  const std::chrono::year_month_day day{std::chrono::year(number(1)),
                                        std::chrono::month(static_cast<unsigned>(number(2))),
                                        std::chrono::day(static_cast<unsigned>(number(3)))};
  if (!day.ok()) return std::nullopt;
  const auto fraction = (parts[7].str() + "000000").substr(0, 6);
  const auto offset = std::chrono::hours(number(9)) + std::chrono::minutes(number(10));
  return std::chrono::sys_days(day) + std::chrono::hours(number(4)) +
         std::chrono::minutes(number(5)) + std::chrono::seconds(number(6)) +
         microseconds(std::stoi(fraction)) + (parts[8] == "-" ? offset : -offset);
}

std::string formatISO8601(Date date) {
  const auto day = std::chrono::floor<std::chrono::days>(date);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss time(date - day);
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ",
                static_cast<int>(calendar.year()), static_cast<unsigned>(calendar.month()),
                static_cast<unsigned>(calendar.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                static_cast<int>(time.subseconds().count()));
  return text.data();
}

bool isTimeZone(std::string_view identifier) {
  if (identifier == UCAL_UNKNOWN_ZONE_ID) return false;
  UErrorCode status = U_ZERO_ERROR;
  UBool isSystemId = false;
  icu::UnicodeString canonical;
  icu::TimeZone::getCanonicalID(unicode(identifier), canonical, isSystemId, status);
  return U_SUCCESS(status) && isSystemId;
}

bool isLocale(std::string_view identifier) {
  const bool plain = std::all_of(identifier.begin(), identifier.end(), [](unsigned char c) {
    return c < 0x80 && (std::isalnum(c) || std::string_view("_-@=;").find(static_cast<char>(c)) !=
                                               std::string_view::npos);
  });
  if (!plain || identifier.size() > 100) return false;
  const icu::Locale locale(std::string(identifier).c_str());
  if (locale.isBogus() || *locale.getISO3Language() == '\0') return false;
  if (*locale.getCountry() != '\0' && !isRegion(locale.getCountry())) return false;
  const auto calendar = keyword(locale, "calendar");
  if (calendar && !isCalendar(*calendar)) return false;
  const auto numbers = keyword(locale, "numbers");
  return !numbers || isNumberingSystem(*numbers);
}

}  // namespace vecamera::device::foundation
