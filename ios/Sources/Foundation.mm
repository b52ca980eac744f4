#include "ios/Sources/Foundation.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "ios/Sources/Utf8.h"
#include "ios/Sources/Value.h"

namespace vecamera_ios {
namespace {

using namespace std::chrono_literals;

/// The pattern's pieces around each "SSSSSS" outside of its quoted parts.
std::vector<std::string> splitAtMicroseconds(std::string_view pattern) {
  std::vector<std::string> pieces(1);
  bool isQuoted = false;
  while (!pattern.empty()) {
    const char letter = pattern[0];
    const auto run = std::min(pattern.find_first_not_of(letter), pattern.size());
    // An even run stands for apostrophes, and quotes nothing.
    if (letter == '\'' && run % 2 == 1) isQuoted = !isQuoted;
    if (letter == 'S' && run == 6 && !isQuoted)
      pieces.emplace_back();
    else
      pieces.back().append(run, letter);
    pattern.remove_prefix(run);
  }
  return pieces;
}

/// With the user's locale and calendar, so neither is set.
class DateFormatter : public vecamera::NSDateFormatter {
 public:
  void setDateFormat(std::string_view pattern) override { pieces_ = splitAtMicroseconds(pattern); }

  void setTimeZone(const std::optional<vecamera::NSTimeZone>& zone) override {
    @autoreleasepool {
      formatter_.timeZone =
          zone ? [::NSTimeZone timeZoneWithName:toNSString(zone->identifier)] : nil;
    }
  }

  std::string stringFromDate(vecamera::Date date) const override {
    @autoreleasepool {
      std::string pattern = pieces_.front();
      if (pieces_.size() > 1) {
        // Digits stand for themselves in a pattern. Quotes around them would join with those of a
        // quoted part beside them.
        const std::string digits = microsecondsOf(date);
        for (std::size_t i = 1; i < pieces_.size(); ++i) pattern += digits + pieces_[i];
      }
      return format(pattern, std::chrono::floor<std::chrono::milliseconds>(date));
    }
  }

 private:
  /// Six digits, as the user's locale writes them. The platform's fraction ends at the millisecond,
  /// so it writes the milliseconds first and then the microseconds as if they were some.
  std::string microsecondsOf(vecamera::Date date) const {
    const auto fraction = date - std::chrono::floor<std::chrono::seconds>(date);
    const auto part = [&](std::int64_t number) {
      return format("SSS", vecamera::Date(std::chrono::milliseconds(number)));
    };
    return part(fraction.count() / 1000) + part(fraction.count() % 1000);
  }

  /// The date is a whole millisecond. As a double it may lie below, and the platform may round up
  /// or down: a little later, both give that millisecond.
  std::string format(std::string_view pattern, vecamera::Date date) const {
    formatter_.dateFormat = toNSString(pattern);
    return toText([formatter_ stringFromDate:toNSDate(date + 200us)]);
  }

  ::NSDateFormatter* const formatter_ = [[::NSDateFormatter alloc] init];
  std::vector<std::string> pieces_{1};
};

class Bundle : public vecamera::NSBundle {
 public:
  explicit Bundle(::NSBundle* bundle) : bundle_(bundle) {}
  ~Bundle() override {
    @autoreleasepool {
      bundle_ = nil;
    }
  }

  std::optional<std::string> pathForResource(std::string_view name,
                                             std::string_view type) override {
    @autoreleasepool {
      NSString* path = [bundle_ pathForResource:toNSString(name) ofType:toNSString(type)];
      if (!path) return std::nullopt;
      return toText(path);
    }
  }
  std::string localizedStringForKey(std::string_view key) override {
    @autoreleasepool {
      return toText([bundle_ localizedStringForKey:toNSString(key) value:nil table:nil]);
    }
  }

 private:
  ::NSBundle* bundle_;
};

}  // namespace

vecamera::Date Clock::now() const {
  @autoreleasepool {
    return toDate([NSDate date]);
  }
}

std::unique_ptr<vecamera::NSDateFormatter> DateFormatters::makeDateFormatter() {
  @autoreleasepool {
    return std::make_unique<DateFormatter>();
  }
}

std::optional<vecamera::NSTimeZone> DateFormatters::timeZoneWithAbbreviation(
    std::string_view abbreviation) {
  @autoreleasepool {
    NSTimeZone* zone = [NSTimeZone timeZoneWithAbbreviation:toNSString(abbreviation)];
    if (!zone) return std::nullopt;
    return vecamera::NSTimeZone{toText(zone.name)};
  }
}

std::optional<vecamera::URL> URLs::URLWithString(std::string_view text) const {
  @autoreleasepool {
    NSURL* url = toNSURL(vecamera::URL(std::string(text)));
    if (!url) return std::nullopt;
    return toURL(url);
  }
}

vecamera::URL URLs::fileURLWithPath(std::string_view path) const {
  @autoreleasepool {
    // Without knowing whether it is a folder, the platform would ask the disk.
    return toURL([NSURL fileURLWithPath:toNSString(path) isDirectory:path.ends_with('/')]);
  }
}

std::optional<vecamera::URL> URLs::appendingPathComponent(const vecamera::URL& url,
                                                          std::string_view component) const {
  @autoreleasepool {
    NSURL* appended = [toNSURL(url) URLByAppendingPathComponent:toNSString(component)
                                                    isDirectory:NO];
    if (!appended) return std::nullopt;
    return toURL(appended);
  }
}

std::optional<std::string> URLs::addingPercentEncoding(std::string_view text,
                                                       std::string_view escaped) const {
  if (utf8PrefixLength(text) != text.size()) return std::nullopt;
  constexpr std::string_view hexDigits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (byte >= 0x80 || escaped.find(c) != escaped.npos)
      result += {'%', hexDigits[byte >> 4], hexDigits[byte & 15]};
    else
      result += c;
  }
  return result;
}

std::string DataBase64::base64EncodedString(std::string_view prefix,
                                            const vecamera::Data& data) const {
  std::string text;
  text.reserve(prefix.size() + (data.size() + 2) / 3 * 4);
  text += prefix;
  appendBase64(text, data);
  return text;
}

void DataBase64::appendBase64(std::string& text, const vecamera::Data& data) const {
  @autoreleasepool {
    NSData* encoded = [toNSData(data) base64EncodedDataWithOptions:NSDataBase64EncodingOptions{}];
    text.append(static_cast<const char*>(encoded.bytes), encoded.length);
  }
}

std::unique_ptr<vecamera::NSBundle> Bundles::mainBundle() {
  @autoreleasepool {
    return std::make_unique<Bundle>(NSBundle.mainBundle);
  }
}

std::unique_ptr<vecamera::NSBundle> Bundles::bundleWithPath(std::string_view path) {
  @autoreleasepool {
    NSBundle* bundle = [NSBundle bundleWithPath:toNSString(path)];
    return bundle ? std::make_unique<Bundle>(bundle) : nullptr;
  }
}

void Process::print(std::string_view line) {
  const std::string text = std::string(line) + '\n';
  std::fwrite(text.data(), 1, text.size(), stdout);
}

void Process::fatalError(std::string_view message) {
  @autoreleasepool {
    NSLog(@"%@", toNSString(message));
  }
  std::abort();
}

}  // namespace vecamera_ios
