#include <gmock/gmock.h>

#include "device/foundation/Bundles.h"

namespace vecamera::device::foundation {
namespace {

TEST(SampleBundleTest, EveryLanguageHasEveryText) {
  std::vector<std::string> settings;
  for (const char* language : {"en", "ko", "ja", "de", "fr"}) {
    Bundles bundles(VECAMERA_SOURCE_DIR "/samples/MainBundle", {language});
    const auto path = bundles.mainBundle()->pathForResource("Velmora", "bundle");
    ASSERT_TRUE(path);
    const auto bundle = bundles.bundleWithPath(*path);
    for (const char* key : {"CAMERA_PERMISSION_REJECT_CONFIRM",
                            "PHOTOLIBRARY_PERMISSION_REJECT_CONFIRM", "SETTINGS", "CANCEL"}) {
      EXPECT_NE(bundle->localizedStringForKey(key), key) << language;
    }
    settings.push_back(bundle->localizedStringForKey("SETTINGS"));
  }
  EXPECT_THAT(settings,
              testing::ElementsAre("Settings", "설정", "設定", "Einstellungen", "Settings"));
}

}  // namespace
}  // namespace vecamera::device::foundation
