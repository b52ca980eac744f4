#include "simulator/server/http/Secrets.h"

#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

TEST(SecretsTest, TokensAreLongAndDifferEachTime) {
  const auto token = randomToken();
  EXPECT_EQ(token.size(), 32U);
  EXPECT_NE(token, randomToken());
  EXPECT_TRUE(sameSecret(token, std::string(token)));
  EXPECT_FALSE(sameSecret(token, token.substr(1)));
  EXPECT_FALSE(sameSecret("", token));
  EXPECT_LT(randomSeed(), std::uint64_t{1} << 53U);
}

}  // namespace
}  // namespace vecamera::simulator
