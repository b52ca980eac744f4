#include "device/photos/RandomIdentifiers.h"

#include <gmock/gmock.h>

#include <set>

namespace vecamera::device::photos {
namespace {

TEST(RandomIdentifiersTest, AreVersionFourUuidsThatDoNotRepeat) {
  RandomIdentifiers random;
  RandomIdentifiers seeded(1);
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    for (const std::string& uuid : {random(), seeded()}) {
      EXPECT_THAT(uuid, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-"
                                              "[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
      seen.insert(uuid);
    }
  }
  EXPECT_EQ(seen.size(), 400u);
}

// Scripts rely on the sequence never changing.
TEST(RandomIdentifiersTest, SeedFixesTheSequence) {
  RandomIdentifiers first(1);
  RandomIdentifiers again(1);
  RandomIdentifiers other(2);
  const std::string uuid = first();
  EXPECT_EQ(uuid, "2245BD5F-BB68-4F68-A2EB-92502318FA4E");
  EXPECT_EQ(again(), uuid);
  EXPECT_NE(other(), uuid);
  EXPECT_EQ(first(), again());
}

}  // namespace
}  // namespace vecamera::device::photos
