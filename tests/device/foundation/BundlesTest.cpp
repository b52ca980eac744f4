#include "device/foundation/Bundles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "device/foundation/files/ApplicationHome.h"

namespace vecamera::device::foundation {
namespace {

using testing::Optional;

class BundlesTest : public testing::Test {
 protected:
  void put(const std::string& name, const std::string& text) {
    const std::filesystem::path path = home_.path() + "/X.bundle/" + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  void putTables(const std::vector<std::string>& localizations) {
    for (const auto& name : localizations)
      put(name + ".lproj/Localizable.strings", "k = " + name + ";");
  }
  std::string text(const std::vector<std::string>& languages, std::string_view key = "k") {
    return Bundles(home_.path(), languages)
        .bundleWithPath(home_.path() + "/X.bundle/")
        ->localizedStringForKey(key);
  }

  const ApplicationHome home_ = *ApplicationHome::makePrivate();
};

TEST_F(BundlesTest, LanguageIsTheFirstPreferredOneThatTheBundleHas) {
  putTables({"de", "zh-Hant", "zh_CN", "ko", "English", "pt-BR"});
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"ko"}, "ko"},          {{"ko-KR", "de"}, "ko"},
      {{"fr", "DE_at"}, "de"}, {{"zh-Hant-TW"}, "zh-Hant"},
      {{"zh-CN"}, "zh_CN"},    {{"en-US", "de"}, "English"},
      {{"PT-br"}, "pt-BR"},    {{"pt-PT", "de"}, "de"},
      {{"fr"}, "k"},           {{}, "k"}};
  for (const auto& [languages, expected] : cases) EXPECT_EQ(text(languages), expected);
}

TEST_F(BundlesTest, LanguageGoesByItsCodeAndByItsFormerEnglishName) {
  putTables({"Korean", "ja", "Norwegian", "pt", "Portuguese"});
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"ko"}, "Korean"},
      {{"ko-KR"}, "Korean"},
      {{"Korean"}, "Korean"},
      {{"Japanese"}, "ja"},
      {{"japanese", "ko"}, "ja"},
      {{"nb-NO", "ja"}, "Norwegian"},
      // Where both are there, the one that was asked for.
      {{"pt"}, "pt"},
      {{"Portuguese"}, "Portuguese"},
      {{"English", "German", "ja"}, "ja"},
      {{"Klingonese"}, "k"},
  };
  for (const auto& [languages, expected] : cases)
    EXPECT_EQ(text(languages), expected) << languages.front();
}

TEST_F(BundlesTest, FallsBackToTheDevelopmentRegionThenBaseThenTheRoot) {
  put("Localizable.strings", "k = root;");
  EXPECT_EQ(text({"fr"}), "root");
  putTables({"Base"});
  EXPECT_EQ(text({"fr"}), "Base");
  putTables({"ja"});
  put("Info.plist",
      "<plist><dict><key>CFBundleDevelopmentRegion</key><string>ja_JP</string></dict></plist>");
  EXPECT_EQ(text({"fr"}), "ja");
  put("Info.plist", "broken");
  EXPECT_EQ(text({"fr"}), "Base");
}

TEST_F(BundlesTest, KeysAreLookedUpInOneTableOnly) {
  put("ko.lproj/Localizable.strings", "a = ko;");
  put("Base.lproj/Localizable.strings", "b = base;");
  put("Localizable.strings", "c = root;");
  EXPECT_EQ(text({"ko"}, "a"), "ko");
  EXPECT_EQ(text({"ko"}, "b"), "b");
  EXPECT_EQ(text({"ko"}, "c"), "c");
}

TEST_F(BundlesTest, BrokenTableCountsAsAbsent) {
  put("ko.lproj/Localizable.strings", "k = \"");
  put("ja.lproj/Localizable.strings", "");
  std::filesystem::create_directories(home_.path() + "/X.bundle/de.lproj/Localizable.strings");
  EXPECT_EQ(text({"ko", "ja", "de"}), "k");
  putTables({"en"});
  EXPECT_EQ(text({"ko", "ja", "de", "en"}), "en");
}

TEST_F(BundlesTest, ResourcesAreFoundAtTheRootAndInTheLocalizations) {
  put("a.txt", "");
  put("ko.lproj/b.txt", "");
  Bundles bundles(home_.path(), {"ko"});
  EXPECT_THAT(bundles.mainBundle()->pathForResource("X", "bundle"),
              Optional(home_.path() + "/X.bundle"));
  EXPECT_EQ(bundles.mainBundle()->pathForResource("Y", "bundle"), std::nullopt);
  const auto bundle = bundles.bundleWithPath(home_.path() + "/X.bundle");
  EXPECT_TRUE(bundle->pathForResource("a", "txt"));
  EXPECT_TRUE(bundle->pathForResource("b.txt", ""));
  EXPECT_FALSE(bundle->pathForResource("", ""));
  EXPECT_FALSE(bundle->pathForResource(std::string_view("a.txt\0", 6), ""));
}

TEST_F(BundlesTest, WhatIsNoFolderIsNoBundle) {
  put("file", "");
  Bundles bundles(std::nullopt, {});
  EXPECT_EQ(bundles.bundleWithPath(home_.path() + "/X.bundle/file"), nullptr);
  EXPECT_EQ(bundles.bundleWithPath(home_.path() + "/missing"), nullptr);
  EXPECT_EQ(bundles.bundleWithPath(""), nullptr);
  for (const std::optional<std::string>& path :
       {std::optional<std::string>(), std::optional<std::string>("/missing/folder")}) {
    const auto mainBundle = Bundles(path, {"en"}).mainBundle();
    ASSERT_TRUE(mainBundle);
    EXPECT_EQ(mainBundle->pathForResource("Velmora", "bundle"), std::nullopt);
    EXPECT_EQ(mainBundle->localizedStringForKey("SETTINGS"), "SETTINGS");
  }
}

}  // namespace
}  // namespace vecamera::device::foundation
