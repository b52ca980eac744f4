#include "simulator/server/http/ForwardedFields.h"

#include <algorithm>
#include <boost/beast/http/rfc7230.hpp>

namespace vecamera::simulator {
namespace {

/// RFC 9110, section 7.6.1, with "Content-Length", which each connection sets by itself.
constexpr std::string_view connectionFields[] = {
    "Connection",
    "Keep-Alive",
    "Proxy-Connection",
    "Proxy-Authenticate",
    "Proxy-Authorization",
    "TE",
    "Trailer",
    "Transfer-Encoding",
    "Upgrade",
    "Content-Length",
};

}  // namespace

HeaderFields forwardedFields(const boost::beast::http::fields& fields) {
  using boost::beast::http::field;
  std::vector<std::string> dropped(std::begin(connectionFields), std::end(connectionFields));
  const auto [first, last] = fields.equal_range(field::connection);
  for (auto each = first; each != last; ++each)
    for (const auto& name : boost::beast::http::token_list(each->value()))
      dropped.emplace_back(name);
  HeaderFields kept;
  for (const auto& each : fields) {
    const std::string_view name = each.name_string();
    const bool isDropped = std::ranges::any_of(
        dropped, [name](const std::string& other) { return sameWord(name, other); });
    if (!isDropped) kept.emplace_back(name, each.value());
  }
  return kept;
}

}  // namespace vecamera::simulator
