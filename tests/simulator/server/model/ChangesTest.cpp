#include "simulator/server/model/Changes.h"

#include <gtest/gtest.h>

#include "simulator/server/model/AutomaticAnswers.h"

namespace vecamera::simulator {
namespace {

TEST(ChangesTest, ChangesTheFaultsOfOnePlaceAndKeepsTheOthers) {
  const auto inForce = Json::parse(R"([{"at":"writeFile","error":"full"},{"at":"export"}])");
  const struct {
    const char* changes;
    const char* merged;
  } cases[] = {
      {R"({"jpegEncoder":{}})",
       R"([{"at":"writeFile","error":"full"},{"at":"export"},{"at":"jpegEncoder"}])"},
      {R"({"writeFile":{"error":"gone","times":2}})",
       R"([{"at":"export"},{"at":"writeFile","error":"gone","times":2}])"},
      {R"({"writeFile":null})", R"([{"at":"export"}])"},
      {R"({"writeFile":null,"export":{"at":"export","times":1}})",
       R"([{"at":"export","times":1}])"},
      {"{}", R"([{"at":"writeFile","error":"full"},{"at":"export"}])"},
  };
  for (const auto& [changes, merged] : cases) {
    const auto result = mergeFaults(inForce, Json::parse(changes));
    ASSERT_TRUE(result) << changes;
    EXPECT_EQ(*result, Json::parse(merged)) << changes;
  }
  for (const auto* bad : {"[]", R"({"nowhere":{}})", R"({"nowhere":null})", R"({"export":5})",
                          R"({"export":{"at":"writeFile"}})", R"({"export":{"colour":1}})"})
    EXPECT_FALSE(mergeFaults(inForce, Json::parse(bad))) << bad;
}

TEST(ChangesTest, AnswersThePromptsThatItWasSetToAnswer) {
  using Permission = AutomaticAnswers::Permission;
  AutomaticAnswers answers;
  const std::set<Permission> both{Permission::camera, Permission::photoLibrary};
  EXPECT_EQ(answers.stepFor(both), std::nullopt);
  ASSERT_TRUE(answers.change({{"photoLibrary", "limited"}}));
  EXPECT_EQ(answers.stepFor(both),
            Json::parse(R"({"do":"answer","prompt":"photoLibrary","with":"limited"})"));
  EXPECT_EQ(answers.stepFor({Permission::camera}), std::nullopt);
  for (const auto* bad : {"5", R"({"camera":"limited"})", R"({"microphone":"allow"})",
                          R"({"microphone":"ask"})", R"({"camera":"allow","location":5})"})
    EXPECT_FALSE(answers.change(Json::parse(bad))) << bad;
  EXPECT_EQ(answers.toJson()["camera"], "ask") << "an error changes nothing";
  ASSERT_TRUE(answers.change({{"photoLibrary", "ask"}}));
  EXPECT_EQ(answers.stepFor(both), std::nullopt);
}

}  // namespace
}  // namespace vecamera::simulator
