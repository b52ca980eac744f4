#include "device/foundation/Base64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vecamera::device::foundation {
namespace {

TEST(Base64Test, EncodesTheStandardVectorsBehindThePrefix) {
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

std::vector<std::uint8_t> bytesOf(std::size_t count) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < count; ++i)
    bytes.push_back(static_cast<std::uint8_t>(i * 7 + i / 256 * 13));
  return bytes;
}

TEST(Base64Test, EveryByteKeepsItsBitsInALongBuffer) {
  const auto bytes = bytesOf(20000);
  const std::string text = Base64().base64EncodedString("", Data(bytes));
  ASSERT_EQ(text.size(), 26668u);
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    // Each byte lies across two neighbouring characters of six bits each.
    const std::size_t bit = i * 8;
    const auto high = alphabet.find(text[bit / 6]) << 6;
    const auto both = high | alphabet.find(text[bit / 6 + 1]);
    ASSERT_EQ(both >> (4 - bit % 6) & 0xFF, bytes[i]) << i;
  }
}

TEST(Base64Test, EveryEncoderOfThisProcessorGivesWhatThePortableOneGives) {
  const auto portable = base64Encoders().back();
  for (const auto& [name, encode] : base64Encoders())
    for (std::size_t count = 0; count < 200; ++count) {
      // Exactly as long as what is read, so that reading past the end shows.
      const auto bytes = bytesOf(count);
      std::string expected(count / 3 * 4, '?');
      std::string text = expected;
      portable.encode(bytes.data(), count, expected.data());
      const std::size_t done = encode(bytes.data(), count, text.data());
      ASSERT_EQ(done % 3, 0u) << name;
      ASSERT_GT(done + 64, count) << name;
      ASSERT_EQ(text.substr(0, done / 3 * 4), expected.substr(0, done / 3 * 4)) << name;
    }
}

TEST(Base64Test, PiecesOfWholeGroupsGiveTheTextOfTheWhole) {
  const auto bytes = bytesOf(20000);
  std::string text = "x";
  for (std::size_t at = 0; at < bytes.size(); at += 6003) {
    const auto piece = std::span(bytes).subspan(at, std::min<std::size_t>(6003, bytes.size() - at));
    Base64().appendBase64(text, Data::copyOf(piece));
  }
  EXPECT_EQ(text, Base64().base64EncodedString("x", Data(bytes)));
}

TEST(Base64Test, IsDecodedStrictly) {
  const auto decoded = [](std::string_view text) -> std::optional<std::string> {
    const auto data = decodeBase64(text);
    if (!data) return std::nullopt;
    return std::string(data->bytes().begin(), data->bytes().end());
  };
  EXPECT_EQ(decoded(""), "");
  EXPECT_EQ(decoded("Zg=="), "f");
  EXPECT_EQ(decoded("Zg"), "f");
  EXPECT_EQ(decoded("Zm8="), "fo");
  EXPECT_EQ(decoded("Zm9v"), "foo");
  EXPECT_EQ(decoded("+/+/"), "\xfb\xff\xbf");
  for (const char* bad : {"Z", "Zg=", "Z===", "====", "Zh==", "Zm9 v", "Zm9-", "Zg==Zg=="})
    EXPECT_EQ(decoded(bad), std::nullopt) << bad;
}

}  // namespace
}  // namespace vecamera::device::foundation
