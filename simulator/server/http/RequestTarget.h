#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vecamera::simulator {

/// What a request asks for, decoded once.
struct RequestTarget {
  /// Names only: none is empty, "." or "..", none holds a slash, a backslash or a control
  /// character, however they were written.
  std::vector<std::string> segments;
  /// Whether the path ended in a slash.
  bool isFolder = false;
  std::map<std::string, std::string, std::less<>> query;

  std::string queryValue(std::string_view key) const;
};

/// Nothing for a target that is no path of the kind above.
std::optional<RequestTarget> parseTarget(std::string_view target);

}  // namespace vecamera::simulator
