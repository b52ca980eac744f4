#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "simulator/server/sites/ConfinedOpen.h"

/// Requests and their answers as values, apart from the connection that carries them.
namespace vecamera::simulator {

enum class Method { get, post, other };

/// The head of a request. Headers that it lacks are empty; one that stands there more than once
/// makes the request a bad one before it comes here.
struct Request {
  Method method = Method::get;
  std::string target;
  std::string host;
  std::string origin;
  std::string cookie;
  std::string ifNoneMatch;
  std::string range;
  /// It asks for the protocol of WebSockets.
  bool isWebSocket = false;
};

using Headers = std::vector<std::pair<std::string, std::string>>;

struct Response {
  unsigned status = 200;
  Headers headers;
  /// Text, bytes that live as long as the program, or a whole file.
  std::variant<std::string, std::string_view, OpenedFile> body;
};

/// Takes the body of a request. On the server's thread.
class Upload {
 public:
  virtual ~Upload() = default;
  /// False where the bytes cannot be taken; nothing follows then but the end of the object.
  virtual bool write(std::span<const char> bytes) = 0;
  /// The answer, after the whole body, or after a write that failed.
  virtual Response finish() = 0;
};

/// The browser's end of a WebSocket. On the server's thread.
class Peer {
 public:
  virtual ~Peer() = default;
  /// Sends the message as soon as the browser takes it. A browser that lets too much pile up is
  /// disconnected.
  virtual void send(std::shared_ptr<const std::string> message) = 0;
  /// Sends the message as the last one and closes the connection.
  virtual void sendLast(std::string message) = 0;
  /// Messages are read on, after `MessageReceiver::received` gave false.
  virtual void readOn() = 0;
};

/// What stands behind a WebSocket. On the server's thread.
class MessageReceiver {
 public:
  virtual ~MessageReceiver() = default;
  virtual void opened(const std::shared_ptr<Peer>& peer) = 0;
  /// False: no more messages until the peer is told to read on.
  virtual bool received(Peer& peer, std::string message) = 0;
  /// The connection is gone; called once.
  virtual void closed(Peer& peer) = 0;
};

/// Takes time, so it is done apart from the server's thread.
using SlowResponse = std::function<Response()>;

/// What a request leads to.
using Reaction =
    std::variant<Response, SlowResponse, std::unique_ptr<Upload>, std::shared_ptr<MessageReceiver>>;

/// The pages and services of one origin. On the server's thread.
class Site {
 public:
  virtual ~Site() = default;
  virtual Reaction react(const Request& request) = 0;
  /// Headers that stand in every answer to a request to this host.
  virtual Headers commonHeaders(const Request& request) const = 0;
};

/// `{"error": WHY}`.
Response failure(unsigned status, std::string_view why);

Response jsonResponse(std::string text);

/// The file under its name's content type. `cacheControl` is that header's value.
Response fileResponse(OpenedFile file, std::string_view name, std::string_view cacheControl);

/// The same for media, which are only ever looked at, whatever they hold.
Response mediaOnly(Response response);

/// The part of the body that a "Range" header asks for.
struct ByteRange {
  std::uint64_t begin = 0;
  std::uint64_t length = 0;
};
/// The one range of the header for a body of that many bytes. Nothing where it does not ask for a
/// single range in that form, so that the whole body is the answer.
std::optional<ByteRange> parseRange(std::string_view header, std::uint64_t bytes);

/// Whether the "Host" header names this server: the loopback address or "localhost", with its port.
bool isOwnHost(std::string_view host, std::uint16_t port);
/// "localhost" where the host is called that, and the loopback address for every other text.
std::string ownName(std::string_view host);

}  // namespace vecamera::simulator
