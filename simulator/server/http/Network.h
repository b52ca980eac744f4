#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "simulator/server/http/Http.h"

/// The connections of the server. Everything here runs on the server's one thread.
namespace vecamera::simulator {

struct NetworkLimits {
  /// At the same time, of both origins.
  std::size_t connections = 512;
  std::size_t headerBytes = 16384;
  std::uint64_t bodyBytes = 256U << 20U;
  /// Of one message from a browser.
  std::size_t messageBytes = 1U << 20U;
  /// What may wait for a browser to take it. One message alone may be longer.
  std::size_t waitingBytes = 64U << 20U;
  std::size_t waitingMessages = 8192;
  /// The whole head of a request; also how long a connection waits for its next one.
  std::chrono::milliseconds headTime{20'000};
  /// One piece of a body, in or out.
  std::chrono::milliseconds pieceTime{30'000};
  /// A WebSocket without a sign of life. While its messages are not read there is none to see, and
  /// the time stands still.
  std::chrono::milliseconds silence{60'000};
};

/// What connections share.
struct Network {
  boost::asio::io_context& io;
  /// For work that would hold the server's thread up.
  boost::asio::thread_pool& workers;
  const NetworkLimits limits;
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

using RequestHead = boost::beast::http::request<boost::beast::http::empty_body>;

/// Carries the requests of a browser to the site, one after the other, until one side ends it.
/// Network and site outlive the connection.
void serveHttp(boost::beast::tcp_stream stream, Site& site, Network& network);

/// Answers the request for a WebSocket, and carries its messages to the receiver.
void serveWebSocket(boost::beast::tcp_stream stream, const RequestHead& head,
                    std::shared_ptr<MessageReceiver> receiver, Network& network,
                    std::unique_ptr<ConnectionCount> count);

}  // namespace vecamera::simulator
