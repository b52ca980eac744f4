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
  static PhoneMessage logged(int number) {
    return {PhoneMessage::Kind::logged, "{\"n\":" + std::to_string(number) + "}"};
  }

  Session::Clock::time_point now_{};
};

TEST_F(SessionTest, ABrowserThatComesBackGetsWhatItMissed) {
  const auto session = makeSession();
  session->onPhoneMessage({PhoneMessage::Kind::restarted, R"({"locale":"de_DE"})"});
  const auto first = std::make_shared<FakePeer>();
  session->onOpen(first);
  session->onPhoneMessage(logged(0));
  session->onClose(*first);
  session->onPhoneMessage(logged(1));
  session->onPhoneMessage({PhoneMessage::Kind::state, R"({"type":"state","recorded":3})"});
  EXPECT_EQ(first->messages.size(), 2U);

  const auto second = std::make_shared<FakePeer>();
  session->onOpen(second);
  ASSERT_EQ(second->messages.size(), 2U);
  const auto& hello = second->messages[0];
  EXPECT_EQ(hello["type"], "hello");
  EXPECT_EQ(hello["session"], "S");
  EXPECT_EQ(hello["version"], 1);
  EXPECT_EQ(hello["app"], "http://app/enter");
  EXPECT_EQ(hello["appOrigin"], "http://app");
  EXPECT_EQ(hello["device"]["locale"], "de_DE");
  EXPECT_EQ(hello["messages"], Json::parse(R"([{"n":0},{"n":1}])"));
  EXPECT_EQ(second->messages[1]["recorded"], 3);
}

TEST_F(SessionTest, OnlyTheNewestMessagesAreKept) {
  const auto kept = [this](SessionLimits limits, int messages) {
    const auto session = makeSession(limits);
    for (int i = 0; i < messages; ++i) session->onPhoneMessage(logged(i));
    const auto peer = std::make_shared<FakePeer>();
    session->onOpen(peer);
    return peer->messages[0]["messages"];
  };
  EXPECT_EQ(kept({.loggedMessages = 2}, 5), Json::parse(R"([{"n":3},{"n":4}])"));
  EXPECT_EQ(kept({.loggedBytes = 16}, 5), Json::parse(R"([{"n":3},{"n":4}])"));
  EXPECT_EQ(kept({.loggedBytes = 1}, 5), Json::parse(R"([{"n":4}])"))
      << "the newest stays, however long it is";
}

TEST_F(SessionTest, ANewerTabTakesThePlaceOfAnOlderOne) {
  const auto session = makeSession();
  const auto first = std::make_shared<FakePeer>();
  const auto second = std::make_shared<FakePeer>();
  session->onOpen(first);
  session->onOpen(second);
  EXPECT_TRUE(first->isEnded);
  EXPECT_EQ(first->messages.back()["type"], "bye");
  session->onClose(*first);
  session->onPhoneMessage(logged(0));
  EXPECT_EQ(second->messages.back()["n"], 0) << "the end of the older one changes nothing";
}

TEST_F(SessionTest, ANewDeviceIsAnnouncedBeforeWhatItDoes) {
  const auto session = makeSession();
  const auto peer = std::make_shared<FakePeer>();
  session->onPhoneMessage(logged(0));
  session->onOpen(peer);
  session->onPhoneMessage({PhoneMessage::Kind::restarted, R"({"locale":"de_DE"})"});
  session->onPhoneMessage(logged(1));
  ASSERT_EQ(peer->messages.size(), 3U);
  EXPECT_EQ(peer->messages[1], Json::parse(R"({"type":"restarted","device":{"locale":"de_DE"}})"));
  EXPECT_EQ(peer->messages[2]["n"], 1);
  const auto later = std::make_shared<FakePeer>();
  session->onOpen(later);
  EXPECT_EQ(later->messages[0]["messages"], Json::parse(R"([{"n":1}])"));
}

TEST_F(SessionTest, IsIdleOnlyWhileDisconnected) {
  const auto session = makeSession({.idle = std::chrono::seconds(10)});
  EXPECT_FALSE(session->isIdle());
  now_ += std::chrono::seconds(10);
  EXPECT_TRUE(session->isIdle());
  const auto peer = std::make_shared<FakePeer>();
  session->onOpen(peer);
  now_ += std::chrono::hours(10);
  EXPECT_FALSE(session->isIdle());
  session->onClose(*peer);
  now_ += std::chrono::seconds(9);
  EXPECT_FALSE(session->isIdle());
  now_ += std::chrono::seconds(1);
  EXPECT_TRUE(session->isIdle());
}

TEST_F(SessionTest, AnEndedOneSaysSoAndTakesNobodyMore) {
  const auto session = makeSession();
  const auto first = std::make_shared<FakePeer>();
  session->onOpen(first);
  session->end("enough");
  EXPECT_EQ(first->messages.back(), Json::parse(R"({"type":"bye","why":"enough"})"));
  const auto second = std::make_shared<FakePeer>();
  session->onOpen(second);
  EXPECT_TRUE(second->isEnded);
}

}  // namespace
}  // namespace vecamera::simulator
