#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "device/photos/LibraryStore.h"
#include "tests/device/photos/PhotosTestSupport.h"

namespace vecamera::device::photos {
namespace {

using Stage = LibraryStore::Stage;

/// Runs the work in a child process; gives its exit status, or nothing where it did not exit.
std::optional<int> inChild(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return std::nullopt;
  return WEXITSTATUS(status);
}

constexpr int crashedStatus = 42;

/// Options with which the process ends when a stage is reached for the given time.
LibraryStore::Options crashingAt(Stage stage, int time) {
  LibraryStore::Options options = testOptions();
  options.onStage = [stage, left = std::make_shared<int>(time)](Stage reached) {
    if (reached == stage && --*left == 0) _exit(crashedStatus);
  };
  return options;
}

struct Crash {
  const char* name;
  Stage stage;
  int time;
  bool changed;
};

class LibraryStoreCrashTest : public testing::TestWithParam<Crash> {
 protected:
  /// The library holds exactly these assets, each with its bytes, and no other file.
  void expectAssets(LibraryStore& store, const std::vector<std::string>& names) {
    const auto records = store.list();
    ASSERT_TRUE(records);
    std::vector<std::string> found;
    std::set<std::string> files;
    for (const AssetRecord& record : *records) {
      const auto data = store.readOriginal(record.identifier);
      ASSERT_TRUE(data) << data.error().message;
      EXPECT_EQ(textOf(*data), "JPEG:4x3:1:" + record.identifier);
      found.push_back(record.identifier);
      files.insert(std::to_string(record.sequence) + ".jpg");
    }
    EXPECT_EQ(found, names);
    EXPECT_EQ(namesIn(folder_.path() / "originals"), files);
    for (const std::string& name : namesIn(folder_.path())) EXPECT_FALSE(name.starts_with('.'));
  }

  TemporaryFolder folder_;
};

TEST_P(LibraryStoreCrashTest, ChangeIsThereAsAWholeOrNotAtAll) {
  ASSERT_TRUE(openLibrary(folder_.path())->add({testPicture("A", "A")}));
  const auto status = inChild([&] {
    const auto store = openLibrary(folder_.path(), crashingAt(GetParam().stage, GetParam().time));
    const auto added = store->add({testPicture("B", "B"), testPicture("C", "C")});
    return added ? 0 : 1;
  });
  ASSERT_EQ(status, crashedStatus);

  const auto store = openLibrary(folder_.path());
  if (GetParam().changed) {
    expectAssets(*store, {"A", "B", "C"});
    return;
  }
  expectAssets(*store, {"A"});
  ASSERT_TRUE(store->add({testPicture("B", "B"), testPicture("C", "C")}));
  expectAssets(*store, {"A", "B", "C"});
}

INSTANTIATE_TEST_SUITE_P(AtEachStage, LibraryStoreCrashTest,
                         testing::Values(Crash{"ChangeBegun", Stage::changeBegun, 1, false},
                                         Crash{"FirstFileWritten", Stage::fileWritten, 1, false},
                                         Crash{"FirstFileRenamed", Stage::fileRenamed, 1, false},
                                         Crash{"LastFileWritten", Stage::fileWritten, 2, false},
                                         Crash{"LastFileRenamed", Stage::fileRenamed, 2, false},
                                         Crash{"FolderSynced", Stage::folderSynced, 1, false},
                                         Crash{"ChangeCommitted", Stage::changeCommitted, 1, true}),
                         [](const auto& crash) { return crash.param.name; });

TEST_F(LibraryStoreCrashTest, RemovalThatIsInterruptedIsFinishedByTheNextOpening) {
  ASSERT_TRUE(openLibrary(folder_.path())->add({testPicture("A", "A"), testPicture("B", "B")}));
  const auto status = inChild([&] {
    const auto store = openLibrary(folder_.path(), crashingAt(Stage::rowsRemoved, 1));
    return store->remove("A") ? 0 : 1;
  });
  ASSERT_EQ(status, crashedStatus);
  expectAssets(*openLibrary(folder_.path()), {"B"});
}

TEST_F(LibraryStoreCrashTest, LibraryInUseGoesOnAfterAnotherProcessDies) {
  // The child is made first, because a connection must not be carried into it.
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) _exit(1);
    const auto store = openLibrary(folder_.path(), crashingAt(Stage::folderSynced, 1));
    _exit(store->add({testPicture("B", "B")}) ? 0 : 1);
  }
  close(ready[0]);
  const auto store = openLibrary(folder_.path());
  ASSERT_TRUE(store->add({testPicture("A", "A")}));
  EXPECT_EQ(write(ready[1], "!", 1), 1);
  close(ready[1]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), crashedStatus);

  // The number, and so the file, of the asset that never came is used by the next one.
  ASSERT_TRUE(store->add({testPicture("C", "C")}));
  expectAssets(*store, {"A", "C"});
}

TEST_F(LibraryStoreCrashTest, TheProcessThatMadeTheLibraryKeepsItsLogWhenAnotherCloses) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) _exit(1);
    openLibrary(folder_.path());
    _exit(0);
  }
  close(ready[0]);
  const auto store = openLibrary(folder_.path());
  EXPECT_EQ(write(ready[1], "!", 1), 1);
  close(ready[1]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  // The last one that closes the library removes it, and what others write to it then is lost.
  EXPECT_TRUE(std::filesystem::exists(folder_.path() / "library.sqlite-wal"));
}

TEST_F(LibraryStoreCrashTest, ProcessesOpenAndAddTogether) {
  const auto addSome = [&](const std::string& prefix) {
    const auto store = openLibrary(folder_.path());
    for (int i = 0; i < 10; ++i) {
      const std::string name = prefix + std::to_string(i);
      if (!store->add({testPicture(name, name)})) return 1;
    }
    return 0;
  };
  std::vector<pid_t> children;
  for (const char* prefix : {"a", "b", "c"}) {
    const pid_t child = fork();
    if (child == 0) _exit(addSome(prefix));
    children.push_back(child);
  }
  EXPECT_EQ(addSome("d"), 0);
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
  }
  const auto store = openLibrary(folder_.path());
  EXPECT_EQ(identifiersIn(*store).size(), 40u);
  expectAssets(*store, identifiersIn(*store));
}

}  // namespace
}  // namespace vecamera::device::photos
