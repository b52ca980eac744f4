#include "device/foundation/Urls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

namespace vecamera::device::foundation {
namespace {

using testing::Eq;
using testing::Optional;

const Urls urls;

/// A text of up to twenty characters, drawn from those that paths and URLs trip over.
std::string randomText(std::mt19937& random) {
  static const std::vector<std::string> pieces = {
      "a", "Z", "7", "/", ".", "..", "%",  "%2F", "#", "?", ";", ":",  "&", "=", "'",
      " ", "~", "[", "]", "{", "|",  "\\", "\"",  "^", "`", "é", "한", "😀", "+", "\x01"};
  std::string text;
  for (auto count = random() % 20; count > 0; --count) text += pieces[random() % pieces.size()];
  return text;
}

TEST(UrlsTest, ParsesWhatTheGrammarAllowsAndKeepsItsText) {
  for (const std::string text : {"",
                                 "a.jpg",
                                 "/var/tmp/velmora_photo_20261116020327.jpg",
                                 "/a:b",
                                 "./a:b",
                                 "//host/path",
                                 "file:///tmp/a%20b",
                                 "file:/tmp",
                                 "velmora-file://x",
                                 "http://u:p@h:8080/p?q=/?#f/?",
                                 "http://[::1]:80/",
                                 "http://[v1.a:b]/",
                                 "http://[::ffff:1.2.3.4]",
                                 "http://h:/",
                                 "mailto:a@b",
                                 "assets-library://asset/asset.JPG?id=A1B2/L0/001&ext=JPG",
                                 "?",
                                 "#",
                                 "x:?#",
                                 ":x",
                                 ":",
                                 "/a[b]",
                                 "a]/b?[#]",
                                 "/!$&'()*+,;=-._~:@"}) {
    EXPECT_THAT(urls.URLWithString(text), Optional(URL(text))) << text;
  }
}

TEST(UrlsTest, GivesNothingForTextThatIsNoUrl) {
  for (const std::string text : {"/a b",
                                 " ",
                                 "/a\tb",
                                 "/é",
                                 "/100%",
                                 "/%4",
                                 "/%zz",
                                 "a#b#c",
                                 "1a:b",
                                 "a%3A:b",
                                 "http://h:port/",
                                 "http://h:65536/",
                                 "http://h:99999999999999999999/",
                                 "http://[::1",
                                 "http://[::1]x/",
                                 "http://[1::2::3]",
                                 "http://[v.a]",
                                 "http://[fe80::1%25eth0]/",
                                 "http://a@b@c/",
                                 "http://a:1:2/",
                                 "http://]/",
                                 "/\x7F"}) {
    EXPECT_EQ(urls.URLWithString(text), std::nullopt) << text;
  }
  EXPECT_EQ(urls.URLWithString(std::string("/a\0b", 4)), std::nullopt);
  EXPECT_EQ(urls.URLWithString(std::string("http://[::1\0]", 13)), std::nullopt);
  for (const char c : std::string("\\^\"<>{}|`")) {
    EXPECT_EQ(urls.URLWithString(std::string("/a") + c), std::nullopt) << c;
  }
}

TEST(UrlsTest, ParsedTextHoldsOnlyAllowedCharacters) {
  const std::string allowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~:/?#[]@!$&'()*+,;=%";
  std::mt19937 random(1);
  int parsed = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::string text = randomText(random);
    if (!urls.URLWithString(text)) continue;
    ++parsed;
    EXPECT_EQ(text.find_first_not_of(allowed), std::string::npos) << text;
  }
  EXPECT_GT(parsed, 500);
}

TEST(UrlsTest, FileUrlEscapesWhatThePlatformEscapes) {
  EXPECT_EQ(urls.fileURLWithPath("/a:b&c='d!$()*+,@~-._/e").absoluteString(),
            "file:///a:b&c='d!$()*+,@~-._/e");
  EXPECT_EQ(urls.fileURLWithPath("/;#?% \"<>[]{}\\^`|é").absoluteString(),
            "file:///%3B%23%3F%25%20%22%3C%3E%5B%5D%7B%7D%5C%5E%60%7C%C3%A9");
}

TEST(UrlsTest, FileUrlOfARelativePathStartsAtTheRootAndHasNoDotSteps) {
  const std::pair<const char*, const char*> cases[] = {
      {"a b/", "file:///a%20b/"},
      {"", "file:///"},
      {"./a/./b", "file:///a/b"},
      {"a/../b", "file:///b"},
      {"a/b/../../../c", "file:///c"},
      {"../a", "file:///a"},
      {"a/.", "file:///a/"},
      {"a/b/..", "file:///a/"},
      {".", "file:///"},
      {"a//../b", "file:///a/b"},
      {".a/..b/...", "file:///.a/..b/..."},
      {"/a/../b/./c", "file:///a/../b/./c"},
  };
  for (const auto& [path, expected] : cases)
    EXPECT_EQ(urls.fileURLWithPath(path).absoluteString(), expected) << path;
}

TEST(UrlsTest, FileUrlAndItsPathAreInverse) {
  std::mt19937 random(2);
  for (int round = 0; round < 5000; ++round) {
    const std::string path = "/" + randomText(random) + (round % 7 == 0 ? "\xFF" : "");
    const URL url = urls.fileURLWithPath(path);
    EXPECT_TRUE(urls.URLWithString(url.absoluteString())) << path;
    EXPECT_THAT(filePathOf(url), Optional(path));
  }
}

TEST(UrlsTest, ComponentIsAppendedBehindASlash) {
  const struct {
    const char* url;
    const char* component;
    const char* expected;
  } cases[] = {
      {"/tmp/", "a.jpg", "/tmp/a.jpg"},
      {"/tmp//", "sub/a b.txt", "/tmp//sub/a%20b.txt"},
      {"/tmp", "/a.jpg", "/tmp/a.jpg"},
      {"/tmp/", "/a.jpg", "/tmp//a.jpg"},
      {"/tmp", "//a", "/tmp//a"},
      {"/tmp", "a/", "/tmp/a"},
      {"/tmp", "a//", "/tmp/a"},
      {"/tmp", "/a/b/", "/tmp/a/b"},
      {"/tmp", "/", "/tmp/"},
      {"", "/a", "/a"},
      {"/tmp", "", "/tmp/"},
      {"/", "a", "/a"},
      {"", "a", "a"},
      {"", "a:b", "./a:b"},
      {"tmp", "a:b", "tmp/a:b"},
      {"http://host", "a", "http://host/a"},
      {"http://host", "/a", "http://host/a"},
      {"file://", "a", "file:///a"},
      {"http://host/p/?q=/#f/", "a?b", "http://host/p/a%3Fb?q=/#f/"},
      {"file:///", "é", "file:///%C3%A9"},
      {"velmora:p", "a", "velmora:p/a"},
  };
  for (const auto& [url, component, expected] : cases) {
    EXPECT_EQ(urls.appendingPathComponent(URL(url), component), URL(expected))
        << url << " and " << component;
  }
}

TEST(UrlsTest, AppendedComponentIsFoundAgainInTheDecodedPath) {
  std::mt19937 random(3);
  for (int round = 0; round < 5000; ++round) {
    // Ends in no slash, which would be dropped.
    const std::string component = "x" + randomText(random) + "x";
    const std::string base = round % 2 ? "file:///tmp" : "file:///tmp/";
    const URL url = urls.appendingPathComponent(URL(base), component).value();
    EXPECT_TRUE(urls.URLWithString(url.absoluteString())) << component;
    EXPECT_THAT(filePathOf(url), Optional("/tmp/" + component));
  }
}

TEST(UrlsTest, PercentEncodingEscapesWhatIsAskedForAndNonAscii) {
  EXPECT_THAT(urls.addingPercentEncoding("a://b?id=1&ext=JPG", "&"),
              Optional(Eq("a://b?id=1%26ext=JPG")));
  EXPECT_THAT(urls.addingPercentEncoding("a b%é", ""), Optional(Eq("a b%%C3%A9")));
  for (const std::string broken :
       {"\xFF", "a\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80"}) {
    EXPECT_EQ(urls.addingPercentEncoding(broken, "&"), std::nullopt);
  }
}

TEST(UrlsTest, PercentEncodingOfThePercentSignIsUndoneByDecoding) {
  std::mt19937 random(4);
  for (int round = 0; round < 2000; ++round) {
    const std::string text = randomText(random);
    const auto encoded = urls.addingPercentEncoding(text, "%& ");
    ASSERT_TRUE(encoded);
    EXPECT_EQ(encoded->find_first_of("& "), std::string::npos);
    EXPECT_THAT(removingPercentEncoding(*encoded), Optional(text));
  }
  EXPECT_EQ(removingPercentEncoding("%4"), std::nullopt);
}

TEST(UrlsTest, OnlyLocalFileUrlsAndPlainTextsHaveAFilePath) {
  EXPECT_THAT(filePathOf(URL("file:///a%20b?q#f")), Optional(Eq("/a b")));
  EXPECT_THAT(filePathOf(URL("FILE://localhost/a")), Optional(Eq("/a")));
  EXPECT_THAT(filePathOf(URL("file:/a")), Optional(Eq("/a")));
  EXPECT_THAT(filePathOf(URL("/tmp/a%20b?c")), Optional(Eq("/tmp/a%20b?c")));
  for (const std::string other :
       {"file://server/a", "file:a", "file://", "http://h/a", "velmora-file:///a", ":/a"}) {
    EXPECT_EQ(filePathOf(URL(other)), std::nullopt) << other;
  }
}

TEST(UrlsTest, PartsAreDividedAtTheirDelimiters) {
  const auto components = urlComponents("HTTP://me:x@[::1]:80/p/q;r?a=1?2#f?");
  ASSERT_TRUE(components);
  EXPECT_THAT(components->scheme, Optional(Eq("http")));
  EXPECT_THAT(components->userInfo, Optional(Eq("me:x")));
  EXPECT_THAT(components->host, Optional(Eq("[::1]")));
  EXPECT_THAT(components->port, Optional(Eq("80")));
  EXPECT_EQ(components->path, "/p/q;r");
  EXPECT_THAT(components->query, Optional(Eq("a=1?2")));
  EXPECT_THAT(components->fragment, Optional(Eq("f?")));
  EXPECT_EQ(urlComponents("/p")->host, std::nullopt);
  EXPECT_EQ(urlComponents("/p")->scheme, std::nullopt);
  EXPECT_THAT(urlComponents(":x")->scheme, Optional(Eq("")));
  EXPECT_EQ(urlComponents(":x")->path, "x");
  EXPECT_THAT(urlComponents("file:///p?")->host, Optional(Eq("")));
  EXPECT_THAT(urlComponents("file:///p?")->query, Optional(Eq("")));
}

TEST(UrlsTest, PercentEncodedTextKeepsLettersDigitsAndWhatIsNamed) {
  EXPECT_EQ(percentEncoded("aZ09-_.~/é%\x01", "-_."), "aZ09-_.%7E%2F%C3%A9%25%01");
}

TEST(UrlsTest, QueryItemIsTheFirstOfItsName) {
  const URL url("assets-library://asset/asset.PNG?id=A%2FB/L0&flag&ext=PNG&ext=JPG&e=a=b");
  EXPECT_THAT(queryItem(url, "id"), Optional(Eq("A/B/L0")));
  EXPECT_THAT(queryItem(url, "flag"), Optional(Eq("")));
  EXPECT_THAT(queryItem(url, "ext"), Optional(Eq("PNG")));
  EXPECT_THAT(queryItem(url, "e"), Optional(Eq("a=b")));
  EXPECT_EQ(queryItem(url, "PNG"), std::nullopt);
  EXPECT_EQ(queryItem(URL("assets-library://asset/asset.PNG"), "id"), std::nullopt);
}

}  // namespace
}  // namespace vecamera::device::foundation
