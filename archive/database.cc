#include "archive/database.h"

#include <sqlite3.h>

#include <limits>
#include <utility>

namespace archive {
namespace {

constexpr int kLongestValue = 1 << 20;  // bytes that a reader takes of one

}  // namespace

CDatabase::CDatabase(std::string thePath, EAccess access) : path(std::move(thePath)) {
  const int flags = access == kRead ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  if (sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    const std::string why = handle == nullptr ? "no memory" : sqlite3_errmsg(handle);
    sqlite3_close(handle);
    throw TFailure(path + ": " + why);
  }
  sqlite3_extended_result_codes(handle, 1);
  SetPatience(1.0);
  if (access == kWrite) return;
  sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, kLongestValue);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
}

CDatabase::~CDatabase() { sqlite3_close(handle); }

void CDatabase::SetPatience(double seconds) { sqlite3_busy_timeout(handle, static_cast<int>(1000.0 * seconds)); }

void CDatabase::Execute(const char* text) {
  if (sqlite3_exec(handle, text, nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
}

std::int64_t CDatabase::LastRow() const { return sqlite3_last_insert_rowid(handle); }

void CDatabase::Fail() const { throw TFailure(path + ": " + sqlite3_errmsg(handle)); }

void CDatabase::Damaged(const std::string& what) const { throw TFailure(path + ": damaged: " + what); }

CStatement::CStatement(const CDatabase& theDatabase, const char* text) : database(theDatabase) {
  if (sqlite3_prepare_v3(database.Handle(), text, -1, SQLITE_PREPARE_PERSISTENT, &handle, nullptr) != SQLITE_OK) {
    database.Fail();
  }
}

CStatement::~CStatement() { sqlite3_finalize(handle); }

void CStatement::Reset() { sqlite3_reset(handle); }

bool CStatement::Step() {
  const int outcome = sqlite3_step(handle);
  if (outcome == SQLITE_ROW) return true;
  // What went wrong is told, and then the statement holds nothing any more.
  if (outcome != SQLITE_DONE) {
    const std::string why = sqlite3_errmsg(database.Handle());
    Reset();
    throw TFailure(database.Path() + ": " + why);
  }
  Reset();
  return false;
}

std::int64_t CStatement::Integer(int column) const { return sqlite3_column_int64(handle, column); }

std::uint64_t CStatement::Whole(int column, std::uint64_t most) const {
  const std::int64_t value = Integer(column);
  if (sqlite3_column_type(handle, column) != SQLITE_INTEGER || value < 0 || static_cast<std::uint64_t>(value) > most) {
    database.Damaged(std::string("a number of ") + sqlite3_column_name(handle, column));
  }
  return static_cast<std::uint64_t>(value);
}

double CStatement::Real(int column) const {
  if (sqlite3_column_type(handle, column) == SQLITE_NULL) return std::numeric_limits<double>::quiet_NaN();
  return sqlite3_column_double(handle, column);
}

std::string CStatement::Text(int column) const {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(handle, column));
  return text == nullptr ? "" : std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(handle, column)));
}

std::span<const std::uint8_t> CStatement::Bytes(int column) const {
  const auto* const bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(handle, column));
  return {bytes, bytes == nullptr ? 0 : static_cast<std::size_t>(sqlite3_column_bytes(handle, column))};
}

void CStatement::Bind(int number, std::int64_t value) { sqlite3_bind_int64(handle, number, value); }
void CStatement::Bind(int number, double value) { sqlite3_bind_double(handle, number, value); }
void CStatement::Bind(int number, const std::string& text) {
  sqlite3_bind_text(handle, number, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}
void CStatement::Bind(int number, std::span<const std::uint8_t> bytes) {
  sqlite3_bind_blob(handle, number, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
}

}  // namespace archive
