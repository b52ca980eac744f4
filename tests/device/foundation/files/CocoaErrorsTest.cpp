#include "device/foundation/files/CocoaErrors.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vecamera::device::foundation {
namespace {

std::string textOf(const NSError& error) {
  return std::to_string(error.code) + " " + error.localizedDescription();
}

TEST(CocoaErrorsTest, SystemErrorsAreDescribedInThePlatformsWords) {
  const std::string refused =
      "513 “b.txt” couldn’t be removed because you don’t have permission to access it.";
  EXPECT_EQ(textOf(removalError("/a/b.txt", EACCES)), refused);
  EXPECT_EQ(textOf(removalError("/a/b.txt/", EPERM)), refused);
  EXPECT_EQ(textOf(removalError("/a/b.txt", ENOENT)), "4 “b.txt” couldn’t be removed.");
  EXPECT_EQ(textOf(removalError("/a/b.txt", EBUSY)), "512 “b.txt” couldn’t be removed.");
  EXPECT_EQ(textOf(writingError("/a/b.txt", EACCES)),
            "513 You don’t have permission to save the file “b.txt” in the folder “a”.");
  EXPECT_EQ(textOf(writingError("/b.txt", EISDIR)),
            "512 The file “b.txt” couldn’t be saved in the folder “/”.");
  for (const int full : {ENOSPC, EDQUOT}) {
    EXPECT_EQ(textOf(writingError("/a/b.txt", full)),
              "640 The file “b.txt” couldn’t be saved in the folder “a” because there isn’t enough "
              "space available.");
  }
  EXPECT_EQ(removalError("/a", ENOENT).domain, "NSCocoaErrorDomain");
}

}  // namespace
}  // namespace vecamera::device::foundation
