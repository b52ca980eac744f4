#include "device/photos/LibraryStore.h"

#include <array>
#include <charconv>
#include <set>
#include <system_error>

#include "device/photos/AssetAddress.h"
#include "device/photos/Database.h"
#include "device/photos/PrivateFiles.h"
#include "device/photos/RandomIdentifiers.h"

namespace vecamera::device::photos {

namespace fs = std::filesystem;

namespace {

constexpr int kBusyTimeoutMs = 10'000;
// Marks a database as one of ours ("VECP").
constexpr std::int64_t kApplicationId = 0x56454350;

// Step N leads from schema version N to N + 1. A step that has been released is never changed.
constexpr std::array kMigrations = {
    R"(CREATE TABLE asset (
         sequence INTEGER PRIMARY KEY AUTOINCREMENT,
         identifier TEXT NOT NULL UNIQUE,
         uuid TEXT NOT NULL
           GENERATED ALWAYS AS (substr(identifier, 1, instr(identifier || '/', '/') - 1)) VIRTUAL,
         type INTEGER NOT NULL CHECK (type IN (1, 2)),
         uti TEXT NOT NULL,
         extension TEXT NOT NULL,
         byteCount INTEGER NOT NULL,
         width INTEGER NOT NULL,
         height INTEGER NOT NULL,
         orientation INTEGER NOT NULL CHECK (orientation BETWEEN 1 AND 8),
         createdMicroseconds INTEGER NOT NULL,
         durationSeconds REAL
       ) STRICT;
       CREATE INDEX assetByUuid ON asset (uuid);)",
};
constexpr std::int64_t kSchemaVersion = kMigrations.size();

constexpr std::string_view kColumns =
    "sequence, identifier, type, uti, extension, byteCount, width, height, orientation, "
    "createdMicroseconds, durationSeconds";

std::string selectAssets(std::string_view rest) {
  return "SELECT " + std::string(kColumns) + " FROM asset " + std::string(rest);
}

/// Reads a row of `kColumns`.
AssetRecord recordOf(const Statement& row) {
  AssetRecord record;
  record.sequence = row.integer(0);
  record.identifier = row.text(1);
  record.type = static_cast<PHAssetResourceType>(row.integer(2));
  record.uti = row.text(3);
  record.extension = row.text(4);
  record.byteCount = static_cast<std::uint64_t>(row.integer(5));
  record.width = static_cast<int>(row.integer(6));
  record.height = static_cast<int>(row.integer(7));
  record.orientation = static_cast<CGImagePropertyOrientation>(row.integer(8));
  record.created = Date(std::chrono::microseconds(row.integer(9)));
  if (!row.isNull(10)) record.durationSeconds = row.real(10);
  return record;
}

std::string originalName(const AssetRecord& record) {
  return std::to_string(record.sequence) + "." + record.extension;
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

/// Removes the folder's files that the condition holds for. Removing is housekeeping: what cannot
/// be removed now is met again the next time.
void removeFiles(const fs::path& folder, const std::function<bool(const std::string&)>& condition) {
  std::vector<fs::path> found;
  std::error_code error;
  for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    std::error_code unknown;
    if (at->is_regular_file(unknown) && condition(at->path().filename().string())) {
      found.push_back(at->path());
    }
  }
  for (const fs::path& file : found) fs::remove(file, error);
}

std::optional<std::int64_t> singleNumber(Database& database, const char* sql) {
  Statement statement(database, sql);
  if (!statement.next()) return std::nullopt;
  return statement.integer(0);
}

std::optional<Data> dataOf(const AssetContent& content) {
  if (const auto* data = std::get_if<Data>(&content)) return *data;
  auto read = readFile(std::get<fs::path>(content));
  auto* data = std::get_if<Data>(&read);
  return data ? std::optional(std::move(*data)) : std::nullopt;
}

/// Nothing on success.
std::optional<std::string> write(const AssetContent& content, const fs::path& file) {
  if (const auto* data = std::get_if<Data>(&content)) return writePrivateFile(file, *data);
  return copyToPrivateFile(std::get<fs::path>(content), file);
}

constexpr std::string_view kPictureFormats = "JPEG, PNG, HEIC, WebP";
constexpr std::string_view kMovieFormats = "MP4, QuickTime, WebM";

StoreError invalidResource(const std::string& name, std::string_view kind,
                           std::string_view formats) {
  return {StoreError::Kind::invalidResource, name + " is no " + std::string(kind) +
                                                 " that the library takes (" +
                                                 std::string(formats) + ")"};
}

StoreError writeError(const std::string& why) {
  return {StoreError::Kind::storage, "The original cannot be written: " + why};
}

StoreError unknownAsset(std::string_view identifier) {
  return {StoreError::Kind::unknownAsset,
          "The library holds no asset \"" + std::string(identifier) + "\""};
}

}  // namespace

std::string formatName(const AssetRecord& record) {
  return record.extension == "jpg" ? "jpeg" : record.extension;
}

// Opening

LibraryStore::LibraryStore(fs::path folder, Parts parts)
    : folder_(std::move(folder)),
      originals_(folder_ / "originals"),
      thumbnails_(folder_ / "thumbnails"),
      parts_(std::move(parts)),
      database_(std::make_unique<Database>()) {}

LibraryStore::~LibraryStore() = default;

StoreOutcome<std::unique_ptr<LibraryStore>> LibraryStore::open(const fs::path& folder,
                                                               Parts parts) {
  std::error_code error;
  // Later changes of the working directory must not move the library.
  const fs::path place = (fs::absolute(folder, error) / "").lexically_normal().parent_path();
  if (!parts.identifiers) parts.identifiers = RandomIdentifiers();

  std::unique_ptr<LibraryStore> store(new LibraryStore(place, std::move(parts)));
  const std::optional<std::string> why = error ? error.message() : store->prepare();
  if (why) {
    return StoreError{StoreError::Kind::storage,
                      "The photo library at " + folder.string() + " cannot be opened: " + *why};
  }
  return store;
}

std::optional<std::string> LibraryStore::prepare() {
  if (auto error = makePrivateFolder(folder_)) return error;
  // Two processes must not make or migrate the database at once.
  const FolderLock lock(folder_);
  if (lock.error()) return lock.error();
  if (auto error = makePrivateFile(folder_ / "library.sqlite")) return error;
  if (auto error = makePrivateFolder(originals_)) return error;
  if (auto error = makePrivateFolder(thumbnails_)) return error;
  if (auto error = prepareDatabase()) return error;
  sweep();
  return std::nullopt;
}

std::optional<std::string> LibraryStore::prepareDatabase() {
  if (!database_->open(folder_ / "library.sqlite")) return database_->lastError();
  database_->setBusyTimeout(kBusyTimeoutMs);
  // Nothing is written before the database is known to be one of ours.
  if (auto error = checkDatabase()) return error;
  if (!database_->execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
                          "PRAGMA foreign_keys = ON;")) {
    return database_->lastError();
  }
  return migrate();
}

std::optional<std::string> LibraryStore::checkDatabase() {
  const auto version = singleNumber(*database_, "PRAGMA user_version");
  if (!version) return database_->lastError();
  const auto applicationId = singleNumber(*database_, "PRAGMA application_id");
  if (!applicationId) return database_->lastError();
  const auto objects = singleNumber(*database_, "SELECT count(*) FROM sqlite_schema");
  if (!objects) return database_->lastError();

  const bool isNew = *version == 0 && *applicationId == 0 && *objects == 0;
  std::error_code error;
  if (isNew && !fs::is_empty(originals_, error)) {
    // To go on would take the pictures for left-overs, and remove them.
    return error ? error.message() : "there are originals, but their database is missing or empty";
  }
  if (!isNew && *applicationId != kApplicationId) {
    return "library.sqlite is not a photo library's database";
  }
  if (*version > kSchemaVersion) {
    return "it was made by a newer version of this program (its schema is " +
           std::to_string(*version) + ", this program knows " + std::to_string(kSchemaVersion) +
           ")";
  }
  Statement check(*database_, "PRAGMA quick_check(1)");
  if (!check.next()) return database_->lastError();
  const std::string found = check.text(0);
  if (found != "ok") return "its database is damaged (" + found + ")";
  return std::nullopt;
}

std::optional<std::string> LibraryStore::migrate() {
  // The folder is held, so that no other process migrates meanwhile. A library that is up to date
  // is not locked, because another process may be in a long change.
  const auto version = singleNumber(*database_, "PRAGMA user_version");
  if (!version) return database_->lastError();
  if (*version == kSchemaVersion) return std::nullopt;
  Transaction change(*database_);
  if (!change.begun()) return database_->lastError();
  for (std::int64_t step = *version; step < kSchemaVersion; ++step) {
    if (!database_->execute(kMigrations[static_cast<std::size_t>(step)])) {
      return database_->lastError();
    }
  }
  const std::string marks = "PRAGMA application_id = " + std::to_string(kApplicationId) +
                            "; PRAGMA user_version = " + std::to_string(kSchemaVersion);
  if (!database_->execute(marks.c_str()) || !change.commit()) return database_->lastError();
  return std::nullopt;
}

void LibraryStore::sweep() {
  // Files without a row exist while a change holds the write lock, too. Where somebody holds it,
  // sweeping is left to a later opening.
  database_->setBusyTimeout(0);
  const Transaction guard(*database_);
  database_->setBusyTimeout(kBusyTimeoutMs);
  if (!guard.begun()) return;

  const auto records = listLocked();
  if (!records) return;
  std::set<std::string> originals;
  std::set<std::int64_t> sequences;
  for (const AssetRecord& record : *records) {
    originals.insert(originalName(record));
    sequences.insert(record.sequence);
  }
  removeFiles(originals_, [&](const std::string& name) {
    return !originals.contains(name) && !isPartialInUse(name);
  });
  removeFiles(thumbnails_, [&](const std::string& name) {
    const auto sequence = sequenceInThumbnailName(name);
    return !sequence || !sequences.contains(*sequence);
  });
}

// Adding

/// Files of a change that is under way; removed again unless it is kept.
class LibraryStore::ChangeFiles {
 public:
  ChangeFiles() = default;
  ~ChangeFiles() {
    std::error_code ignored;
    for (const fs::path& file : files_) fs::remove(file, ignored);
  }
  ChangeFiles(const ChangeFiles&) = delete;
  ChangeFiles& operator=(const ChangeFiles&) = delete;

  void add(fs::path file) { files_.push_back(std::move(file)); }
  void keep() { files_.clear(); }

 private:
  std::vector<fs::path> files_;
};

std::string LibraryStore::drawIdentifier() {
  const std::lock_guard lock(mutex_);
  std::string previous;
  while (true) {
    std::string uuid = parts_.identifiers();
    // A seeded source gives the same row again for a library that has been used before. One that
    // repeats itself at once has no other to give; adding the asset will report it.
    if (!findLocked(uuid) || uuid == previous) return uuid + "/L0/001";
    previous = std::move(uuid);
  }
}

std::optional<AssetRecord> LibraryStore::describe(const NewAsset& asset) const {
  AssetRecord record;
  record.type = asset.type;
  record.created = asset.created;
  if (asset.identifier) record.identifier = *asset.identifier;

  const auto take = [&record](const auto& probed) {
    record.extension = probed.extension;
    record.uti = probed.uti;
    record.width = probed.width;
    record.height = probed.height;
  };
  if (asset.type == PHAssetResourceType::photo && parts_.probePicture) {
    const auto data = dataOf(asset.content);
    if (const auto probed = data ? parts_.probePicture(*data) : std::nullopt) {
      take(*probed);
      record.orientation = probed->orientation;
      return record;
    }
  }
  if (asset.type == PHAssetResourceType::video && parts_.probeMovie) {
    if (const auto probed = parts_.probeMovie(asset.content)) {
      take(*probed);
      record.durationSeconds = probed->durationSeconds;
      return record;
    }
  }
  return std::nullopt;
}

StoreOutcome<std::vector<AssetRecord>> LibraryStore::add(const std::vector<NewAsset>& assets) {
  // Copying a movie takes its time, so that the library is not held meanwhile.
  ChangeFiles files;
  std::vector<StagedAsset> staged;
  for (const NewAsset& asset : assets) {
    auto one = stage(asset, files);
    if (!one) return one.error();
    staged.push_back(*std::move(one));
  }
  std::vector<AssetRecord> records;
  if (staged.empty()) return records;
  const std::lock_guard lock(mutex_);
  Transaction change(*database_);
  if (!change.begun()) return storageError();
  reach(Stage::changeBegun);
  for (StagedAsset& each : staged) {
    if (auto error = insertLocked(each.record)) return *std::move(error);
    const fs::path file = originalFile(each.record);
    files.add(file);
    std::error_code error;
    fs::rename(each.file, file, error);
    if (error) return writeError(error.message());
    reach(Stage::fileRenamed);
    records.push_back(std::move(each.record));
  }
  if (const auto why = syncFolder(originals_)) return writeError(*why);
  reach(Stage::folderSynced);

  // From here on the files stay: where committing fails half-way, the change may still turn out to
  // be there at the next opening, which removes the files if it is not.
  files.keep();
  if (!change.commit()) return storageError();
  reach(Stage::changeCommitted);
  return records;
}

StoreOutcome<LibraryStore::StagedAsset> LibraryStore::stage(const NewAsset& asset,
                                                            ChangeFiles& files) {
  const bool isPhoto = asset.type == PHAssetResourceType::photo;
  const auto refused = [isPhoto] {
    return isPhoto ? invalidResource("The resource", "picture", kPictureFormats)
                   : invalidResource("The resource", "movie", kMovieFormats);
  };
  StagedAsset staged{{}, partialName(originals_ / "new")};
  const auto* source = std::get_if<fs::path>(&asset.content);
  if (source && problemWithReading(*source)) return refused();
  if (!source && !describe(asset)) return refused();
  files.add(staged.file);
  if (const auto why = write(asset.content, staged.file)) return writeError(*why);
  reach(Stage::fileWritten);
  // A file is looked at as it was copied.
  auto copied = asset;
  if (source) copied.content = staged.file;
  auto record = describe(copied);
  if (!record) return refused();
  staged.record = *std::move(record);
  std::error_code error;
  staged.record.byteCount = fs::file_size(staged.file, error);
  if (error) return writeError(error.message());
  if (!asset.identifier) staged.record.identifier = drawIdentifier();
  return staged;
}

std::optional<StoreError> LibraryStore::insertLocked(AssetRecord& record) {
  const auto& identifier = record.identifier;
  if (assetUuid(identifier).empty() || identifier.find('\0') != std::string::npos) {
    return StoreError{StoreError::Kind::identifierRefused,
                      "No asset can have the identifier \"" + identifier + "\""};
  }
  Statement insert(*database_,
                   "INSERT INTO asset (identifier, type, uti, extension, byteCount, width, height, "
                   "orientation, createdMicroseconds, durationSeconds) "
                   "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(identifier)
      .bind(static_cast<std::int64_t>(record.type))
      .bind(record.uti)
      .bind(record.extension)
      .bind(static_cast<std::int64_t>(record.byteCount))
      .bind(std::int64_t{record.width})
      .bind(std::int64_t{record.height})
      .bind(std::int64_t{record.orientation})
      .bind(static_cast<std::int64_t>(record.created.time_since_epoch().count()));
  if (record.durationSeconds) {
    insert.bind(*record.durationSeconds);
  } else {
    insert.bindNull();
  }
  if (!insert.run()) {
    if (!database_->lastBrokeUniqueness()) return storageError();
    return StoreError{StoreError::Kind::identifierRefused,
                      "The library already holds an asset \"" + identifier + "\""};
  }
  record.sequence = database_->lastInsertedRow();
  return std::nullopt;
}

StoreOutcome<AssetRecord> LibraryStore::importFile(const FileToImport& file, Date created) {
  const std::string name = file.path.filename().string();
  if (const auto why = problemWithReading(file.path))
    return StoreError{StoreError::Kind::unreadable, name + " cannot be read: " + *why};
  // Whether it is a movie is told by its first bytes, a picture is read whole.
  NewAsset asset{file.identifier, PHAssetResourceType::video, file.path, created};
  bool isKnown = describe(asset).has_value();
  if (!isKnown) {
    auto read = readFile(file.path);
    if (const auto* why = std::get_if<std::string>(&read))
      return StoreError{StoreError::Kind::unreadable, name + " cannot be read: " + *why};
    asset.type = PHAssetResourceType::photo;
    asset.content = std::get<Data>(std::move(read));
    isKnown = describe(asset).has_value();
  }
  if (!isKnown && !parts_.probeMovie) return invalidResource(name, "picture", kPictureFormats);
  if (!isKnown) {
    return invalidResource(name, "picture or movie",
                           std::string(kPictureFormats) + ", " + std::string(kMovieFormats));
  }
  auto added = add({asset});
  if (!added) return StoreError{added.error().kind, name + ": " + added.error().text};
  return std::move(added->front());
}

ImportReport LibraryStore::importFiles(
    const std::vector<FileToImport>& files, Date created,
    const std::function<void(std::size_t done, std::size_t total)>& progress) {
  ImportReport report;
  for (std::size_t i = 0; i < files.size(); ++i) {
    auto record = importFile(files[i], created);
    if (record) {
      report.imported.push_back(*std::move(record));
    } else {
      report.refused.push_back(record.error());
    }
    if (progress) progress(i + 1, files.size());
  }
  return report;
}

// Reading

StoreOutcome<std::vector<AssetRecord>> LibraryStore::list() {
  const std::lock_guard lock(mutex_);
  return listLocked();
}

StoreOutcome<std::vector<AssetRecord>> LibraryStore::listLocked() {
  Statement rows(*database_, selectAssets("ORDER BY sequence"));
  std::vector<AssetRecord> records;
  while (rows.next()) records.push_back(recordOf(rows));
  if (rows.failed()) return storageError();
  return records;
}

StoreOutcome<AssetRecord> LibraryStore::fetchByIdentifier(std::string_view identifier) {
  const std::lock_guard lock(mutex_);
  Statement row(*database_, selectAssets("WHERE identifier = ?"));
  row.bind(identifier);
  if (row.next()) return recordOf(row);
  if (row.failed()) return storageError();
  return unknownAsset(identifier);
}

StoreOutcome<AssetRecord> LibraryStore::findLocked(std::string_view identifierOrUuid) {
  Statement row(*database_, selectAssets("WHERE identifier = ?1 OR uuid = ?1 "
                                         "ORDER BY identifier <> ?1, sequence LIMIT 1"));
  row.bind(identifierOrUuid);
  if (row.next()) return recordOf(row);
  if (row.failed()) return storageError();
  return unknownAsset(identifierOrUuid);
}

StoreOutcome<AssetRecord> LibraryStore::fetchByAddress(std::string_view address) {
  const auto wanted = identifierInAssetAddress(address);
  if (!wanted) {
    return StoreError{StoreError::Kind::unknownAsset,
                      "\"" + std::string(address) + "\" is not the address of an asset"};
  }
  const std::lock_guard lock(mutex_);
  return findLocked(*wanted);
}

StoreOutcome<Data> LibraryStore::readOriginal(std::string_view identifier) {
  const auto record = fetchByIdentifier(identifier);
  if (!record) return record.error();
  return readOriginal(*record);
}

StoreOutcome<Data> LibraryStore::readOriginal(const AssetRecord& record) const {
  auto read = readFile(originalFile(record));
  std::string why;
  if (const auto* error = std::get_if<std::string>(&read)) {
    why = *error;
  } else {
    auto& data = std::get<Data>(read);
    if (data.size() == record.byteCount) return std::move(data);
    why = "it has " + std::to_string(data.size()) + " bytes instead of " +
          std::to_string(record.byteCount);
  }
  return StoreError{StoreError::Kind::unreadable,
                    "The original of \"" + record.identifier + "\" cannot be read: " + why};
}

StoreOutcome<fs::path> LibraryStore::originalFile(std::string_view identifier) {
  const auto record = fetchByIdentifier(identifier);
  if (!record) return record.error();
  return originalFile(*record);
}

std::optional<Data> LibraryStore::makeSmall(const AssetRecord& record, int maxSide,
                                            std::optional<StoreError>& error) const {
  if (maxSide <= 0) return std::nullopt;
  if (record.type == PHAssetResourceType::video)
    return parts_.makePoster ? parts_.makePoster(originalFile(record), maxSide) : std::nullopt;
  if (!parts_.makeThumbnail) return std::nullopt;
  const auto original = readOriginal(record);
  if (original) return parts_.makeThumbnail(*original, maxSide);
  error = original.error();
  return std::nullopt;
}

StoreOutcome<Data> LibraryStore::thumbnail(std::string_view identifier, int maxSide) {
  const auto record = fetchByIdentifier(identifier);
  if (!record) return record.error();
  const fs::path file = thumbnails_ / thumbnailName(*record, maxSide);
  auto cached = readFile(file);
  if (auto* data = std::get_if<Data>(&cached)) return std::move(*data);

  std::optional<StoreError> problem;
  const auto made = makeSmall(*record, maxSide, problem);
  if (problem) return *std::move(problem);
  if (!made) {
    return StoreError{StoreError::Kind::invalidResource,
                      "No thumbnail can be made of \"" + record->identifier + "\""};
  }
  // A thumbnail that cannot be kept is made again the next time.
  const fs::path partial = partialName(file);
  std::error_code error;
  if (!writePrivateFile(partial, *made)) fs::rename(partial, file, error);
  fs::remove(partial, error);
  return *made;
}

// Removing

std::optional<StoreError> LibraryStore::remove(std::string_view identifier) {
  return removeAssets(identifier);
}

std::optional<StoreError> LibraryStore::clear() {
  return removeAssets(std::nullopt);
}

std::optional<StoreError> LibraryStore::removeAssets(std::optional<std::string_view> identifier) {
  const std::lock_guard lock(mutex_);
  std::vector<AssetRecord> removed;
  {
    Transaction change(*database_);
    if (!change.begun()) return storageError();
    Statement removal(*database_, std::string("DELETE FROM asset ") +
                                      (identifier ? "WHERE identifier = ? " : "") + "RETURNING " +
                                      std::string(kColumns));
    if (identifier) removal.bind(*identifier);
    while (removal.next()) removed.push_back(recordOf(removal));
    if (removal.failed()) return storageError();
    if (identifier && removed.empty()) return unknownAsset(*identifier);
    if (!change.commit()) return storageError();
  }
  reach(Stage::rowsRemoved);

  // Files that stay behind here are swept at the next opening.
  std::set<std::int64_t> sequences;
  std::error_code ignored;
  for (const AssetRecord& record : removed) {
    fs::remove(originalFile(record), ignored);
    sequences.insert(record.sequence);
  }
  removeFiles(thumbnails_, [&](const std::string& name) {
    const auto sequence = sequenceInThumbnailName(name);
    return sequence && sequences.contains(*sequence);
  });
  return std::nullopt;
}

StoreError LibraryStore::storageError() const {
  return {StoreError::Kind::storage,
          "The photo library's database failed: " + database_->lastError()};
}

void LibraryStore::reach(Stage stage) const {
  if (parts_.atStage) parts_.atStage(stage);
}

fs::path LibraryStore::originalFile(const AssetRecord& record) const {
  return originals_ / originalName(record);
}

}  // namespace vecamera::device::photos
