#include "simulator/server/http/Http.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <charconv>

#include "device/foundation/Urls.h"
#include "simulator/server/http/ContentTypes.h"

namespace vecamera::simulator {
namespace {

std::optional<std::uint64_t> parseNumber(std::string_view text) {
  std::uint64_t number = 0;
  const auto* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || error != std::errc() || stop != end) return std::nullopt;
  return number;
}

/// Takes the part of the text up to the separator off its front.
std::string_view takeUntil(std::string_view& text, char separator) {
  const auto end = text.find(separator);
  const auto part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

bool isName(const std::string& segment) {
  if (segment.empty() || segment == "." || segment == "..") return false;
  return std::none_of(segment.begin(), segment.end(), [](char c) {
    return c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
  });
}

bool readQuery(std::string_view text, RequestTarget& target) {
  while (!text.empty()) {
    auto item = takeUntil(text, '&');
    // Forms write a space as a plus.
    std::string plain(item);
    std::replace(plain.begin(), plain.end(), '+', ' ');
    item = plain;
    const auto key = foundation::removingPercentEncoding(takeUntil(item, '='));
    const auto value = foundation::removingPercentEncoding(item);
    if (!key || !value) return false;
    target.query.emplace(*key, *value);
  }
  return true;
}

ErrorCode codeOf(unsigned status) {
  switch (status) {
    case 400:
    case 426: return ErrorCode::badRequest;
    case 403: return ErrorCode::forbidden;
    case 404: return ErrorCode::notFound;
    case 405: return ErrorCode::badMethod;
    case 413:
    case 431: return ErrorCode::tooLong;
    case 503: return ErrorCode::starting;
    case 507: return ErrorCode::diskFull;
    default: return ErrorCode::internal;
  }
}

char toLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string Upstream::authority() const {
  const auto name = host.find(':') == std::string::npos ? host : "[" + host + "]";
  return port == 80 ? name : name + ":" + std::to_string(port);
}

bool isLocalhost(std::string_view host) {
  constexpr std::string_view name = "localhost";
  if (host.size() < name.size()) return false;
  const auto begin = host.size() - name.size();
  return sameWord(host.substr(begin), name) && (begin == 0 || host[begin - 1] == '.');
}

bool isLoopbackHost(std::string_view host) {
  if (isLocalhost(host)) return true;
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(std::string(host), error);
  return !error && address.is_loopback();
}

bool isNavigation(const Request& request) {
  // Of a trustworthy server, as this one is for its machine, every browser of today says it.
  const auto& destination = request.fetchDestination;
  if (destination.empty()) return request.accept.find("text/html") != std::string::npos;
  return destination == "document" || destination == "iframe" || destination == "frame";
}

bool sameWord(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return toLower(a) == toLower(b); });
}

std::optional<RequestTarget> parseTarget(std::string_view text) {
  RequestTarget target;
  auto path = takeUntil(text, '?');
  if (!readQuery(text, target) || !path.starts_with('/')) return std::nullopt;
  path.remove_prefix(1);
  target.isFolder = path.empty() || path.back() == '/';
  while (!path.empty()) {
    auto segment = foundation::removingPercentEncoding(takeUntil(path, '/'));
    if (!segment || !isName(*segment)) return std::nullopt;
    target.segments.push_back(*std::move(segment));
  }
  return target;
}

Response jsonResponse(const Json& content, unsigned status) {
  return {status,
          {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}},
          toLine(content)};
}

Response errorResponse(unsigned status, ErrorCode code, std::string_view message) {
  return jsonResponse({{"error", message}, {"code", nameOf(code)}}, status);
}

Response errorResponse(unsigned status, std::string_view message) {
  return errorResponse(status, codeOf(status), message);
}

Response textResponse(std::string_view text) {
  return {
      200, {{"Content-Type", "text/plain; charset=utf-8"}, {"Cache-Control", "no-store"}}, text};
}

Response fileResponse(ConfinedFile file, std::string_view name, std::string_view cacheControl) {
  Response response;
  response.fields = {{"Content-Type", std::string(contentTypeOf(name))},
                     {"Cache-Control", std::string(cacheControl)}};
  if (cacheControl != "no-store")
    response.fields.emplace_back(
        "ETag", "\"" + std::to_string(file.modifiedNs) + "-" + std::to_string(file.bytes) + "\"");
  response.body = std::move(file);
  return response;
}

Response sandboxed(Response response) {
  response.fields.emplace_back("Content-Security-Policy", "default-src 'none'; sandbox");
  return response;
}

std::optional<ByteRange> parseRange(std::string_view value, std::uint64_t bytes) {
  constexpr std::string_view unit = "bytes=";
  if (!value.starts_with(unit)) return std::nullopt;
  value.remove_prefix(unit.size());
  const auto dash = value.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto first = parseNumber(value.substr(0, dash));
  const auto last = parseNumber(value.substr(dash + 1));
  if (dash == 0) {
    if (!last || *last == 0) return std::nullopt;
    const auto length = std::min(*last, bytes);
    return ByteRange{bytes - length, length};
  }
  const bool isOpen = dash + 1 == value.size();
  if (!first || (!last && !isOpen) || *first >= bytes || (last && *last < *first))
    return std::nullopt;
  const auto end = last ? std::min(*last, bytes - 1) : bytes - 1;
  return ByteRange{*first, end - *first + 1};
}

bool isOwnHost(std::string_view host, std::uint16_t port) {
  for (const std::string name : {"127.0.0.1", "localhost"}) {
    if (host == name + ":" + std::to_string(port)) return true;
    if (port == 80 && host == name) return true;
  }
  return false;
}

device::Result<RequestTarget, Response> targetOf(const Request& request, std::uint16_t port) {
  if (!isOwnHost(request.host, port))
    return Failure(
        errorResponse(403, "this server answers to its own name only, 127.0.0.1 or localhost"));
  auto target = parseTarget(request.target);
  if (!target) return Failure(errorResponse(400, "the address is none that a browser would send"));
  return *std::move(target);
}

std::string ownHostName(std::string_view host) {
  return host.starts_with("localhost") ? "localhost" : "127.0.0.1";
}

}  // namespace vecamera::simulator
