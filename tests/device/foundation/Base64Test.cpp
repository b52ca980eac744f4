#include "device/foundation/Base64.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vecamera::device {
namespace {

TEST(Base64, EncodesTheStandardVectorsBehindThePrefix) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xEF\xFF\xFF", "++///w=="},
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(Base64().base64EncodedString("data:image/png;base64,", Data::copyOf(bytes)),
              "data:image/png;base64," + text);
  }
}

TEST(Base64, EveryByteKeepsItsBitsInALongBuffer) {
  std::vector<std::uint8_t> bytes;
  for (int i = 0; i < 1000; ++i) bytes.push_back(static_cast<std::uint8_t>(i * 7));
  const std::string text = Base64().base64EncodedString("", Data(bytes));
  ASSERT_EQ(text.size(), 1336u);
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    // Each byte lies across two neighbouring characters of six bits each.
    const std::size_t bit = i * 8;
    const auto high = alphabet.find(text[bit / 6]) << 6;
    const auto both = high | alphabet.find(text[bit / 6 + 1]);
    ASSERT_EQ(both >> (4 - bit % 6) & 0xFF, bytes[i]) << i;
  }
}

}  // namespace
}  // namespace vecamera::device
