#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <variant>

#include "simulator/server/base/Limits.h"
#include "simulator/server/http/Http.h"

/// The connections of the server. Everything here runs on the server's one thread.
namespace vecamera::simulator {

/// What connections share.
struct Network {
  boost::asio::io_context& io;
  /// For work that would hold the server's thread up.
  boost::asio::thread_pool& workers;
  const NetworkLimits limits;
  const std::uint64_t maxBodyBytes;
  /// A connection may end on a worker, which was the last to need it.
  std::atomic<std::size_t> connections = 0;
};

/// Counts a connection as long as it lives.
class ConnectionCount {
 public:
  explicit ConnectionCount(Network& network) : network_(network) { ++network_.connections; }
  ~ConnectionCount() { --network_.connections; }
  ConnectionCount(const ConnectionCount&) = delete;
  ConnectionCount& operator=(const ConnectionCount&) = delete;

 private:
  Network& network_;
};

using Handshake = boost::beast::http::request<boost::beast::http::empty_body>;

/// Serves the requests of a connection, one after the other, until one side closes it.
/// Network and site outlive the connection.
void serveHttp(boost::beast::tcp_stream stream, Site& site, Network& network);

/// Completes the opening handshake and serves the messages of the WebSocket until it is closed.
void serveWebSocket(boost::beast::tcp_stream stream, const Handshake& handshake,
                    std::shared_ptr<MessageHandler> handler, Network& network,
                    std::unique_ptr<ConnectionCount> count);

/// For bodies without a limit: the parser takes no limit at all for one of zero.
constexpr auto anyLength = std::numeric_limits<std::uint64_t>::max();

using RequestParser = boost::beast::http::request_parser<boost::beast::http::buffer_body>;

/// What a connection does when its request has been forwarded.
enum class AfterForwarding {
  /// Reads the next request.
  proceed,
  /// The response is complete; the connection ends with it.
  finish,
  /// The response stays incomplete, which an abrupt end is the only sign of.
  abort,
};

/// The browser's connection, lent for one request whose header is read.
struct BrowserSide {
  boost::beast::tcp_stream& stream;
  /// What was read beyond the header.
  boost::beast::flat_buffer& buffer;
  RequestParser& parser;
  /// Gives the connection back, once; nothing of it is under way any more. A response is what the
  /// browser gets: it has not been sent anything yet. Keeps the connection until then.
  std::function<void(std::variant<AfterForwarding, Response>)> onEnd;
};

/// Forwards the request and its response, both piece by piece, each as fast as its receiver takes
/// it. After the handshake of a WebSocket, bytes go in both directions until one side ends. There
/// is no limit of time once the upstream is connected: the app's page and its server know theirs.
void forward(BrowserSide browser, std::unique_ptr<Forwarding> forwarding, Network& network);

}  // namespace vecamera::simulator
