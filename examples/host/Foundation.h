#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VECamera/platform/Foundation.h"

// The host's side of Foundation on the standard library.

namespace host {

// Not `using namespace vecamera`: a host on the phone has a UIImage and an NSError of its own.
namespace vc = vecamera;

class Clock : public vc::NSClock {
 public:
  vc::Date now() const override {
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
  }
};

/// Knows the fields y, M, d, H, h, m, s and S, which are all that the module asks for. The device's
/// zone is UTC, and so is every other that it knows.
class DateFormatter : public vc::NSDateFormatter {
 public:
  void setDateFormat(std::string_view pattern) override { pattern_ = pattern; }
  void setTimeZone(const std::optional<vc::NSTimeZone>& /*zone*/) override {}
  std::string stringFromDate(vc::Date date) const override {
    const auto day = std::chrono::floor<std::chrono::days>(date);
    const std::chrono::year_month_day ymd(day);
    const std::chrono::hh_mm_ss time(date - day);
    const auto hour = time.hours().count();
    std::string text;
    for (std::size_t i = 0; i < pattern_.size();) {
      const char field = pattern_[i];
      const auto end = std::min(pattern_.find_first_not_of(field, i), pattern_.size());
      const std::size_t width = end - i;
      i = end;
      switch (field) {
        case 'y': text += padded(static_cast<int>(ymd.year()), width); break;
        case 'M': text += padded(static_cast<unsigned>(ymd.month()), width); break;
        case 'd': text += padded(static_cast<unsigned>(ymd.day()), width); break;
        case 'H': text += padded(hour, width); break;
        case 'h': text += padded(hour % 12 == 0 ? 12 : hour % 12, width); break;
        case 'm': text += padded(time.minutes().count(), width); break;
        case 's': text += padded(time.seconds().count(), width); break;
        case 'S': text += (padded(time.subseconds().count(), 6) + "000").substr(0, width); break;
        default: text.append(width, field);
      }
    }
    return text;
  }

 private:
  static std::string padded(std::int64_t number, std::size_t width) {
    const auto digits = std::to_string(number);
    return std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
  }

  std::string pattern_;
};

class DateFormatters : public vc::NSDateFormatters {
 public:
  std::unique_ptr<vc::NSDateFormatter> makeDateFormatter() override {
    return std::make_unique<DateFormatter>();
  }
  std::optional<vc::NSTimeZone> timeZoneWithAbbreviation(std::string_view abbreviation) override {
    if (abbreviation != "UTC") return std::nullopt;
    return vc::NSTimeZone{"UTC"};
  }
};

/// What stands before the colon of a URL's first segment, where it is a scheme (RFC 3986, section
/// 3.1), and otherwise nothing.
inline std::optional<std::string_view> schemeOf(std::string_view text) {
  const auto isOneOf = [](char c, std::string_view all) { return all.find(c) != all.npos; };
  const auto isAlpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  const auto scheme = text.substr(0, text.find_first_of(":/?#"));
  if (scheme.size() == text.size() || text[scheme.size()] != ':') return std::nullopt;
  if (scheme.empty() || !isAlpha(scheme[0])) return std::nullopt;
  for (const char c : scheme)
    if (!isAlpha(c) && !isOneOf(c, "0123456789+-.")) return std::nullopt;
  return scheme;
}

/// Any thread: nothing here changes.
class URLs : public vc::NSURLs {
 public:
  std::optional<vc::URL> URLWithString(std::string_view text) const override {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const bool isEscape =
          text[i] == '%' && i + 2 < text.size() && isHex(text[i + 1]) && isHex(text[i + 2]);
      if (!isEscape && !isPlain(text[i]) && !isOneOf(text[i], "?#[]")) return std::nullopt;
    }
    // A colon in the first segment ends a scheme.
    const bool hasColon = text.substr(0, text.find_first_of("/?#")).find(':') != text.npos;
    if (text.empty() || (hasColon && !schemeOf(text))) return std::nullopt;
    return vc::URL(std::string(text));
  }
  vc::URL fileURLWithPath(std::string_view path) const override {
    return vc::URL("file://" + escapedPath(path));
  }
  std::optional<vc::URL> appendingPathComponent(const vc::URL& url,
                                                std::string_view component) const override {
    std::string text = url.absoluteString();
    auto end = std::min(text.find_first_of("?#"), text.size());
    if (end == 0 || text[end - 1] != '/') text.insert(end++, "/");
    return vc::URL(text.insert(end, escapedPath(component)));
  }
  std::optional<std::string> addingPercentEncoding(std::string_view text,
                                                   std::string_view escaped) const override {
    if (!isUtf8(text)) return std::nullopt;
    std::string result;
    for (const char c : text)
      (static_cast<unsigned char>(c) >= 0x80 || isOneOf(c, escaped)) ? appendEscape(result, c)
                                                                     : result.push_back(c);
    return result;
  }

 private:
  static bool isOneOf(char c, std::string_view all) { return all.find(c) != all.npos; }
  static bool isHex(char c) { return isOneOf(c, "0123456789ABCDEFabcdef"); }
  /// What stands unescaped in a path (RFC 3986, section 3.3).
  static bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           isOneOf(c, "-._~!$&'()*+,;=:@/");
  }
  static void appendEscape(std::string& text, char c) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    text += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  static std::string escapedPath(std::string_view path) {
    std::string text;
    for (const char c : path) isPlain(c) ? text.push_back(c) : appendEscape(text, c);
    return text;
  }
  /// No overlong forms, no surrogates, nothing above U+10FFFF (RFC 3629).
  static bool isUtf8(std::string_view text) {
    while (!text.empty()) {
      const auto first = static_cast<unsigned char>(text[0]);
      const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
      if ((first >= 0x80 && first < 0xC2) || first > 0xF4 || length > text.size()) return false;
      std::uint32_t point = length == 1 ? first : first & (0x7Fu >> length);
      for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0) != 0x80) return false;
        point = point << 6 | (next & 0x3Fu);
      }
      constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
      if (point < smallest[length] || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000))
        return false;
      text.remove_prefix(length);
    }
    return true;
  }
};

/// RFC 4648, with padding.
class Base64 : public vc::NSDataBase64 {
 public:
  std::string base64EncodedString(std::string_view prefix, const vc::Data& data) const override {
    std::string text(prefix);
    appendBase64(text, data);
    return text;
  }
  void appendBase64(std::string& text, const vc::Data& data) const override {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto bytes = data.bytes();
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
      const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
      std::uint32_t group = 0;
      for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? bytes[i + k] : 0u);
      for (std::size_t k = 0; k < 4; ++k)
        text += k <= count ? digits[group >> (18 - 6 * k) & 63] : '=';
    }
  }
};

/// A bundle without resources: the texts of alerts are empty.
class EmptyBundle : public vc::NSBundle {
 public:
  std::optional<std::string> pathForResource(std::string_view /*name*/,
                                             std::string_view /*type*/) override {
    return std::nullopt;
  }
  std::string localizedStringForKey(std::string_view key) override { return std::string(key); }
};

class Bundles : public vc::NSBundles {
 public:
  std::unique_ptr<vc::NSBundle> mainBundle() override { return std::make_unique<EmptyBundle>(); }
  std::unique_ptr<vc::NSBundle> bundleWithPath(std::string_view /*path*/) override {
    return nullptr;
  }
};

class Process : public vc::NSProcess {
 public:
  void print(std::string_view line) override {
    const std::lock_guard lock(mutex_);
    std::cout << line << '\n';
  }
  [[noreturn]] void fatalError(std::string_view message) override {
    std::cerr << message << std::endl;
    std::abort();
  }

 private:
  std::mutex mutex_;
};

}  // namespace host
