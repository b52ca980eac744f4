#include "device/foundation/files/WholeFiles.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "device/foundation/files/ApplicationHome.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

TEST(WholeFilesTest, ReadingGivesRegularFilesUpToTheLimit) {
  const auto home = ApplicationHome::makePrivate();
  const fs::path folder = home->path();
  ASSERT_TRUE(replaceFile(folder / "a", Data::copyOf("12345")));
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(readFile(folder / "a", 5).value(), Data::copyOf("12345"));
  const struct {
    fs::path path;
    int code;
    const char* message;
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
    EXPECT_EQ(read.error().message, each.message);
  }
}

}  // namespace
}  // namespace vecamera::device::foundation
