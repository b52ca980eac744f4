#pragma once

#include <string>
#include <string_view>

#include "simulator/server/http/Http.h"

namespace vecamera::simulator {

/// The developer's own server, whose pages are the app.
struct DevServer {
  Upstream upstream;
  /// Path, query and fragment at which the app opens.
  std::string start = "/";

  std::string origin() const { return "http://" + upstream.authority(); }
  bool isLoopback() const { return isLoopbackHost(upstream.host); }
};

/// The server of an address such as "http://localhost:5173/path". The error says what is wrong with
/// the address.
ScriptResult<DevServer> parseDevServer(std::string_view address);

}  // namespace vecamera::simulator
