#include "device/photos/AssetAddress.h"

#include <gtest/gtest.h>

namespace vecamera::device::photos {
namespace {

TEST(AssetAddressTest, GivesTheIdentifierOfAnAddressAndNothingForOtherText) {
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

TEST(AssetAddressTest, EscapesWhatWouldBreakTheAddress) {
  EXPECT_EQ(assetAddress("a&b #ü/L0/001", "jpg"),
            "assets-library://asset/asset.JPG?id=a%26b%20%23%C3%BC&ext=JPG");
  EXPECT_EQ(identifierInAssetAddress(assetAddress("a&b #ü/L0/001", "jpg")), "a&b #ü");
}

}  // namespace
}  // namespace vecamera::device::photos
