#include "device/foundation/files/FileManager.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/WholeFiles.h"
#include "tests/contracts/FileManagerContract.h"

namespace vecamera {
namespace {

using device::foundation::FileManager;

INSTANTIATE_TEST_SUITE_P(FileManager, FileManagerContract,
                         testing::Values([](const std::string& temporaryDirectory) {
                           return std::make_unique<FileManager>(temporaryDirectory);
                         }));

}  // namespace
}  // namespace vecamera

namespace vecamera::device::foundation {
namespace {

/// What this file manager promises beyond the contract.
class FileManagerTest : public FileManagerFixture, public testing::Test {
 protected:
  FileManagerTest() { files_ = std::make_unique<FileManager>(temporary_); }

  static unsigned mode(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }
  static std::string failure(const std::optional<NSError>& error) {
    if (!error) return "none";
    return std::to_string(error->code) + " " + error->localizedDescription();
  }
};

TEST_F(FileManagerTest, AWrittenFileIsPrivate) {
  put(inside("a.txt"));
  std::filesystem::permissions(inside("a.txt"), std::filesystem::perms::all);
  EXPECT_TRUE(files_->createFileAtPath(inside("a.txt"), Data::copyOf("new")));
  EXPECT_FALSE(files_->writeAtomically(Data::copyOf("new"), URL(inside("b.txt"))));
  EXPECT_EQ(mode(inside("a.txt")), 0600u);
  EXPECT_EQ(mode(inside("b.txt")), 0600u);
}

TEST_F(FileManagerTest, CreatedFileReplacesALinkInsteadOfFollowingIt) {
  put(outside("kept.txt"), "kept");
  std::filesystem::create_symlink(outside("kept.txt"), inside("a.txt"));
  EXPECT_TRUE(files_->createFileAtPath(inside("a.txt"), Data::copyOf("new")));
  EXPECT_EQ(contents(outside("kept.txt")), "kept");
  EXPECT_EQ(contents(inside("a.txt")), "new");
}

TEST_F(FileManagerTest, FailedAtomicWriteSaysWhyInThePlatformsWords) {
  std::filesystem::create_directory(inside("folder"));
  const Data data = Data::copyOf("x");
  EXPECT_EQ(failure(files_->writeAtomically(data, URL(inside("missing/a.txt")))),
            "4 The folder “a.txt” doesn’t exist.");
  EXPECT_EQ(failure(files_->writeAtomically(data, URL(inside("folder")))),
            "512 The file “folder” couldn’t be saved in the folder “tmp”.");
  EXPECT_EQ(files_->writeAtomically(data, URL("http://host/a"))->code, 518);
}

TEST_F(FileManagerTest, EnumerationGoesByName) {
  for (const char* name : {"b.txt", ".hidden", "sub/z", "sub/a/deep", "a.txt"}) put(inside(name));
  const std::vector<std::string> expected = {".hidden", "a.txt",      "b.txt", "sub",
                                             "sub/a",   "sub/a/deep", "sub/z"};
  EXPECT_EQ(entries(inside()), expected);
}

TEST_F(FileManagerTest, RemovalOfWhatIsMissingNamesIt) {
  put(inside("a.txt"));
  for (const std::string name : {"missing", "sub/missing", "a.txt/missing"}) {
    EXPECT_EQ(failure(files_->removeItemAtPath(inside(name))), "4 “missing” couldn’t be removed.");
  }
  EXPECT_EQ(files_->removeItemAtPath("")->code, 4);
  EXPECT_EQ(files_->removeItemAtPath(inside(std::string("a.txt\0b", 7)))->code, 4);
  EXPECT_TRUE(files_->fileExistsAtPath(inside("a.txt")));
}

TEST_F(FileManagerTest, NothingOutsideOfTheTemporaryDirectoryCanBeRemoved) {
  put(outside("kept.txt"));
  put(outside("tmp2/kept.txt"));
  put(inside("sub/kept.txt"));
  std::filesystem::create_directory_symlink(home_, inside("up"));
  for (const std::string& path :
       {outside("kept.txt"), outside("tmp2/kept.txt"), inside("../kept.txt"), inside("up/kept.txt"),
        inside("up/tmp2"), inside("sub/../../kept.txt"), temporary_, inside(), inside("."),
        inside(".."), inside("sub/."), inside("sub/.."), inside("up/tmp"), home_, std::string("/"),
        std::string("/.")}) {
    const auto error = files_->removeItemAtPath(path);
    ASSERT_TRUE(error) << path;
    EXPECT_EQ(error->code, 513) << path;
  }
  EXPECT_EQ(failure(files_->removeItemAtPath(outside("kept.txt"))),
            "513 “kept.txt” couldn’t be removed because you don’t have permission to access it.");
  EXPECT_EQ(contents(outside("kept.txt")) + contents(outside("tmp2/kept.txt")) +
                contents(inside("sub/kept.txt")),
            "texttexttext");
}

TEST_F(FileManagerTest, PathThroughALinkIntoTheTemporaryDirectoryMayBeRemoved) {
  put(inside("sub/a.txt"));
  std::filesystem::create_directory_symlink(inside("sub"), outside("into"));
  EXPECT_EQ(failure(files_->removeItemAtPath(outside("into/a.txt"))), "none");
  EXPECT_FALSE(files_->fileExistsAtPath(inside("sub/a.txt")));
}

TEST_F(FileManagerTest, WithoutATemporaryDirectoryNothingCanBeRemoved) {
  const auto home = ApplicationHome::makePrivate();
  FileManager files("");
  EXPECT_EQ(files.temporaryDirectory(), std::nullopt);
  EXPECT_EQ(files.removeItemAtPath(home->temporaryDirectory())->code, 513);
  EXPECT_TRUE(files.fileExistsAtPath(home->temporaryDirectory()));
}

TEST_F(FileManagerTest, WriteThatIsCutShortLeavesTheOldFileAndNothingElse) {
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
