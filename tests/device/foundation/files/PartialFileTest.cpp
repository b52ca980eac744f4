#include "device/foundation/files/PartialFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <thread>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class PartialFileTest : public testing::Test {
 protected:
  fs::path folder() const { return home_->temporaryDirectory(); }
  std::vector<std::string> names() const {
    return *entryNames(*openFolderAt(AT_FDCWD, folder(), LastLink::follow));
  }
  static FileResult<void> write(const PartialFile& file, std::string_view text) {
    return writeAll(file.descriptor(), std::as_bytes(std::span(text)));
  }

 private:
  const std::unique_ptr<ApplicationHome> home_ = ApplicationHome::makePrivate();
};

TEST_F(PartialFileTest, IsHiddenAndPrivateUntilItMovesIntoItsPlace) {
  const fs::path target = folder() / "a.txt";
  std::ofstream(target) << "old";
  {
    auto file = PartialFile::createBeside(target);
    ASSERT_TRUE(file && write(*file, "new"));
    EXPECT_TRUE(file->path().filename().string().starts_with('.'));
    EXPECT_EQ(readFile(target).value(), Data::copyOf("old"));
    EXPECT_EQ(file->moveTo(target, PartialFile::IfTaken::fail).error().code, EEXIST);
    ASSERT_TRUE(file->moveTo(target));
  }
  EXPECT_EQ(readFile(target).value(), Data::copyOf("new"));
  struct stat status {};
  ASSERT_EQ(stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_THAT(names(), ElementsAre("a.txt"));
}

TEST_F(PartialFileTest, GoesWithTheObjectThatDidNotFinishIt) {
  auto made = PartialFile::createBeside(folder() / "a.txt");
  ASSERT_TRUE(made);
  {
    const PartialFile taken = *std::move(made);
    EXPECT_EQ(names().size(), 1u);
  }
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(PartialFile::createBeside(folder() / "missing" / "a.txt").error().code, ENOENT);
}

TEST_F(PartialFileTest, SweepTakesTheFilesOfDeadWritersOnly) {
  const auto alive = PartialFile::createBeside(folder() / "a.txt");
  ASSERT_TRUE(alive);
  std::ofstream(folder() / ".hidden") << "somebody's";
  const pid_t child = fork();
  if (child == 0) {
    const auto file = PartialFile::createBeside(folder() / "b.txt");
    static_cast<void>(write(*file, "half"));
    raise(SIGKILL);
  }
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  ASSERT_EQ(names().size(), 3u);
  removeAbandonedFiles(folder());
  EXPECT_THAT(names(), ElementsAre(".hidden", alive->path().filename().string()));
}

TEST_F(PartialFileTest, NoSweepTakesAFileFromItsWriterHoweverYoungItIs) {
  std::atomic<bool> ends = false;
  std::thread sweeper([&] {
    while (!ends) removeAbandonedFiles(folder());
  });
  int lost = 0;
  for (int i = 0; i < 300; ++i) {
    if (!replaceFile(folder() / "a.txt", Data::copyOf("text"))) ++lost;
  }
  ends = true;
  sweeper.join();
  EXPECT_EQ(lost, 0);
  EXPECT_THAT(names(), ElementsAre("a.txt"));
}

TEST(WholeFiles, ReadingGivesRegularFilesUpToTheLimit) {
  const auto home = ApplicationHome::makePrivate();
  const fs::path folder = home->path();
  ASSERT_TRUE(replaceFile(folder / "a", Data::copyOf("12345")));
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(readFile(folder / "a", 5).value(), Data::copyOf("12345"));
  const struct {
    fs::path path;
    int code;
    const char* text;
  } cases[] = {
      {folder / "a", EFBIG, "File too large"},
      {folder, EISDIR, "Is a directory"},
      {folder / "missing", ENOENT, "No such file or directory"},
      {folder / "pipe", EINVAL, "It is no regular file"},
      {folder / std::string("a\0b", 3), ENOENT, "No such file or directory"},
  };
  for (const auto& each : cases) {
    const auto read = readFile(each.path, 4);
    ASSERT_FALSE(read) << each.path;
    EXPECT_EQ(read.error().code, each.code);
    EXPECT_EQ(read.error().text, each.text);
  }
}

TEST(Descriptor, WhatHasNoSizeIsReadToItsEndAndNoFurtherThanTheLimit) {
  const std::string text(300'000, 'x');
  for (const bool fits : {true, false}) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Descriptor reading(ends[0]);
    std::thread writer([&, writing = Descriptor(ends[1])] {
      static_cast<void>(writeAll(writing, std::as_bytes(std::span(text))));
    });
    const auto read = readAll(reading, text.size() - (fits ? 0 : 1));
    writer.join();
    ASSERT_EQ(static_cast<bool>(read), fits);
    if (fits) {
      EXPECT_EQ(*read, Data::copyOf(text));
    } else {
      EXPECT_EQ(read.error().code, EFBIG);
    }
  }
}

TEST(Folders, NewFoldersArePrivateAndWhatIsInTheirPlaceIsAnError) {
  const auto home = ApplicationHome::makePrivate();
  const fs::path folder = fs::path(home->path()) / "a" / "b";
  ASSERT_TRUE(makePrivateFolder(folder));
  EXPECT_TRUE(makePrivateFolder(folder / ""));
  for (const fs::path& made : {folder, folder.parent_path()})
    EXPECT_EQ(fs::status(made).permissions(), fs::perms::owner_all) << made;
  ASSERT_TRUE(replaceFile(folder / "file", Data()));
  for (const fs::path& bad :
       {folder / "file", folder / "file" / "c", fs::path(), folder / std::string("c\0d", 3)})
    EXPECT_FALSE(makePrivateFolder(bad)) << bad;
}

}  // namespace
}  // namespace vecamera::device::foundation
