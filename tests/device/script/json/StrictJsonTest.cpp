#include "device/script/json/StrictJson.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace vecamera::device::script {
namespace {

TEST(StrictJsonTest, MembersAreSortedByKeyAndElementsKeepTheirOrder) {
  const auto json = parseStrictJson(R"({"b": [3, {"z": 1.0, "y": -1}], "": null, "a": "é"})");
  ASSERT_TRUE(json);
  EXPECT_EQ(toLine(*json), R"({"":null,"a":"é","b":[3,{"y":-1,"z":1.0}]})");
}

TEST(StrictJsonTest, NestingHasTheLimitThatIsAskedFor) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_TRUE(parseStrictJson(nested(maxJsonDepth)));
  EXPECT_FALSE(parseStrictJson(nested(maxJsonDepth + 1)));
  EXPECT_TRUE(parseStrictJson(nested(3), 3));
  EXPECT_FALSE(parseStrictJson(nested(4), 3));
}

}  // namespace
}  // namespace vecamera::device::script
