#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>

#include "tests/simulator/server/FakeDevServer.h"
#include "tests/simulator/server/TestApp.h"

namespace vecamera::simulator {
namespace {

using Connection = FakeDevServer::Connection;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

ServerSetup setupFor(const DevServer& server) {
  ServerSetup setup;
  setup.app = server;
  return setup;
}

constexpr std::string_view ok = "HTTP/1.1 200 OK\r\n";

std::string plainResponse(std::string_view body, std::string_view fields = {}) {
  return std::string(ok) + std::string(fields) + "Content-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + std::string(body);
}

TEST(ForwardingTest, BringsEachResponseAsTheServerGaveIt) {
  const std::string chunks = "3\r\nabc\r\n4\r\ndefg\r\n0\r\n\r\n";
  const struct {
    const char* what;
    const char* method;
    std::string response;
    int status;
    std::string body;
  } cases[] = {
      {"a length", "GET", plainResponse("hello"), 200, "hello"},
      {"a method of its own", "PROPFIND", plainResponse("hello"), 200, "hello"},
      {"chunks", "GET", std::string(ok) + "Transfer-Encoding: chunked\r\n\r\n" + chunks, 200,
       "abcdefg"},
      {"the end of the connection", "GET", std::string(ok) + "\r\nto the end", 200, "to the end"},
      {"no content", "DELETE", "HTTP/1.1 204 No Content\r\n\r\n", 204, ""},
      {"a head alone", "HEAD", std::string(ok) + "Content-Length: 99\r\n\r\n", 200, ""},
      {"a part", "GET",
       "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-1/9\r\nContent-Length: 2\r\n\r\nab",
       206, "ab"},
      {"an interim response before", "GET",
       "HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n" + plainResponse("late"), 103, ""},
      {"an error", "GET", "HTTP/1.1 500 Oh\r\nContent-Length: 3\r\n\r\noh!", 500, "oh!"},
      {"no response", "GET", "nonsense\r\n\r\n", 502, ""},
      {"nothing at all", "GET", "", 502, ""},
  };
  std::mutex mutex;
  std::string response;
  // The server may still send the last one when the answer has come.
  FakeDevServer server([&](Connection& connection) {
    std::unique_lock lock(mutex);
    const auto current = response;
    lock.unlock();
    connection.write(current);
  });
  RunningApp phone(setupFor(server.address()));
  for (const auto& one : cases) {
    {
      const std::lock_guard lock(mutex);
      response = one.response;
    }
    const auto answer = phone.app.ask(one.method, "/x");
    EXPECT_EQ(answer.status, one.status) << one.what;
    EXPECT_EQ(answer.status == 502 ? "" : answer.body, one.body) << one.what;
  }
}

TEST(ForwardingTest, BreaksOffAResponseThatTheServerBreaksOff) {
  FakeDevServer server([](Connection& connection) {
    connection.write(std::string(ok) + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n");
  });
  RunningApp phone(setupFor(server.address()));
  const auto all = readToEnd(phone.app.port, phone.app.head("GET", "/"));
  EXPECT_THAT(all, HasSubstr("abc"));
  EXPECT_THAT(all, Not(testing::EndsWith("0\r\n\r\n"))) << "it would look complete";
}

TEST(ForwardingTest, TakesUploadsOfAnyLengthAndForm) {
  constexpr std::size_t length = 3'000'000;
  std::string head;
  FakeDevServer server([&](Connection& connection) {
    head = connection.head;
    std::string body;
    if (connection.field("Transfer-Encoding") == "chunked") {
      while (!body.ends_with("0\r\n\r\n")) body += connection.read(1);
    } else {
      body = connection.read(length);
    }
    connection.write(plainResponse(std::to_string(std::ranges::count(body, 'x'))));
  });
  auto setup = setupFor(server.address());
  // That limit is of the files of the phone.
  setup.phone.media.fileBytes = 1000;
  RunningApp phone(std::move(setup));
  EXPECT_EQ(phone.app.ask("PUT", "/up", {}, std::string(length, 'x')).body, std::to_string(length));
  EXPECT_THAT(head, StartsWith("PUT /up HTTP/1.1\r\n"));
  const auto chunked =
      phone.app.head("POST", "/up", {{"Transfer-Encoding", "chunked"}, {"Connection", "close"}});
  EXPECT_EQ(talk(phone.app.port, chunked + "3\r\nxxx\r\n2\r\nxx\r\n0\r\n\r\n")->body, "5");
}

TEST(ForwardingTest, BringsAResponseThatComesBeforeTheUploadHasEnded) {
  FakeDevServer server([](Connection& connection) {
    connection.write("HTTP/1.1 413 Too Long\r\nContent-Length: 2\r\n\r\nno");
  });
  RunningApp phone(setupFor(server.address()));
  const auto half = phone.app.head("POST", "/", {{"Content-Length", "1000"}}) + "half";
  const auto all = readToEnd(phone.app.port, half);
  EXPECT_THAT(all, StartsWith("HTTP/1.1 413 "));
  EXPECT_THAT(all, HasSubstr("Connection: close"));
}

TEST(ForwardingTest, KeepsTheBrowsersConnectionForTheNextRequest) {
  FakeDevServer server([](Connection& connection) {
    connection.write(plainResponse(connection.head.substr(0, connection.head.find(" HTTP"))));
  });
  RunningApp phone(setupFor(server.address()));
  const auto all =
      readToEnd(phone.app.port, phone.app.head("GET", "/one") +
                                    phone.app.head("GET", "/two", {{"Connection", "close"}}));
  EXPECT_THAT(all, HasSubstr("GET /one"));
  EXPECT_THAT(all, HasSubstr("GET /two"));
}

TEST(ForwardingTest, AsksAsIfTheBrowserHadComeToTheServerItself) {
  std::string head;
  FakeDevServer server([&](Connection& connection) {
    head = connection.head;
    connection.write(plainResponse(""));
  });
  RunningApp phone(setupFor(server.address()));
  phone.app.get(
      "/a//b%2Fc?d=%00",
      {{"Origin", phone.app.origin}, {"Connection", "X-Mine"}, {"X-Mine", "1"}, {"X-Yours", "2"}});
  const auto host = "127.0.0.1:" + std::to_string(server.port());
  EXPECT_THAT(head, StartsWith("GET /a//b%2Fc?d=%00 HTTP/1.1\r\nHost: " + host + "\r\n"));
  EXPECT_THAT(head, HasSubstr("\r\nOrigin: http://" + host + "\r\n"));
  EXPECT_THAT(head, HasSubstr("\r\nX-Yours: 2\r\n"));
  EXPECT_THAT(head, Not(HasSubstr("X-Mine")));
  EXPECT_THAT(head, Not(HasSubstr("vecamera-"))) << "the simulator's own cookie";
  // Nobody else reaches the developer's server over the phone.
  head.clear();
  EXPECT_EQ(request(phone.app.port, "GET", "/")->status, 403);
  EXPECT_EQ(phone.app.get("/", {{"Host", "evil.example"}}).status, 403);
  EXPECT_EQ(phone.app.get("http://evil.example/").status, 400);
  EXPECT_EQ(phone.app.get("/.vecamera/other").status, 404);
  EXPECT_EQ(head, "");
}

TEST(ForwardingTest, PutsTheScriptIntoPagesAndNothingElse) {
  FakeDevServer server([](Connection& connection) {
    connection.write(plainResponse("<!doctype html><p>Hi", "Content-Type: text/html\r\n"));
  });
  RunningApp phone(setupFor(server.address()));
  EXPECT_THAT(phone.app.navigate("/").body,
              testing::MatchesRegex("<!doctype html><script nonce=\"[0-9a-f]+\" "
                                    "src=\"/.vecamera/app.js\" data-simulator=\"" +
                                    phone.running.origin() + "\"></script><p>Hi"));
  EXPECT_EQ(phone.app.get("/").body, "<!doctype html><p>Hi");
}

TEST(ForwardingTest, CarriesWebSockets) {
  FakeDevServer server([](Connection& connection) {
    const auto isAsked = connection.field("Connection") == "Upgrade" &&
                         connection.field("Upgrade") == "websocket" &&
                         connection.field("Sec-WebSocket-Protocol") == "hot";
    connection.write(std::string("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\n"
                                 "Upgrade: websocket\r\nSec-WebSocket-Protocol: ") +
                     (isAsked ? "hot" : "none") + "\r\n\r\nfirst ");
    connection.write("echo of " + connection.read(5));
  });
  RunningApp phone(setupFor(server.address()));
  const auto head = phone.app.head("GET", "/hot",
                                   {{"Connection", "Upgrade"},
                                    {"Upgrade", "websocket"},
                                    {"Sec-WebSocket-Protocol", "hot"},
                                    {"Sec-WebSocket-Version", "13"},
                                    {"Sec-WebSocket-Key", "AAAAAAAAAAAAAAAAAAAAAA=="}});
  const auto all = readToEnd(phone.app.port, head + "bytes");
  EXPECT_THAT(all, StartsWith("HTTP/1.1 101 "));
  EXPECT_THAT(all, HasSubstr("Sec-WebSocket-Protocol: hot\r\n"));
  EXPECT_THAT(all, testing::EndsWith("\r\n\r\nfirst echo of bytes"));
}

TEST(ForwardingTest, SaysThatNothingAnswersUntilSomethingDoes) {
  const auto serve = [](Connection& connection) { connection.write(plainResponse("up")); };
  auto server = std::make_unique<FakeDevServer>(serve);
  const auto port = server->port();
  RunningApp phone(setupFor(server->address()));
  server.reset();
  const auto page = phone.app.navigate("/");
  EXPECT_EQ(page.status, 503);
  EXPECT_THAT(page.body, HasSubstr("http://127.0.0.1:" + std::to_string(port)));
  EXPECT_THAT(page.body, HasSubstr("/.vecamera/waiting.js"));
  EXPECT_EQ(phone.app.get("/data").status, 502);
  EXPECT_EQ(phone.app.get("/.vecamera/upstream").body, R"({"reachable":false})");
  server = std::make_unique<FakeDevServer>(serve, port);
  EXPECT_EQ(phone.app.get("/.vecamera/upstream").body, R"({"reachable":true})");
  EXPECT_EQ(phone.app.navigate("/").body, "up");
}

/// A browser's connection on which the test does what no browser would.
class RawBrowser {
 public:
  RawBrowser(std::uint16_t port, const std::string& head) : socket_(io_) {
    socket_.connect({boost::asio::ip::address_v4::loopback(), port});
    boost::asio::write(socket_, boost::asio::buffer(head));
  }
  void readSome() {
    std::string piece(1U << 20U, '\0');
    boost::asio::read(socket_, boost::asio::buffer(piece));
  }
  void close() { socket_.close(); }

 private:
  boost::asio::io_context io_;
  boost::asio::ip::tcp::socket socket_;
};

TEST(ForwardingTest, ReadsNoFasterFromTheServerThanTheBrowserDoes) {
  std::atomic<std::size_t> sent = 0;
  FakeDevServer server([&](Connection& connection) {
    const std::string piece(65536, 'x');
    connection.write(std::string(ok) + "\r\n");
    while (sent < (1U << 30U) && connection.write(piece)) sent += piece.size();
  });
  RunningApp phone(setupFor(server.address()));
  RawBrowser browser(phone.app.port, phone.app.head("GET", "/"));
  // Until the buffers of the system are full, which take some megabytes.
  const auto settled = [&] {
    for (std::size_t before = ~std::size_t{0}; before != sent;) {
      before = sent;
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    return sent.load();
  };
  const auto before = settled();
  EXPECT_LT(before, 64U << 20U);
  for (int i = 0; i < 16; ++i) browser.readSome();
  EXPECT_GT(settled(), before);
  browser.close();
}

TEST(ForwardingTest, EndsTheRequestOfABrowserThatLeaves) {
  std::promise<std::string> end;
  FakeDevServer server([&](Connection& connection) {
    connection.write(std::string(ok) + "Content-Type: text/event-stream\r\n\r\ndata: 1\n\n");
    end.set_value(connection.read(1));
  });
  RunningApp phone(setupFor(server.address()));
  RawBrowser browser(phone.app.port, phone.app.head("GET", "/events"));
  auto ended = end.get_future();
  EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
  browser.close();
  ASSERT_EQ(ended.wait_for(std::chrono::minutes(2)), std::future_status::ready);
  EXPECT_EQ(ended.get(), "");
}

TEST(ForwardingTest, LetsAServerBeQuietForAsLongAsItLikes) {
  constexpr std::chrono::milliseconds shortTime{200};
  FakeDevServer server([&](Connection& connection) {
    std::this_thread::sleep_for(4 * shortTime);
    connection.write(std::string(ok) + "\r\n");
    std::this_thread::sleep_for(4 * shortTime);
    connection.write("late");
  });
  auto setup = setupFor(server.address());
  RunningApp phone([&] {
    setup.network.bodyTimeout = shortTime;
    return std::move(setup);
  }());
  EXPECT_EQ(phone.app.get("/").body, "late");
}

}  // namespace
}  // namespace vecamera::simulator
