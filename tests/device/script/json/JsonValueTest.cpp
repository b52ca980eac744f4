#include "device/script/json/JsonValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace vecamera::device::script {
namespace {

std::string lineOf(const Value& value) {
  return toLine(toJson(value));
}

TEST(JsonValueTest, EveryKindPrintsInItsOwnForm) {
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

TEST(JsonValueTest, BytesThatAreNotUtf8AreReplaced) {
  EXPECT_EQ(lineOf(Dictionary{{"k\xff", "v\xc3"}}), "{\"k\xEF\xBF\xBD\":\"v\xEF\xBF\xBD\"}");
}

TEST(JsonValueTest, WhatIsPrintedIsReadBack) {
  const Value value = Dictionary{{"bytes", Data({1, 2, 3, 4})},
                                 {"list", Array{1, 1.0, true, Value(), "text", URL("a:b")}},
                                 {"nested", Dictionary{{"bytes", 5}}}};
  EXPECT_EQ(*toValue(Json::parse(lineOf(value))), value);
}

}  // namespace
}  // namespace vecamera::device::script
