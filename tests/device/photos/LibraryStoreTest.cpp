#include "device/photos/LibraryStore.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <set>
#include <thread>

#include "device/foundation/files/Descriptor.h"
#include "tests/device/photos/PhotosTestSupport.h"

namespace vecamera::device::photos {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class LibraryStoreTest : public testing::Test {
 protected:
  fs::path folder() const { return temporary_.path() / "library"; }
  fs::path originals() const { return folder() / "originals"; }
  fs::path thumbnails() const { return folder() / "thumbnails"; }
  fs::path file(const std::string& name, const std::string& text) const {
    writeText(temporary_.path() / name, text);
    return temporary_.path() / name;
  }
  std::string openingError() const {
    const auto opened = LibraryStore::open(folder(), testOptions());
    return opened ? "" : opened.error().message;
  }
  /// Gives SQLite's result code.
  int runSql(const char* sql) const {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open((folder() / "library.sqlite").c_str(), &database), SQLITE_OK);
    const int code = sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
    sqlite3_close(database);
    return code;
  }

 private:
  const TemporaryFolder temporary_;
};

TEST_F(LibraryStoreTest, WhatWasAddedIsThereAfterReopening) {
  const Date created{std::chrono::microseconds(1'234'567)};
  {
    const auto store = openLibrary(folder());
    const NewAsset movie{"M/L0/001", PHAssetResourceType::video, Data::copyOf("MOVIE:64x48:2.5"),
                         created};
    const NewAsset rotated{"A1B2/L0/001", PHAssetResourceType::photo,
                           Data::copyOf("JPEG:30x40:6:bytes"), created};
    ASSERT_TRUE(store->add({movie, rotated}));
  }
  const auto store = openLibrary(folder());
  const auto records = store->list();
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 2u);
  const AssetRecord& movie = (*records)[0];
  EXPECT_EQ(movie.type, PHAssetResourceType::video);
  EXPECT_EQ(movie.durationSeconds, 2.5);
  EXPECT_EQ(formatName(movie), "mp4");

  const AssetRecord& picture = (*records)[1];
  EXPECT_EQ(picture.identifier, "A1B2/L0/001");
  EXPECT_EQ(picture.type, PHAssetResourceType::photo);
  EXPECT_EQ(picture.typeIdentifier, "public.jpeg");
  EXPECT_EQ(formatName(picture), "jpeg");
  EXPECT_EQ(picture.byteCount, 18u);
  EXPECT_EQ(picture.width, 30);
  EXPECT_EQ(picture.height, 40);
  EXPECT_EQ(picture.orientation, 6u);
  EXPECT_EQ(picture.created, created);
  EXPECT_FALSE(picture.durationSeconds);
  EXPECT_LT(movie.sequence, picture.sequence);

  const auto data = store->readOriginal("A1B2/L0/001");
  ASSERT_TRUE(data);
  EXPECT_EQ(textOf(*data), "JPEG:30x40:6:bytes");
}

TEST_F(LibraryStoreTest, SeedFixesTheIdentifiersAlsoOfALibraryThatWasUsedBefore) {
  RandomIdentifiers expected(7);
  const std::string first = expected() + "/L0/001";
  const std::string second = expected() + "/L0/001";
  ASSERT_TRUE(openLibrary(folder())->add({testPicture("a")}));
  const auto store = openLibrary(folder());
  ASSERT_TRUE(store->add({testPicture("b")}));
  EXPECT_THAT(identifiersIn(*store), ElementsAre(first, second));
}

TEST_F(LibraryStoreTest, ARefusedAssetKeepsTheWholeChangeOut) {
  const auto store = openLibrary(folder());
  ASSERT_TRUE(store->add({testPicture("old", "OLD/L0/001")}));
  NewAsset text = testPicture("");
  text.content = Data::copyOf("text");

  const struct {
    NewAsset bad;
    StoreError::Kind kind;
    const char* words;
  } cases[] = {
      {text, StoreError::Kind::invalidResource, "no picture that the library takes"},
      {testPicture("x", "OLD/L0/001"), StoreError::Kind::identifierRefused, "already holds"},
      {testPicture("x", "NEW/L0/001"), StoreError::Kind::identifierRefused, "already holds"},
      {testPicture("x", "/L0/001"), StoreError::Kind::identifierRefused, "No asset can have"},
      {testPicture("x", ""), StoreError::Kind::identifierRefused, "No asset can have"},
  };
  for (const auto& each : cases) {
    const auto added = store->add({testPicture("new", "NEW/L0/001"), each.bad});
    ASSERT_FALSE(added);
    EXPECT_EQ(added.error().kind, each.kind);
    EXPECT_THAT(added.error().message, HasSubstr(each.words));
    EXPECT_THAT(identifiersIn(*store), ElementsAre("OLD/L0/001"));
    EXPECT_THAT(namesIn(originals()), ElementsAre("1.jpg"));
  }
  EXPECT_TRUE(store->add({testPicture("new", "NEW/L0/001")}));
}

TEST_F(LibraryStoreTest, AFailedChangeRemovesItsFilesBeforeAnotherProcessCanUseTheirNames) {
  LibraryStore::Options options = testOptions();
  int failures = 0;
  options.onStage = [&](LibraryStore::Stage stage) {
    if (stage != LibraryStore::Stage::filesRemoved) return;
    ++failures;
    EXPECT_THAT(namesIn(originals()), ElementsAre(testing::StartsWith(".change-"), "1.jpg"));
    EXPECT_EQ(runSql("BEGIN IMMEDIATE"), SQLITE_BUSY);
  };
  const auto store = openLibrary(folder(), options);
  ASSERT_TRUE(store->add({testPicture("old", "OLD/L0/001")}));
  EXPECT_FALSE(store->add({testPicture("new"), testPicture("x", "OLD/L0/001")}));
  EXPECT_EQ(failures, 1);
}

TEST_F(LibraryStoreTest, AChangeThatThrowsIsUndoneToo) {
  LibraryStore::Options options = testOptions();
  int renamed = 0;
  options.onStage = [&](LibraryStore::Stage stage) {
    if (stage == LibraryStore::Stage::fileRenamed && ++renamed == 2) throw std::bad_alloc();
  };
  const auto store = openLibrary(folder(), options);
  EXPECT_THROW((void)store->add({testPicture("a"), testPicture("b")}), std::bad_alloc);
  EXPECT_TRUE(namesIn(originals()).empty());
  ASSERT_TRUE(store->add({testPicture("c")}));
  EXPECT_THAT(namesIn(originals()), ElementsAre("1.jpg"));
}

// Files cannot be renamed from disk to disk, so a change has to be written where the originals are.
TEST_F(LibraryStoreTest, AChangeIsWrittenOnTheDiskOfTheOriginals) {
  const fs::path disk = folder().parent_path() / "disk";
  fs::create_directories(folder());
  fs::create_directory(disk);
  fs::create_directory_symlink(disk, originals());
  std::set<std::string> onDisk;
  auto options = testOptions();
  options.onStage = [&](LibraryStore::Stage stage) {
    if (stage == LibraryStore::Stage::fileRenamed) onDisk = namesIn(disk);
  };
  const auto store = openLibrary(folder(), options);
  const auto added = store->add({testPicture("a")});
  ASSERT_TRUE(added) << added.error().message;
  EXPECT_THAT(onDisk, ElementsAre(testing::StartsWith(".change-"), "1.jpg"));
  EXPECT_THAT(namesIn(disk), ElementsAre("1.jpg"));
}

TEST_F(LibraryStoreTest, AChangeThatDiedBeforeTheDatabaseWasMadeIsNoOriginal) {
  fs::create_directories(originals() / ".change-abcdef");
  writeText(originals() / ".change-abcdef/.in-use", "");
  const auto store = openLibrary(folder());
  EXPECT_TRUE(namesIn(originals()).empty());
}

TEST_F(LibraryStoreTest, AChangeOfManyAssetsTakesFewDescriptors) {
  const auto store = openLibrary(folder());
  std::vector<NewAsset> assets;
  for (int i = 0; i < 100; ++i) assets.push_back(testPicture(std::to_string(i)));
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const auto next = foundation::openFolderAt(AT_FDCWD, folder(), foundation::LastLink::follow);
  ASSERT_TRUE(next);
  const rlimit few{static_cast<rlim_t>(next->number()) + 20, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  const auto added = store->add(assets);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_TRUE(added) << added.error().message;
  EXPECT_EQ(namesIn(originals()).size(), assets.size());
}

TEST_F(LibraryStoreTest, AddressesAreLookedUpByUuidOrWholeIdentifier) {
  const auto store = openLibrary(folder());
  ASSERT_TRUE(store->add({testPicture("1", "A1B2/L0/001"), testPicture("2", "A1B2/L0/002"),
                          testPicture("3", "plain"), testPicture("4", "a&b/x")}));
  const struct {
    const char* query;
    const char* identifier;
  } cases[] = {
      {"id=A1B2&ext=JPG", "A1B2/L0/001"},
      {"id=A1B2&ext=png", "A1B2/L0/001"},
      {"id=A1B2/L0/002&ext=JPG", "A1B2/L0/002"},
      {"id=A1B2%2FL0%2F002&ext=JPG", "A1B2/L0/002"},
      {"id=plain&ext=JPG", "plain"},
      {"id=a%26b&ext=JPG", "a&b/x"},
      {"id=A1B2/L0/003&ext=JPG", nullptr},
      {"id=A1B&ext=JPG", nullptr},
      {"id=%25&ext=JPG", nullptr},
      {"ext=JPG", nullptr},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.query);
    const auto found =
        store->fetchByAddress(std::string("assets-library://asset/asset.JPG?") + each.query);
    ASSERT_EQ(static_cast<bool>(found), each.identifier != nullptr);
    if (found) {
      EXPECT_EQ(found->identifier, each.identifier);
    } else {
      EXPECT_EQ(found.error().kind, StoreError::Kind::unknownAsset);
    }
  }
}

TEST_F(LibraryStoreTest, APictureThatWasReadIsImportedWithoutItsFile) {
  const auto store = openLibrary(folder());
  const auto imported =
      store->importFile({folder() / "gone.jpg", std::nullopt, Data::copyOf("JPEG:8x6:1")}, Date());
  ASSERT_TRUE(imported);
  EXPECT_EQ(imported->type, PHAssetResourceType::photo);
  EXPECT_EQ(*store->readOriginal(imported->identifier), Data::copyOf("JPEG:8x6:1"));
  const auto refused =
      store->importFile({folder() / "gone.mp4", std::nullopt, Data::copyOf("MOVIE:64x48:2.5")}, {});
  ASSERT_FALSE(refused);
  EXPECT_THAT(refused.error().message, testing::StartsWith("gone.mp4 is no picture or movie"));
}

TEST_F(LibraryStoreTest, ImportTakesWhatItCanAndReportsTheRest) {
  const auto store = openLibrary(folder());
  ASSERT_TRUE(store->add({testPicture("taken", "TAKEN/L0/001")}));
  std::vector<std::string> progress;
  const ImportReport report =
      store->importFiles({{file("beach.jpg", "JPEG:8x6:1"), "A1B2/L0/001"},
                          {file("x.txt", "text"), std::nullopt},
                          {folder() / "none.jpg", std::nullopt},
                          {folder(), std::nullopt},
                          {file("again.jpg", "JPEG:8x6:1"), "TAKEN/L0/001"},
                          {file("clip.mp4", "MOVIE:64x48:2.5"), std::nullopt}},
                         Date(std::chrono::seconds(5)), [&](std::size_t done, std::size_t total) {
                           progress.push_back(std::to_string(done) + "/" + std::to_string(total));
                         });

  ASSERT_EQ(report.imported.size(), 2u);
  EXPECT_EQ(report.imported[0].identifier, "A1B2/L0/001");
  EXPECT_EQ(report.imported[0].created, Date(std::chrono::seconds(5)));
  EXPECT_EQ(report.imported[1].type, PHAssetResourceType::video);
  EXPECT_THAT(report.imported[1].identifier, testing::EndsWith("/L0/001"));
  std::vector<std::string> refused;
  for (const StoreError& error : report.refused) refused.push_back(error.message);
  EXPECT_THAT(refused,
              ElementsAre("x.txt is no picture or movie that the library takes (JPEG, PNG, HEIC, "
                          "WebP, MP4, QuickTime, WebM)",
                          "none.jpg cannot be read: No such file or directory",
                          "library cannot be read: Is a directory",
                          "again.jpg: The library already holds an asset \"TAKEN/L0/001\""));
  EXPECT_THAT(progress, ElementsAre("1/6", "2/6", "3/6", "4/6", "5/6", "6/6"));

  LibraryStore::Options picturesOnly = testOptions();
  picturesOnly.probeMovie = nullptr;
  const auto other = openLibrary(folder() / "other", picturesOnly);
  const auto refusal = other->importFile({file("x.txt", "text"), std::nullopt}, Date());
  ASSERT_FALSE(refusal);
  EXPECT_EQ(refusal.error().message,
            "x.txt is no picture that the library takes (JPEG, PNG, HEIC, WebP)");
}

TEST_F(LibraryStoreTest, AFileThatCannotBeProbedIsNoUnknownFormat) {
  const auto unreadable = [](const auto&) {
    return StoreResult<AssetFormat>(storeFailure(StoreError::Kind::unreadable, "memory is short"));
  };
  LibraryStore::Options options = testOptions();
  options.probeMovie = unreadable;
  const auto moviesUnread = openLibrary(folder() / "movies", options);
  EXPECT_TRUE(moviesUnread->importFile({file("a.jpg", "JPEG:4x3:1:a"), std::nullopt}, Date()))
      << "a picture is one, whatever is known of it as a movie";
  const NewAsset movie{"M/L0/001", PHAssetResourceType::video, file("a.mp4", "MOVIE"), Date()};
  const auto added = moviesUnread->add({movie});
  ASSERT_FALSE(added);
  EXPECT_EQ(added.error().kind, StoreError::Kind::unreadable);

  options.probePicture = unreadable;
  options.probeMovie = probeTestMovie;
  const auto picturesUnread = openLibrary(folder() / "pictures", options);
  for (const auto& [store, name] :
       {std::pair(moviesUnread.get(), "a.mp4"), std::pair(picturesUnread.get(), "a.jpg")}) {
    const auto refused = store->importFile({folder().parent_path() / name, std::nullopt}, Date());
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, std::string(name) + " cannot be read: memory is short");
  }
}

TEST_F(LibraryStoreTest, DamagedOriginalIsUnreadableButListed) {
  const auto store = openLibrary(folder());
  ASSERT_TRUE(store->add(
      {testPicture("a", "A/L0/001"), testPicture("b", "B/L0/001"), testPicture("c", "C/L0/001")}));
  fs::remove(originals() / "1.jpg");
  writeText(originals() / "2.jpg", "JPEG");
  EXPECT_EQ(identifiersIn(*store).size(), 3u);
  EXPECT_TRUE(store->readOriginal("C/L0/001"));
  for (const auto& [identifier, words] :
       {std::pair("A/L0/001", "No such file"), std::pair("B/L0/001", "4 bytes instead of 12")}) {
    const auto data = store->readOriginal(identifier);
    ASSERT_FALSE(data);
    EXPECT_EQ(data.error().kind, StoreError::Kind::unreadable);
    EXPECT_THAT(data.error().message, HasSubstr(words));
  }
}

TEST_F(LibraryStoreTest, AMoviesFileIsCopiedAndItsThumbnailIsItsPoster) {
  LibraryStore::Options options = testOptions();
  options.makePoster = [](const fs::path& movie, int maxSide) {
    return Data::copyOf(movie.filename().string() + " at " + std::to_string(maxSide));
  };
  const auto store = openLibrary(folder(), options);
  const fs::path source = file("source", "MOVIE:64x48:2.5");
  const NewAsset movie{"M/L0/001", PHAssetResourceType::video, source, Date()};
  ASSERT_TRUE(store->add({movie}));
  EXPECT_TRUE(fs::exists(source));
  fs::remove(source);
  const auto record = store->fetchByIdentifier("M/L0/001");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->byteCount, 15u);
  EXPECT_EQ(*store->originalFile("M/L0/001"), originals() / "1.mp4");
  EXPECT_EQ(textOf(*store->thumbnail("M/L0/001", 64)), "1.mp4 at 64");

  const NewAsset gone{"N/L0/001", PHAssetResourceType::video, source, Date()};
  const auto refused = store->add({gone});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().kind, StoreError::Kind::invalidResource);
  EXPECT_THAT(namesIn(originals()), ElementsAre("1.mp4"));
}

TEST_F(LibraryStoreTest, RemovalTakesTheFilesAlongAndNumbersAreNotUsedAgain) {
  LibraryStore::Options options = testOptions();
  options.makeThumbnail = [](const Data&, int) { return Data::copyOf("small"); };
  const auto store = openLibrary(folder(), options);
  ASSERT_TRUE(store->add({testPicture("a", "A/L0/001"), testPicture("b", "B/L0/001")}));
  ASSERT_TRUE(store->thumbnail("A/L0/001", 64));
  ASSERT_TRUE(store->thumbnail("B/L0/001", 64));
  // Whoever reads a thumbnail, or has just written it, may hold its lock.
  const auto held = foundation::openAt(AT_FDCWD, thumbnails() / "2-64.jpg", O_RDWR);
  ASSERT_TRUE(held && foundation::lock(*held, foundation::IfLocked::fail));

  EXPECT_TRUE(store->remove("B/L0/001"));
  EXPECT_THAT(identifiersIn(*store), ElementsAre("A/L0/001"));
  EXPECT_THAT(namesIn(originals()), ElementsAre("1.jpg"));
  EXPECT_THAT(namesIn(thumbnails()), ElementsAre("1-64.jpg"));
  EXPECT_EQ(store->remove("B/L0/001").error().kind, StoreError::Kind::unknownAsset);

  EXPECT_TRUE(store->clear());
  EXPECT_TRUE(identifiersIn(*store).empty());
  EXPECT_TRUE(namesIn(originals()).empty());
  EXPECT_TRUE(namesIn(thumbnails()).empty());
  const auto added = store->add({testPicture("b", "B/L0/001")});
  ASSERT_TRUE(added);
  EXPECT_EQ(added->front().sequence, 3);
}

TEST_F(LibraryStoreTest, ThumbnailIsMadeOnceForEachSize) {
  LibraryStore::Options options = testOptions();
  int made = 0;
  options.makeThumbnail = [&made](const Data& original, int maxSide) -> StoreResult<Data> {
    ++made;
    if (maxSide == 13) return storeFailure(StoreError::Kind::invalidResource, "damaged");
    return Data::copyOf(textOf(original) + "@" + std::to_string(maxSide));
  };
  {
    const auto store = openLibrary(folder(), options);
    ASSERT_TRUE(store->add({testPicture("a", "A/L0/001")}));
    for (const int side : {64, 64, 128}) {
      const auto thumbnail = store->thumbnail("A/L0/001", side);
      ASSERT_TRUE(thumbnail);
      EXPECT_EQ(textOf(*thumbnail), "JPEG:4x3:1:a@" + std::to_string(side));
    }
    EXPECT_EQ(made, 2);
    EXPECT_EQ(store->thumbnail("A/L0/001", 13).error().kind, StoreError::Kind::invalidResource);
    EXPECT_EQ(store->thumbnail("A/L0/001", 0).error().kind, StoreError::Kind::invalidResource);
    EXPECT_EQ(store->thumbnail("B/L0/001", 64).error().kind, StoreError::Kind::unknownAsset);
  }
  const int before = made;
  EXPECT_TRUE(openLibrary(folder(), options)->thumbnail("A/L0/001", 64));
  EXPECT_EQ(made, before);
}

TEST_F(LibraryStoreTest, OnlyTheOwnerMayReadTheLibraryWhateverTheUmask) {
  LibraryStore::Options options = testOptions();
  options.makeThumbnail = [](const Data& original, int) { return original; };
  const mode_t before = umask(0477);
  const auto store = openLibrary(folder(), options);
  const auto added = store->add({testPicture("a", "A/L0/001")});
  const auto thumbnail = store->thumbnail("A/L0/001", 64);
  umask(before);
  ASSERT_TRUE(added);
  ASSERT_TRUE(thumbnail);
  int entries = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder())) {
    ++entries;
    const auto mode = entry.is_directory() ? fs::perms::owner_all
                                           : fs::perms::owner_read | fs::perms::owner_write;
    EXPECT_EQ(entry.status().permissions(), mode) << entry.path();
  }
  EXPECT_GE(entries, 5);
}

TEST_F(LibraryStoreTest, OpeningRemovesFilesWithoutAnAsset) {
  ASSERT_TRUE(openLibrary(folder())->add({testPicture("a", "A/L0/001")}));
  // Names with the numbers of processes that live say nothing.
  const std::string living = ".part-" + std::to_string(getpid()) + "-1-3.jpg";
  for (const std::string& name : {std::string("1.png"), std::string("2.jpg"), living}) {
    writeText(originals() / name, "");
  }
  for (const std::string& name : {std::string("1-64.jpg"), std::string("2-64.jpg"),
                                  std::string("1.jpg"), std::string(".part-1-2-1-64.jpg")}) {
    writeText(thumbnails() / name, "");
  }
  openLibrary(folder());
  EXPECT_THAT(namesIn(originals()), ElementsAre("1.jpg"));
  EXPECT_THAT(namesIn(thumbnails()), ElementsAre("1-64.jpg"));
}

TEST_F(LibraryStoreTest, OpeningDuringAnothersChangeLeavesItsFilesAlone) {
  using Stage = LibraryStore::Stage;
  for (const Stage opening : {Stage::fileWritten, Stage::fileRenamed}) {
    LibraryStore::Options options = testOptions();
    int openings = 0;
    options.onStage = [&](Stage stage) {
      if (stage != opening) return;
      const auto entries = [this] {
        return std::distance(fs::recursive_directory_iterator(folder()), {});
      };
      const auto before = entries();
      openLibrary(folder());
      EXPECT_EQ(entries(), before);
      ++openings;
    };
    const auto store = openLibrary(folder(), options);
    ASSERT_TRUE(store->add({testPicture("a", "A/L0/001")}));
    EXPECT_EQ(openings, 1);
    EXPECT_TRUE(store->readOriginal("A/L0/001"));
    ASSERT_TRUE(store->clear());
  }
}

TEST_F(LibraryStoreTest, ThreadsAddAndReadTogether) {
  const auto store = openLibrary(folder());
  constexpr int threadCount = 4;
  constexpr int changesEach = 8;
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < threadCount; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < changesEach; ++i) {
        const std::string name = std::to_string(thread) + "-" + std::to_string(i);
        const auto added = store->add({testPicture(name), testPicture(name + "+")});
        if (!added || !store->list() || !store->readOriginal(added->front().identifier)) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);

  const auto records = store->list();
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), std::size_t{2 * threadCount * changesEach});
  // The two assets of a change stand side by side, each with its own bytes.
  for (std::size_t i = 0; i < records->size(); i += 2) {
    const auto first = store->readOriginal((*records)[i].identifier);
    const auto second = store->readOriginal((*records)[i + 1].identifier);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(textOf(*second), textOf(*first) + "+");
  }
}

TEST_F(LibraryStoreTest, NewerLibraryIsRefusedUntouched) {
  ASSERT_TRUE(openLibrary(folder())->add({testPicture("a")}));
  ASSERT_EQ(runSql("PRAGMA user_version = 7"), SQLITE_OK);
  writeText(originals() / "2.jpg", "of the newer version");
  EXPECT_THAT(openingError(),
              HasSubstr("made by a newer version of this program (its schema is 7, this program "
                        "knows 1)"));
  EXPECT_THAT(namesIn(originals()), ElementsAre("1.jpg", "2.jpg"));
}

TEST_F(LibraryStoreTest, BrokenDatabaseIsRefusedAndItsOriginalsStay) {
  ASSERT_TRUE(openLibrary(folder())->add({testPicture("a")}));
  const fs::path database = folder() / "library.sqlite";
  const auto size = fs::file_size(database);
  const struct {
    const char* what;
    std::function<void()> damage;
    const char* words;
  } cases[] = {
      {"no database", [&] { writeText(database, "This is no database at all."); },
       "file is not a database"},
      {"cut short", [&] { fs::resize_file(database, size / 2); }, "malformed"},
      {"partly overwritten",
       [&] {
         // The first page, of 4096 bytes, stays.
         std::fstream pages(database, std::ios::in | std::ios::out | std::ios::binary);
         pages.seekp(4096) << std::string(size - 4096, 'x');
       },
       "its database is damaged"},
      {"emptied", [&] { fs::resize_file(database, 0); }, "database is missing or empty"},
      {"deleted", [&] { fs::remove(database); }, "database is missing or empty"},
      {"a folder",
       [&] {
         fs::remove(database);
         fs::create_directory(database);
       },
       "unable to open"},
  };
  const fs::path whole = folder() / "whole";
  fs::copy_file(database, whole);
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    each.damage();
    const std::string error = openingError();
    EXPECT_THAT(error, testing::StartsWith("The photo library at " + folder().string()));
    EXPECT_THAT(error, HasSubstr(each.words));
    EXPECT_THAT(namesIn(originals()), ElementsAre("1.jpg"));
    fs::remove_all(database);
    fs::copy_file(whole, database);
  }
  EXPECT_EQ(identifiersIn(*openLibrary(folder())).size(), 1u);
}

TEST_F(LibraryStoreTest, PlaceThatHoldsSomethingElseIsRefused) {
  file("library", "a file where the folder should be");
  EXPECT_THAT(openingError(), HasSubstr("cannot be opened: "));
  fs::remove(folder());

  fs::create_directory(folder());
  ASSERT_EQ(runSql("CREATE TABLE shopping (item TEXT)"), SQLITE_OK);
  EXPECT_THAT(openingError(), HasSubstr("not a photo library's database"));
}

}  // namespace
}  // namespace vecamera::device::photos
