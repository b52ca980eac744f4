#include "simulator/server/sites/FolderFingerprint.h"

#include <gtest/gtest.h>

#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

TEST(FolderFingerprintTest, LeavesRecordingsOutAndSaysWhereItStops) {
  const TestFolder folder;
  folder.write("index.html", "a");
  const RecordingFiles recordings(folder.path() / "flow.json");
  const auto print = [&](std::size_t maxFiles) {
    return folderFingerprint(folder.path(), recordings, maxFiles);
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
