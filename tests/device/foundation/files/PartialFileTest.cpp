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
  fs::path folder() const { return home_.temporaryDirectory(); }
  std::vector<std::string> names() const {
    return *entryNames(*openFolderAt(AT_FDCWD, folder(), LastLink::follow));
  }
  static FileResult<void> write(const PartialFile& file, std::string_view text) {
    return writeAll(file.descriptor(), std::as_bytes(std::span(text)));
  }

 private:
  const ApplicationHome home_ = *ApplicationHome::makePrivate();
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

TEST_F(PartialFileTest, OnlyTheFilesOfDeadWritersAreRemoved) {
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

TEST_F(PartialFileTest, AFileIsNeverRemovedFromItsWriterHoweverNewItIs) {
  std::atomic<bool> ends = false;
  std::thread remover([&] {
    while (!ends) removeAbandonedFiles(folder());
  });
  int lost = 0;
  for (int i = 0; i < 300; ++i) {
    if (!replaceFile(folder() / "a.txt", Data::copyOf("text"))) ++lost;
  }
  ends = true;
  remover.join();
  EXPECT_EQ(lost, 0);
  EXPECT_THAT(names(), ElementsAre("a.txt"));
}

}  // namespace
}  // namespace vecamera::device::foundation
