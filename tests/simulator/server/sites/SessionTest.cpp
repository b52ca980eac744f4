#include "simulator/server/sites/Session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace vecamera::simulator {
namespace {

using Json = nlohmann::json;

class FakePeer : public Peer {
 public:
  void send(std::shared_ptr<const std::string> message) override {
    messages.push_back(Json::parse(*message));
  }
  void sendAndClose(std::string message) override {
    messages.push_back(Json::parse(message));
    isEnded = true;
  }
  void resumeReading() override { ++resumptions; }

  std::vector<Json> messages;
  bool isEnded = false;
  int resumptions = 0;
};

class SessionTest : public testing::Test {
 protected:
  std::shared_ptr<Session> makeSession(SessionLimits limits = {}) {
    return std::make_shared<Session>(Session::Identity{"S", "F", "http://app/enter", "http://app"},
                                     limits, [this] { return now_; });
  }
  static PhoneMessage logged(int number, int version = 1) {
    return {PhoneMessage::Kind::logged, "{\"n\":" + std::to_string(number) + "}", number, version};
  }
  /// A connection of its own, whose peer it gives.
  struct Client {
    Client(const std::shared_ptr<Session>& session, ConnectionSetup setup = {})
        : handler(session->connect(setup)) {
      handler->onOpen(peer);
    }
    void close() { handler->onClose(*peer); }
    const Json& hello() const { return peer->messages.at(0); }
    const Json& last() const { return peer->messages.back(); }

    std::shared_ptr<FakePeer> peer = std::make_shared<FakePeer>();
    std::shared_ptr<MessageHandler> handler;
  };

  Session::Clock::time_point now_{};
};

TEST_F(SessionTest, ABrowserThatComesBackGetsWhatItMissed) {
  const auto session = makeSession();
  session->onPhoneMessage({PhoneMessage::Kind::restarted, R"({"locale":"de_DE"})"});
  Client first(session);
  session->onPhoneMessage(logged(0));
  first.close();
  session->onPhoneMessage(logged(1));
  session->onPhoneMessage({PhoneMessage::Kind::state, R"({"type":"state","recorded":3})"});
  EXPECT_EQ(first.peer->messages.size(), 2U);

  const Client second(session);
  ASSERT_EQ(second.peer->messages.size(), 2U);
  const auto& hello = second.hello();
  EXPECT_EQ(hello["type"], "hello");
  EXPECT_EQ(hello["session"], "S");
  EXPECT_EQ(hello["version"], 1);
  EXPECT_EQ(hello["role"], "page");
  EXPECT_EQ(hello["app"], "http://app/enter");
  EXPECT_EQ(hello["appOrigin"], "http://app");
  EXPECT_EQ(hello["device"]["locale"], "de_DE");
  EXPECT_EQ(hello["messages"], Json::parse(R"([{"n":0},{"n":1}])"));
  EXPECT_EQ(hello["gap"], false);
  EXPECT_EQ(second.last()["recorded"], 3);
}

TEST_F(SessionTest, OnlyTheNewestMessagesAreKept) {
  const auto kept = [this](SessionLimits limits, int messages) {
    const auto session = makeSession(limits);
    for (int i = 0; i < messages; ++i) session->onPhoneMessage(logged(i));
    return Client(session).hello();
  };
  EXPECT_EQ(kept({.loggedMessages = 2}, 5)["messages"], Json::parse(R"([{"n":3},{"n":4}])"));
  EXPECT_EQ(kept({.loggedBytes = 16}, 5)["messages"], Json::parse(R"([{"n":3},{"n":4}])"));
  EXPECT_EQ(kept({.loggedBytes = 1}, 5)["messages"], Json::parse(R"([{"n":4}])"))
      << "the newest stays, however long it is";
  EXPECT_EQ(kept({.loggedBytes = 1}, 5)["gap"], true);
}

TEST_F(SessionTest, AClientGetsWhatCameAfterAMessageAndLearnsOfAGap) {
  const struct {
    std::int64_t after;
    const char* messages;
    bool gap;
  } cases[] = {
      {0, R"([{"n":3},{"n":4}])", true},
      {2, R"([{"n":3},{"n":4}])", false},
      {3, R"([{"n":4}])", false},
      {4, "[]", false},
  };
  const auto session = makeSession({.loggedMessages = 2});
  for (int i = 0; i < 5; ++i) session->onPhoneMessage(logged(i));
  for (const auto& [after, messages, gap] : cases) {
    const Client client(session, {.after = after});
    EXPECT_EQ(client.hello()["messages"], Json::parse(messages)) << after;
    EXPECT_EQ(client.hello()["gap"], gap) << after;
  }
  session->onPhoneMessage({PhoneMessage::Kind::restarted, "{}"});
  EXPECT_EQ(Client(session, {.after = 3}).hello()["gap"], true) << "4 went with its device";
  EXPECT_EQ(Client(session, {.after = 4}).hello()["gap"], false);
  EXPECT_EQ(Client(session).hello()["gap"], false) << "the new device is there from its beginning";
}

TEST_F(SessionTest, AnOlderClientGetsNoNewerMessages) {
  const auto session = makeSession();
  const Client older(session);
  const Client newer(session, {.role = Role::driver, .version = 2});
  session->onPhoneMessage(logged(0, 2));
  session->onPhoneMessage(logged(1));
  EXPECT_EQ(older.peer->messages.size(), 2U);
  EXPECT_EQ(newer.peer->messages.size(), 3U);
  EXPECT_EQ(Client(session).hello()["messages"], Json::parse(R"([{"n":1}])"));
  const Client later(session, {.role = Role::driver, .version = 2});
  EXPECT_EQ(later.hello()["messages"].size(), 2U);
  EXPECT_EQ(later.handler->subprotocol(), "vecamera.2");
  EXPECT_EQ(older.handler->subprotocol(), "");
}

TEST_F(SessionTest, ANewerTabTakesThePlaceOfAnOlderOne) {
  const auto session = makeSession();
  Client driver(session, {.role = Role::driver});
  Client first(session);
  const Client second(session);
  EXPECT_TRUE(first.peer->isEnded);
  EXPECT_EQ(first.last()["type"], "bye");
  EXPECT_EQ(first.last()["code"], "takenOver");
  EXPECT_FALSE(driver.peer->isEnded) << "a page takes the place of a page";
  first.close();
  session->onPhoneMessage(logged(0));
  EXPECT_EQ(second.last()["n"], 0) << "the end of the older one changes nothing";
  EXPECT_EQ(driver.last()["n"], 0);
}

TEST_F(SessionTest, AnObserverLooksOnAndAsksForNothing) {
  const auto session = makeSession({.connections = 1});
  const Client observer(session, {.role = Role::observer});
  EXPECT_EQ(observer.handler->onMessage(*observer.peer, R"({"id":7,"type":"restoreSamples"})"),
            Reading::proceed);
  EXPECT_EQ(observer.last()["type"], "failed");
  EXPECT_EQ(observer.last()["id"], 7);
  EXPECT_EQ(observer.last()["code"], "forbidden");
  session->onPhoneMessage({PhoneMessage::Kind::state, R"({"type":"state"})"});
  EXPECT_EQ(observer.last()["type"], "state");
  const Client tooMany(session, {.role = Role::driver});
  EXPECT_TRUE(tooMany.peer->isEnded);
  EXPECT_EQ(tooMany.last()["code"], "tooMany");
  EXPECT_FALSE(Client(session).peer->isEnded) << "the page does not count";
}

TEST_F(SessionTest, ANewDeviceIsAnnouncedBeforeWhatItDoes) {
  const auto session = makeSession();
  session->onPhoneMessage(logged(0));
  const Client client(session);
  session->onPhoneMessage({PhoneMessage::Kind::restarted, R"({"locale":"de_DE"})"});
  session->onPhoneMessage(logged(1));
  ASSERT_EQ(client.peer->messages.size(), 3U);
  EXPECT_EQ(client.peer->messages[1],
            Json::parse(R"({"type":"restarted","device":{"locale":"de_DE"}})"));
  EXPECT_EQ(client.last()["n"], 1);
  EXPECT_EQ(Client(session).hello()["messages"], Json::parse(R"([{"n":1}])"));
}

TEST_F(SessionTest, IsIdleWhileNeitherPageNorDriverIsConnected) {
  const auto session = makeSession({.idle = std::chrono::seconds(10)});
  const Client observer(session, {.role = Role::observer});
  EXPECT_FALSE(session->isIdle());
  now_ += std::chrono::seconds(10);
  EXPECT_TRUE(session->isIdle());
  for (const auto role : {Role::page, Role::driver}) {
    Client client(session, {.role = role});
    now_ += std::chrono::hours(10);
    EXPECT_FALSE(session->isIdle());
    client.close();
    now_ += std::chrono::seconds(9);
    EXPECT_FALSE(session->isIdle());
    now_ += std::chrono::seconds(1);
    EXPECT_TRUE(session->isIdle());
  }
}

TEST_F(SessionTest, AnEndedOneSaysSoAndTakesNobodyMore) {
  const auto session = makeSession();
  const Client first(session);
  session->end({ErrorCode::stopped, "enough"});
  EXPECT_EQ(first.last(), Json::parse(R"({"type":"bye","code":"stopped","why":"enough"})"));
  EXPECT_TRUE(Client(session).peer->isEnded);
}

}  // namespace
}  // namespace vecamera::simulator
