#include "simulator/server/http/RequestTarget.h"

#include <algorithm>
#include <utility>

#include "device/foundation/Urls.h"

namespace vecamera::simulator {
namespace {

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
    const auto key = device::foundation::removingPercentEncoding(takeUntil(item, '='));
    const auto value = device::foundation::removingPercentEncoding(item);
    if (!key || !value) return false;
    target.query.emplace(*key, *value);
  }
  return true;
}

}  // namespace

std::string RequestTarget::queryValue(std::string_view key) const {
  const auto found = query.find(key);
  return found == query.end() ? std::string() : found->second;
}

std::optional<RequestTarget> parseTarget(std::string_view text) {
  RequestTarget target;
  auto path = takeUntil(text, '?');
  if (!readQuery(text, target) || !path.starts_with('/')) return std::nullopt;
  path.remove_prefix(1);
  target.isFolder = path.empty() || path.back() == '/';
  while (!path.empty()) {
    auto segment = device::foundation::removingPercentEncoding(takeUntil(path, '/'));
    if (!segment || !isName(*segment)) return std::nullopt;
    target.segments.push_back(*std::move(segment));
  }
  return target;
}

}  // namespace vecamera::simulator
