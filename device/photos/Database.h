#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "device/photos/StoreError.h"

struct sqlite3;
struct sqlite3_stmt;

/// The inner parts of the photo library's store.
namespace vecamera::device::photos {

/// One SQLite connection, used by one thread at a time. Errors are of the kind `storage`.
class Database {
 public:
  Database() = default;
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Opens the file, which must exist.
  StoreResult<void> open(const std::filesystem::path& file);
  /// How long an operation waits for other connections.
  void setBusyTimeout(int timeoutMs);
  /// Runs one or more statements without results.
  StoreResult<void> execute(const std::string& sql);
  std::int64_t lastInsertedRow() const;
  /// Why the last operation failed, in SQLite's words.
  Failure<StoreError> failure() const;
  /// Whether the last operation broke a uniqueness rule.
  bool lastBrokeUniqueness() const;
  sqlite3* handle() const { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

/// One statement on its way. Values are bound in order; columns count from 0.
class Statement {
 public:
  Statement(Database& database, std::string_view sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(std::string_view text);
  Statement& bind(std::int64_t number);
  Statement& bind(double number);
  Statement& bindNull();

  /// Goes to the next row; false at the end and where it failed.
  bool next();
  bool failed() const { return failed_; }

  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string text(int column) const;
  bool isNull(int column) const;

 private:
  void check(int code);

  sqlite3_stmt* handle_ = nullptr;
  int bound_ = 0;
  bool failed_ = false;
};

/// Holds the database's one write lock from its beginning, and rolls back unless committed.
class Transaction {
 public:
  static StoreResult<Transaction> begin(Database& database);
  Transaction(Transaction&& other) noexcept;
  Transaction& operator=(Transaction&&) = delete;
  ~Transaction();

  StoreResult<void> commit();

 private:
  explicit Transaction(Database& database) : database_(&database) {}

  /// Null where it has ended.
  Database* database_;
};

}  // namespace vecamera::device::photos
