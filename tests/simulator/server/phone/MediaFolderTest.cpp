#include "simulator/server/phone/MediaFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

using testing::HasSubstr;

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
    EXPECT_THAT(tooLong->write(std::string("x")).error().message, HasSubstr("a file has at most"));
  }
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "media/1.jpg"))
      << "an unfinished file is removed";
  const auto first = *media.begin("b.jpg");
  EXPECT_TRUE(first->write(std::string(10, 'x'))) << "what was removed does not count";
  EXPECT_EQ(first->finish(), "media/2.jpg");
  const auto second = *media.begin("c.jpg");
  EXPECT_THAT(second->write(std::string(6, 'x')).error().message, HasSubstr("media already"));
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
  EXPECT_EQ(tooLong->write(std::string(101, 'x')).error().kind,
            MediaFolder::WriteError::Kind::limit);
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
  EXPECT_THAT(why.error().message, HasSubstr("disk"));
  EXPECT_EQ(why.error().kind, MediaFolder::WriteError::Kind::disk);
}

}  // namespace
}  // namespace vecamera::simulator
