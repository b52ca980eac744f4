#include "device/foundation/FileManager.h"

#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "device/foundation/FileErrors.h"
#include "device/foundation/PosixFiles.h"
#include "tests/device/foundation/FileManagerContract.h"

namespace vecamera::device::foundation {
namespace {

using testing::Optional;

INSTANTIATE_TEST_SUITE_P(FileManager, FileManagerContract,
                         testing::Values([](const std::string& temporaryDirectory) {
                           return std::make_unique<FileManager>(temporaryDirectory);
                         }));

std::string told(const NSError& error) {
  return std::to_string(error.code) + " " + error.localizedDescription();
}

TEST(FileManager, WithoutATemporaryDirectoryNothingCanBeRemoved) {
  const auto home = ApplicationHome::makePrivate();
  FileManager files("");
  EXPECT_EQ(files.temporaryDirectory(), std::nullopt);
  EXPECT_EQ(files.removeItemAtPath(home->temporaryDirectory())->code, 513);
  EXPECT_TRUE(files.fileExistsAtPath(home->temporaryDirectory()));
}

TEST(FileManager, PollHookIsCalledWhenTheSamePathIsAskedForAgainAndStillExists) {
  const auto home = ApplicationHome::makePrivate();
  const std::string a = home->temporaryDirectory() + "/a";
  const std::string b = home->temporaryDirectory() + "/b";
  FileManager files(home->temporaryDirectory());
  ASSERT_TRUE(files.createFileAtPath(a, Data()) && files.createFileAtPath(b, Data()));
  std::vector<std::string> polled;
  files.setPollHook([&](std::string_view path) {
    polled.emplace_back(path);
    if (polled.size() == 2) std::filesystem::remove(path);
  });
  for (const auto& path : {a, b, a}) EXPECT_TRUE(files.fileExistsAtPath(path));
  EXPECT_TRUE(polled.empty());
  while (files.fileExistsAtPath(a)) ASSERT_LT(polled.size(), 3u);
  EXPECT_FALSE(files.fileExistsAtPath(a));
  EXPECT_EQ(polled, (std::vector<std::string>{a, a}));
  files.setPollHook(nullptr);
  EXPECT_TRUE(files.fileExistsAtPath(b) && files.fileExistsAtPath(b));
}

TEST(FileManager, WriteThatIsCutShortLeavesTheOldFileAndNothingElse) {
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
  EXPECT_EQ(told(*error), "512 The file “a.txt” couldn’t be saved in the folder “tmp”.");
  EXPECT_EQ(readFile(path, 10), Data::copyOf("old"));
  EXPECT_TRUE(files.enumeratorAtPath(home->temporaryDirectory())->nextObject());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home->temporaryDirectory()), {}), 1);
}

TEST(FileErrors, SystemErrorsAreToldInThePlatformsWords) {
  const std::string refused =
      "513 “b.txt” couldn’t be removed because you don’t have permission to access it.";
  EXPECT_EQ(told(removalError("/a/b.txt", EACCES)), refused);
  EXPECT_EQ(told(removalError("/a/b.txt/", EPERM)), refused);
  EXPECT_EQ(told(removalError("/a/b.txt", ENOENT)), "4 “b.txt” couldn’t be removed.");
  EXPECT_EQ(told(removalError("/a/b.txt", EBUSY)), "512 “b.txt” couldn’t be removed.");
  EXPECT_EQ(told(writingError("/a/b.txt", EACCES)),
            "513 You don’t have permission to save the file “b.txt” in the folder “a”.");
  EXPECT_EQ(told(writingError("/b.txt", EISDIR)),
            "512 The file “b.txt” couldn’t be saved in the folder “/”.");
  for (const int full : {ENOSPC, EDQUOT}) {
    EXPECT_EQ(told(writingError("/a/b.txt", full)),
              "640 The file “b.txt” couldn’t be saved in the folder “a” because there isn’t enough "
              "space available.");
  }
  EXPECT_EQ(removalError("/a", ENOENT).domain, "NSCocoaErrorDomain");
}

TEST(PosixFiles, ReadingGivesRegularFilesUpToTheLimit) {
  const auto home = ApplicationHome::makePrivate();
  const std::string path = home->path() + "/a";
  ASSERT_TRUE(writeFile0600(path, Data::copyOf("12345")));
  EXPECT_THAT(readFile(path, 5), Optional(Data::copyOf("12345")));
  EXPECT_EQ(readFile(path, 4), std::nullopt);
  EXPECT_EQ(readFile(home->path(), 1000), std::nullopt);
  EXPECT_EQ(readFile(home->path() + "/missing", 1000), std::nullopt);
  ASSERT_EQ(mkfifo((home->path() + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(readFile(home->path() + "/pipe", 1000), std::nullopt);
}

TEST(ApplicationHome, PrivateHomeIsItsUsersAloneAndGoesWithAllItHolds) {
  auto home = ApplicationHome::makePrivate();
  ASSERT_TRUE(home);
  const std::string path = home->path();
  for (const std::string& folder : {path, home->temporaryDirectory()}) {
    struct stat status {};
    ASSERT_EQ(stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
  }
  std::filesystem::create_directories(path + "/tmp/a/b");
  home.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ApplicationHome, OpenedHomeIsMadeOnceAndStays) {
  const auto around = ApplicationHome::makePrivate();
  const std::string path = around->path() + "/new/home";
  ASSERT_TRUE(ApplicationHome::open(path));
  std::filesystem::permissions(path + "/tmp", std::filesystem::perms::all);
  ASSERT_TRUE(writeFile0600(path + "/tmp/a", Data()));
  const auto again = ApplicationHome::open(path + "/");
  ASSERT_TRUE(again);
  EXPECT_EQ(again->path(), path);
  EXPECT_TRUE(std::filesystem::exists(again->temporaryDirectory() + "/a"));
  EXPECT_EQ(std::filesystem::status(path + "/tmp").permissions(),
            std::filesystem::perms::owner_all);
}

TEST(ApplicationHome, SharedFoldersLinksAndFilesAreNoHome) {
  const auto around = ApplicationHome::makePrivate();
  const std::string linked = around->path() + "/linked";
  std::filesystem::create_directory(linked);
  std::filesystem::create_directory_symlink(around->path(), linked + "/tmp");
  ASSERT_TRUE(writeFile0600(around->path() + "/file", Data()));
  const std::string system = std::filesystem::temp_directory_path().string();
  for (const std::string& path : {std::string("/"), system, system + "/.", linked, std::string(),
                                  around->path() + "/file", around->path() + "/file/home"}) {
    EXPECT_EQ(ApplicationHome::open(path), nullptr) << path;
  }
  EXPECT_TRUE(isSharedFolder(system));
  EXPECT_FALSE(isSharedFolder(around->path()));
}

}  // namespace
}  // namespace vecamera::device::foundation
