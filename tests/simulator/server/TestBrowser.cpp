#include "tests/simulator/server/TestBrowser.h"

#include <gtest/gtest.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <stdexcept>

namespace vecamera::simulator {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using Error = boost::system::error_code;

/// A server that hangs fails the test, instead of hanging it.
void limitWaiting(tcp::socket& socket) {
  const timeval most{120, 0};
  setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &most, sizeof most);
  setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &most, sizeof most);
}

void connect(tcp::socket& socket, std::uint16_t port) {
  socket.connect({asio::ip::address_v4::loopback(), port});
  limitWaiting(socket);
}

}  // namespace

RunningServer::RunningServer(ServerSetup setup) {
  auto made = Server::make(std::move(setup));
  if (const auto* why = std::get_if<std::string>(&made)) throw std::runtime_error(*why);
  server_ = std::move(std::get<std::unique_ptr<Server>>(made));
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
  Error error;
  // What the server does not want to read it may refuse before all is sent.
  asio::write(socket, asio::buffer(bytes), error);
  beast::flat_buffer buffer;
  http::response_parser<http::string_body> parser;
  parser.body_limit(std::uint64_t{1} << 30U);
  if (bytes.starts_with("HEAD")) parser.skip(true);
  http::read(socket, buffer, parser, error);
  if (!parser.is_header_done()) return std::nullopt;
  Answer answer;
  answer.status = parser.get().result_int();
  for (const auto& field : parser.get())
    answer.headers[std::string(field.name_string())] += std::string(field.value());
  answer.body = parser.get().body();
  return answer;
}

bool isLetGoAfter(std::uint16_t port, std::string_view bytes) {
  asio::io_context io;
  tcp::socket socket(io);
  connect(socket, port);
  Error error;
  asio::write(socket, asio::buffer(bytes), error);
  char piece[4096];
  while (!error) socket.read_some(asio::buffer(piece), error);
  return error == asio::error::eof || error == asio::error::connection_reset;
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
};

TestSocket::TestSocket(RunningServer& server, const std::string& session)
    : stream_(std::make_unique<Stream>()) {
  auto& socket = stream_->socket;
  connect(socket.next_layer(), server.port());
  socket.read_message_max(std::size_t{1} << 30U);
  socket.set_option(websocket::stream_base::decorator(
      [&](websocket::request_type& head) { head.set(http::field::origin, server.origin()); }));
  Error error;
  const auto target = server.root() + "ws" + (session.empty() ? "" : "?session=" + session);
  socket.handshake(server.host(), target, error);
  isOpen_ = !error;
}

TestSocket::~TestSocket() = default;

std::optional<TestSocket::Json> TestSocket::read() {
  beast::flat_buffer buffer;
  Error error;
  stream_->socket.read(buffer, error);
  if (error) return std::nullopt;
  return Json::parse(beast::buffers_to_string(buffer.cdata()));
}

TestSocket::Json TestSocket::readUntil(std::string_view type) {
  while (const auto message = read())
    if ((*message)["type"] == type) return *message;
  ADD_FAILURE() << "the connection ended before \"" << type << "\"";
  return Json::object({{"type", ""}});
}

bool TestSocket::send(std::string_view text) {
  Error error;
  stream_->socket.text(true);
  stream_->socket.write(asio::buffer(text), error);
  return !error;
}

TestSocket::Json TestSocket::ask(Json request) {
  request["id"] = ++lastId_;
  send(request.dump());
  while (const auto message = read())
    if ((*message).contains("id") && (*message)["id"] == lastId_) return *message;
  ADD_FAILURE() << "the connection ended before the reply to " << request.dump();
  return Json::object({{"type", ""}});
}

void TestSocket::drop() {
  Error ignored;
  stream_->socket.next_layer().close(ignored);
}

}  // namespace vecamera::simulator
