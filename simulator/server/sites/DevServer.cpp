#include "simulator/server/sites/DevServer.h"

#include <charconv>

#include "device/foundation/Urls.h"

namespace vecamera::simulator {
namespace {

constexpr std::uint16_t defaultPort = 80;

}  // namespace

ScriptResult<DevServer> parseDevServer(std::string_view address) {
  const auto url = foundation::urlComponents(address);
  if (!url || !url->host || url->host->empty())
    return failed("it is no address; write it as http://localhost:5173");
  if (url->scheme == "https")
    return failed("a server with https cannot be the app; start it with http");
  if (url->scheme != "http") return failed("the address of a server begins with http://");
  if (url->userInfo) return failed("leave name and password out of the address");
  DevServer server;
  server.upstream.host = *url->host;
  if (server.upstream.host.starts_with('['))
    server.upstream.host = server.upstream.host.substr(1, server.upstream.host.size() - 2);
  server.upstream.port = defaultPort;
  if (url->port && !url->port->empty()) {
    const auto* end = url->port->data() + url->port->size();
    const auto [stop, error] = std::from_chars(url->port->data(), end, server.upstream.port);
    if (error != std::errc() || stop != end || server.upstream.port == 0)
      return failed("a port is a number from 1 to 65535");
  }
  server.start = url->path.empty() ? "/" : url->path;
  if (url->query) server.start += "?" + *url->query;
  if (url->fragment) server.start += "#" + *url->fragment;
  return server;
}

}  // namespace vecamera::simulator
