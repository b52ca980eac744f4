#include "simulator/server/sites/DevServer.h"

#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

TEST(DevServerTest, IsReadFromItsAddress) {
  const struct {
    const char* address;
    const char* host;
    int port;
    const char* start;
    const char* origin;
    bool isLoopback;
  } cases[] = {
      {"http://localhost:5173", "localhost", 5173, "/", "http://localhost:5173", true},
      {"http://localhost/deep/page?x=1#y", "localhost", 80, "/deep/page?x=1#y", "http://localhost",
       true},
      {"HTTP://[::1]:3000/", "::1", 3000, "/", "http://[::1]:3000", true},
      {"http://127.1.2.3:80?q", "127.1.2.3", 80, "/?q", "http://127.1.2.3", true},
      {"http://app.localhost:1", "app.localhost", 1, "/", "http://app.localhost:1", true},
      {"http://192.168.0.2:1", "192.168.0.2", 1, "/", "http://192.168.0.2:1", false},
      {"http://localhost.evil.example", "localhost.evil.example", 80, "/",
       "http://localhost.evil.example", false},
      {"http://mylocalhost", "mylocalhost", 80, "/", "http://mylocalhost", false},
      {"http://[::ffff:8.8.8.8]", "::ffff:8.8.8.8", 80, "/", "http://[::ffff:8.8.8.8]", false},
  };
  for (const auto& one : cases) {
    const auto server = parseDevServer(one.address);
    ASSERT_TRUE(server) << one.address;
    EXPECT_EQ(server->upstream.host, one.host);
    EXPECT_EQ(server->upstream.port, one.port) << one.address;
    EXPECT_EQ(server->start, one.start);
    EXPECT_EQ(server->origin(), one.origin);
    EXPECT_EQ(server->isLoopback(), one.isLoopback) << one.address;
  }
}

TEST(DevServerTest, IsNoneOfAnotherKindOfAddress) {
  for (const auto* address : {"", "localhost:5173", "http://", "http:///x", "https://localhost",
                              "ftp://localhost", "http://a:b@localhost", "http://localhost:0",
                              "http://localhost:65536", "http://local host"})
    EXPECT_FALSE(parseDevServer(address)) << address;
}

}  // namespace
}  // namespace vecamera::simulator
