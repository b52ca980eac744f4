#include "device/foundation/files/ApplicationHome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

TEST(ApplicationHomeTest, PrivateHomeIsItsUsersAloneAndGoesWithAllItHolds) {
  std::string path;
  {
    const auto home = ApplicationHome::makePrivate();
    ASSERT_TRUE(home);
    path = home->path();
    for (const std::string& folder : {path, home->temporaryDirectory()}) {
      struct stat status {};
      ASSERT_EQ(stat(folder.c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 07777, 0700u);
    }
    std::filesystem::create_directories(path + "/tmp/a/b");
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ApplicationHomeTest, OpenedHomeIsMadeOnceAndStays) {
  const auto around = ApplicationHome::makePrivate();
  const std::string path = around->path() + "/new/home";
  ASSERT_TRUE(ApplicationHome::open(path));
  std::filesystem::permissions(path + "/tmp", std::filesystem::perms::all);
  ASSERT_TRUE(replaceFile(path + "/tmp/a", Data()));
  const auto again = ApplicationHome::open(path + "/");
  ASSERT_TRUE(again);
  EXPECT_EQ(again->path(), path);
  EXPECT_TRUE(std::filesystem::exists(again->temporaryDirectory() + "/a"));
  EXPECT_EQ(std::filesystem::status(path + "/tmp").permissions(),
            std::filesystem::perms::owner_all);
}

TEST(ApplicationHomeTest, SharedFoldersLinksAndFilesAreNoHome) {
  const auto around = ApplicationHome::makePrivate();
  const std::string linked = around->path() + "/linked";
  std::filesystem::create_directory(linked);
  std::filesystem::create_directory_symlink(around->path(), linked + "/tmp");
  ASSERT_TRUE(replaceFile(around->path() + "/file", Data()));
  const std::string system = std::filesystem::temp_directory_path().string();
  for (const std::string& path : {std::string("/"), system, system + "/.", linked, std::string(),
                                  around->path() + "/file", around->path() + "/file/home"}) {
    EXPECT_FALSE(ApplicationHome::open(path)) << path;
  }
  EXPECT_TRUE(isSharedFolder(system));
  EXPECT_FALSE(isSharedFolder(around->path()));
}

}  // namespace
}  // namespace vecamera::device::foundation
