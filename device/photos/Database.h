#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

/// The inner parts of the photo library's store.
namespace vecamera::device::photos {

/// One SQLite connection, used by one thread at a time. An operation that fails gives false, and
/// `lastError` tells why until the next operation.
class Database {
 public:
  Database() = default;
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Opens the file, which must exist.
  bool open(const std::filesystem::path& file);
  /// How long an operation waits for other connections.
  void setBusyTimeout(int timeoutMs);
  /// Runs one or more statements without results.
  bool execute(const char* sql);
  std::int64_t lastInsertedRow() const;
  std::string lastError() const;
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

  /// Goes to the next row; false at the end and on failure.
  bool next();
  /// Runs to the end; false on failure.
  bool run();
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
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool begun() const { return open_; }
  bool commit();

 private:
  Database& database_;
  bool open_ = false;
};

}  // namespace vecamera::device::photos
