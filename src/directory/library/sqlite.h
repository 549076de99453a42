// Sqlite::DB and Sqlite::Statement: a thin wrapper of SQLite for the object cache.
//
// Every failure throws kesh::SystemException with SQLite's message and SQLite's result code
// as rc(). A DB owns its connection and closes it when destroyed; a Statement owns its
// prepared statement and must not outlive the DB that made it. Neither is copyable; both
// can be moved.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_SQLITE_H_
#define ZONESMITH_DIRECTORY_LIBRARY_SQLITE_H_

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace Sqlite {

class Statement;

class DB {
 public:
  // sqlite3_open_v2 flags.
  static constexpr int READONLY = 0x00000001;
  static constexpr int READWRITE = 0x00000002;
  static constexpr int CREATE = 0x00000004;

  // Opens the database at `path` with `flags` (READWRITE, CREATE, ... as SQLite defines
  // them). Waits up to five seconds for a lock held by another connection.
  DB(const std::string& path, int flags);
  ~DB();
  DB(DB&& other) noexcept;
  DB& operator=(DB&& other) noexcept;
  DB(const DB&) = delete;
  DB& operator=(const DB&) = delete;

  // Makes a new database file at `path`, readable and writable by its owner only whatever
  // the umask, and runs `schemaSql` in it. Throws when the file exists already or cannot be
  // made, or when the schema fails (the file is then removed).
  static DB Create(const std::string& path, const char* schemaSql, int flags = READWRITE);
  // Opens an existing database; a missing file is an error.
  static DB Open(const std::string& path, int flags = READWRITE);

  // Runs one or more statements that return no rows.
  void execute(const std::string& sql);
  // Prepares one statement.
  Statement prepare(const std::string& sql);
  // Rows changed by the last statement, and the row id of the last insert.
  int changes() const;
  int64_t lastInsertRowId() const;

 private:
  [[noreturn]] void fail(int rc, const char* what) const;

  sqlite3* db_ = nullptr;
  std::string path_;
};

class Statement {
 public:
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&& other) noexcept;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // Binds parameter `index` (1-based, as SQLite counts).
  void bind(int index, int value);
  void bind(int index, int64_t value);
  void bind(int index, const std::string& text);
  void bind(int index, const char* text);  // null binds NULL
  void bindBlob(int index, const std::string& bytes);
  void bindNull(int index);

  // Runs the statement to its end, discarding rows.
  void execute();
  // Steps to the next row; false when there is none left.
  bool nextRow();
  // Column `index` (0-based) of the current row as bytes, NULs kept; empty for NULL.
  std::string getText(int index) const;
  int64_t getInt64(int index) const;
  int getInt(int index) const { return int(getInt64(index)); }
  bool isNull(int index) const;
  // Resets the statement to run again; the bindings stay.
  void rewind();

 private:
  friend class DB;
  Statement(sqlite3* db, sqlite3_stmt* stmt) : db_(db), stmt_(stmt) {}
  [[noreturn]] void fail(int rc, const char* what) const;

  sqlite3* db_ = nullptr;
  sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace Sqlite

#endif  // ZONESMITH_DIRECTORY_LIBRARY_SQLITE_H_
