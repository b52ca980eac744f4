#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "VECamera/platform/Foundation.h"
#include "device/foundation/Urls.h"
#include "device/foundation/files/ApplicationHome.h"

namespace vecamera::device::foundation {

/// Makes the file manager under test for a temporary directory.
using FileManagerFactory =
    std::function<std::unique_ptr<NSFileManager>(const std::string& temporaryDirectory)>;

/// What every file manager over real files keeps to. A fresh home holds the temporary directory, so
/// that there is something next to it that must stay.
class FileManagerContract : public testing::TestWithParam<FileManagerFactory> {
 protected:
  std::string inside(const std::string& name = "") const { return temporary_ + "/" + name; }
  std::string outside(const std::string& name) const { return home_.path() + "/" + name; }

  static void put(const std::string& path, std::string_view text = "text") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static unsigned mode(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  std::vector<std::string> entries(const std::string& path) {
    std::vector<std::string> names;
    const auto enumerator = files_->enumeratorAtPath(path);
    while (const auto entry = enumerator->nextObject()) names.push_back(*entry->text());
    return names;
  }

  static std::string failure(const std::optional<NSError>& error) {
    if (!error) return "none";
    return std::to_string(error->code) + " " + error->localizedDescription();
  }

  const ApplicationHome home_ = *ApplicationHome::makePrivate();
  std::string temporary_ = home_.temporaryDirectory();
  std::unique_ptr<NSFileManager> files_ = GetParam()(temporary_);
};

TEST_P(FileManagerContract, TemporaryDirectoryEndsInASlash) {
  EXPECT_EQ(files_->temporaryDirectory(), temporary_ + "/");
}

TEST_P(FileManagerContract, StandardPathHasNoSuperfluousSteps) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a/b/", "/a/b"},    {"/a//b///c", "/a/b/c"},
      {"/a/./b/.", "/a/b"}, {"/a/b/../c", "/a/c"},
      {"/../a", "/a"},      {"/", "/"},
      {"//", "/"},          {"/a/..", "/"},
      {"a/../b", "a/../b"}, {"./a//b/./../", "a/b/.."},
      {"..", ".."},         {"./", "."},
      {"a b/é/", "a b/é"},  {"", ""}};
  for (const auto& [path, standard] : cases) {
    EXPECT_EQ(files_->stringByStandardizingPath(path), standard) << path;
  }
}

TEST_P(FileManagerContract, FileExistsWhenItsPathLeadsSomewhere) {
  put(inside("a.txt"));
  std::filesystem::create_symlink("nowhere", inside("broken"));
  std::filesystem::create_symlink("a.txt", inside("link"));
  EXPECT_TRUE(files_->fileExistsAtPath(inside("a.txt")));
  EXPECT_TRUE(files_->fileExistsAtPath(inside()));
  EXPECT_TRUE(files_->fileExistsAtPath(inside("link")));
  EXPECT_FALSE(files_->fileExistsAtPath(inside("broken")));
  EXPECT_FALSE(files_->fileExistsAtPath(inside("b.txt")));
  EXPECT_FALSE(files_->fileExistsAtPath(""));
  EXPECT_FALSE(files_->fileExistsAtPath(inside("a.txt") + std::string("\0x", 2)));
}

TEST_P(FileManagerContract, WaitForAChangeEndsWhetherThereIsOneOrNot) {
  put(inside("taken.txt"));
  files_->waitForChangeAtPath(inside("taken.txt"));
  files_->waitForChangeAtPath(inside("free.txt"));
  std::thread removing([this] { std::filesystem::remove(inside("taken.txt")); });
  while (files_->fileExistsAtPath(inside("taken.txt")))
    files_->waitForChangeAtPath(inside("taken.txt"));
  removing.join();
}

TEST_P(FileManagerContract, CreatedFileIsPrivateAndReplacesWhatWasThere) {
  put(inside("a.txt"), "a much longer text");
  std::filesystem::permissions(inside("a.txt"), std::filesystem::perms::all);
  EXPECT_TRUE(files_->createFileAtPath(inside("a.txt"), Data::copyOf("new")));
  EXPECT_EQ(contents(inside("a.txt")), "new");
  EXPECT_EQ(mode(inside("a.txt")), 0600u);
  EXPECT_TRUE(files_->createFileAtPath(inside("empty"), Data()));
  EXPECT_EQ(entries(inside()), (std::vector<std::string>{"a.txt", "empty"}));
}

TEST_P(FileManagerContract, CreatedFileReplacesALinkInsteadOfFollowingIt) {
  put(outside("kept.txt"), "kept");
  std::filesystem::create_symlink(outside("kept.txt"), inside("a.txt"));
  EXPECT_TRUE(files_->createFileAtPath(inside("a.txt"), Data::copyOf("new")));
  EXPECT_EQ(contents(outside("kept.txt")), "kept");
  EXPECT_EQ(contents(inside("a.txt")), "new");
}

TEST_P(FileManagerContract, FailedCreationLeavesNothingBehind) {
  std::filesystem::create_directory(inside("folder"));
  EXPECT_FALSE(files_->createFileAtPath(inside("folder"), Data::copyOf("x")));
  EXPECT_FALSE(files_->createFileAtPath(inside("missing/a.txt"), Data::copyOf("x")));
  EXPECT_FALSE(files_->createFileAtPath(inside(std::string(300, 'a')), Data::copyOf("x")));
  EXPECT_FALSE(files_->createFileAtPath(inside(std::string("a\0b", 3)), Data::copyOf("x")));
  EXPECT_FALSE(files_->createFileAtPath("", Data::copyOf("x")));
  EXPECT_EQ(entries(inside()), std::vector<std::string>{"folder"});
}

TEST_P(FileManagerContract, AtomicWriteDecodesFileUrlsAndTakesOtherTextsAsPaths) {
  const URL url = Urls().fileURLWithPath(inside("a b"));
  ASSERT_THAT(url.absoluteString(), testing::EndsWith("/a%20b"));
  EXPECT_EQ(failure(files_->writeAtomically(Data::copyOf("1"), url)), "none");
  EXPECT_EQ(failure(files_->writeAtomically(Data::copyOf("2"), URL(inside("a%20c")))), "none");
  EXPECT_EQ(contents(inside("a b")), "1");
  EXPECT_EQ(contents(inside("a%20c")), "2");
  EXPECT_EQ(mode(inside("a b")), 0600u);
}

TEST_P(FileManagerContract, FailedAtomicWriteSaysWhyInThePlatformsWords) {
  std::filesystem::create_directory(inside("folder"));
  const Data data = Data::copyOf("x");
  EXPECT_EQ(failure(files_->writeAtomically(data, URL(inside("missing/a.txt")))),
            "4 The folder “a.txt” doesn’t exist.");
  EXPECT_EQ(failure(files_->writeAtomically(data, URL(inside("folder")))),
            "512 The file “folder” couldn’t be saved in the folder “tmp”.");
  EXPECT_EQ(files_->writeAtomically(data, URL("http://host/a"))->code, 518);
  EXPECT_EQ(entries(inside()), std::vector<std::string>{"folder"});
}

TEST_P(FileManagerContract, AFileIsReadInPiecesToItsEnd) {
  put(inside("a"), "12345");
  const auto file = files_->fileHandleForReadingAtPath(inside("a"));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->size(), 5U);
  for (const std::string_view piece : {"12", "34", "5", ""})
    EXPECT_EQ(file->readDataUpToLength(2), Data::copyOf(piece));
  for (const auto& path : {inside("missing"), inside(), std::string()})
    EXPECT_EQ(files_->fileHandleForReadingAtPath(path), nullptr);
}

TEST_P(FileManagerContract, EnumerationGoesDeepInOrderAndDoesNotFollowLinks) {
  for (const char* name : {"b.txt", ".hidden", "sub/z", "sub/a/deep", "a.txt"}) put(inside(name));
  put(outside("other/kept.txt"));
  std::filesystem::create_directory_symlink(outside("other"), inside("link"));
  const std::vector<std::string> expected = {".hidden", "a.txt", "b.txt",      "link",
                                             "sub",     "sub/a", "sub/a/deep", "sub/z"};
  EXPECT_EQ(entries(inside()), expected);
}

TEST_P(FileManagerContract, EntriesOfAFolderStillComeWhenItIsRemovedAfterItWasHandedOut) {
  put(inside("sub/a.txt"));
  put(inside("sub/b/c.txt"));
  const auto enumerator = files_->enumeratorAtPath(inside());
  std::vector<std::string> names;
  while (const auto entry = enumerator->nextObject()) {
    names.push_back(*entry->text());
    if (names.back() == "sub") std::filesystem::remove_all(inside("sub"));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"sub", "sub/a.txt", "sub/b"}));
}

TEST_P(FileManagerContract, WhatIsNoFolderCannotBeEnumerated) {
  put(inside("a.txt"));
  for (const std::string& path : {inside("a.txt"), inside("missing"), std::string()}) {
    EXPECT_EQ(files_->enumeratorAtPath(path), nullptr) << path;
  }
}

TEST_P(FileManagerContract, RemovalTakesFilesFoldersAndLinksThemselves) {
  put(inside("a.txt"));
  put(inside("sub/b/c.txt"));
  put(outside("other/kept.txt"));
  std::filesystem::create_directory_symlink(outside("other"), inside("sub/b/link"));
  std::filesystem::create_directory_symlink(outside("other"), inside("link"));
  std::filesystem::create_symlink("nowhere", inside("broken"));
  for (const char* name : {"a.txt", "sub/", "link/", "broken"}) {
    EXPECT_EQ(failure(files_->removeItemAtPath(inside(name))), "none") << name;
  }
  EXPECT_TRUE(entries(inside()).empty());
  EXPECT_EQ(contents(outside("other/kept.txt")), "text");
}

TEST_P(FileManagerContract, RemovalOfWhatIsMissingNamesIt) {
  put(inside("a.txt"));
  for (const std::string name : {"missing", "sub/missing", "a.txt/missing"}) {
    EXPECT_EQ(failure(files_->removeItemAtPath(inside(name))), "4 “missing” couldn’t be removed.");
  }
  EXPECT_EQ(files_->removeItemAtPath("")->code, 4);
  EXPECT_EQ(files_->removeItemAtPath(inside(std::string("a.txt\0b", 7)))->code, 4);
  EXPECT_TRUE(files_->fileExistsAtPath(inside("a.txt")));
}

TEST_P(FileManagerContract, NothingOutsideOfTheTemporaryDirectoryCanBeRemoved) {
  put(outside("kept.txt"));
  put(outside("tmp2/kept.txt"));
  put(inside("sub/kept.txt"));
  std::filesystem::create_directory_symlink(home_.path(), inside("up"));
  for (const std::string& path :
       {outside("kept.txt"), outside("tmp2/kept.txt"), inside("../kept.txt"), inside("up/kept.txt"),
        inside("up/tmp2"), inside("sub/../../kept.txt"), temporary_, inside(), inside("."),
        inside(".."), inside("sub/."), inside("sub/.."), inside("up/tmp"), home_.path(),
        std::string("/"), std::string("/.")}) {
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

TEST_P(FileManagerContract, PathThroughALinkIntoTheTemporaryDirectoryMayBeRemoved) {
  put(inside("sub/a.txt"));
  std::filesystem::create_directory_symlink(inside("sub"), outside("into"));
  EXPECT_EQ(failure(files_->removeItemAtPath(outside("into/a.txt"))), "none");
  EXPECT_FALSE(files_->fileExistsAtPath(inside("sub/a.txt")));
}

}  // namespace vecamera::device::foundation
