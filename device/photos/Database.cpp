#include "device/photos/Database.h"

#include <sqlite3.h>

#include <utility>

namespace vecamera::device::photos {

Database::~Database() {
  sqlite3_close(handle_);
}

StoreResult<void> Database::open(const std::filesystem::path& file) {
  constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  if (sqlite3_open_v2(file.c_str(), &handle_, flags, nullptr) != SQLITE_OK) return failure();
  return {};
}

void Database::setBusyTimeout(int timeoutMs) {
  sqlite3_busy_timeout(handle_, timeoutMs);
}

StoreResult<void> Database::execute(const std::string& sql) {
  if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) return failure();
  return {};
}

std::int64_t Database::lastInsertedRow() const {
  return sqlite3_last_insert_rowid(handle_);
}

Failure<StoreError> Database::failure() const {
  return storeFailure(StoreError::Kind::storage, sqlite3_errmsg(handle_));
}

bool Database::lastBrokeUniqueness() const {
  return sqlite3_extended_errcode(handle_) == SQLITE_CONSTRAINT_UNIQUE;
}

Statement::Statement(Database& database, std::string_view sql) {
  check(sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &handle_,
                           nullptr));
}

Statement::~Statement() {
  sqlite3_finalize(handle_);
}

void Statement::check(int code) {
  if (code != SQLITE_OK) failed_ = true;
}

Statement& Statement::bind(std::string_view text) {
  // A null pointer would bind NULL.
  const char* start = text.empty() ? "" : text.data();
  check(sqlite3_bind_text64(handle_, ++bound_, start, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

Statement& Statement::bind(std::int64_t number) {
  check(sqlite3_bind_int64(handle_, ++bound_, number));
  return *this;
}

Statement& Statement::bind(double number) {
  check(sqlite3_bind_double(handle_, ++bound_, number));
  return *this;
}

Statement& Statement::bindNull() {
  check(sqlite3_bind_null(handle_, ++bound_));
  return *this;
}

bool Statement::next() {
  if (failed_) return false;
  const int code = sqlite3_step(handle_);
  if (code == SQLITE_ROW) return true;
  failed_ = code != SQLITE_DONE;
  return false;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(handle_, column);
}

double Statement::real(int column) const {
  return sqlite3_column_double(handle_, column);
}

std::string Statement::text(int column) const {
  const auto* start = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
  if (!start) return {};
  return std::string(start, static_cast<std::size_t>(sqlite3_column_bytes(handle_, column)));
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(handle_, column) == SQLITE_NULL;
}

StoreResult<Transaction> Transaction::begin(Database& database) {
  if (auto begun = database.execute("BEGIN IMMEDIATE"); !begun) return std::move(begun).failure();
  return Transaction(database);
}

Transaction::Transaction(Transaction&& other) noexcept
    : database_(std::exchange(other.database_, nullptr)) {}

Transaction::~Transaction() {
  if (database_) static_cast<void>(database_->execute("ROLLBACK"));
}

StoreResult<void> Transaction::commit() {
  if (auto committed = database_->execute("COMMIT"); !committed) return committed;
  database_ = nullptr;
  return {};
}

}  // namespace vecamera::device::photos
