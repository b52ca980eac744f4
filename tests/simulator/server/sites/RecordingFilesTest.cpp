#include "simulator/server/sites/RecordingFiles.h"

#include <gtest/gtest.h>

#include "tests/simulator/server/TestFolder.h"

namespace vecamera::simulator {
namespace {

TEST(RecordingFilesTest, KnowsThemHoweverTheyAreNamed) {
  const TestFolder folder;
  folder.write("app/index.html", "");
  std::filesystem::create_directory_symlink("app", folder.path() / "link");
  const RecordingFiles files(folder.path() / "app/flow.json");
  EXPECT_EQ(files.ofSession(1), folder.path() / "app/flow.json");
  EXPECT_EQ(files.ofSession(12), folder.path() / "app/flow-12.json");
  for (const auto* name :
       {"app/flow.json", "app/flow-12.json", "link/flow.json", "app/../app/flow.json"})
    EXPECT_TRUE(files.has(folder.path() / name)) << name;
  for (const auto* name : {"flow.json", "app/flow.js", "app/flow-.json", "app/flow-a.json",
                           "app/flower.json", "app/sub/flow.json"})
    EXPECT_FALSE(files.has(folder.path() / name)) << name;
  EXPECT_FALSE(RecordingFiles().has("flow.json"));
}

TEST(RecordingFilesTest, RemovesWhatAWriterThatDiedLeftHalfWritten) {
  const TestFolder folder;
  const auto left = folder.write(".vecamera-0123456789abcdef.part", "{");
  const auto other = folder.write(".hidden.part", "somebody's");
  const RecordingFiles files(folder.path() / "flow.json");
  EXPECT_FALSE(std::filesystem::exists(left));
  EXPECT_TRUE(std::filesystem::exists(other));
}

}  // namespace
}  // namespace vecamera::simulator
