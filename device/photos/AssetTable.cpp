#include "device/photos/AssetTable.h"

#include <array>
#include <chrono>

#include "device/photos/AssetAddress.h"

namespace vecamera::device::photos {

namespace {

constexpr int busyTimeoutMs = 10'000;
// Marks a database as one of ours ("VECP").
constexpr std::int64_t ownApplicationId = 0x56454350;

// Step N leads from schema version N to N + 1. A step that has been released is never changed.
constexpr std::array migrations = {
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
constexpr std::int64_t schemaVersion = migrations.size();

constexpr std::string_view columns =
    "sequence, identifier, type, uti, extension, byteCount, width, height, orientation, "
    "createdMicroseconds, durationSeconds";

std::string selectAssets(std::string_view rest) {
  return "SELECT " + std::string(columns) + " FROM asset " + std::string(rest);
}

/// Reads a row of `columns`.
AssetRecord recordOf(const Statement& row) {
  AssetRecord record;
  record.sequence = row.integer(0);
  record.identifier = row.text(1);
  record.type = static_cast<PHAssetResourceType>(row.integer(2));
  record.typeIdentifier = row.text(3);
  record.fileExtension = row.text(4);
  record.byteCount = static_cast<std::uint64_t>(row.integer(5));
  record.width = static_cast<int>(row.integer(6));
  record.height = static_cast<int>(row.integer(7));
  record.orientation = static_cast<CGImagePropertyOrientation>(row.integer(8));
  record.created = Date(std::chrono::microseconds(row.integer(9)));
  if (!row.isNull(10)) record.durationSeconds = row.real(10);
  return record;
}

Failure<StoreError> refusal(std::string text) {
  return storeFailure(StoreError::Kind::storage, std::move(text));
}

Failure<StoreError> unknownAsset(std::string_view identifier) {
  return storeFailure(StoreError::Kind::unknownAsset,
                      "The library holds no asset \"" + std::string(identifier) + "\"");
}

Failure<StoreError> databaseFailure(const StoreError& error) {
  return storeFailure(StoreError::Kind::storage,
                      "The photo library's database failed: " + error.message);
}

}  // namespace

// Opening

StoreResult<void> AssetTable::open(const std::filesystem::path& file) {
  if (auto opened = database_.open(file); !opened) return opened;
  database_.setBusyTimeout(busyTimeoutMs);
  const auto version = singleNumber("PRAGMA user_version");
  if (!version) return version.failure();
  const auto applicationId = singleNumber("PRAGMA application_id");
  if (!applicationId) return applicationId.failure();
  const auto objects = singleNumber("SELECT count(*) FROM sqlite_schema");
  if (!objects) return objects.failure();

  const bool isEmpty = *version == 0 && *applicationId == 0 && *objects == 0;
  if (!isEmpty && *applicationId != ownApplicationId)
    return refusal("library.sqlite is not a photo library's database");
  if (*version > schemaVersion) {
    return refusal("it was made by a newer version of this program (its schema is " +
                   std::to_string(*version) + ", this program knows " +
                   std::to_string(schemaVersion) + ")");
  }
  Statement check(database_, "PRAGMA quick_check(1)");
  if (const auto row = check.next(); !row) return row.failure();
  const std::string found = check.text(0);
  if (found != "ok") return refusal("its database is damaged (" + found + ")");
  version_ = *version;
  return {};
}

StoreResult<void> AssetTable::migrate() {
  auto set = database_.execute(
      "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;");
  // A library that is up to date is not locked, because another process may be in a long change.
  if (!set || version_ == schemaVersion) return set;
  auto change = Transaction::begin(database_);
  if (!change) return change.failure();
  for (std::int64_t step = version_; step < schemaVersion; ++step) {
    auto made = database_.execute(migrations[static_cast<std::size_t>(step)]);
    if (!made) return made;
  }
  auto marked = database_.execute("PRAGMA application_id = " + std::to_string(ownApplicationId) +
                                  "; PRAGMA user_version = " + std::to_string(schemaVersion));
  return marked ? change->commit() : std::move(marked);
}

StoreResult<std::int64_t> AssetTable::singleNumber(std::string_view sql) {
  Statement statement(database_, sql);
  if (const auto row = statement.next(); !row) return row.failure();
  return statement.integer(0);
}

// Changing

StoreResult<Transaction> AssetTable::begin(foundation::IfLocked ifLocked) {
  if (ifLocked == foundation::IfLocked::fail) database_.setBusyTimeout(0);
  auto begun = Transaction::begin(database_);
  database_.setBusyTimeout(busyTimeoutMs);
  if (!begun) return databaseFailure(begun.error());
  return begun;
}

StoreResult<void> AssetTable::commit(Transaction& change) {
  const auto committed = change.commit();
  if (!committed) return databaseFailure(committed.error());
  return {};
}

StoreResult<void> AssetTable::insert(AssetRecord& record) {
  const auto& identifier = record.identifier;
  if (assetUuid(identifier).empty() || identifier.find('\0') != std::string::npos) {
    return storeFailure(StoreError::Kind::identifierRefused,
                        "No asset can have the identifier \"" + identifier + "\"");
  }
  Statement insertion(database_,
                      "INSERT INTO asset (identifier, type, uti, extension, byteCount, width, "
                      "height, orientation, createdMicroseconds, durationSeconds) "
                      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insertion.bind(identifier)
      .bind(static_cast<std::int64_t>(record.type))
      .bind(record.typeIdentifier)
      .bind(record.fileExtension)
      .bind(static_cast<std::int64_t>(record.byteCount))
      .bind(std::int64_t{record.width})
      .bind(std::int64_t{record.height})
      .bind(std::int64_t{record.orientation})
      .bind(static_cast<std::int64_t>(record.created.time_since_epoch().count()));
  if (record.durationSeconds) {
    insertion.bind(*record.durationSeconds);
  } else {
    insertion.bindNull();
  }
  if (const auto row = insertion.next(); !row) {
    if (!database_.lastBrokeUniqueness()) return databaseFailure(row.error());
    return storeFailure(StoreError::Kind::identifierRefused,
                        "The library already holds an asset \"" + identifier + "\"");
  }
  record.sequence = database_.lastInsertedRow();
  return {};
}

StoreResult<std::vector<AssetRecord>> AssetTable::remove(
    std::optional<std::string_view> identifier) {
  Statement removal(database_, std::string("DELETE FROM asset ") +
                                   (identifier ? "WHERE identifier = ? " : "") + "RETURNING " +
                                   std::string(columns));
  if (identifier) removal.bind(*identifier);
  auto removed = recordsOf(removal);
  if (removed && removed->empty() && identifier) return unknownAsset(*identifier);
  return removed;
}

// Reading

StoreResult<std::vector<AssetRecord>> AssetTable::list() {
  Statement rows(database_, selectAssets("ORDER BY sequence"));
  return recordsOf(rows);
}

StoreResult<AssetRecord> AssetTable::findByIdentifier(std::string_view identifier) {
  Statement row(database_, selectAssets("WHERE identifier = ?"));
  return recordNamed(row, identifier);
}

StoreResult<AssetRecord> AssetTable::findByIdentifierOrUuid(std::string_view identifierOrUuid) {
  Statement row(database_, selectAssets("WHERE identifier = ?1 OR uuid = ?1 "
                                        "ORDER BY identifier <> ?1, sequence LIMIT 1"));
  return recordNamed(row, identifierOrUuid);
}

StoreResult<std::vector<AssetRecord>> AssetTable::recordsOf(Statement& rows) {
  std::vector<AssetRecord> records;
  while (true) {
    const auto row = rows.next();
    if (!row) return databaseFailure(row.error());
    if (*row == Statement::RowResult::end) return records;
    records.push_back(recordOf(rows));
  }
}

StoreResult<AssetRecord> AssetTable::recordNamed(Statement& row, std::string_view name) {
  row.bind(name);
  const auto next = row.next();
  if (!next) return databaseFailure(next.error());
  if (*next == Statement::RowResult::end) return unknownAsset(name);
  return recordOf(row);
}

}  // namespace vecamera::device::photos
