#include "device/photos/AssetAddress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "device/photos/RandomIdentifiers.h"

namespace vecamera::device::photos {
namespace {

TEST(AssetAddress, GivesTheIdentifierOfAnAddressAndNothingForOtherText) {
  const struct {
    const char* address;
    std::optional<std::string> identifier;
  } cases[] = {
      {"assets-library://asset/asset.JPG?id=A1B2&ext=JPG", "A1B2"},
      {"assets-library://asset/asset.jpg?ext=jpg&id=A1B2", "A1B2"},
      {"Assets-Library://ASSET/asset.PNG?id=A1B2", "A1B2"},
      {"assets-library://asset/asset.PNG?id=A1B2/L0/001&ext=PNG", "A1B2/L0/001"},
      {"assets-library://asset/asset.PNG?id=A1B2%2FL0%2f001&ext=PNG", "A1B2/L0/001"},
      {"assets-library://asset/asset.PNG?id=A1B2#id=C3D4", "A1B2"},
      {"assets-library://asset/asset.PNG?id=a%26b+c&ext=PNG", "a&b+c"},
      {"assets-library://asset/asset.JPG?id=&ext=JPG", std::nullopt},
      {"assets-library://asset/asset.JPG?ext=JPG", std::nullopt},
      {"assets-library://asset/asset.JPG", std::nullopt},
      {"assets-library://asset/asset.JPG#?id=A1B2", std::nullopt},
      {"assets-library://asset/asset.JPG?id=A1%2", std::nullopt},
      {"assets-library://asset/asset.JPG?id=A1%GG", std::nullopt},
      {"assets-library://asset/asset.?id=A1B2", std::nullopt},
      {"assets-library://asset/photo.JPG?id=A1B2", std::nullopt},
      {"assets-library://asset/asset.JPG/x?id=A1B2", std::nullopt},
      {"file://asset/asset.JPG?id=A1B2", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(identifierInAssetAddress(each.address), each.identifier) << each.address;
  }
}

TEST(AssetAddress, EscapesWhatWouldBreakTheAddress) {
  EXPECT_EQ(assetAddress("a&b #ü/L0/001", "jpg"),
            "assets-library://asset/asset.JPG?id=a%26b%20%23%C3%BC&ext=JPG");
  EXPECT_EQ(identifierInAssetAddress(assetAddress("a&b #ü/L0/001", "jpg")), "a&b #ü");
}

TEST(RandomIdentifiers, AreVersionFourUuidsThatDoNotRepeat) {
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

// Scripts rely on the row never changing.
TEST(RandomIdentifiers, SeedFixesTheRow) {
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
