#include "device/foundation/files/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

/// Makes a folder in a process of its own, which dies by the signal.
std::filesystem::path folderOfDeadProcess(const std::filesystem::path& parent, int signal) {
  const pid_t child = fork();
  if (child == 0) {
    const auto folder = TemporaryFolder::create(parent, "work-");
    static_cast<void>(replaceFile(folder->path() / "inner", Data::copyOf("text")));
    raise(signal);
  }
  waitpid(child, nullptr, 0);
  for (const auto& entry : std::filesystem::directory_iterator(parent)) {
    if (std::filesystem::exists(entry.path() / "inner")) return entry.path();
  }
  return {};
}

TEST(TemporaryFolderTest, FoldersOfDeadProcessesAndEmptyOnesGoWhenTheNextIsMadeAndAllOthersStay) {
  const auto around = ApplicationHome::makePrivate();
  const std::filesystem::path parent = around->path() + "/parent";
  ASSERT_TRUE(makePrivateFolder(parent / "work-of-somebody"));
  // As where a process dies before it has locked its folder, or while it removes it.
  ASSERT_TRUE(makePrivateFolder(parent / "work-aB3xYz"));
  const auto alive = TemporaryFolder::create(parent, "work-");
  const auto otherKind = TemporaryFolder::create(parent, "rest-");
  ASSERT_TRUE(alive && otherKind);
  const auto dead = folderOfDeadProcess(parent, SIGKILL);
  ASSERT_FALSE(dead.empty());
  {
    const auto next = TemporaryFolder::create(parent, "work-");
    ASSERT_TRUE(next);
    for (const auto& gone : {dead, parent / "work-aB3xYz"})
      EXPECT_FALSE(std::filesystem::exists(gone)) << gone;
    for (const auto& kept :
         {alive->path(), otherKind->path(), next->path(), parent / "work-of-somebody"})
      EXPECT_TRUE(std::filesystem::exists(kept)) << kept;
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(parent), {}), 3);
}

TEST(TemporaryFolderTest, WhatAnInterruptedRemovalLeftIsRemovedByTheNext) {
  const auto around = ApplicationHome::makePrivate();
  const std::filesystem::path parent = around->path();
  std::filesystem::path left;
  {
    auto folder = TemporaryFolder::create(parent, "work-");
    ASSERT_TRUE(folder);
    left = folder->path();
    std::filesystem::path deep = left / "a";
    for (int i = 0; i < 40; ++i) deep /= "b";
    std::filesystem::create_directories(deep);
    // Each level takes a descriptor, so that the removal stops on its way down.
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const Descriptor next = *openFolderAt(AT_FDCWD, parent, LastLink::follow);
    const rlimit few{static_cast<rlim_t>(next.number()) + 10, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    { const TemporaryFolder ended = *std::move(folder); }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  ASSERT_TRUE(std::filesystem::exists(left));
  ASSERT_TRUE(TemporaryFolder::create(parent, "work-"));
  EXPECT_FALSE(std::filesystem::exists(left));
}

TEST(TemporaryFolderTest, AFolderThatIsBeingMadeMayBeTakenForAnAbandonedOne) {
  const auto around = ApplicationHome::makePrivate();
  const std::filesystem::path parent = around->path();
  std::atomic<bool> isOver = false;
  std::thread remover([&] {
    while (!isOver) TemporaryFolder::removeAbandoned(parent, "work-");
  });
  int failures = 0;
  for (int i = 0; i < 500; ++i) {
    const auto folder = TemporaryFolder::create(parent, "work-");
    if (!folder || !std::filesystem::exists(folder->path())) ++failures;
  }
  isOver = true;
  remover.join();
  EXPECT_EQ(failures, 0);
}

TEST(TemporaryFolderTest, LivesUntilTheLastObjectThatHasItEnds) {
  const auto around = ApplicationHome::makePrivate();
  auto made = TemporaryFolder::create(around->path(), "work-").value();
  ASSERT_TRUE(made);
  const std::filesystem::path path = made->path();
  {
    const TemporaryFolder taken = *std::move(made);
    made.reset();
    EXPECT_TRUE(std::filesystem::is_directory(path));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace vecamera::device::foundation
