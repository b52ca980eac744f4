#include "device/foundation/files/FileManager.h"

#include <sys/resource.h>

#include <csignal>

#include "device/foundation/files/WholeFiles.h"
#include "tests/device/foundation/files/FileManagerContract.h"

namespace vecamera::device::foundation {
namespace {

INSTANTIATE_TEST_SUITE_P(FileManager, FileManagerContract,
                         testing::Values([](const std::string& temporaryDirectory) {
                           return std::make_unique<FileManager>(temporaryDirectory);
                         }));

TEST(FileManagerTest, WithoutATemporaryDirectoryNothingCanBeRemoved) {
  const auto home = ApplicationHome::makePrivate();
  FileManager files("");
  EXPECT_EQ(files.temporaryDirectory(), std::nullopt);
  EXPECT_EQ(files.removeItemAtPath(home->temporaryDirectory())->code, 513);
  EXPECT_TRUE(files.fileExistsAtPath(home->temporaryDirectory()));
}

TEST(FileManagerTest, WriteThatIsCutShortLeavesTheOldFileAndNothingElse) {
  const auto home = ApplicationHome::makePrivate();
  const std::string path = home->temporaryDirectory() + "/a.txt";
  FileManager files(home->temporaryDirectory());
  ASSERT_TRUE(files.createFileAtPath(path, Data::copyOf("old")));
  // A limit on the size of files makes the first write short and the second fail, for root too.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{100, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const auto error = files.writeAtomically(Data(std::vector<std::uint8_t>(1000)), URL(path));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 512);
  EXPECT_EQ(error->localizedDescription(),
            "The file “a.txt” couldn’t be saved in the folder “tmp”.");
  EXPECT_EQ(readFile(path, 10).value(), Data::copyOf("old"));
  EXPECT_TRUE(files.enumeratorAtPath(home->temporaryDirectory())->nextObject());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home->temporaryDirectory()), {}), 1);
}

}  // namespace
}  // namespace vecamera::device::foundation
