#include "device/script/json/JsonValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "device/foundation/Base64.h"

namespace vecamera::device::script {
namespace {

std::string lineOf(const Value& value) {
  return toLine(toJson(value));
}

TEST(JsonValue, EveryKindPrintsInItsOwnForm) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(lineOf(Value()), "null");
  EXPECT_EQ(lineOf(true), "true");
  EXPECT_EQ(lineOf(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(lineOf(12.0), "12.0");
  EXPECT_EQ(lineOf(-0.1), "-0.1");
  EXPECT_EQ(lineOf(std::nan("")), "\"NaN\"");
  EXPECT_EQ(lineOf(-infinity), "\"-Infinity\"");
  EXPECT_EQ(lineOf("a\"\n"), R"("a\"\n")");
  EXPECT_EQ(lineOf(Data({0, 255})), R"({"bytes":"AP8="})");
  EXPECT_EQ(lineOf(URL("file:///a")), R"({"url":"file:///a"})");
  EXPECT_EQ(lineOf(Array{1, Array{}, Dictionary{}}), "[1,[],{}]");
  EXPECT_EQ(lineOf(Dictionary{{"b", 1}, {"a", Value()}}), R"({"a":null,"b":1})");
}

TEST(JsonValue, BytesThatAreNotUtf8AreReplaced) {
  EXPECT_EQ(lineOf(Dictionary{{"k\xff", "v\xc3"}}), "{\"k\xEF\xBF\xBD\":\"v\xEF\xBF\xBD\"}");
}

TEST(JsonValue, WhatIsPrintedIsReadBack) {
  const Value value = Dictionary{{"bytes", Data({1, 2, 3, 4})},
                                 {"list", Array{1, 1.0, true, Value(), "text", URL("a:b")}},
                                 {"nested", Dictionary{{"bytes", 5}}}};
  EXPECT_EQ(*toValue(Json::parse(lineOf(value))), value);
}

TEST(StrictJson, MembersAreSortedByKeyAndElementsKeepTheirOrder) {
  const auto json = parseStrictJson(R"({"b": [3, {"z": 1.0, "y": -1}], "": null, "a": "é"})");
  ASSERT_TRUE(json);
  EXPECT_EQ(toLine(*json), R"({"":null,"a":"é","b":[3,{"y":-1,"z":1.0}]})");
}

TEST(StrictJson, NestingHasTheLimitThatIsAskedFor) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_TRUE(parseStrictJson(nested(maxJsonDepth)));
  EXPECT_FALSE(parseStrictJson(nested(maxJsonDepth + 1)));
  EXPECT_TRUE(parseStrictJson(nested(3), 3));
  EXPECT_FALSE(parseStrictJson(nested(4), 3));
}

TEST(JsonValue, Base64IsTakenStrictly) {
  const auto bytesOf = [](std::string_view text) -> std::optional<std::string> {
    const auto data = foundation::decodeBase64(text);
    if (!data) return std::nullopt;
    return std::string(data->bytes().begin(), data->bytes().end());
  };
  EXPECT_EQ(bytesOf(""), "");
  EXPECT_EQ(bytesOf("Zg=="), "f");
  EXPECT_EQ(bytesOf("Zg"), "f");
  EXPECT_EQ(bytesOf("Zm8="), "fo");
  EXPECT_EQ(bytesOf("Zm9v"), "foo");
  EXPECT_EQ(bytesOf("+/+/"), "\xfb\xff\xbf");
  for (const char* bad : {"Z", "Zg=", "Z===", "====", "Zh==", "Zm9 v", "Zm9-", "Zg==Zg=="})
    EXPECT_EQ(bytesOf(bad), std::nullopt) << bad;
}

}  // namespace
}  // namespace vecamera::device::script
