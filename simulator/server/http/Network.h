#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>

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

}  // namespace vecamera::simulator
