#pragma once

#import <Foundation/Foundation.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "VECamera/platform/Foundation.h"

namespace vecamera_ios {

class Clock : public vecamera::NSClock {
 public:
  vecamera::Date now() const override;
};

class DateFormatters : public vecamera::NSDateFormatters {
 public:
  std::unique_ptr<vecamera::NSDateFormatter> makeDateFormatter() override;
  std::optional<vecamera::NSTimeZone> timeZoneWithAbbreviation(
      std::string_view abbreviation) override;
};

/// `NSFileManager`. Any thread.
class FileManager : public vecamera::NSFileManager {
 public:
  /// The temporary directory is the application's own.
  FileManager() = default;
  /// With another temporary directory, whose path ends in a slash.
  explicit FileManager(std::string temporaryDirectory)
      : temporaryDirectory_(std::move(temporaryDirectory)) {}

  std::optional<std::string> temporaryDirectory() override;
  /// By the text alone; the platform's own function also resolves links and "~".
  std::string stringByStandardizingPath(std::string_view path) override;
  bool fileExistsAtPath(std::string_view path) override;
  /// Sleeps a little.
  void waitForChangeAtPath(std::string_view path) override;
  bool createFileAtPath(std::string_view path, const vecamera::Data& contents) override;
  std::unique_ptr<vecamera::NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) override;
  std::unique_ptr<vecamera::NSFileHandle> fileHandleForReadingAtPath(
      std::string_view path) override;
  std::optional<vecamera::NSError> removeItemAtPath(std::string_view path) override;
  std::optional<vecamera::NSError> writeAtomically(const vecamera::Data& contents,
                                                   const vecamera::URL& url) override;

 private:
  const std::optional<std::string> temporaryDirectory_;
};

class URLs : public vecamera::NSURLs {
 public:
  std::optional<vecamera::URL> URLWithString(std::string_view text) const override;
  vecamera::URL fileURLWithPath(std::string_view path) const override;
  std::optional<vecamera::URL> appendingPathComponent(const vecamera::URL& url,
                                                      std::string_view component) const override;
  std::optional<std::string> addingPercentEncoding(std::string_view text,
                                                   std::string_view escaped) const override;
};

class DataBase64 : public vecamera::NSDataBase64 {
 public:
  std::string base64EncodedString(std::string_view prefix,
                                  const vecamera::Data& data) const override;
  void appendBase64(std::string& text, const vecamera::Data& data) const override;
};

class Bundles : public vecamera::NSBundles {
 public:
  std::unique_ptr<vecamera::NSBundle> mainBundle() override;
  std::unique_ptr<vecamera::NSBundle> bundleWithPath(std::string_view path) override;
};

class Process : public vecamera::NSProcess {
 public:
  void print(std::string_view line) override;
  /// Logs the message and aborts.
  [[noreturn]] void fatalError(std::string_view message) override;
};

}  // namespace vecamera_ios
