#include "simulator/server/phone/PhoneRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace vecamera::simulator {
namespace {

using testing::HasSubstr;

std::string whyRefused(std::string_view message) {
  const auto request = parsePhoneRequest(message);
  return request ? "" : request.error().message;
}

TEST(PhoneRequestTest, AStepKeepsItsKeysForTheScriptReader) {
  const auto request = parsePhoneRequest(R"({"type":"step","id":7,"step":{"do":"tap","odd":[1]}})");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->id, 7);
  EXPECT_EQ(std::get<StepRequest>(request->what).step,
            nlohmann::ordered_json::parse(R"({"do":"tap","odd":[1]})"));
}

TEST(PhoneRequestTest, ARestartKeepsTheLibraryUnlessAskedOtherwise) {
  const auto keeps = [](std::string_view text) {
    return std::get<RestartRequest>(parsePhoneRequest(text)->what).oldAssets == OldAssets::keep;
  };
  EXPECT_TRUE(keeps(R"({"type":"restart","id":1,"device":{}})"));
  EXPECT_FALSE(keeps(R"({"type":"restart","id":1,"device":{},"keepLibrary":false})"));
}

TEST(PhoneRequestTest, WhatIsNoRequestIsRefusedWithItsIdAndAReason) {
  const struct {
    std::string_view message;
    std::string_view why;
  } cases[] = {
      {"", "line 1"},
      {"[]", "a JSON object"},
      {R"({"type":"step","step":{}})", "number \"id\""},
      {R"({"id":"1","type":"step","step":{}})", "number \"id\""},
      {R"({"id":1})", "text \"type\""},
      {R"({"id":1,"type":"steps"})", "step"},
      {R"({"id":1,"type":"step"})", "an object \"step\""},
      {R"({"id":1,"type":"step","step":{},"more":1})", "more"},
      {R"({"id":1,"type":"step","step":{},"step":{}})", "step"},
      {R"({"id":1,"type":"restart","device":3})", "\"device\" must be an object"},
      {R"({"id":1,"type":"restart","keepLibrary":1})", "true or false"},
      {R"({"id":1,"type":"restoreSamples","step":{}})", "step"},
  };
  for (const auto& [message, why] : cases) EXPECT_THAT(whyRefused(message), HasSubstr(why));
  EXPECT_EQ(parsePhoneRequest(R"({"id":1.5,"type":"other"})").error().id, 1.5);
}

TEST(PhoneRequestTest, WhatCannotBeReadIsRefusedWithItsIdAsFarAsThatCanBeRead) {
  const std::string deep(100, '[');
  const std::string shut(100, ']');
  const auto step = [](const std::string& arguments) {
    return R"("type":"step","step":{"do":"takePicture","id":8,"arguments":)" + arguments + "}";
  };
  const struct {
    std::string message;
    nlohmann::json id;
  } cases[] = {
      {"{" + step(deep + shut) + R"(,"id":7})", 7},
      {R"({"id":7,)" + step(R"(["\ud800"])") + "}", 7},
      {"{" + step(R"(["\ud800"])") + R"(,"id":7})", nullptr},
      {R"({"type":"step","id":7,"type":"step"})", 7},
      {R"({"step":{"id":8},"id":[7],"id":"7","x":9)", nullptr},
      {"[7", nullptr},
  };
  for (const auto& [message, id] : cases) {
    const auto request = parsePhoneRequest(message);
    ASSERT_FALSE(request) << message;
    EXPECT_EQ(request.error().id, nlohmann::ordered_json(id)) << message;
  }
}

TEST(PhoneRequestTest, DamagedMessagesAreRequestsOrRefusedWithAReason) {
  const std::string whole[] = {
      R"({"type":"step","id":7,"step":{"do":"takePicture","as":"a","arguments":[50,0,null,-1e9]}})",
      R"({"type":"restart","id":2,"device":{"authorization":{"camera":"denied"}},"keepLibrary":true})",
      R"({"type":"restoreSamples","id":3})",
  };
  std::mt19937 random(20240501);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  int refused = 0;
  for (int i = 0; i < 20000; ++i) {
    auto text = whole[below(std::size(whole))];
    for (auto changes = 1 + below(4); changes > 0 && !text.empty(); --changes) {
      const auto at = below(text.size());
      switch (below(4)) {
        case 0: text[at] = static_cast<char>(random()); break;
        case 1: text.erase(at, 1 + below(5)); break;
        case 2: text.insert(at, text.substr(below(text.size()), 8)); break;
        default: text.insert(at, 1, "{}[]\":,\\0e-"[below(11)]); break;
      }
    }
    const auto request = parsePhoneRequest(text);
    if (request) {
      EXPECT_TRUE(request->id.is_number()) << text;
      continue;
    }
    ++refused;
    EXPECT_FALSE(request.error().message.empty()) << text;
    EXPECT_TRUE(request.error().id.is_null() || request.error().id.is_number()) << text;
  }
  EXPECT_GT(refused, 10000);
}

}  // namespace
}  // namespace vecamera::simulator
