#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// Formatters of a device with the given settings. A fresh formatter has no pattern and formats to
/// the empty text, as it does with a pattern that is none. Any thread.
class DateFormatters : public NSDateFormatters {
 public:
  /// The locale's calendar and digits apply. It may name its calendar
  /// ("ja_JP@calendar=japanese"), otherwise it is the usual one of its region. `isLocale` and
  /// `isTimeZone` hold for the identifiers.
  DateFormatters(std::string localeIdentifier, std::string timeZoneIdentifier);
  std::unique_ptr<NSDateFormatter> makeDateFormatter() override;
  std::optional<NSTimeZone> timeZoneWithAbbreviation(std::string_view abbreviation) override;

 private:
  std::string localeIdentifier_;
  std::string timeZoneIdentifier_;
};

/// An instant from its strict ISO 8601 form: "2026-11-16T14:03:27", a fraction of one to nine
/// digits or none (digits past the microsecond are dropped), and "Z" or an offset like "+09:00".
/// Nothing for any other text and for a date or time that does not exist.
std::optional<Date> parseISO8601(std::string_view text);

/// The form of `parseISO8601` in UTC with six digits of fraction. The date lies in the years 0 to
/// 9999.
std::string formatISO8601(Date date);

/// Whether the text is the name of a zone of the IANA time zone database.
bool isTimeZone(std::string_view identifier);

/// Whether the text is a locale identifier ("en_US", "ar_EG", "th_TH@calendar=buddhist") of a known
/// language, region, calendar and numbering system.
bool isLocale(std::string_view identifier);

}  // namespace vecamera::device::foundation
