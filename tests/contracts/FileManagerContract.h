#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "VECamera/platform/Foundation.h"

namespace vecamera {

/// Makes the file manager under test for a temporary directory, which is given without a trailing
/// slash.
using FileManagerFactory =
    std::function<std::unique_ptr<NSFileManager>(const std::string& temporaryDirectory)>;

/// A fresh home for each test, which holds the temporary directory, so that there is something next
/// to it that must stay.
class FileManagerFixture {
 protected:
  FileManagerFixture() { std::filesystem::create_directories(temporary_); }
  ~FileManagerFixture() { std::filesystem::remove_all(home_); }

  std::string inside(const std::string& name = "") const { return temporary_ + "/" + name; }
  std::string outside(const std::string& name) const { return home_ + "/" + name; }

  static void put(const std::string& path, std::string_view text = "text") {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::vector<std::string> entries(const std::string& path) {
    std::vector<std::string> names;
    const auto enumerator = files_->enumeratorAtPath(path);
    while (const auto entry = enumerator->nextObject()) names.push_back(*entry->text());
    return names;
  }

  const std::string home_ = (std::filesystem::temp_directory_path() /
                             ("vecamera-files-" + std::to_string(std::random_device()())))
                                .string();
  const std::string temporary_ = home_ + "/tmp";
  std::unique_ptr<NSFileManager> files_;
};

/// What every file manager over real files keeps to. A host runs it on its own with
/// `INSTANTIATE_TEST_SUITE_P`.
class FileManagerContract : public FileManagerFixture,
                            public testing::TestWithParam<FileManagerFactory> {
 protected:
  FileManagerContract() { files_ = GetParam()(temporary_); }
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

TEST_P(FileManagerContract, CreatedFileReplacesWhatWasThere) {
  put(inside("a.txt"), "a much longer text");
  EXPECT_TRUE(files_->createFileAtPath(inside("a.txt"), Data::copyOf("new")));
  EXPECT_EQ(contents(inside("a.txt")), "new");
  EXPECT_TRUE(files_->createFileAtPath(inside("empty"), Data()));
  EXPECT_THAT(entries(inside()), testing::UnorderedElementsAre("a.txt", "empty"));
}

TEST_P(FileManagerContract, CreationLeavesNeighboursWithSimilarNamesAlone) {
  const std::vector<std::string> neighbours = {".a.txt",    "a.txt.0",   "a.txt.1",    "a.txt.2",
                                               "a.txt.new", "a.txt.tmp", "a.txt.part", "a.txt~"};
  for (const auto& name : neighbours) put(inside(name));
  EXPECT_TRUE(files_->createFileAtPath(inside("a.txt"), Data::copyOf("1")));
  EXPECT_FALSE(files_->writeAtomically(Data::copyOf("2"), URL(inside("a.txt"))));
  EXPECT_EQ(contents(inside("a.txt")), "2");
  for (const auto& name : neighbours) EXPECT_EQ(contents(inside(name)), "text") << name;
  EXPECT_EQ(entries(inside()).size(), neighbours.size() + 1);
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
  const URL url("file://" + inside("a%20b"));
  EXPECT_FALSE(files_->writeAtomically(Data::copyOf("1"), url));
  EXPECT_FALSE(files_->writeAtomically(Data::copyOf("2"), URL(inside("a%20c"))));
  EXPECT_EQ(contents(inside("a b")), "1");
  EXPECT_EQ(contents(inside("a%20c")), "2");
}

TEST_P(FileManagerContract, FailedAtomicWriteSaysWhyAndLeavesNothingBehind) {
  std::filesystem::create_directory(inside("folder"));
  for (const auto& url : {inside("missing/a.txt"), inside("folder"), std::string("http://host/a"),
                          std::string("mailto:x")}) {
    const auto error = files_->writeAtomically(Data::copyOf("x"), URL(url));
    ASSERT_TRUE(error) << url;
    EXPECT_TRUE(error->userInfo.contains(NSLocalizedDescriptionKey)) << url;
  }
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

TEST_P(FileManagerContract, EnumerationGoesDeepParentsFirstAndDoesNotFollowLinks) {
  for (const char* name : {"b.txt", ".hidden", "sub/z", "sub/a/deep", "a.txt"}) put(inside(name));
  put(outside("other/kept.txt"));
  std::filesystem::create_directory_symlink(outside("other"), inside("link"));
  const auto names = entries(inside());
  EXPECT_THAT(names, testing::UnorderedElementsAre(".hidden", "a.txt", "b.txt", "link", "sub",
                                                   "sub/a", "sub/a/deep", "sub/z"));
  const auto place = [&](const char* name) { return std::ranges::find(names, name); };
  EXPECT_LT(place("sub"), place("sub/z"));
  EXPECT_LT(place("sub"), place("sub/a"));
  EXPECT_LT(place("sub/a"), place("sub/a/deep"));
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
  EXPECT_THAT(names, testing::UnorderedElementsAre("sub", "sub/a.txt", "sub/b"));
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
    EXPECT_FALSE(files_->removeItemAtPath(inside(name))) << name;
  }
  EXPECT_TRUE(entries(inside()).empty());
  EXPECT_EQ(contents(outside("other/kept.txt")), "text");
}

TEST_P(FileManagerContract, RemovalOfWhatIsMissingIsAnError) {
  put(inside("a.txt"));
  for (const std::string& path : {inside("missing"), inside("sub/missing"), inside("a.txt/missing"),
                                  std::string(), inside(std::string("a.txt\0b", 7))}) {
    const auto error = files_->removeItemAtPath(path);
    ASSERT_TRUE(error) << path;
    EXPECT_TRUE(error->userInfo.contains(NSLocalizedDescriptionKey)) << path;
  }
  EXPECT_TRUE(files_->fileExistsAtPath(inside("a.txt")));
}

}  // namespace vecamera
