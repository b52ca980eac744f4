#include "device/photos/LibraryStore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <system_error>

#include "device/foundation/files/Folders.h"
#include "device/foundation/files/PartialFile.h"
#include "device/foundation/files/TemporaryFolder.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/photos/AssetAddress.h"
#include "device/photos/AssetTable.h"
#include "device/photos/RandomIdentifiers.h"

namespace vecamera::device::photos {

namespace fs = std::filesystem;
using foundation::FileError;
using foundation::FileResult;

namespace {

/// Begins the names of the folders in which changes write their files. They stand among the
/// originals, which may be on a disk of their own: a file is moved to its place within one disk.
constexpr std::string_view changePrefix = ".change-";
constexpr std::string_view databaseName = "library.sqlite";

std::string originalName(const AssetRecord& record) {
  return std::to_string(record.sequence) + "." + record.fileExtension;
}

std::string thumbnailName(const AssetRecord& record, int maxSide) {
  return std::to_string(record.sequence) + "-" + std::to_string(maxSide) + ".jpg";
}

/// The asset that a thumbnail was made of, or nothing for another file.
std::optional<std::int64_t> sequenceInThumbnailName(const std::string& name) {
  std::int64_t sequence = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), sequence);
  if (error != std::errc() || !std::string_view(end).starts_with('-')) return std::nullopt;
  return sequence;
}

FileResult<std::vector<std::string>> namesIn(const fs::path& path) {
  const auto folder = foundation::openFolderAt(AT_FDCWD, path, foundation::LastLink::follow);
  return folder ? foundation::entryNames(*folder) : folder.failure();
}

FileResult<Data> dataOf(const AssetContent& content) {
  if (const auto* data = std::get_if<Data>(&content)) return *data;
  return foundation::readFile(std::get<fs::path>(content));
}

/// Makes the file with the content, whose bytes then survive a loss of power; its name may not.
FileResult<void> write(const AssetContent& content, const fs::path& path) {
  const auto file = foundation::openAt(AT_FDCWD, path, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!file) return file.failure();
  // Whatever the process or the folder takes from a new file's mode.
  if (fchmod(file->number(), 0600) != 0) return foundation::fileFailure();
  FileResult<void> written;
  if (const auto* data = std::get_if<Data>(&content)) {
    written = foundation::writeAll(*file, std::as_bytes(data->bytes()));
  } else {
    const auto source = foundation::openFileForReading(std::get<fs::path>(content));
    if (!source) return source.failure();
    written = foundation::copyAll(source->descriptor, *file);
  }
  return written ? foundation::synchronize(*file) : written;
}

Failure<StoreError> invalidResource(const std::string& name, std::string_view kind,
                                    std::string_view formats) {
  return storeFailure(StoreError::Kind::invalidResource, name + " is no " + std::string(kind) +
                                                             " that the library takes (" +
                                                             std::string(formats) + ")");
}

Failure<StoreError> writeFailure(const std::string& reason) {
  return storeFailure(StoreError::Kind::storage, "The original cannot be written: " + reason);
}

Failure<StoreError> readFailure(const fs::path& file, const FileError& error) {
  return storeFailure(StoreError::Kind::unreadable,
                      file.filename().string() + " cannot be read: " + error.message);
}

Failure<StoreError> storageFailure(const FileError& error) {
  return storeFailure(StoreError::Kind::storage, error.message);
}

/// Makes the database's file where there is none. An existing one is not even opened, and a new one
/// is closed before SQLite opens it: closing it later would drop the locks that SQLite holds on it
/// in this process.
FileResult<void> makeDatabase(const foundation::Descriptor& folder) {
  const auto file =
      foundation::openAt(folder.number(), databaseName, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!file && file.error().code != EEXIST) return file.failure();
  // Whatever the process takes from a new file's mode. SQLite gives its other files the same.
  if (file && fchmod(file->number(), 0600) != 0) return foundation::fileFailure();
  return {};
}

/// The resource of a path that names no file, or one that may not be read, is none.
Failure<StoreError> resourceFailure(const FileError& error) {
  constexpr int codes[] = {ENOENT, ENOTDIR, ENAMETOOLONG, ELOOP, EISDIR,
                           EINVAL, EACCES,  ENXIO,        ENODEV};
  const bool isNone = std::ranges::find(codes, error.code) != std::end(codes);
  return storeFailure(isNone ? StoreError::Kind::invalidResource : StoreError::Kind::unreadable,
                      error.message);
}

}  // namespace

// Opening

LibraryStore::LibraryStore(fs::path folder, Options options)
    : folder_(std::move(folder)),
      originals_(folder_ / "originals"),
      thumbnails_(folder_ / "thumbnails"),
      options_(std::move(options)),
      table_(std::make_unique<AssetTable>()) {}

LibraryStore::~LibraryStore() = default;

StoreResult<std::unique_ptr<LibraryStore>> LibraryStore::open(const fs::path& folder,
                                                              Options options) {
  std::error_code error;
  // Later changes of the working directory must not move the library.
  const fs::path place = (fs::absolute(folder, error) / "").lexically_normal().parent_path();
  if (!options.identifiers) options.identifiers = RandomIdentifiers();

  std::unique_ptr<LibraryStore> store(new LibraryStore(place, std::move(options)));
  const StoreResult<void> prepared =
      error ? storeFailure(StoreError::Kind::storage, error.message()) : store->prepare();
  if (prepared) return store;
  return storeFailure(
      StoreError::Kind::storage,
      "The photo library at " + folder.string() + " cannot be opened: " + prepared.error().message);
}

StoreResult<void> LibraryStore::prepare() {
  if (auto made = foundation::makePrivateFolder(folder_); !made)
    return storageFailure(made.error());
  // Two processes must not make or migrate the database at once.
  const auto held = foundation::openFolderAt(AT_FDCWD, folder_, foundation::LastLink::follow);
  if (!held) return storageFailure(held.error());
  if (auto locked = foundation::lock(*held, foundation::IfLocked::wait); !locked)
    return storageFailure(locked.error());
  if (auto made = makeDatabase(*held); !made) return storageFailure(made.error());
  for (const fs::path& inner : {originals_, thumbnails_}) {
    if (auto made = foundation::makePrivateFolder(inner); !made)
      return storageFailure(made.error());
  }
  if (auto prepared = prepareTable(); !prepared) return prepared;
  removeAbandonedFiles();
  return {};
}

StoreResult<void> LibraryStore::prepareTable() {
  if (auto opened = table_->open(folder_ / databaseName); !opened) return opened;
  if (table_->isNew()) {
    const auto names = namesIn(originals_);
    if (!names) return storageFailure(names.error());
    // To go on would take the pictures for left-overs, and remove them.
    if (!std::all_of(names->begin(), names->end(),
                     [](const std::string& name) { return name.starts_with(changePrefix); }))
      return storeFailure(StoreError::Kind::storage,
                          "there are originals, but their database is missing or empty");
  }
  return table_->migrate();
}

void LibraryStore::removeAbandonedFiles() {
  foundation::TemporaryFolder::removeAbandoned(originals_, changePrefix);
  // Originals without a row exist while a change holds the write lock, too. Where somebody holds
  // it, they are left to a later opening.
  const auto guard = table_->begin(foundation::IfLocked::fail);
  if (!guard) return;
  const auto records = table_->list();
  if (!records) return;
  std::set<std::string> originals;
  std::set<std::int64_t> sequences;
  for (const AssetRecord& record : *records) {
    originals.insert(originalName(record));
    sequences.insert(record.sequence);
  }
  foundation::removeAbandoned(originals_, [&](const std::string& name) {
    return !originals.contains(name) && !name.starts_with(changePrefix);
  });
  foundation::removeAbandoned(thumbnails_, [&](const std::string& name) {
    const auto sequence = sequenceInThumbnailName(name);
    return !sequence || !sequences.contains(*sequence);
  });
}

// Adding

std::string LibraryStore::newIdentifier() {
  const std::lock_guard lock(mutex_);
  std::string previous;
  while (true) {
    std::string uuid = options_.identifiers();
    // A seeded source gives the same sequence again for a library that was used before. One that
    // repeats itself at once has no other to give; adding the asset will report it.
    if (!table_->findByIdentifierOrUuid(uuid) || uuid == previous) return uuid + "/L0/001";
    previous = std::move(uuid);
  }
}

StoreResult<AssetRecord> LibraryStore::describe(const NewAsset& asset) const {
  StoreResult<AssetFormat> format = storeFailure(StoreError::Kind::invalidResource, {});
  if (asset.type == PHAssetResourceType::video) {
    if (options_.probeMovie) format = options_.probeMovie(asset.content);
  } else if (options_.probePicture) {
    const auto data = dataOf(asset.content);
    if (!data) return resourceFailure(data.error());
    format = options_.probePicture(*data);
  }
  if (!format) return format.failure();
  AssetRecord record;
  static_cast<AssetFormat&>(record) = *std::move(format);
  record.identifier = asset.identifier.value_or("");
  record.type = asset.type;
  record.created = asset.created;
  return record;
}

StoreResult<std::vector<AssetRecord>> LibraryStore::add(const std::vector<NewAsset>& assets) {
  std::vector<AssetRecord> records;
  if (assets.empty()) return records;
  // One lock for all files of the change, because each lock takes a descriptor.
  const auto folder = foundation::TemporaryFolder::create(originals_, changePrefix);
  if (!folder) return writeFailure(folder.error().message);
  // Copying a movie takes its time, so that the library is not held meanwhile.
  for (const NewAsset& asset : assets) {
    auto record = stage(asset, folder->path() / std::to_string(records.size()));
    if (!record) return std::move(record).failure();
    records.push_back(*std::move(record));
  }
  const std::lock_guard lock(mutex_);
  auto change = table_->begin();
  if (!change) return change.failure();
  reach(Stage::changeBegun);
  // Before the change is rolled back: after it, others may give their files the same names.
  const auto undo = [&] {
    removeOriginals(records);
    reach(Stage::filesRemoved);
  };
  StoreResult<void> inserted;
  try {
    inserted = insert(records, folder->path());
  } catch (...) {
    undo();
    throw;
  }
  if (!inserted) {
    undo();
    return inserted.failure();
  }
  // From here on the files stay: where committing fails half-way, the change may still turn out to
  // be there at the next opening, which removes the files if it is not.
  if (auto committed = table_->commit(*change); !committed) return committed.failure();
  reach(Stage::changeCommitted);
  return records;
}

StoreResult<void> LibraryStore::insert(std::vector<AssetRecord>& records, const fs::path& folder) {
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (auto inserted = table_->insert(records[i]); !inserted) return inserted;
    std::error_code error;
    fs::rename(folder / std::to_string(i), originalFile(records[i]), error);
    if (error) return writeFailure(error.message());
    reach(Stage::fileRenamed);
  }
  if (auto synchronized = foundation::synchronizeFolder(originals_); !synchronized)
    return writeFailure(synchronized.error().message);
  reach(Stage::folderSynced);
  return {};
}

StoreResult<AssetRecord> LibraryStore::stage(const NewAsset& asset, const fs::path& file) {
  const bool isPhoto = asset.type == PHAssetResourceType::photo;
  const auto refused = [this, isPhoto](const StoreError& error) {
    if (error.kind != StoreError::Kind::invalidResource)
      return storeFailure(error.kind, "The resource cannot be read: " + error.message);
    return isPhoto ? invalidResource("The resource", "picture", options_.pictureFormats)
                   : invalidResource("The resource", "movie", options_.movieFormats);
  };
  const auto* source = std::get_if<fs::path>(&asset.content);
  if (source) {
    if (const auto opened = foundation::openFileForReading(*source); !opened)
      return refused(resourceFailure(opened.error()).error);
  } else if (const auto described = describe(asset); !described) {
    return refused(described.error());
  }
  if (auto written = write(asset.content, file); !written)
    return writeFailure(written.error().message);
  reach(Stage::fileWritten);
  // A file is looked at as it was copied.
  auto copied = asset;
  if (source) copied.content = file;
  auto record = describe(copied);
  if (!record) return refused(record.error());
  std::error_code error;
  record->byteCount = fs::file_size(file, error);
  if (error) return writeFailure(error.message());
  if (!asset.identifier) record->identifier = newIdentifier();
  return *std::move(record);
}

StoreResult<AssetRecord> LibraryStore::importFile(const FileToImport& file, Date created) {
  if (!file.picture) {
    if (const auto opened = foundation::openFileForReading(file.path); !opened)
      return readFailure(file.path, opened.error());
  }
  // The first bytes show whether it is a movie; a picture is read whole.
  NewAsset asset{file.identifier, PHAssetResourceType::video, file.path, created};
  auto described =
      file.picture ? storeFailure(StoreError::Kind::invalidResource, {}) : describe(asset);
  if (!described) {
    auto read = file.picture ? FileResult<Data>(*file.picture) : foundation::readFile(file.path);
    if (!read) return readFailure(file.path, read.error());
    asset.type = PHAssetResourceType::photo;
    asset.content = *std::move(read);
    auto picture = describe(asset);
    // What is no picture may still be a movie that could not be read.
    if (picture || described.error().kind == StoreError::Kind::invalidResource)
      described = std::move(picture);
  }
  const std::string name = file.path.filename().string();
  if (!described && described.error().kind != StoreError::Kind::invalidResource)
    return storeFailure(described.error().kind,
                        name + " cannot be read: " + described.error().message);
  if (!described && !options_.probeMovie)
    return invalidResource(name, "picture", options_.pictureFormats);
  if (!described) {
    return invalidResource(name, "picture or movie",
                           options_.pictureFormats + ", " + options_.movieFormats);
  }
  auto added = add({asset});
  if (!added) return storeFailure(added.error().kind, name + ": " + added.error().message);
  return std::move(added->front());
}

ImportReport LibraryStore::importFiles(
    const std::vector<FileToImport>& files, Date created,
    const std::function<void(std::size_t done, std::size_t total)>& onProgress) {
  ImportReport report;
  for (std::size_t i = 0; i < files.size(); ++i) {
    auto record = importFile(files[i], created);
    if (record) {
      report.imported.push_back(*std::move(record));
    } else {
      report.refused.push_back(std::move(record).error());
    }
    if (onProgress) onProgress(i + 1, files.size());
  }
  return report;
}

// Reading

StoreResult<std::vector<AssetRecord>> LibraryStore::list() {
  const std::lock_guard lock(mutex_);
  return table_->list();
}

StoreResult<AssetRecord> LibraryStore::fetchByIdentifier(std::string_view identifier) {
  const std::lock_guard lock(mutex_);
  return table_->findByIdentifier(identifier);
}

StoreResult<AssetRecord> LibraryStore::fetchByAddress(std::string_view address) {
  const auto wanted = identifierInAssetAddress(address);
  if (!wanted) {
    return storeFailure(StoreError::Kind::unknownAsset,
                        "\"" + std::string(address) + "\" is not the address of an asset");
  }
  const std::lock_guard lock(mutex_);
  return table_->findByIdentifierOrUuid(*wanted);
}

StoreResult<Data> LibraryStore::readOriginal(std::string_view identifier) {
  const auto record = fetchByIdentifier(identifier);
  if (!record) return record.failure();
  return readOriginal(*record);
}

StoreResult<Data> LibraryStore::readOriginal(const AssetRecord& record) const {
  auto read = foundation::readFile(originalFile(record));
  if (read && read->size() == record.byteCount) return *std::move(read);
  const std::string reason = read ? "it has " + std::to_string(read->size()) +
                                        " bytes instead of " + std::to_string(record.byteCount)
                                  : read.error().message;
  return storeFailure(StoreError::Kind::unreadable,
                      "The original of \"" + record.identifier + "\" cannot be read: " + reason);
}

StoreResult<fs::path> LibraryStore::originalFile(std::string_view identifier) {
  const auto record = fetchByIdentifier(identifier);
  if (!record) return record.failure();
  return originalFile(*record);
}

StoreResult<Data> LibraryStore::makeThumbnail(const AssetRecord& record, int maxSide) const {
  StoreResult<Data> made = storeFailure(StoreError::Kind::invalidResource, {});
  if (maxSide > 0 && record.type == PHAssetResourceType::video) {
    if (options_.makePoster) made = options_.makePoster(originalFile(record), maxSide);
  } else if (maxSide > 0 && options_.makeThumbnail) {
    const auto original = readOriginal(record);
    if (!original) return original.failure();
    made = options_.makeThumbnail(*original, maxSide);
  }
  if (made) return made;
  std::string text = "No thumbnail can be made of \"" + record.identifier + "\"";
  const StoreError& error = made.error();
  if (error.kind != StoreError::Kind::invalidResource) text += ": " + error.message;
  return storeFailure(error.kind, std::move(text));
}

StoreResult<Data> LibraryStore::thumbnail(std::string_view identifier, int maxSide) {
  const auto record = fetchByIdentifier(identifier);
  if (!record) return record.failure();
  const fs::path file = thumbnails_ / thumbnailName(*record, maxSide);
  if (auto cached = foundation::readFile(file)) return *std::move(cached);
  auto made = makeThumbnail(*record, maxSide);
  // A thumbnail that cannot be kept is made again the next time.
  if (made) static_cast<void>(foundation::replaceFile(file, *made));
  return made;
}

// Removing

StoreResult<void> LibraryStore::remove(std::string_view identifier) {
  return removeAssets(identifier);
}

StoreResult<void> LibraryStore::clear() {
  return removeAssets(std::nullopt);
}

StoreResult<void> LibraryStore::removeAssets(std::optional<std::string_view> identifier) {
  const std::lock_guard lock(mutex_);
  std::vector<AssetRecord> removed;
  {
    auto change = table_->begin();
    if (!change) return change.failure();
    auto records = table_->remove(identifier);
    if (!records) return records.failure();
    if (auto committed = table_->commit(*change); !committed) return committed;
    removed = *std::move(records);
  }
  reach(Stage::rowsRemoved);

  // Files that stay behind here are removed at the next opening.
  removeOriginals(removed);
  std::set<std::int64_t> sequences;
  for (const AssetRecord& record : removed) sequences.insert(record.sequence);
  // Nobody writes under these names: a thumbnail that is being made has another one.
  const auto names = namesIn(thumbnails_);
  if (!names) return {};
  for (const std::string& name : *names) {
    const auto sequence = sequenceInThumbnailName(name);
    std::error_code ignored;
    if (sequence && sequences.contains(*sequence)) fs::remove(thumbnails_ / name, ignored);
  }
  return {};
}

void LibraryStore::removeOriginals(const std::vector<AssetRecord>& records) const {
  std::error_code ignored;
  for (const AssetRecord& record : records) fs::remove(originalFile(record), ignored);
}

void LibraryStore::reach(Stage stage) const {
  if (options_.onStage) options_.onStage(stage);
}

fs::path LibraryStore::originalFile(const AssetRecord& record) const {
  return originals_ / originalName(record);
}

}  // namespace vecamera::device::photos
