#pragma once

#include <memory>
#include <optional>
#include <string>

#include "simulator/server/http/Http.h"
#include "simulator/server/sites/DevServer.h"

namespace vecamera::simulator {

/// One request of the app's origin to the developer's server.
struct AppForwarding {
  DevServer server;
  /// The origin under which the browser knows the app.
  std::string appOrigin;
  enum class Purpose {
    /// A page, which gets the script.
    navigation,
    resource,
    /// Only whether something answers is asked: the response is `{"reachable":true}`, or false.
    probe,
  };
  Purpose purpose = Purpose::resource;
  /// The address and the markup of the script that is inserted in pages.
  std::string scriptAddress;
  std::string scriptMarkup;
  /// In the place of the browser's own.
  std::optional<std::string> userAgent;
  /// Those of every response of the app's origin.
  HeaderFields commonFields;
};

/// Whether this is a name of a cookie that opens an app's origin, of this server or another.
bool isEntryCookie(std::string_view name);

/// Forwards the request as if the browser had come to the developer's server itself: the addresses
/// of the app's origin become the server's, and back. The server never sees a cookie of the
/// simulator's.
std::unique_ptr<Forwarding> forwardToDevServer(AppForwarding forwarding);

}  // namespace vecamera::simulator
