#include "device/foundation/files/Folders.h"

#include <gtest/gtest.h>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

TEST(FoldersTest, NewFoldersArePrivateAndWhatIsInTheirPlaceIsAnError) {
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
