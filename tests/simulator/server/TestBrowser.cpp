#include "tests/simulator/server/TestBrowser.h"

#include <gtest/gtest.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "tests/simulator/server/MessageCheck.h"

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using Error = boost::system::error_code;

/// A server that hangs fails the test, instead of hanging it.
constexpr std::chrono::minutes patience{2};

void connect(tcp::socket& socket, std::uint16_t port) {
  socket.connect({asio::ip::address_v4::loopback(), port});
}

/// Begins the operation with a handler, and waits for its end.
template <class Begin>
Error finish(asio::io_context& io, tcp::socket& socket, Begin begin) {
  Error result;
  bool isDone = false;
  begin([&](Error error, std::size_t = 0) {
    result = error;
    isDone = true;
  });
  io.restart();
  io.run_for(patience);
  if (isDone) return result;
  ADD_FAILURE() << "the server hangs";
  Error ignored;
  socket.close(ignored);
  // The handler is called yet.
  io.restart();
  io.run();
  return asio::error::timed_out;
}

Error sendAll(asio::io_context& io, tcp::socket& socket, std::string_view bytes) {
  return finish(io, socket, [&](auto handler) {
    asio::async_write(socket, asio::buffer(bytes), std::move(handler));
  });
}

}  // namespace

RunningServer::RunningServer(ServerSetup setup) {
  auto made = Server::make(std::move(setup));
  if (!made) throw std::runtime_error(made.error().message);
  server_ = *std::move(made);
  const auto address = server_->address();
  const auto colon = address.rfind(':');
  const auto slash = address.find('/', colon);
  port_ = static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1, slash - colon - 1)));
  root_ = address.substr(slash);
  thread_ = std::thread([this] { server_->run(); });
}

RunningServer::~RunningServer() {
  stop();
}

void RunningServer::stop() {
  if (!server_) return;
  server_->stop();
  thread_.join();
  server_.reset();
}

std::optional<Answer> talk(std::uint16_t port, std::string_view bytes) {
  asio::io_context io;
  tcp::socket socket(io);
  connect(socket, port);
  // What the server does not want to read it may refuse before all is sent.
  sendAll(io, socket, bytes);
  beast::flat_buffer buffer;
  http::response_parser<http::string_body> parser;
  parser.body_limit(std::uint64_t{1} << 30U);
  if (bytes.starts_with("HEAD")) parser.skip(true);
  finish(io, socket,
         [&](auto handler) { http::async_read(socket, buffer, parser, std::move(handler)); });
  if (!parser.is_header_done()) return std::nullopt;
  Answer answer;
  answer.status = parser.get().result_int();
  for (const auto& field : parser.get())
    answer.headers[std::string(field.name_string())] += std::string(field.value());
  answer.body = parser.get().body();
  if (answer.status >= 400 && answer.body.starts_with('{'))
    checkLater("httpError", nlohmann::ordered_json::parse(answer.body));
  return answer;
}

std::string readToEnd(std::uint16_t port, std::string_view bytes) {
  asio::io_context io;
  tcp::socket socket(io);
  connect(socket, port);
  sendAll(io, socket, bytes);
  std::string all;
  finish(io, socket, [&](auto handler) {
    asio::async_read(socket, asio::dynamic_buffer(all), std::move(handler));
  });
  return all;
}

std::optional<Answer> request(std::uint16_t port, std::string_view method, std::string_view target,
                              const Fields& fields, std::string_view body) {
  std::string text = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\n";
  bool hasHost = false;
  for (const auto& [name, value] : fields) {
    text += name + ": " + value + "\r\n";
    hasHost = hasHost || name == "Host";
  }
  if (!hasHost) text += "Host: 127.0.0.1:" + std::to_string(port) + "\r\n";
  if (!body.empty()) text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  return talk(port, text + "\r\n" + std::string(body));
}

struct TestSocket::Stream {
  asio::io_context io;
  websocket::stream<tcp::socket> socket{io};

  template <class Begin>
  bool finish(Begin begin) {
    return !simulator::finish(io, socket.next_layer(), std::move(begin));
  }
};

TestSocket::TestSocket(RunningServer& server, const std::string& session, const Options& options)
    : stream_(std::make_unique<Stream>()) {
  auto& socket = stream_->socket;
  connect(socket.next_layer(), server.port());
  socket.read_message_max(std::size_t{1} << 30U);
  socket.set_option(websocket::stream_base::decorator([&](websocket::request_type& head) {
    if (options.namesOrigin) head.set(http::field::origin, server.origin());
    if (!options.protocols.empty())
      head.set(http::field::sec_websocket_protocol, options.protocols);
  }));
  const auto target = server.root() + "ws?session=" + session + "&" + options.query;
  websocket::response_type response;
  isOpen_ = stream_->finish([&](auto handler) {
    socket.async_handshake(response, server.host(), target, std::move(handler));
  });
  protocol_ = std::string(response[http::field::sec_websocket_protocol]);
}

TestSocket::~TestSocket() = default;

std::optional<TestSocket::Json> TestSocket::read() {
  beast::flat_buffer buffer;
  const bool isRead = stream_->finish(
      [&](auto handler) { stream_->socket.async_read(buffer, std::move(handler)); });
  if (!isRead) return std::nullopt;
  auto message = Json::parse(beast::buffers_to_string(buffer.cdata()));
  checkLater(message["type"].get<std::string>(), message);
  return message;
}

TestSocket::Json TestSocket::readUntil(std::string_view type) {
  while (const auto message = read())
    if ((*message)["type"] == type) return *message;
  ADD_FAILURE() << "the connection ended before \"" << type << "\"";
  return Json::object({{"type", ""}});
}

bool TestSocket::send(std::string_view text) {
  stream_->socket.text(true);
  return stream_->finish(
      [&](auto handler) { stream_->socket.async_write(asio::buffer(text), std::move(handler)); });
}

TestSocket::Json TestSocket::ask(Json request) {
  request["id"] = ++lastId_;
  send(request.dump());
  while (const auto message = read())
    if ((*message).contains("id") && (*message)["id"] == lastId_) {
      if ((*message)["type"] == "done")
        checkLater(request["type"].get<std::string>() + "Request", request);
      return *message;
    }
  ADD_FAILURE() << "the connection ended before the reply to " << request.dump();
  return Json::object({{"type", ""}});
}

void TestSocket::drop() {
  Error ignored;
  stream_->socket.next_layer().close(ignored);
}

}  // namespace vecamera::simulator
