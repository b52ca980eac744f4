#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// URLs after RFC 3986. Stateless; any thread.
class Urls : public NSURLs {
 public:
  /// Strict: nothing for a blank, a control or non-ASCII character, any of \ ^ ` " < > { } |, a "%"
  /// without two hexadecimal digits, a second "#", and a bad scheme, host or port. Two things are
  /// taken as the platform takes them: an empty scheme, and brackets in path, query and fragment.
  /// The text of the URL is the text given.
  std::optional<URL> URLWithString(std::string_view text) const override;
  /// A relative path starts at "/", an application's working directory on the platform, and loses
  /// its dot steps; an absolute path keeps them. The file system is not asked, so the URL ends in a
  /// slash only where the path does.
  URL fileURLWithPath(std::string_view path) const override;
  /// A slash is inserted unless the path ends in one or the component begins with one. Slashes at
  /// the component's end are dropped. A query or fragment stays behind them.
  std::optional<URL> appendingPathComponent(const URL& url,
                                            std::string_view component) const override;
  std::optional<std::string> addingPercentEncoding(std::string_view text,
                                                   std::string_view characters) const override;
};

/// The components of a URL, percent-encoded as written, without their delimiters. An absent
/// component differs from an empty one, except the path, which every URL has.
struct UrlComponents {
  /// In lower case; may be empty.
  std::optional<std::string> scheme;
  std::optional<std::string> userInfo;
  /// An IP literal keeps its brackets. Present when the URL has an authority.
  std::optional<std::string> host;
  std::optional<std::string> port;
  std::string path;
  std::optional<std::string> query;
  std::optional<std::string> fragment;
};

/// The components of the text, or nothing where it is no URL.
std::optional<UrlComponents> urlComponents(std::string_view text);

/// The text with every byte but ASCII letters, digits and those of `kept` replaced by its "%XX".
std::string percentEncoded(std::string_view text, std::string_view kept);

/// The text with every "%XX" replaced by its byte; nothing where a "%" stands otherwise.
std::optional<std::string> removingPercentEncoding(std::string_view text);

/// The path of the file that the URL names: the decoded path of a local "file" URL, and the text as
/// it is of a URL without a scheme. Nothing for every other URL.
std::optional<std::string> filePathOf(const URL& url);

/// The decoded value of the first query item ("name=value", divided by "&") with the name, empty
/// for an item without "=". Nothing where there is none.
std::optional<std::string> queryItem(const URL& url, std::string_view name);

}  // namespace vecamera::device::foundation
