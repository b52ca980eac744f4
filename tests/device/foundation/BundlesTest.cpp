#include "device/foundation/Bundles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "device/foundation/StringsTable.h"
#include "device/foundation/files/ApplicationHome.h"

namespace vecamera::device::foundation {
namespace {

using testing::Optional;

StringsTable parsed(std::string_view text) {
  return parseStringsTable(Data::copyOf(text)).value_or(StringsTable{{"broken", "broken"}});
}

TEST(StringsTables, OldFormHasCommentsQuotesAndBareWords) {
  EXPECT_EQ(parsed("/* \"x\" = \"y\"; */ \"a\" = \"1\"; // = ;\n'b c' = '\"2\"';d.e/f=3;\tg;"),
            (StringsTable{{"a", "1"}, {"b c", "\"2\""}, {"d.e/f", "3"}, {"g", "g"}}));
  EXPECT_EQ(parsed("a = 1; a = 2;"), (StringsTable{{"a", "1"}}));
  EXPECT_EQ(parsed(""), StringsTable());
}

TEST(StringsTables, EscapesStandForTheirCharacters) {
  EXPECT_EQ(parsed(R"(k = "\n\t\"\\\'\101\q\U00E9\Ud83D\ude00/* */";)"),
            (StringsTable{{"k", "\n\t\"\\'Aqé😀/* */"}}));
}

TEST(StringsTables, EncodingIsToldByTheByteOrderMark) {
  const StringsTable expected{{"k", "é"}};
  EXPECT_EQ(parsed("k = \"é\";"), expected);
  EXPECT_EQ(parsed("\xEF\xBB\xBFk = \"é\";"), expected);
  std::string big = "\xFE\xFF", little = "\xFF\xFE";
  for (const char16_t unit : std::u16string(u"k = \"é\";")) {
    const char high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
    big += {high, low};
    little += {low, high};
  }
  EXPECT_EQ(parsed(big), expected);
  EXPECT_EQ(parsed(little), expected);
  EXPECT_EQ(parseStringsTable(Data::copyOf(big + "x")), std::nullopt);
}

/// A binary property list of fewer than 256 objects, of which the first is the top.
std::string binaryList(const std::vector<std::string>& objects) {
  const auto twoBytes = [](std::size_t number) {
    return std::string{static_cast<char>(number >> 8), static_cast<char>(number & 0xFF)};
  };
  std::string file = "bplist00", offsets;
  for (const std::string& object : objects) {
    offsets += twoBytes(file.size());
    file += object;
  }
  const std::string table = twoBytes(file.size());
  const std::string zeros(8, '\0');
  return file + offsets + zeros.substr(2) + "\x02\x01" + zeros.substr(2) +
         twoBytes(objects.size()) + zeros + zeros.substr(2) + table;
}

/// Two keys, "a" and the letter alpha, with one text.
const std::string kBinaryTable =
    binaryList({std::string("\xD2\x01\x03\x02\x02"), "Qa", "\x52hi", "\x61\x03\xB1"});

TEST(StringsTables, PropertyListsAreTablesToo) {
  const std::string xml =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>1 &amp; é</string>"
      "<key>n</key><integer>5</integer></dict></plist>";
  EXPECT_EQ(parsed(xml), (StringsTable{{"a", "1 & é"}}));
  EXPECT_EQ(parsed("\xEF\xBB\xBF\n" + xml), (StringsTable{{"a", "1 & é"}}));
  EXPECT_EQ(parsed(kBinaryTable), (StringsTable{{"a", "hi"}, {"α", "hi"}}));
}

TEST(StringsTables, PropertyListsBuiltToExhaustTheReaderAreNoTables) {
  std::string deep = "<plist><dict><key>a</key>";
  for (int i = 0; i < 300000; ++i) deep += "<array>";
  EXPECT_EQ(parseStringsTable(Data::copyOf(deep)), std::nullopt);
  // Each array holds the next one twice, so that the work doubles at each.
  std::vector<std::string> doubling = {"\xD1\x01\x02", "Qa"};
  for (char next = 3; next < 100; ++next) doubling.push_back(std::string("\xA2") + next + next);
  doubling.push_back("Qb");
  EXPECT_EQ(parseStringsTable(Data::copyOf(binaryList(doubling))), std::nullopt);
}

TEST(StringsTables, BrokenOnesAreNoTables) {
  for (const char* text : {"k", "k =", "k = ;", "= v;", "k = v", "\"k = v;", "k = \"v", "k = \"v\\",
                           "/* k = v;", "k = v w;", "{ k = v; }", "k = \"\xFF\";", "<?xml",
                           "<?xml version=\"1.0\"?><plist><array/></plist>",
                           "<plist><dict><key>a</key>", "bplist00", "bplist00\xD1\x01\x02"}) {
    EXPECT_EQ(parseStringsTable(Data::copyOf(std::string_view(text))), std::nullopt) << text;
  }
}

TEST(StringsTables, CutAndChangedFilesNeverCrash) {
  const std::string files[] = {
      "/* c */ \"k\" = \"\\U00e9\\101\"; // d\n'x' = y;",
      "<?xml version=\"1.0\"?><plist><dict><key>a</key><string>b</string></dict></plist>",
      kBinaryTable};
  for (const std::string& file : files) {
    for (std::size_t i = 0; i < file.size(); ++i) {
      parseStringsTable(Data::copyOf(std::string_view(file).substr(0, i)));
      for (const char byte : {'\0', '\x7F', '\xFF', '"', '<'}) {
        std::string changed = file;
        changed[i] = byte;
        parseStringsTable(Data::copyOf(std::string_view(changed)));
      }
    }
  }
}

class BundlesTest : public testing::Test {
 protected:
  void put(const std::string& name, const std::string& text) {
    const std::filesystem::path path = home_->path() + "/X.bundle/" + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  void putTables(const std::vector<std::string>& localizations) {
    for (const auto& name : localizations)
      put(name + ".lproj/Localizable.strings", "k = " + name + ";");
  }
  std::string text(const std::vector<std::string>& languages, std::string_view key = "k") {
    return Bundles(home_->path(), languages)
        .bundleWithPath(home_->path() + "/X.bundle/")
        ->localizedStringForKey(key);
  }

  std::unique_ptr<ApplicationHome> home_ = ApplicationHome::makePrivate();
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
  std::filesystem::create_directories(home_->path() + "/X.bundle/de.lproj/Localizable.strings");
  EXPECT_EQ(text({"ko", "de"}), "k");
  putTables({"en"});
  EXPECT_EQ(text({"ko", "de", "en"}), "en");
}

TEST_F(BundlesTest, ResourcesAreFoundAtTheRootAndInTheLocalizations) {
  put("a.txt", "");
  put("ko.lproj/b.txt", "");
  Bundles bundles(home_->path(), {"ko"});
  EXPECT_THAT(bundles.mainBundle()->pathForResource("X", "bundle"),
              Optional(home_->path() + "/X.bundle"));
  EXPECT_EQ(bundles.mainBundle()->pathForResource("Y", "bundle"), std::nullopt);
  const auto bundle = bundles.bundleWithPath(home_->path() + "/X.bundle");
  EXPECT_TRUE(bundle->pathForResource("a", "txt"));
  EXPECT_TRUE(bundle->pathForResource("b.txt", ""));
  EXPECT_FALSE(bundle->pathForResource("", ""));
  EXPECT_FALSE(bundle->pathForResource(std::string_view("a.txt\0", 6), ""));
}

TEST_F(BundlesTest, WhatIsNoFolderIsNoBundle) {
  put("file", "");
  Bundles bundles(std::nullopt, {});
  EXPECT_EQ(bundles.bundleWithPath(home_->path() + "/X.bundle/file"), nullptr);
  EXPECT_EQ(bundles.bundleWithPath(home_->path() + "/missing"), nullptr);
  EXPECT_EQ(bundles.bundleWithPath(""), nullptr);
  for (const std::optional<std::string>& path :
       {std::optional<std::string>(), std::optional<std::string>("/missing/folder")}) {
    const auto mainBundle = Bundles(path, {"en"}).mainBundle();
    ASSERT_TRUE(mainBundle);
    EXPECT_EQ(mainBundle->pathForResource("Velmora", "bundle"), std::nullopt);
    EXPECT_EQ(mainBundle->localizedStringForKey("SETTINGS"), "SETTINGS");
  }
}

TEST(SampleBundle, EveryLanguageHasEveryText) {
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
