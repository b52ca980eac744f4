#include "device/foundation/Urls.h"

#include <arpa/inet.h>

#include <algorithm>

#include "device/base/Utf8.h"

namespace vecamera::device::foundation {
namespace {

constexpr std::string_view subDelimiters = "!$&'()*+,;=";
/// What a path keeps unescaped besides letters and digits.
constexpr std::string_view plainInPath = "/-._~!$&'()*+,=:@";

bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}
bool isUnreserved(char c) {
  return isAlpha(c) || isDigit(c) || isOneOf(c, "-._~");
}
char lowered(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  const char lower = lowered(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool isEscape(std::string_view text, std::size_t at) {
  return text[at] == '%' && at + 2 < text.size() && hexValue(text[at + 1]) >= 0 &&
         hexValue(text[at + 2]) >= 0;
}

/// Whether the text holds nothing but unreserved characters, sub-delimiters, escapes and the
/// characters of `also`.
bool consistsOf(std::string_view text, std::string_view also) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isUnreserved(text[i]) || isOneOf(text[i], subDelimiters) || isOneOf(text[i], also)) {
      continue;
    }
    if (!isEscape(text, i)) return false;
    i += 2;
  }
  return true;
}

/// The platform takes an empty scheme, too.
bool isScheme(std::string_view text) {
  return (text.empty() || isAlpha(text[0])) && std::all_of(text.begin(), text.end(), [](char c) {
           return isAlpha(c) || isDigit(c) || isOneOf(c, "+-.");
         });
}

/// The text before the first ":" where that is a scheme. Nothing is cut off.
std::optional<std::string_view> leadingScheme(std::string_view text) {
  const auto end = text.find_first_of(":/?#");
  if (end == std::string_view::npos || text[end] != ':' || !isScheme(text.substr(0, end))) {
    return std::nullopt;
  }
  return text.substr(0, end);
}

bool isFutureAddress(std::string_view text) {
  const auto dot = text.find('.');
  if (dot == std::string_view::npos || dot < 2 || lowered(text[0]) != 'v') return false;
  const auto version = text.substr(1, dot - 1);
  const auto address = text.substr(dot + 1);
  return std::all_of(version.begin(), version.end(), [](char c) { return hexValue(c) >= 0; }) &&
         !address.empty() && !isOneOf('%', address) && consistsOf(address, ":");
}

bool isHost(std::string_view host) {
  if (!host.starts_with('[')) return consistsOf(host, "");
  if (!host.ends_with(']')) return false;
  const std::string literal(host.substr(1, host.size() - 2));
  in6_addr address;
  if (!consistsOf(literal, ":")) return false;
  return inet_pton(AF_INET6, literal.c_str(), &address) == 1 || isFutureAddress(literal);
}

bool isPort(std::string_view port) {
  long number = 0;
  for (const char c : port) {
    if (!isDigit(c)) return false;
    number = number * 10 + (c - '0');
    if (number > 65535) return false;
  }
  return true;
}

/// Fills in user info, host and port; false where the authority is not valid.
bool readAuthority(std::string_view authority, UrlComponents& components) {
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
    if (!consistsOf(authority.substr(0, at), ":")) return false;
    components.userInfo = authority.substr(0, at);
    authority.remove_prefix(at + 1);
  }
  const auto literalEnd = authority.starts_with('[') ? authority.find(']') : 0;
  if (literalEnd == std::string_view::npos) return false;
  if (const auto colon = authority.find(':', literalEnd); colon != std::string_view::npos) {
    if (!isPort(authority.substr(colon + 1))) return false;
    components.port = authority.substr(colon + 1);
    authority = authority.substr(0, colon);
  }
  components.host = authority;
  return isHost(authority);
}

/// Cuts the text at the first `delimiter` and gives what stood behind it.
std::optional<std::string_view> cutBehind(std::string_view& text, char delimiter) {
  const auto at = text.find(delimiter);
  if (at == std::string_view::npos) return std::nullopt;
  const auto behind = text.substr(at + 1);
  text = text.substr(0, at);
  return behind;
}

/// The text with every byte for which `isEscaped` holds replaced by its "%XX".
template <class Condition>
std::string escaped(std::string_view text, Condition isEscaped) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (isEscaped(c))
      (result += '%').append({digits[byte >> 4], digits[byte & 15]});
    else
      result += c;
  }
  return result;
}

/// The absolute path without "." and ".." steps (RFC 3986, section 5.2.4).
std::string removingDotSteps(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    // With the slash that it begins with.
    const auto step = path.substr(0, path.find('/', 1));
    path.remove_prefix(step.size());
    if (step != "/." && step != "/..") {
      result += step;
      continue;
    }
    if (step == "/.." && !result.empty()) result.resize(result.rfind('/'));
    if (path.empty()) result += '/';
  }
  return result;
}

}  // namespace

std::optional<UrlComponents> urlComponents(std::string_view text) {
  UrlComponents components;
  if (const auto scheme = leadingScheme(text)) {
    components.scheme.emplace();
    for (const char c : *scheme) *components.scheme += lowered(c);
    text.remove_prefix(scheme->size() + 1);
  } else if (text.substr(0, text.find_first_of("/?#")).find(':') != std::string_view::npos) {
    // Without a scheme, the first segment of a path holds no colon.
    return std::nullopt;
  }
  if (const auto fragment = cutBehind(text, '#')) components.fragment = *fragment;
  if (const auto query = cutBehind(text, '?')) components.query = *query;
  if (!consistsOf(components.fragment.value_or(""), ":@/?[]") ||
      !consistsOf(components.query.value_or(""), ":@/?[]")) {
    return std::nullopt;
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    const auto end = std::min(text.find('/'), text.size());
    if (!readAuthority(text.substr(0, end), components)) return std::nullopt;
    text.remove_prefix(end);
  }
  if (!consistsOf(text, ":@/[]")) return std::nullopt;
  components.path = text;
  return components;
}

std::optional<URL> Urls::URLWithString(std::string_view text) const {
  if (!urlComponents(text)) return std::nullopt;
  return URL(std::string(text));
}

URL Urls::fileURLWithPath(std::string_view path) const {
  if (path.starts_with('/')) return URL("file://" + percentEncoded(path, plainInPath));
  const std::string absolute = removingDotSteps("/" + std::string(path));
  return URL("file://" + percentEncoded(absolute, plainInPath));
}

std::optional<URL> Urls::appendingPathComponent(const URL& url, std::string_view component) const {
  const std::string& text = url.absoluteString();
  const auto pathEnd = std::min(text.find_first_of("?#"), text.size());
  std::string joined = text.substr(0, pathEnd);
  const std::string behind = text.substr(pathEnd);

  const std::size_t schemeEnd = leadingScheme(joined) ? joined.find(':') + 1 : 0;
  const bool hasAuthority = joined.compare(schemeEnd, 2, "//") == 0;
  const std::size_t pathStart =
      hasAuthority ? std::min(joined.find('/', schemeEnd + 2), joined.size()) : schemeEnd;
  const bool endsInSlash = joined.size() > pathStart && joined.ends_with('/');
  component = component.substr(0, component.find_last_not_of('/') + 1);
  if (hasAuthority || joined.size() > pathStart) {
    if (!endsInSlash && !component.starts_with('/')) joined += '/';
  } else if (schemeEnd == 0 &&
             component.substr(0, component.find('/')).find(':') != std::string_view::npos) {
    // A colon in the first segment of the whole URL would be read as the end of a scheme.
    joined += "./";
  }
  return URL(joined + percentEncoded(component, plainInPath) + behind);
}

std::optional<std::string> Urls::addingPercentEncoding(std::string_view text,
                                                       std::string_view characters) const {
  if (!isUtf8(text)) return std::nullopt;
  return escaped(text, [characters](char c) {
    return static_cast<unsigned char>(c) >= 0x80 || isOneOf(c, characters);
  });
}

std::string percentEncoded(std::string_view text, std::string_view kept) {
  return escaped(text, [kept](char c) { return !isAlpha(c) && !isDigit(c) && !isOneOf(c, kept); });
}

std::optional<std::string> removingPercentEncoding(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (!isEscape(text, i)) return std::nullopt;
    decoded += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
    i += 2;
  }
  return decoded;
}

std::optional<std::string> filePathOf(const URL& url) {
  if (!leadingScheme(url.absoluteString())) return url.absoluteString();
  const auto components = urlComponents(url.absoluteString());
  if (!components || components->scheme != "file" || !components->path.starts_with('/'))
    return std::nullopt;
  const std::string host = components->host.value_or("");
  if ((!host.empty() && host != "localhost") || components->port || components->userInfo) {
    return std::nullopt;
  }
  return removingPercentEncoding(components->path);
}

std::optional<std::string> queryItem(const URL& url, std::string_view name) {
  const auto components = urlComponents(url.absoluteString());
  if (!components || !components->query) return std::nullopt;
  std::optional<std::string_view> rest = *components->query;
  while (rest) {
    std::string_view item = *rest;
    rest = cutBehind(item, '&');
    const auto value = cutBehind(item, '=');
    if (removingPercentEncoding(item) == name) {
      return removingPercentEncoding(value.value_or(std::string_view()));
    }
  }
  return std::nullopt;
}

}  // namespace vecamera::device::foundation
