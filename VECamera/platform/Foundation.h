#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "VECamera/platform/Value.h"

namespace vecamera {

inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";

/// A platform error: a domain, a code within it, and a dictionary that may hold a description. A
/// platform that computes its descriptions seldom keeps them there: its host stores each one under
/// `NSLocalizedDescriptionKey`, because it ends up in answers and in the log.
struct NSError {
  std::string domain;
  std::int64_t code = 0;
  Dictionary userInfo;

  /// The text under `NSLocalizedDescriptionKey`, or the platform's stock sentence built from
  /// domain and code where there is none.
  std::string localizedDescription() const;
};

/// The exception in which an awaitable adapter carries an `NSError`.
class NSErrorException : public std::runtime_error {
 public:
  explicit NSErrorException(NSError error)
      : std::runtime_error(error.localizedDescription()), error_(std::move(error)) {}
  const NSError& error() const { return error_; }

 private:
  NSError error_;
};

/// An instant, UTC, in microseconds.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// The device's clock. Called on any executor.
class NSClock {
 public:
  virtual ~NSClock() = default;
  virtual Date now() const = 0;
};

/// A time zone, by the identifier under which the platform knows it.
struct NSTimeZone {
  std::string identifier;
};

/// A fresh formatter uses the device's current locale, calendar and time zone. Used on one
/// executor at a time.
class NSDateFormatter {
 public:
  virtual ~NSDateFormatter() = default;
  /// A Unicode date pattern (UTS #35), for example "yyyy:MM:dd". "SSSSSS" gives all six digits of
  /// the microsecond, also where the platform's own formatter stops at milliseconds.
  virtual void setDateFormat(std::string_view pattern) = 0;
  /// The zone to format in; nothing is the device's own zone.
  virtual void setTimeZone(const std::optional<NSTimeZone>& zone) = 0;
  virtual std::string stringFromDate(Date date) const = 0;
};

class NSDateFormatters {
 public:
  virtual ~NSDateFormatters() = default;
  virtual std::unique_ptr<NSDateFormatter> makeDateFormatter() = 0;
  /// The zone with the abbreviation (for example "UTC"), or nothing.
  virtual std::optional<NSTimeZone> timeZoneWithAbbreviation(std::string_view abbreviation) = 0;
};

/// Walks a directory tree. Entries are paths relative to the directory that was asked for.
class NSDirectoryEnumerator {
 public:
  virtual ~NSDirectoryEnumerator() = default;
  /// The next entry (text), or nothing at the end. Recursive, parents before children, hidden
  /// entries too, links not followed. A folder's entries are read when the folder itself is handed
  /// out, so they still come when the folder is removed meanwhile; where the platform's enumerator
  /// reads them later, the host walks by itself.
  virtual std::optional<Value> nextObject() = 0;
};

/// An open file, read from its start on. Used on one executor at a time.
class NSFileHandle {
 public:
  virtual ~NSFileHandle() = default;
  /// The file's size in bytes when it was opened.
  virtual std::uint64_t size() const = 0;
  /// The next bytes: as many as asked for, fewer only at the end of the file, none after it.
  /// Nothing where the file cannot be read.
  virtual std::optional<Data> readDataUpToLength(std::size_t length) = 0;
};

/// Files of the application. Called on any executor; each call is complete when it returns.
class NSFileManager {
 public:
  virtual ~NSFileManager() = default;
  /// The application's own temporary directory, with a trailing slash, or nothing.
  virtual std::optional<std::string> temporaryDirectory() = 0;
  /// The path without trailing slash, doubled slashes, "." steps and, where it is absolute, ".."
  /// steps.
  virtual std::string stringByStandardizingPath(std::string_view path) = 0;
  virtual bool fileExistsAtPath(std::string_view path) = 0;
  /// Called between two questions whether the file exists, while the answer is yes. Returns when it
  /// may have changed, at the latest after a moment; may return at once. A short sleep will do. Any
  /// executor, also the main queue; must not wait for it.
  virtual void waitForChangeAtPath(std::string_view path) = 0;
  /// Creates or replaces the file; false when it cannot.
  virtual bool createFileAtPath(std::string_view path, const Data& contents) = 0;
  /// Null when the directory cannot be enumerated.
  virtual std::unique_ptr<NSDirectoryEnumerator> enumeratorAtPath(std::string_view path) = 0;
  /// Null when the file cannot be opened for reading.
  virtual std::unique_ptr<NSFileHandle> fileHandleForReadingAtPath(std::string_view path) = 0;
  /// Removes a file, or a folder with all it holds. Nothing on success.
  virtual std::optional<NSError> removeItemAtPath(std::string_view path) = 0;
  /// Writes all or nothing to the file that the URL names; a URL without a scheme is taken as a
  /// path, also where the platform's own writing to a URL refuses it. Nothing on success.
  virtual std::optional<NSError> writeAtomically(const Data& contents, const URL& url) = 0;
};

/// Making and escaping URLs. Pure; called on any executor.
class NSURLs {
 public:
  virtual ~NSURLs() = default;
  /// A URL from its text; nothing where the text is no valid URL. Strict: nothing is escaped to
  /// make it valid. A plain path is a URL without a scheme, unless it holds a character that a URL
  /// must escape.
  virtual std::optional<URL> URLWithString(std::string_view text) const = 0;
  /// The file URL of a path.
  virtual URL fileURLWithPath(std::string_view path) const = 0;
  /// The URL with a path component (or several, joined by "/") appended, escaped as needed; nothing
  /// where that gives no URL.
  virtual std::optional<URL> appendingPathComponent(const URL& url,
                                                    std::string_view component) const = 0;
  /// Percent-encodes every character of `escaped` and every non-ASCII character, as UTF-8; every
  /// other character stays. Nothing where the text is not UTF-8.
  virtual std::optional<std::string> addingPercentEncoding(std::string_view text,
                                                           std::string_view escaped) const = 0;
};

/// Base64 of byte buffers (RFC 4648, with padding, without line breaks).
class NSDataBase64 {
 public:
  virtual ~NSDataBase64() = default;
  /// The prefix followed by the Base64 text, built in one buffer.
  virtual std::string base64EncodedString(std::string_view prefix, const Data& data) const = 0;
  /// Puts the Base64 text of the bytes behind `text`. Pieces whose lengths are multiples of three
  /// give together the text of the whole.
  virtual void appendBase64(std::string& text, const Data& data) const = 0;
};

/// A resource bundle. Used on one executor at a time.
class NSBundle {
 public:
  virtual ~NSBundle() = default;
  /// The path of a resource in the bundle, or nothing.
  virtual std::optional<std::string> pathForResource(std::string_view name,
                                                     std::string_view type) = 0;
  /// The entry of the bundle's default strings table for the user's preferred language; the key
  /// itself where there is none.
  virtual std::string localizedStringForKey(std::string_view key) = 0;
};

class NSBundles {
 public:
  virtual ~NSBundles() = default;
  /// The application's main bundle; never null.
  virtual std::unique_ptr<NSBundle> mainBundle() = 0;
  /// The bundle at the path, or null where it cannot be opened.
  virtual std::unique_ptr<NSBundle> bundleWithPath(std::string_view path) = 0;
};

/// The process that the application runs in.
class NSProcess {
 public:
  virtual ~NSProcess() = default;
  /// Writes one line to standard output. Called on any executor.
  virtual void print(std::string_view line) = 0;
  /// Ends the process because a precondition does not hold. Does not return; an implementation for
  /// tests and tools may throw instead, and the throw passes through the module unhandled.
  [[noreturn]] virtual void fatalError(std::string_view message) = 0;
};

}  // namespace vecamera
