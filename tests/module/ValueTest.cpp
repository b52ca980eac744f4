#include "VECamera/platform/Value.h"

#include <gtest/gtest.h>

#include <limits>

namespace vecamera {
namespace {

enum Unscoped { first };
enum class Scoped { first };

template <class... T>
constexpr bool noneBecomesAValue = (!std::is_constructible_v<Value, T> && ...);
static_assert(noneBecomesAValue<void*, const int*, bool*, Value*, const Object*, void (*)(), char,
                                signed char, unsigned char, wchar_t, char32_t, Unscoped, Scoped>);

TEST(ValueTest, EveryIntegerIsItselfWhereASignedOneCanHoldIt) {
  constexpr auto max = std::numeric_limits<std::int64_t>::max();
  constexpr auto min = std::numeric_limits<std::int64_t>::min();
  const std::pair<Value, std::int64_t> rows[] = {{short{-3}, -3},
                                                 {3U, 3},
                                                 {-3L, -3},
                                                 {3UL, 3},
                                                 {-3LL, -3},
                                                 {static_cast<unsigned long long>(max), max},
                                                 {static_cast<long long>(min), min}};
  for (const auto& [value, number] : rows) {
    ASSERT_TRUE(value.integer());
    EXPECT_EQ(*value.integer(), number);
  }
  for (const Value& above : {Value(1ULL << 63), Value(1UL << 63)}) {
    ASSERT_TRUE(above.real());
    EXPECT_EQ(*above.real(), 9223372036854775808.0);
  }
}

TEST(ValueTest, AFlagIsNoNumberAndANullTextIsNull) {
  EXPECT_TRUE(Value(true).boolean());
  EXPECT_FALSE(Value(true).integer());
  EXPECT_FALSE(Value(1).boolean());
  EXPECT_TRUE(Value(0.5F).real());
  EXPECT_TRUE(Value(static_cast<const char*>(nullptr)).isNull());
  EXPECT_TRUE(Value(nullptr).isNull());
}

TEST(DataTest, BytesOfAnOwnerStayWhereTheyAreAndKeepIt) {
  auto owner = std::make_shared<std::string>("12 MB of a picture");
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(owner->data()), owner->size());
  const std::weak_ptr<std::string> watched = owner;
  std::optional<Data> copy;
  {
    const Data data(bytes, std::move(owner));
    copy = data;
    EXPECT_EQ(data, Data::copyOf("12 MB of a picture"));
  }
  EXPECT_EQ(copy->bytes().data(), bytes.data());
  EXPECT_FALSE(watched.expired());
  copy.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(DataTest, WhatWasMovedFromIsEmpty) {
  Data first = Data::copyOf("bytes"), second = Data::copyOf("others");
  std::optional moved(std::move(first));
  EXPECT_TRUE(first.empty());
  EXPECT_EQ(moved, Data::copyOf("bytes"));
  *moved = std::move(second);
  EXPECT_TRUE(second.empty());
  EXPECT_EQ(moved, Data::copyOf("others"));
}

}  // namespace
}  // namespace vecamera
