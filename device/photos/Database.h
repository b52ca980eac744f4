#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "device/photos/StoreError.h"

namespace vecamera::device::photos {

/// One SQLite connection, used by one thread at a time. Errors are of the kind `storage`.
class Database {
 public:
  Database() = default;
  ~Database() { sqlite3_close(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Opens the file, which must exist.
  StoreResult<void> open(const std::filesystem::path& file) {
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    return resultOf(sqlite3_open_v2(file.c_str(), &handle_, flags, nullptr));
  }
  /// How long an operation waits for other connections.
  void setBusyTimeout(int timeoutMs) { sqlite3_busy_timeout(handle_, timeoutMs); }
  /// Runs one or more statements without results.
  StoreResult<void> execute(const std::string& sql) {
    return resultOf(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr));
  }
  std::int64_t lastInsertedRow() const { return sqlite3_last_insert_rowid(handle_); }
  /// Why the last operation failed, in SQLite's words.
  Failure<StoreError> failure() const {
    return storeFailure(StoreError::Kind::storage, sqlite3_errmsg(handle_));
  }
  /// Whether the last operation broke a uniqueness rule.
  bool lastBrokeUniqueness() const {
    return sqlite3_extended_errcode(handle_) == SQLITE_CONSTRAINT_UNIQUE;
  }
  sqlite3* handle() const { return handle_; }

 private:
  StoreResult<void> resultOf(int code) const {
    return code == SQLITE_OK ? StoreResult<void>() : failure();
  }

  sqlite3* handle_ = nullptr;
};

/// One prepared statement. Values are bound in order; columns count from 0.
class Statement {
 public:
  enum class RowResult { row, end };

  Statement(Database& database, std::string_view sql) : database_(database) {
    check(sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &handle_,
                             nullptr));
  }
  ~Statement() { sqlite3_finalize(handle_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(std::string_view text) {
    // A null pointer would bind NULL.
    const char* start = text.empty() ? "" : text.data();
    return check(
        sqlite3_bind_text64(handle_, ++bound_, start, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
  }
  Statement& bind(std::int64_t number) {
    return check(sqlite3_bind_int64(handle_, ++bound_, number));
  }
  Statement& bind(double number) { return check(sqlite3_bind_double(handle_, ++bound_, number)); }
  Statement& bindNull() { return check(sqlite3_bind_null(handle_, ++bound_)); }

  /// Goes to the next row, or to the end. What failed before, in the statement's text or in a
  /// value, is reported here, too.
  StoreResult<RowResult> next() {
    const int code = failed_ ? SQLITE_ERROR : sqlite3_step(handle_);
    if (code == SQLITE_ROW) return RowResult::row;
    if (code == SQLITE_DONE) return RowResult::end;
    failed_ = true;
    return database_.failure();
  }

  std::int64_t integer(int column) const { return sqlite3_column_int64(handle_, column); }
  double real(int column) const { return sqlite3_column_double(handle_, column); }
  std::string text(int column) const {
    const auto* start = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
    if (!start) return {};
    return std::string(start, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column)));
  }
  bool isNull(int column) const { return sqlite3_column_type(handle_, column) == SQLITE_NULL; }

 private:
  Statement& check(int code) {
    if (code != SQLITE_OK) failed_ = true;
    return *this;
  }

  Database& database_;
  sqlite3_stmt* handle_ = nullptr;
  int bound_ = 0;
  bool failed_ = false;
};

/// Holds the database's one write lock from its beginning, and rolls back unless committed.
class Transaction {
 public:
  static StoreResult<Transaction> begin(Database& database) {
    auto begun = database.execute("BEGIN IMMEDIATE");
    if (!begun) return std::move(begun).failure();
    return Transaction(database);
  }
  Transaction(Transaction&& other) noexcept : database_(std::exchange(other.database_, nullptr)) {}
  Transaction& operator=(Transaction&&) = delete;
  ~Transaction() {
    if (database_) static_cast<void>(database_->execute("ROLLBACK"));
  }

  StoreResult<void> commit() {
    auto committed = database_->execute("COMMIT");
    if (committed) database_ = nullptr;
    return committed;
  }

 private:
  explicit Transaction(Database& database) : database_(&database) {}

  /// Null where it has ended.
  Database* database_;
};

}  // namespace vecamera::device::photos
