#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "device/foundation/files/Descriptor.h"
#include "device/photos/AssetRecord.h"
#include "device/photos/Database.h"

namespace vecamera::device::photos {

/// The library's list of its assets: one table of a SQLite database. Used by one thread at a time.
class AssetTable {
 public:
  /// Opens the database in the file, which exists and may be empty. Writes nothing; refuses what is
  /// no library's database, a newer version's and a damaged one, with SQLite's words where it is
  /// SQLite that fails.
  StoreResult<void> open(const std::filesystem::path& file);
  /// Whether there is no table in the database yet.
  bool isNew() const { return version_ == 0; }
  /// Brings the database that was opened to this version's schema. No other process may do so
  /// meanwhile.
  StoreResult<void> migrate();

  /// Begins a change, which no other connection can make at the same time.
  StoreResult<Transaction> begin(foundation::IfLocked ifLocked = foundation::IfLocked::wait);
  StoreResult<void> commit(Transaction& change);

  /// Adds the record within a change and gives it its sequence.
  StoreResult<void> insert(AssetRecord& record);
  /// Removes the asset, or every one, within a change; gives the records that were there.
  StoreResult<std::vector<AssetRecord>> remove(std::optional<std::string_view> identifier);

  /// In the order of creation.
  StoreResult<std::vector<AssetRecord>> list();
  StoreResult<AssetRecord> findByIdentifier(std::string_view identifier);
  /// Of several assets with the same UUID the oldest is given.
  StoreResult<AssetRecord> findByIdentifierOrUuid(std::string_view identifierOrUuid);

 private:
  StoreResult<std::int64_t> singleNumber(std::string_view sql);
  StoreResult<std::vector<AssetRecord>> recordsOf(Statement& rows);
  StoreResult<AssetRecord> recordNamed(Statement& row, std::string_view name);

  Database database_;
  /// Of the schema, when it was opened.
  std::int64_t version_ = 0;
};

}  // namespace vecamera::device::photos
