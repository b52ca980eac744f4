#include "device/foundation/files/Folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

TEST(FoldersTest, NewFoldersArePrivateAndWhatIsInTheirPlaceIsAnError) {
  // Takes from a new folder the right to list it.
  const mode_t before = umask(0400);
  const auto home = ApplicationHome::makePrivate();
  const fs::path folder = fs::path(home ? home->path() : "") / "a" / "b";
  const auto made = makePrivateFolder(folder);
  umask(before);
  ASSERT_TRUE(home && made);
  EXPECT_TRUE(makePrivateFolder(folder / ""));
  for (const fs::path& each : {folder, folder.parent_path(), fs::path(home->temporaryDirectory())})
    EXPECT_EQ(fs::status(each).permissions(), fs::perms::owner_all) << each;
  ASSERT_TRUE(replaceFile(folder / "file", Data()));
  for (const fs::path& bad :
       {folder / "file", folder / "file" / "c", fs::path(), folder / std::string("c\0d", 3)})
    EXPECT_FALSE(makePrivateFolder(bad)) << bad;
}

}  // namespace
}  // namespace vecamera::device::foundation
