#include "device/script/expectation/Comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vecamera::device::script {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

Expectation expectationOf(std::string_view text) {
  auto parsed = parseExpectation(text);
  EXPECT_TRUE(parsed) << parsed.error().description();
  return parsed ? *parsed : Expectation();
}

std::vector<std::string> differences(std::string_view expected, std::string_view actual,
                                     const ComparisonOptions& options = {}) {
  std::vector<std::string> texts;
  for (const auto& difference : compare(expectationOf(expected), expectationOf(actual), options))
    texts.push_back(difference.description());
  return texts;
}

/// A flow whose one answer is about a picture with these keys.
std::string answerWith(std::string_view media) {
  return "{\"do\":\"capture\"}\n{\"event\":\"answer\",\"to\":\"a\",\"media\":{" +
         std::string(media) + "}}\n";
}

TEST(ComparisonTest, NamesTheStepTheEventAndTheValue) {
  struct Case {
    std::string expected;
    std::string actual;
    std::string message;
  };
  const Case cases[] = {
      {R"("width":640)", R"("width":50)", "media.width: expected 640, came 50"},
      {R"("width":640)", "", "media.width: expected 640, came none"},
      {"", R"("width":640)", "media.width: expected none, came 640"},
      {R"("format":"jpeg")", R"("format":"png")", R"(media.format: expected "jpeg", came "png")"},
      {R"("orientation":1)", R"("orientation":6)", "media.orientation: expected 1, came 6"},
      {R"("sides":[1,2])", R"("sides":[1,3])", "media.sides[1]: expected 2, came 3"},
      {R"("sides":[1,2])", R"("sides":[1])", "media.sides: expected [1,2], came [1]"},
      {R"("width":1)", R"("width":"1")", R"(media.width: expected 1, came "1")"},
      {R"("width":null)", R"("width":0)", "media.width: expected null, came 0"},
      {R"("a":{"b":1})", R"("a":1)", R"(media.a: expected {"b":1}, came 1)"},
  };
  for (const auto& each : cases) {
    const auto found = differences(answerWith(each.expected), answerWith(each.actual));
    ASSERT_FALSE(found.empty()) << each.message;
    EXPECT_EQ(found[0], "step 0 (capture): answer to \"a\": " + each.message);
  }
}

TEST(ComparisonTest, AllowsWhatAnotherCodecChanges) {
  struct Case {
    std::string expected;
    std::string actual;
    bool isSame;
  };
  const Case cases[] = {
      {R"("bytes":10000)", R"("bytes":11900)", true},
      {R"("bytes":10000)", R"("bytes":12100)", false},
      {R"("bytes":10000)", R"("bytes":7900)", false},
      {R"("bytes":100)", R"("bytes":600)", true},
      {R"("bytes":100)", R"("bytes":700)", false},
      {R"("bytes":100)", R"("bytes":"<base64>")", false},
      {R"("duration":2.0)", R"("duration":2.09)", true},
      {R"("duration":2.0)", R"("duration":2.2)", false},
      {R"("sha256":"aa")", R"("sha256":"bb")", true},
      {R"("sha256":"aa")", "", true},
      {R"("perceptualHash":"00000000000000ff")", R"("perceptualHash":"000000000000003f")", true},
      {R"("perceptualHash":"000000000000003f")", R"("perceptualHash":"0000000000000000")", true},
      {R"("perceptualHash":"000000000000007f")", R"("perceptualHash":"0000000000000000")", false},
      {R"("perceptualHash":"000000000000007f")", R"("perceptualHash":"none")", false},
  };
  for (const auto& each : cases)
    EXPECT_EQ(differences(answerWith(each.expected), answerWith(each.actual)).empty(), each.isSame)
        << each.expected << ' ' << each.actual;
}

TEST(ComparisonTest, TakesTheDistanceFromItsOptions) {
  const auto expected = answerWith(R"("perceptualHash":"000000000000000f")");
  const auto actual = answerWith(R"("perceptualHash":"0000000000000000")");
  EXPECT_TRUE(differences(expected, actual, {4}).empty());
  EXPECT_THAT(differences(expected, actual, {3}),
              ElementsAre(HasSubstr("another picture: 4 of 64 bits differ, and at most 3 may")));
}

// One event more or less does not make those behind it differ.
TEST(ComparisonTest, AlignsTheEventsOfAStep) {
  const std::string step = "{\"do\":\"tap\"}\n";
  const std::string log = R"({"event":"log","msg":"x"})"
                          "\n";
  const std::string present = R"({"event":"present","kind":"alert","title":"Camera"})"
                              "\n";
  const std::string answer = R"({"event":"answer","to":"a","result":"success"})"
                             "\n";
  const std::string error = R"({"event":"answer","to":"a","result":"error"})"
                            "\n";
  EXPECT_THAT(differences(step + log + present + answer, step + log + answer),
              ElementsAre("step 0 (tap): missing: present \"Camera\""));
  EXPECT_THAT(differences(step + present + answer, step + log + present + answer),
              ElementsAre(R"(step 0 (tap): not expected: {"event":"log","msg":"x"})"));
  EXPECT_THAT(
      differences(step + log + present + answer, step + present + error + log),
      ElementsAre("step 0 (tap): missing: log \"x\"",
                  R"(step 0 (tap): answer to "a": result: expected "success", came "error")",
                  HasSubstr("not expected: {\"event\":\"log\"")));
}

TEST(ComparisonTest, ComparesEachStepByItself) {
  const std::string files = R"({"event":"files","names":[]})"
                            "\n";
  const std::string open = R"({"event":"open","callback":"a","why":"w"})"
                           "\n";
  const std::string expected = "{\"do\":\"files\"}\n" + files + "{\"do\":\"cancel\"}\n";
  EXPECT_THAT(differences(expected, "{\"do\":\"files\"}\n{\"do\":\"cancel\"}\n" + files),
              ElementsAre("step 0 (files): missing: files",
                          R"(step 1 (cancel): not expected: {"event":"files","names":[]})"));
  EXPECT_THAT(differences(expected + "{\"do\":\"end\"}\n" + open, expected),
              ElementsAre("at the end: missing: open callback \"a\""));
}

TEST(ComparisonTest, StopsWhereTheScriptHasOtherSteps) {
  const std::string expected = "{\"do\":\"files\"}\n{\"do\":\"tap\"}\n{\"do\":\"files\"}\n";
  EXPECT_THAT(differences(expected, "{\"do\":\"files\"}\n{\"do\":\"cancel\"}\n"),
              ElementsAre(HasSubstr("step 1 (cancel): expected the step \"tap\"")));
  EXPECT_THAT(differences(expected, "{\"do\":\"files\"}\n"),
              ElementsAre(HasSubstr("at the end: expected the step \"tap\"")));
  EXPECT_THAT(differences("{\"do\":\"files\"}\n", expected),
              ElementsAre(HasSubstr("step 1 (tap): expected the end of the script")));
}

TEST(ExpectationTest, RefusesWhatIsNone) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "it is empty"},
      {"\n \n", "it is empty"},
      {"{\"do\":\"tap\"}\n{", "line 2: it is no JSON"},
      {"[]", "line 1: it is neither a step"},
      {"{\"do\":1}", "line 1: it is neither a step"},
      {"{\"event\":\"files\"}", "line 1: an event comes before the first step"},
      {"{\"do\":\"end\"}\n{\"do\":\"tap\"}", "line 2: no step comes after the end"},
      {"{\"do\":\"tap\",\"do\":\"tap\"}", "line 1: it is no JSON"},
  };
  for (const auto& [text, error] : cases) {
    const auto parsed = parseExpectation(text);
    ASSERT_FALSE(parsed) << text;
    EXPECT_THAT(parsed.error().description(), HasSubstr(error)) << text;
  }
}

TEST(ExpectationTest, IsReadAsItWasWritten) {
  const std::string text =
      "{\"do\":\"files\"}\n{\"event\":\"files\",\"names\":[\"a b\"]}\n{\"do\":\"cancel\"}\n"
      "{\"do\":\"end\"}\n{\"callback\":\"a\",\"event\":\"open\"}\n";
  EXPECT_EQ(toText(expectationOf(text)), text);
  EXPECT_EQ(toText(expectationOf("{\"do\":\"files\"}")), "{\"do\":\"files\"}\n");
}

}  // namespace
}  // namespace vecamera::device::script
