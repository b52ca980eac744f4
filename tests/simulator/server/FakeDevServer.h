#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "simulator/server/sites/DevServer.h"

namespace vecamera::simulator {

/// The developer's server. The test says what it does with each connection, on a thread of its own.
class FakeDevServer {
 public:
  using Socket = boost::asio::ip::tcp::socket;
  using Error = boost::system::error_code;

  class Connection {
   public:
    explicit Connection(Socket& socket) : socket_(socket) {
      Error error;
      const auto end =
          boost::asio::read_until(socket_, boost::asio::dynamic_buffer(buffer_), "\r\n\r\n", error);
      head = buffer_.substr(0, end);
      buffer_.erase(0, end);
    }
    /// So many bytes behind the head; fewer where the connection ends.
    std::string read(std::size_t bytes) {
      Error ignored;
      if (buffer_.size() < bytes)
        boost::asio::read(socket_, boost::asio::dynamic_buffer(buffer_),
                          boost::asio::transfer_exactly(bytes - buffer_.size()), ignored);
      auto text = buffer_.substr(0, bytes);
      buffer_.erase(0, text.size());
      return text;
    }
    /// False where nobody takes it any more.
    bool write(std::string_view text) {
      Error error;
      boost::asio::write(socket_, boost::asio::buffer(text), error);
      return !error;
    }
    /// The value of a field; empty where the request has none.
    std::string field(const std::string& name) const {
      const auto begin = head.find("\r\n" + name + ": ");
      if (begin == std::string::npos) return {};
      const auto value = begin + name.size() + 4;
      return head.substr(value, head.find("\r\n", value) - value);
    }
    std::string head;

   private:
    Socket& socket_;
    std::string buffer_;
  };

  /// On that port, or a free one.
  explicit FakeDevServer(std::function<void(Connection&)> serve, std::uint16_t port = 0)
      : acceptor_(io_, {boost::asio::ip::address_v4::loopback(), port}),
        port_(acceptor_.local_endpoint().port()),
        serve_(std::move(serve)),
        thread_([this] { accept(); }) {}

  ~FakeDevServer() {
    isEnding_ = true;
    // Wakes the thread that accepts.
    Error ignored;
    Socket(io_).connect({boost::asio::ip::address_v4::loopback(), port_}, ignored);
    thread_.join();
    for (auto& socket : sockets_) socket->shutdown(Socket::shutdown_both, ignored);
    for (auto& thread : threads_) thread.join();
  }

  DevServer address() const { return {{"127.0.0.1", port_}, "/"}; }
  std::uint16_t port() const { return port_; }

 private:
  void accept() {
    for (;;) {
      auto socket = std::make_shared<Socket>(io_);
      Error error;
      acceptor_.accept(*socket, error);
      if (isEnding_ || error) return;
      sockets_.push_back(socket);
      threads_.emplace_back([this, socket] {
        Connection connection(*socket);
        serve_(connection);
        Error ignored;
        socket->shutdown(Socket::shutdown_send, ignored);
      });
    }
  }

  boost::asio::io_context io_;
  boost::asio::ip::tcp::acceptor acceptor_;
  const std::uint16_t port_;
  const std::function<void(Connection&)> serve_;
  std::atomic<bool> isEnding_ = false;
  /// Of the thread that accepts, until it has ended.
  std::vector<std::shared_ptr<Socket>> sockets_;
  std::vector<std::thread> threads_;
  std::thread thread_;
};

}  // namespace vecamera::simulator
