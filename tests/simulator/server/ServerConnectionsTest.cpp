#include <gtest/gtest.h>

#include "tests/simulator/server/MessageCheck.h"
#include "tests/simulator/server/TestBrowser.h"

namespace vecamera::simulator {
namespace {

using Json = nlohmann::ordered_json;

Json takePicture(const std::string& name) {
  return {{"do", "takePicture"}, {"as", name}, {"arguments", {50, 1, 1}}};
}

TEST(ServerConnectionsTest, GivesADriverASessionOfItsOwnWithoutABrowser) {
  RunningServer running;
  const auto answer = request(running.port(), "POST", running.root() + "session");
  ASSERT_EQ(answer->status, 200) << answer->body;
  const auto made = Json::parse(answer->body);
  checkLater("newSession", made);
  const std::string session = made["session"];
  EXPECT_EQ(made["socket"], "ws://" + running.host() + running.root() + "ws?session=" + session);

  TestSocket driver(running, session,
                    {.query = "role=driver", .protocols = "x, vecamera.2", .namesOrigin = false});
  EXPECT_EQ(driver.protocol(), "vecamera.2");
  const auto hello = driver.readUntil("hello");
  EXPECT_EQ(hello["session"], session);
  EXPECT_EQ(hello["version"], 2);
  EXPECT_EQ(hello["role"], "driver");
  TestSocket page(running, session);
  EXPECT_EQ(page.readUntil("hello")["version"], 1);

  const auto reply = driver.step(takePicture("a"));
  EXPECT_EQ(reply["type"], "done");
  // The page sees what happened, and not the driver's reply.
  for (;;) {
    const auto message = page.read();
    ASSERT_TRUE(message);
    EXPECT_NE((*message)["type"], "done");
    EXPECT_NE((*message)["type"], "command") << "that is of a newer version";
    if (message->contains("n") && (*message)["n"] == reply["through"]) break;
  }
  TestSocket later(running, session, {.query = "role=observer&after=0", .protocols = "vecamera.2"});
  const auto missed = later.readUntil("hello");
  EXPECT_EQ(missed["messages"].front()["n"], 1);
  EXPECT_EQ(missed["messages"].back()["n"], reply["through"]);
  EXPECT_EQ(missed["gap"], false);
  EXPECT_EQ(later.step(takePicture("b"))["code"], "forbidden");
}

TEST(ServerConnectionsTest, SaysGoodbyeWithACode) {
  RunningServer running;
  const struct {
    const char* session;
    TestSocket::Options options;
    const char* protocol;
    const char* code;
  } cases[] = {
      {"", {.protocols = "vecamera.9"}, "vecamera.9", "version"},
      {"gone", {.query = "role=driver"}, "", "noSession"},
      {"", {.query = "role=observer", .protocols = "vecamera.2"}, "vecamera.2", "noSession"},
  };
  for (const auto& [session, options, protocol, code] : cases) {
    TestSocket socket(running, session, options);
    const auto bye = socket.read();
    ASSERT_TRUE(bye) << code;
    EXPECT_EQ(socket.protocol(), protocol);
    EXPECT_EQ((*bye)["type"], "bye");
    EXPECT_EQ((*bye)["code"], code);
    EXPECT_FALSE(socket.read()) << "the connection is closed";
  }
}

}  // namespace
}  // namespace vecamera::simulator
