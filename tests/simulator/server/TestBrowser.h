#pragma once

#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "simulator/server/Server.h"

namespace vecamera::simulator {

/// A server that runs in a thread of its own until the end of the object.
class RunningServer {
 public:
  explicit RunningServer(ServerSetup setup = {});
  ~RunningServer();
  Server& server() { return *server_; }
  std::uint16_t port() const { return port_; }
  /// "/SECRET/".
  const std::string& root() const { return root_; }
  std::string host() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string origin() const { return "http://" + host(); }
  void stop();

 private:
  std::unique_ptr<Server> server_;
  std::uint16_t port_ = 0;
  std::string root_;
  std::thread thread_;
};

struct Answer {
  int status = 0;
  /// By name; several of one name stand in one text.
  std::map<std::string, std::string> headers;
  std::string body;

  std::string header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
  }
};

/// Sends the bytes over a connection of their own and reads one answer; nothing where the server
/// ends the connection without one.
std::optional<Answer> talk(std::uint16_t port, std::string_view bytes);

/// Sends the bytes and reads on until the server ends the connection: all that it sent.
std::string readToEnd(std::uint16_t port, std::string_view bytes);

using Fields = std::vector<std::pair<std::string, std::string>>;

/// A request whose "Host" is the server's own unless `fields` has another.
std::optional<Answer> request(std::uint16_t port, std::string_view method, std::string_view target,
                              const Fields& fields = {}, std::string_view body = {});

/// Holds up those who wait for it, until it is opened: at the latest at its end, so that a test
/// that fails in between does not wait for them for ever. It stands after the server whose phones
/// wait.
class Gate {
 public:
  explicit Gate(std::promise<void>& opening) : opening_(&opening) {}
  ~Gate() { open(); }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;
  void open() {
    if (auto* opening = std::exchange(opening_, nullptr)) opening->set_value();
  }

 private:
  std::promise<void>* opening_;
};

/// A browser's WebSocket.
class TestSocket {
 public:
  using Json = nlohmann::ordered_json;

  struct Options {
    /// Of the address, after the session: "role=driver".
    std::string query{};
    /// The subprotocols that are offered.
    std::string protocols{};
    bool namesOrigin = true;
  };
  explicit TestSocket(RunningServer& server, const std::string& session = {})
      : TestSocket(server, session, {}) {}
  TestSocket(RunningServer& server, const std::string& session, const Options& options);
  ~TestSocket();
  bool isOpen() const { return isOpen_; }
  /// The subprotocol that the server has chosen.
  const std::string& protocol() const { return protocol_; }
  /// The next message; nothing when the connection has ended.
  std::optional<Json> read();
  /// The next message of that type; fails the test where the connection ends before.
  Json readUntil(std::string_view type);
  /// False where the connection has ended.
  bool send(std::string_view text);
  /// Sends the request and reads up to its reply.
  Json ask(Json request);
  Json step(const Json& step) { return ask({{"type", "step"}, {"step", step}}); }
  /// Ends the connection at once.
  void drop();

 private:
  struct Stream;
  std::unique_ptr<Stream> stream_;
  bool isOpen_ = false;
  std::string protocol_;
  int lastId_ = 0;
};

}  // namespace vecamera::simulator
