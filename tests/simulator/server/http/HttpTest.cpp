#include "simulator/server/http/Http.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

using testing::ElementsAre;
using testing::Optional;

TEST(RequestTargetTest, IsDecodedOnce) {
  const auto target = parseTarget("/a%20b/%2541/?q=1+2%2B3&empty");
  ASSERT_TRUE(target);
  EXPECT_THAT(target->segments, ElementsAre("a b", "%41"));
  EXPECT_TRUE(target->isFolder);
  EXPECT_EQ(target->queryValue("q"), "1 2+3");
  EXPECT_TRUE(target->query.contains("empty"));
}

TEST(RequestTargetTest, IsNoneWithoutAPlainPath) {
  for (const auto* target : {"",
                             "a",
                             "http://127.0.0.1/",
                             "//",
                             "/a//b",
                             "/.",
                             "/..",
                             "/../etc/passwd",
                             "/a/../../b",
                             "/%2e%2e/b",
                             "/%2E./b",
                             "/a%2fb",
                             "/..%2f..",
                             "/a%5cb",
                             "/a\\b",
                             "/a%00b",
                             "/a%0ab",
                             "/%7f",
                             "/%",
                             "/%4",
                             "/%zz",
                             "/a?%",
                             "*"})
    EXPECT_FALSE(parseTarget(target)) << target;
}

TEST(ByteRangeTest, IsThatOfASingleRange) {
  const auto parts = [](std::string_view header) -> std::optional<std::pair<int, int>> {
    const auto range = parseRange(header, 10);
    if (!range) return std::nullopt;
    return std::pair(static_cast<int>(range->begin), static_cast<int>(range->length));
  };
  EXPECT_THAT(parts("bytes=0-3"), Optional(std::pair(0, 4)));
  EXPECT_THAT(parts("bytes=4-"), Optional(std::pair(4, 6)));
  EXPECT_THAT(parts("bytes=-3"), Optional(std::pair(7, 3)));
  EXPECT_THAT(parts("bytes=8-99"), Optional(std::pair(8, 2)));
  EXPECT_THAT(parts("bytes=-99"), Optional(std::pair(0, 10)));
  for (const auto* other :
       {"", "bytes=", "bytes=-", "bytes=-0", "bytes=10-", "bytes=5-4", "bytes=0-1,3-4", "bytes=a-b",
        "items=0-1", "bytes=99999999999999999999-"})
    EXPECT_FALSE(parts(other)) << other;
}

TEST(HttpTest, HostsOfOthersAreNotOurs) {
  EXPECT_TRUE(isOwnHost("127.0.0.1:8080", 8080));
  EXPECT_TRUE(isOwnHost("localhost:8080", 8080));
  EXPECT_TRUE(isOwnHost("localhost", 80));
  for (const auto* host : {"", "127.0.0.1", "127.0.0.1:8081", "evil.example:8080",
                           "localhost:8080.evil.example", "127.0.0.1:8080@evil", "LOCALHOST.:8080"})
    EXPECT_FALSE(isOwnHost(host, 8080)) << host;
}

}  // namespace
}  // namespace vecamera::simulator
