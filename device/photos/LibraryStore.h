#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/Photos.h"
#include "VECamera/platform/Value.h"
#include "device/photos/AssetRecord.h"
#include "device/photos/StoreError.h"

namespace vecamera::device::photos {

class AssetTable;

/// The bytes, or the file that holds them; it is copied and stays.
using AssetContent = std::variant<Data, std::filesystem::path>;

struct NewAsset {
  /// Where there is none, the library gives the asset a new one.
  std::optional<std::string> identifier;
  PHAssetResourceType type = PHAssetResourceType::photo;
  AssetContent content;
  Date created;
};

struct FileToImport {
  std::filesystem::path path;
  /// As in `NewAsset`.
  std::optional<std::string> identifier;
  /// The bytes of the picture in the file, where they have been read; it is not opened then.
  std::optional<Data> picture{};
};

struct ImportReport {
  std::vector<AssetRecord> imported;
  /// One for each file that was not imported, in the order of the files.
  std::vector<StoreError> refused;
};

/// The photo library on disk: a folder with `library.sqlite`, the assets' files under `originals/`
/// and the cache `thumbnails/`, readable by their owner only. What an operation reports as done
/// survives the end of the process and a loss of power; what it did not report is there as a whole
/// or not at all. Several processes may have one library open.
///
/// Every operation may be called on any thread. One mutex guards the one database connection; it is
/// not held while files are written, read, probed or made smaller.
class LibraryStore {
 public:
  /// The steps of a change, in their order.
  enum class Stage {
    /// For each asset: its file is written, in a hidden folder in `originals/`.
    fileWritten,
    changeBegun,
    /// For each asset: its file has its own name.
    fileRenamed,
    folderSynced,
    changeCommitted,
    /// The change failed and is not rolled back yet; its files are removed.
    filesRemoved,
    /// Assets are no longer listed; their files still stand.
    rowsRemoved,
  };

  /// All functions may be called on any thread, `identifiers` by one at a time.
  struct Options {
    /// `invalidResource` where the bytes are no picture that the library takes, and another error
    /// where that cannot be known. Without the function, none is.
    std::function<StoreResult<AssetFormat>(const Data&)> probePicture;
    std::function<StoreResult<AssetFormat>(const AssetContent&)> probeMovie;
    /// A JPEG of the original, upright, whose longer side is at most `maxSide` pixels;
    /// `invalidResource` where the original has none to show. Of a movie, it is a JPEG of one of
    /// its first pictures.
    std::function<StoreResult<Data>(const Data& original, int maxSide)> makeThumbnail;
    std::function<StoreResult<Data>(const std::filesystem::path& original, int maxSide)> makePoster;
    /// What it takes, as its messages name it: "JPEG, PNG", "MP4, QuickTime".
    std::string pictureFormats;
    std::string movieFormats;
    /// Gives new UUIDs; the library appends "/L0/001". Without the function they are random.
    std::function<std::string()> identifiers;
    /// Called at each step, mostly with the library held: it must not call the library. For tests.
    std::function<void(Stage)> onStage;
  };

  /// Opens the library, or makes it where the folder holds none, and removes the files that an
  /// interrupted change left behind. A library of a newer version, a damaged database and originals
  /// whose database is gone are refused, and none of their files is removed.
  static StoreResult<std::unique_ptr<LibraryStore>> open(const std::filesystem::path& folder,
                                                         Options options);
  ~LibraryStore();
  LibraryStore(const LibraryStore&) = delete;
  LibraryStore& operator=(const LibraryStore&) = delete;

  /// An identifier that no asset has, for one that is to be added.
  std::string newIdentifier();

  /// Adds all or none; gives their records in the order of the assets.
  StoreResult<std::vector<AssetRecord>> add(const std::vector<NewAsset>& assets);
  StoreResult<AssetRecord> importFile(const FileToImport& file, Date created);
  /// Imports each file that can be; a refused one does not keep the others out. `onProgress` is
  /// called after each file.
  ImportReport importFiles(
      const std::vector<FileToImport>& files, Date created,
      const std::function<void(std::size_t done, std::size_t total)>& onProgress);

  /// In the order of creation.
  StoreResult<std::vector<AssetRecord>> list();
  StoreResult<AssetRecord> fetchByIdentifier(std::string_view identifier);
  /// The asset behind an address of the form "assets-library://asset/asset.EXT?id=UUID&ext=EXT",
  /// in which a whole identifier may stand for the UUID. Extensions are not compared. Of several
  /// assets with the same UUID the oldest is given.
  StoreResult<AssetRecord> fetchByAddress(std::string_view address);
  StoreResult<Data> readOriginal(std::string_view identifier);
  /// The file that holds the asset's bytes, to be read only.
  StoreResult<std::filesystem::path> originalFile(std::string_view identifier);
  /// From the cache, or made now.
  StoreResult<Data> thumbnail(std::string_view identifier, int maxSide);

  StoreResult<void> remove(std::string_view identifier);
  /// Removes every asset.
  StoreResult<void> clear();

 private:
  LibraryStore(std::filesystem::path folder, Options options);

  StoreResult<void> prepare();
  StoreResult<void> prepareTable();
  void removeAbandonedFiles();

  StoreResult<AssetRecord> describe(const NewAsset& asset) const;
  /// Writes the asset's bytes to the file.
  StoreResult<AssetRecord> stage(const NewAsset& asset, const std::filesystem::path& file);
  /// Within a change: adds the rows, and moves the files into their places. Their names in the
  /// folder are the positions of the records.
  StoreResult<void> insert(std::vector<AssetRecord>& records, const std::filesystem::path& folder);
  /// Those that are there.
  void removeOriginals(const std::vector<AssetRecord>& records) const;
  StoreResult<void> removeAssets(std::optional<std::string_view> identifier);
  StoreResult<Data> readOriginal(const AssetRecord& record) const;
  StoreResult<Data> makeThumbnail(const AssetRecord& record, int maxSide) const;
  void reach(Stage stage) const;
  std::filesystem::path originalFile(const AssetRecord& record) const;

  const std::filesystem::path folder_;
  const std::filesystem::path originals_;
  const std::filesystem::path thumbnails_;
  const Options options_;
  std::mutex mutex_;
  // Guarded by the mutex.
  const std::unique_ptr<AssetTable> table_;
};

}  // namespace vecamera::device::photos
