#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "simulator/server/base/ErrorCode.h"
#include "simulator/server/http/ConfinedOpen.h"

/// Requests and responses as values, apart from the connection that carries them.
namespace vecamera::simulator {

enum class Method { get, post, other };

/// A request without its content. Header fields that it lacks are empty. A request that repeats a
/// field which may be there only once is refused before it becomes one of these.
struct Request {
  Method method = Method::get;
  std::string target;
  std::string host;
  std::string origin;
  std::string cookie;
  std::string ifNoneMatch;
  std::string range;
  /// The subprotocols that a WebSocket's client offers, with commas between them.
  std::string webSocketProtocols;
  std::string accept;
  /// "Sec-Fetch-Dest": what a browser wants the response for.
  std::string fetchDestination;
  /// It is the opening handshake of a WebSocket.
  bool isWebSocket = false;
};

/// What a request asks for, decoded once.
struct RequestTarget {
  /// The path's names, decoded: none is empty, "." or "..", none holds a slash, a backslash or a
  /// control character.
  std::vector<std::string> segments;
  /// Whether the path ended in a slash.
  bool isFolder = false;
  std::map<std::string, std::string, std::less<>> query;

  std::string queryValue(std::string_view key) const {
    const auto found = query.find(key);
    return found == query.end() ? std::string() : found->second;
  }
};

/// Nothing for a target without such a path.
std::optional<RequestTarget> parseTarget(std::string_view target);

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

struct Response {
  unsigned status = 200;
  HeaderFields fields;
  /// Text, bytes that live as long as the program, or a whole file.
  std::variant<std::string, std::string_view, ConfinedFile> body;
};

/// Takes the content of a request. On the server's thread.
class Upload {
 public:
  virtual ~Upload() = default;
  /// The error is the response to the request; nothing is called after it.
  virtual device::Result<void, Response> write(std::span<const char> bytes) = 0;
  /// The response, after the whole content.
  virtual Response finish() = 0;
};

/// The browser as the peer of a WebSocket connection. On the server's thread.
class Peer {
 public:
  virtual ~Peer() = default;
  /// Sends the message as soon as the browser takes it. A browser that lets too much pile up is
  /// disconnected.
  virtual void send(std::shared_ptr<const std::string> message) = 0;
  /// Sends the message as the last one, then closes the connection.
  virtual void sendAndClose(std::string message) = 0;
  /// Ends the pause that `MessageHandler::onMessage` asked for.
  virtual void resumeReading() = 0;
};

/// What a connection does after a message.
enum class Reading { proceed, pause };

/// The server's side of a WebSocket connection. On the server's thread.
class MessageHandler {
 public:
  virtual ~MessageHandler() = default;
  /// The one of the client's subprotocols that the handshake names; empty: none.
  virtual std::string subprotocol() const { return {}; }
  virtual void onOpen(const std::shared_ptr<Peer>& peer) = 0;
  /// After `pause` no more messages come until `Peer::resumeReading`.
  virtual Reading onMessage(Peer& peer, std::string message) = 0;
  /// The connection is gone. Called once.
  virtual void onClose(Peer& peer) = 0;
};

/// A server that requests are forwarded to.
struct Upstream {
  /// A name or an address; one of IPv6 without its brackets.
  std::string host;
  std::uint16_t port = 80;

  /// As in the "Host" field: without the port where that is 80.
  std::string authority() const;
};

/// Whether the host is called "localhost", or has a name below that one.
bool isLocalhost(std::string_view host);

/// Whether a host's name or address can only ever be this machine: 127.0.0.0/8, ::1, "localhost"
/// and the names below it.
bool isLoopbackHost(std::string_view host);

/// What the browser gets of an upstream's response.
struct ForwardedResponse {
  HeaderFields fields;
  /// Inserted in the document that the body is, before the first element of its head. Empty: the
  /// body stays as it is.
  std::string insertion;
};

/// Forwards one request, in which `Connection`, `Transfer-Encoding` and the other fields of a
/// single connection are the connection's own business, and so is `Content-Length`. On the server's
/// thread.
class Forwarding {
 public:
  virtual ~Forwarding() = default;
  virtual const Upstream& upstream() const = 0;
  /// The fields that the upstream gets for those that the browser sent.
  virtual HeaderFields requestFields(HeaderFields fields) const = 0;
  /// What the browser gets for this response, or in its place. Not called for status 1xx.
  virtual std::variant<ForwardedResponse, Response> onResponse(unsigned status,
                                                               HeaderFields fields) const = 0;
  /// The response where nothing answers at the upstream's address.
  virtual Response unreachable() const = 0;
  /// The response where the upstream has the request and sends no valid response.
  virtual Response withoutResponse() const = 0;
};

/// Makes a response that takes time, on a worker. What it throws becomes a response of status 500.
using DeferredResponse = std::function<Response()>;

using Reaction = std::variant<Response, DeferredResponse, std::unique_ptr<Upload>,
                              std::shared_ptr<MessageHandler>, std::unique_ptr<Forwarding>>;

/// The pages and services of one origin. On the server's thread.
class Site {
 public:
  virtual ~Site() = default;
  virtual Reaction react(const Request& request) = 0;
  /// Those of every response to the request.
  virtual HeaderFields commonFields(const Request& request) const = 0;
};

/// `{"error": MESSAGE, "code": CODE}`.
Response errorResponse(unsigned status, ErrorCode code, std::string_view message);
/// With the code that fits the status.
Response errorResponse(unsigned status, std::string_view message);

Response jsonResponse(const Json& content, unsigned status = 200);
/// Text that lives as long as the program.
Response textResponse(std::string_view text);

/// The file under its name's content type. `cacheControl` is that field's value.
Response fileResponse(ConfinedFile file, std::string_view name, std::string_view cacheControl);

/// The response for media: a browser shows them, but runs nothing that they hold.
Response sandboxed(Response response);

/// The part of a representation that a "Range" field asks for.
struct ByteRange {
  std::uint64_t begin = 0;
  std::uint64_t length = 0;
};
/// The one range of the field's value for a representation of that many bytes. Nothing where it is
/// no single satisfiable range of bytes: the response is then the whole.
std::optional<ByteRange> parseRange(std::string_view value, std::uint64_t bytes);

/// Whether the response is shown as a page of its own, in a tab or a frame.
bool isNavigation(const Request& request);

/// Whether the names of two fields, or two other words of HTTP, are the same.
bool sameWord(std::string_view one, std::string_view other);

/// Whether the "Host" field names this server: the loopback address or "localhost", with its port.
bool isOwnHost(std::string_view host, std::uint16_t port);
/// The request's target. The error is the response to a request that names another host or has no
/// valid target.
device::Result<RequestTarget, Response> targetOf(const Request& request, std::uint16_t port);
/// "localhost" where the host is called that, and the loopback address for every other text.
std::string ownHostName(std::string_view host);

}  // namespace vecamera::simulator
