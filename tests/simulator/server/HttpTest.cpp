#include "simulator/server/http/Http.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "simulator/server/http/Secrets.h"
#include "simulator/server/phone/MediaFolder.h"
#include "simulator/server/sites/FolderWatch.h"
#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

TEST(RequestTargetTest, IsDecodedOnce) {
  const auto target = parseTarget("/a%20b/%2541/?q=1+2%2B3&empty");
  ASSERT_TRUE(target);
  EXPECT_THAT(target->segments, ElementsAre("a b", "%41"));
  EXPECT_TRUE(target->isFolder);
  EXPECT_EQ(target->queryValue("q"), "1 2+3");
  EXPECT_TRUE(target->query.contains("empty"));
}

TEST(RequestTargetTest, IsNoneWithoutAPlainPath) {
  for (const auto* target : {"",
                             "a",
                             "http://127.0.0.1/",
                             "//",
                             "/a//b",
                             "/.",
                             "/..",
                             "/../etc/passwd",
                             "/a/../../b",
                             "/%2e%2e/b",
                             "/%2E./b",
                             "/a%2fb",
                             "/..%2f..",
                             "/a%5cb",
                             "/a\\b",
                             "/a%00b",
                             "/a%0ab",
                             "/%7f",
                             "/%",
                             "/%4",
                             "/%zz",
                             "/a?%",
                             "*"})
    EXPECT_FALSE(parseTarget(target)) << target;
}

TEST(ByteRangeTest, IsThatOfASingleRange) {
  const auto parts = [](std::string_view header) -> std::optional<std::pair<int, int>> {
    const auto range = parseRange(header, 10);
    if (!range) return std::nullopt;
    return std::pair(static_cast<int>(range->begin), static_cast<int>(range->length));
  };
  EXPECT_THAT(parts("bytes=0-3"), Optional(std::pair(0, 4)));
  EXPECT_THAT(parts("bytes=4-"), Optional(std::pair(4, 6)));
  EXPECT_THAT(parts("bytes=-3"), Optional(std::pair(7, 3)));
  EXPECT_THAT(parts("bytes=8-99"), Optional(std::pair(8, 2)));
  EXPECT_THAT(parts("bytes=-99"), Optional(std::pair(0, 10)));
  for (const auto* other :
       {"", "bytes=", "bytes=-", "bytes=-0", "bytes=10-", "bytes=5-4", "bytes=0-1,3-4", "bytes=a-b",
        "items=0-1", "bytes=99999999999999999999-"})
    EXPECT_FALSE(parts(other)) << other;
}

TEST(HttpTest, HostsOfOthersAreNotOurs) {
  EXPECT_TRUE(isOwnHost("127.0.0.1:8080", 8080));
  EXPECT_TRUE(isOwnHost("localhost:8080", 8080));
  EXPECT_TRUE(isOwnHost("localhost", 80));
  for (const auto* host : {"", "127.0.0.1", "127.0.0.1:8081", "evil.example:8080",
                           "localhost:8080.evil.example", "127.0.0.1:8080@evil", "LOCALHOST.:8080"})
    EXPECT_FALSE(isOwnHost(host, 8080)) << host;
}

TEST(SecretsTest, TokensAreLongAndDifferEachTime) {
  const auto token = randomToken();
  EXPECT_EQ(token.size(), 32U);
  EXPECT_NE(token, randomToken());
  EXPECT_TRUE(sameSecret(token, std::string(token)));
  EXPECT_FALSE(sameSecret(token, token.substr(1)));
  EXPECT_FALSE(sameSecret("", token));
  EXPECT_LT(randomSeed(), std::uint64_t{1} << 53U);
}

TEST(ConfinedOpenTest, OpensRegularFilesThatNoLinkLeadsOutTo) {
  const TestFolder folder;
  const auto root = folder.path() / "root";
  folder.write("root/sub/a.txt", "abc");
  folder.write("secret.txt", "secret");
  std::filesystem::create_symlink("../secret.txt", root / "out.txt");
  std::filesystem::create_directory_symlink("..", root / "up");
  std::filesystem::create_symlink("/etc/passwd", root / "absolute");
  ASSERT_EQ(mkfifo((root / "pipe").c_str(), 0600), 0);

  using Names = std::vector<std::string>;
  const auto file = openConfined(root, Names{"sub", "a.txt"});
  ASSERT_TRUE(file);
  EXPECT_EQ(file->bytes, 3U);
  EXPECT_TRUE(isFolderConfined(root, Names{"sub"}));
  for (const auto& names :
       {Names{"out.txt"}, Names{"up", "secret.txt"}, Names{"absolute"}, Names{"pipe"}, Names{"sub"},
        Names{"missing"}, Names{"..", "secret.txt"}, Names{"/etc/passwd"},
        Names{std::string("sub\0/a.txt", 10)}, Names{}})
    EXPECT_FALSE(openConfined(root, names)) << testing::PrintToString(names);
  EXPECT_FALSE(isFolderConfined(root, Names{"up"}));
}

TEST(MediaFolderTest, GivesFilesNamesOfItsOwn) {
  const TestFolder folder;
  MediaFolder media(folder.path(), {});
  const auto name = [&media](std::string_view original) {
    return (*media.begin(original))->finish();
  };
  EXPECT_EQ(name("beach.JPG"), "media/1.jpg");
  EXPECT_EQ(name("../../x.sh/y"), "media/2");
  EXPECT_EQ(name("a.b;c"), "media/3");
  EXPECT_TRUE(media.hold("media/2"));
  EXPECT_FALSE(media.hold("media/../media/1.jpg"));
  folder.write("media/4.jpg", "somebody else's");
  EXPECT_EQ(name("c.jpg"), "media/5.jpg");
}

TEST(MediaFolderTest, RemovesAFileWithItsLastHolder) {
  const TestFolder folder;
  MediaFolder media(folder.path(), {.totalBytes = 10});
  const auto upload = [&media] {
    return media.add(Data(std::vector<std::uint8_t>(10)), "a.jpg").value().value_or("");
  };
  const auto name = upload();
  EXPECT_EQ(upload(), "") << "one that nobody has held stays";
  auto first = media.hold(name).value();
  auto second = media.hold(name).value();
  first.reset();
  EXPECT_TRUE(std::filesystem::exists(folder.path() / name));
  second.reset();
  EXPECT_FALSE(std::filesystem::exists(folder.path() / name));
  EXPECT_FALSE(media.hold(name));
  EXPECT_NE(upload(), "") << "there is room again";
}

TEST(MediaFolderTest, TakesNoMoreThanItsLimits) {
  const TestFolder folder;
  MediaFolder media(folder.path(), {.fileBytes = 10, .totalBytes = 15, .files = 4});
  {
    const auto tooLong = *media.begin("a.jpg");
    EXPECT_TRUE(tooLong->write(std::string(10, 'x')));
    EXPECT_THAT(tooLong->write(std::string("x")).error().why, HasSubstr("a file has at most"));
  }
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "media/1.jpg"))
      << "an unfinished file is removed";
  const auto first = *media.begin("b.jpg");
  EXPECT_TRUE(first->write(std::string(10, 'x'))) << "what was removed does not count";
  EXPECT_EQ(first->finish(), "media/2.jpg");
  const auto second = *media.begin("c.jpg");
  EXPECT_THAT(second->write(std::string(6, 'x')).error().why, HasSubstr("media already"));
  EXPECT_TRUE(media.hold("media/2.jpg")) << "and nobody holds it any more";
  EXPECT_TRUE(second->write(std::string(6, 'x')));
  const auto others = {media.begin("d.jpg"), media.begin("e.jpg"), media.begin("f.jpg")};
  EXPECT_TRUE(others.end()[-1]);
  EXPECT_FALSE(media.begin("g.jpg")) << "the fifth file";
}

TEST(MediaFolderTest, SaysWhetherItWasTheDisk) {
  const TestFolder folder;
  MediaFolder media(folder.path(), {.fileBytes = 100});
  const auto tooLong = *media.begin("a.jpg");
  EXPECT_FALSE(tooLong->write(std::string(101, 'x')));
  EXPECT_FALSE(tooLong->hasDiskFailed());
  const auto refused = *media.begin("b.jpg");
  // The process may write no byte to a file, as on a disk that is full.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit none{0, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &none);
  const auto why = refused->write(std::string(100, 'x'));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(why.error().why, HasSubstr("disk"));
  EXPECT_TRUE(refused->hasDiskFailed());
}

TEST(RecordingFilesTest, KnowsThemHoweverTheyAreNamed) {
  const TestFolder folder;
  folder.write("app/index.html", "");
  std::filesystem::create_directory_symlink("app", folder.path() / "link");
  const RecordingFiles files(folder.path() / "app/flow.json");
  EXPECT_EQ(files.ofSession(1), folder.path() / "app/flow.json");
  EXPECT_EQ(files.ofSession(12), folder.path() / "app/flow-12.json");
  for (const auto* name :
       {"app/flow.json", "app/flow-12.json", "link/flow.json", "app/../app/flow.json"})
    EXPECT_TRUE(files.has(folder.path() / name)) << name;
  for (const auto* name : {"flow.json", "app/flow.js", "app/flow-.json", "app/flow-a.json",
                           "app/flower.json", "app/sub/flow.json"})
    EXPECT_FALSE(files.has(folder.path() / name)) << name;
  EXPECT_FALSE(RecordingFiles().has("flow.json"));
}

TEST(RecordingFilesTest, RemovesWhatAWriterThatDiedLeftHalfWritten) {
  const TestFolder folder;
  const auto left = folder.write(".vecamera-0123456789abcdef.part", "{");
  const auto other = folder.write(".hidden.part", "somebody's");
  const RecordingFiles files(folder.path() / "flow.json");
  EXPECT_FALSE(std::filesystem::exists(left));
  EXPECT_TRUE(std::filesystem::exists(other));
}

TEST(FolderFingerprintTest, LeavesRecordingsOutAndSaysWhereItStops) {
  const TestFolder folder;
  folder.write("index.html", "a");
  const RecordingFiles recordings(folder.path() / "flow.json");
  const auto print = [&](std::size_t most) {
    return folderFingerprint(folder.path(), recordings, most);
  };
  const auto first = print(1);
  folder.write("flow.json", "{}");
  folder.write("flow-2.json", "{}");
  EXPECT_EQ(print(1), first);
  EXPECT_TRUE(first.isWhole);
  folder.write("flowers.json", "{}");
  EXPECT_FALSE(print(1).isWhole);
  EXPECT_TRUE(print(2).isWhole);
}

TEST(FolderFingerprintTest, ChangesWithTheAppOnly) {
  const TestFolder folder;
  folder.write("index.html", "a");
  const auto first = folderFingerprint(folder.path());
  folder.write("node_modules/x.js", "a");
  folder.write(".git/HEAD", "a");
  EXPECT_EQ(folderFingerprint(folder.path()), first);
  folder.write("index.html", "ab");
  const auto second = folderFingerprint(folder.path());
  EXPECT_NE(second, first);
  folder.write("sub/new.css", "");
  EXPECT_NE(folderFingerprint(folder.path()), second);
}

}  // namespace
}  // namespace vecamera::simulator
