#include "directory/library/sqlite.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "directory/library/exceptions.h"

namespace Sqlite {

static_assert(DB::READONLY == SQLITE_OPEN_READONLY, "open flags");
static_assert(DB::READWRITE == SQLITE_OPEN_READWRITE, "open flags");
static_assert(DB::CREATE == SQLITE_OPEN_CREATE, "open flags");

// --- DB -------------------------------------------------------------------------------

DB::DB(const std::string& path, int flags) : path_(path) {
  int rc = sqlite3_open_v2(path.c_str(), &db_, flags, nullptr);
  if (rc != SQLITE_OK) {
    std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
    sqlite3_close(db_);
    db_ = nullptr;
    KESH_THROW(kesh::SystemException, rc, "Cannot open database %s: %s", path.c_str(),
               message.c_str());
  }
  sqlite3_extended_result_codes(db_, 0);
  sqlite3_busy_timeout(db_, 5000);
}

DB::~DB() { sqlite3_close(db_); }

DB::DB(DB&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)), path_(std::move(other.path_)) {}

DB& DB::operator=(DB&& other) noexcept {
  if (this != &other) {
    sqlite3_close(db_);
    db_ = std::exchange(other.db_, nullptr);
    path_ = std::move(other.path_);
  }
  return *this;
}

DB DB::Create(const std::string& path, const char* schemaSql, int flags) {
  // The file is made here, new and private, before SQLite opens it: whatever the umask,
  // nobody else can open it between its creation and its first row.
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (fd < 0) {
    const int error = errno;
    if (error == EEXIST) {
      KESH_THROW(kesh::SystemException, SQLITE_CANTOPEN, "Database %s exists already",
                 path.c_str());
    }
    KESH_THROW(kesh::SystemException, SQLITE_CANTOPEN, "Cannot create database %s: %s",
               path.c_str(), strerror(error));
  }
  const int rc = fchmod(fd, S_IRUSR | S_IWUSR);
  const int error = errno;
  close(fd);
  if (rc != 0) {
    unlink(path.c_str());
    KESH_THROW(kesh::SystemException, SQLITE_CANTOPEN, "Cannot create database %s: %s",
               path.c_str(), strerror(error));
  }
  DB db(path, (flags & ~SQLITE_OPEN_READONLY) | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  try {
    if (schemaSql != nullptr) db.execute(schemaSql);
  } catch (...) {
    { DB closing(std::move(db)); }  // closed before the file goes
    unlink(path.c_str());
    throw;
  }
  return db;
}

DB DB::Open(const std::string& path, int flags) { return DB(path, flags & ~SQLITE_OPEN_CREATE); }

void DB::fail(int rc, const char* what) const {
  KESH_THROW(kesh::SystemException, rc, "%s failed on %s: %s", what, path_.c_str(),
             db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc));
}

void DB::execute(const std::string& sql) {
  if (!db_) KESH_THROW(kesh::SystemException, SQLITE_MISUSE, "Database is closed");
  char* error = nullptr;
  int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error);
  if (rc != SQLITE_OK) {
    std::string message = error ? error : sqlite3_errstr(rc);
    sqlite3_free(error);
    KESH_THROW(kesh::SystemException, rc, "SQL failed on %s: %s", path_.c_str(), message.c_str());
  }
}

Statement DB::prepare(const std::string& sql) {
  if (!db_) KESH_THROW(kesh::SystemException, SQLITE_MISUSE, "Database is closed");
  sqlite3_stmt* stmt = nullptr;
  int rc = sqlite3_prepare_v2(db_, sql.c_str(), int(sql.size()), &stmt, nullptr);
  if (rc != SQLITE_OK) fail(rc, "Prepare");
  if (stmt == nullptr) KESH_THROW(kesh::SystemException, SQLITE_MISUSE, "No statement in SQL");
  return Statement(db_, stmt);
}

int DB::changes() const { return sqlite3_changes(db_); }

int64_t DB::lastInsertRowId() const { return sqlite3_last_insert_rowid(db_); }

// --- Statement ------------------------------------------------------------------------

Statement::~Statement() { sqlite3_finalize(stmt_); }

Statement::Statement(Statement&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)), stmt_(std::exchange(other.stmt_, nullptr)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
  if (this != &other) {
    sqlite3_finalize(stmt_);
    db_ = std::exchange(other.db_, nullptr);
    stmt_ = std::exchange(other.stmt_, nullptr);
  }
  return *this;
}

void Statement::fail(int rc, const char* what) const {
  KESH_THROW(kesh::SystemException, rc, "%s failed: %s", what,
             db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc));
}

void Statement::bind(int index, int value) {
  int rc = sqlite3_bind_int(stmt_, index, value);
  if (rc != SQLITE_OK) fail(rc, "Bind");
}

void Statement::bind(int index, int64_t value) {
  int rc = sqlite3_bind_int64(stmt_, index, sqlite3_int64(value));
  if (rc != SQLITE_OK) fail(rc, "Bind");
}

void Statement::bind(int index, const std::string& text) {
  int rc = sqlite3_bind_text(stmt_, index, text.data(), int(text.size()), SQLITE_TRANSIENT);
  if (rc != SQLITE_OK) fail(rc, "Bind");
}

void Statement::bind(int index, const char* text) {
  if (text == nullptr) {
    bindNull(index);
    return;
  }
  bind(index, std::string(text));
}

void Statement::bindBlob(int index, const std::string& bytes) {
  int rc = sqlite3_bind_blob(stmt_, index, bytes.data(), int(bytes.size()), SQLITE_TRANSIENT);
  if (rc != SQLITE_OK) fail(rc, "Bind");
}

void Statement::bindNull(int index) {
  int rc = sqlite3_bind_null(stmt_, index);
  if (rc != SQLITE_OK) fail(rc, "Bind");
}

void Statement::execute() {
  while (nextRow()) {
  }
}

bool Statement::nextRow() {
  int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc == SQLITE_DONE) return false;
  // The error is reported by step; reset gives the specific code and leaves the
  // statement ready to run again.
  int reset = sqlite3_reset(stmt_);
  fail(reset != SQLITE_OK ? reset : rc, "Step");
}

std::string Statement::getText(int index) const {
  const void* data = sqlite3_column_blob(stmt_, index);
  int size = sqlite3_column_bytes(stmt_, index);
  if (data == nullptr || size <= 0) return std::string();
  return std::string(static_cast<const char*>(data), size_t(size));
}

int64_t Statement::getInt64(int index) const { return sqlite3_column_int64(stmt_, index); }

bool Statement::isNull(int index) const { return sqlite3_column_type(stmt_, index) == SQLITE_NULL; }

void Statement::rewind() { sqlite3_reset(stmt_); }

}  // namespace Sqlite
