#include "device/foundation/StringsTable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vecamera::device::foundation {
namespace {

StringsTable parsed(std::string_view text) {
  return parseStringsTable(Data::copyOf(text)).value_or(StringsTable{{"broken", "broken"}});
}

TEST(StringsTableTest, OldFormHasCommentsQuotesAndBareWords) {
  EXPECT_EQ(parsed("/* \"x\" = \"y\"; */ \"a\" = \"1\"; // = ;\n'b c' = '\"2\"';d.e/f=3;\tg;"),
            (StringsTable{{"a", "1"}, {"b c", "\"2\""}, {"d.e/f", "3"}, {"g", "g"}}));
  EXPECT_EQ(parsed(" { a = 1; } "), (StringsTable{{"a", "1"}}));
}

TEST(StringsTableTest, LastOfEqualKeysCounts) {
  EXPECT_EQ(parsed("a = 1; a = 2;"), (StringsTable{{"a", "2"}}));
  EXPECT_EQ(parsed("a = 1; a = (2);"), StringsTable());
  EXPECT_EQ(parsed("<plist><dict><key>a</key><string>1</string><key>b</key><string>3</string>"
                   "<key>a</key><string>2</string></dict></plist>"),
            (StringsTable{{"a", "2"}, {"b", "3"}}));
}

TEST(StringsTableTest, EmptyFileIsNoTableAndBlankOneAnEmptyTable) {
  EXPECT_EQ(parseStringsTable(Data()), std::nullopt);
  EXPECT_EQ(parsed(" \n// nothing\n"), StringsTable());
}

TEST(StringsTableTest, ValuesThatAreNoTextsAreLeftOut) {
  for (const char* value :
       {"{}", "{ b = 1; c; d = { e = f; }; }", "()", "(1, \"2\", {b = 1;}, (3), )", "<>",
        "< 0fBD 77\n1c2735ae >", "( /* , */ <00> )"}) {
    EXPECT_EQ(parsed(std::string("x = 1; a = ") + value + "; y = 2;"),
              (StringsTable{{"x", "1"}, {"y", "2"}}))
        << value;
  }
  for (const char* broken : {"{", "{ b = 1 }", "{ b; ", "(1", "(1 2)", "(,1)", "(1,,2)", "<0>",
                             "<0 f>", "<0g>", "<00", "<\xEF\xBC\x90\xEF\xBC\x90>", ")", "}"}) {
    const std::string text = std::string("a = ") + broken + ";";
    EXPECT_EQ(parseStringsTable(Data::copyOf(text)), std::nullopt) << broken;
  }
}

TEST(StringsTableTest, EscapesStandForTheirCharacters) {
  const std::pair<const char*, const char*> cases[] = {
      {R"(\n\t\"\\\'\q/* */)", "\n\t\"\\'q/* */"},
      {R"(\U00E9\Ud83D\Ude00\U41g)", "é😀Ag"},
      {R"(\u00E9)", "u00E9"},
      // In the encoding of NeXTSTEP; three digits at most, of which eight bits count.
      {R"(\101\1018\12x\501)", "AA8\nxA"},
      {R"(\177\200\201\252\256\320\350\375)", "\x7F\u00A0À“ﬁ—Łÿ"},
      {R"(\376\377)", "\uFFFD\uFFFD"},
  };
  for (const auto& [escapes, text] : cases)
    EXPECT_EQ(parsed(std::string("k = \"") + escapes + "\";"), (StringsTable{{"k", text}}));
}

TEST(StringsTableTest, ByteOrderMarkNamesTheEncoding) {
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
const std::string binaryTable =
    binaryList({std::string("\xD2\x01\x03\x02\x02"), "Qa", "\x52hi", "\x61\x03\xB1"});

TEST(StringsTableTest, PropertyListsAreTablesToo) {
  const std::string xml =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>1 &amp; é</string>"
      "<key>n</key><integer>5</integer></dict></plist>";
  EXPECT_EQ(parsed(xml), (StringsTable{{"a", "1 & é"}}));
  EXPECT_EQ(parsed("\xEF\xBB\xBF\n" + xml), (StringsTable{{"a", "1 & é"}}));
  EXPECT_EQ(parsed(binaryTable), (StringsTable{{"a", "hi"}, {"α", "hi"}}));
}

TEST(StringsTableTest, PropertyListsBuiltToExhaustTheReaderAreNoTables) {
  for (const char* nested : {"<array>", "(", "{a="}) {
    std::string deep = *nested == '<' ? "<plist><dict><key>a</key>" : "a = ";
    for (int i = 0; i < 300000; ++i) deep += nested;
    EXPECT_EQ(parseStringsTable(Data::copyOf(deep)), std::nullopt) << nested;
  }
  // Each array holds the next one twice, so that the work doubles at each.
  std::vector<std::string> doubling = {"\xD1\x01\x02", "Qa"};
  for (char next = 3; next < 100; ++next) doubling.push_back(std::string("\xA2") + next + next);
  doubling.push_back("Qb");
  EXPECT_EQ(parseStringsTable(Data::copyOf(binaryList(doubling))), std::nullopt);
}

TEST(StringsTableTest, BrokenOnesAreNoTables) {
  for (const char* text :
       {"k", "k =", "k = ;", "= v;", "k = v", "\"k = v;", "k = \"v", "k = \"v\\", "/* k = v;",
        "k = v w;", "{ k = v; ", "{ k = v; };", "(k)", "k = \"\xFF\";", "<?xml",
        "<?xml version=\"1.0\"?><plist><array/></plist>", "<plist><dict><key>a</key>", "bplist00",
        "bplist00\xD1\x01\x02"}) {
    EXPECT_EQ(parseStringsTable(Data::copyOf(std::string_view(text))), std::nullopt) << text;
  }
}

TEST(StringsTableTest, CutAndChangedFilesNeverCrash) {
  const std::string files[] = {
      "/* c */ \"k\" = \"\\U00e9\\101\"; // d\n'x' = y; z = (<0f>, {a = b;});",
      "<?xml version=\"1.0\"?><plist><dict><key>a</key><string>b</string></dict></plist>",
      binaryTable};
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

}  // namespace
}  // namespace vecamera::device::foundation
