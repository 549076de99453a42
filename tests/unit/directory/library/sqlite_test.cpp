#include "directory/library/sqlite.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include "directory/library/exceptions.h"

namespace Sqlite {
namespace {

const char kSchema[] =
    "CREATE TABLE objects (dn TEXT PRIMARY KEY, data BLOB, fetched INTEGER);"
    "CREATE INDEX objects_fetched ON objects(fetched);";

class SqliteTest : public testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/zs-sqlite-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
    path_ = dir_ + "/cache.db";
  }
  void TearDown() override {
    unlink(path_.c_str());
    rmdir(dir_.c_str());
  }
  std::string dir_;
  std::string path_;
};

TEST_F(SqliteTest, StoresAndReadsBlobsWithNuls) {
  DB db = DB::Create(path_, kSchema);
  const std::string blob("ZSO1\0\0\xff\x01;=", 10);
  Statement insert = db.prepare("INSERT INTO objects VALUES (?, ?, ?)");
  insert.bind(1, std::string("CN=a,DC=x"));
  insert.bindBlob(2, blob);
  insert.bind(3, int64_t(1700000000123LL));
  insert.execute();
  EXPECT_EQ(db.changes(), 1);
  insert.rewind();  // the bindings stay; a second run breaks the key
  EXPECT_THROW(insert.execute(), kesh::SystemException);
  insert.rewind();
  insert.bind(1, "CN=b,DC=x");
  insert.bindNull(2);
  insert.bind(3, 7);
  insert.execute();
  EXPECT_EQ(db.lastInsertRowId(), 2);

  Statement query = db.prepare("SELECT dn, data, fetched FROM objects ORDER BY dn");
  ASSERT_TRUE(query.nextRow());
  EXPECT_EQ(query.getText(0), "CN=a,DC=x");
  EXPECT_EQ(query.getText(1), blob);
  EXPECT_EQ(query.getInt64(2), 1700000000123LL);
  ASSERT_TRUE(query.nextRow());
  EXPECT_TRUE(query.isNull(1));
  EXPECT_EQ(query.getText(1), "");
  EXPECT_EQ(query.getInt(2), 7);
  EXPECT_FALSE(query.nextRow());
  query.rewind();
  EXPECT_TRUE(query.nextRow());  // runs again from the start
}

TEST_F(SqliteTest, ReopensWhatWasWritten) {
  {
    DB db = DB::Create(path_, kSchema);
    db.execute(
        "INSERT INTO objects VALUES ('k', x'00ff', 1); INSERT INTO objects VALUES ('l', "
        "NULL, 2);");
  }
  DB db = DB::Open(path_);
  Statement count = db.prepare("SELECT count(*), sum(fetched) FROM objects");
  ASSERT_TRUE(count.nextRow());
  EXPECT_EQ(count.getInt(0), 2);
  EXPECT_EQ(count.getInt(1), 3);
  Statement one = db.prepare("SELECT data FROM objects WHERE dn = ?");
  one.bind(1, "k");
  ASSERT_TRUE(one.nextRow());
  EXPECT_EQ(one.getText(0), std::string("\0\xff", 2));

  DB readOnly = DB::Open(path_, DB::READONLY);
  try {
    readOnly.execute("DELETE FROM objects");
    ADD_FAILURE() << "wrote through a read-only connection";
  } catch (const kesh::SystemException& e) {
    EXPECT_EQ(e.rc(), SQLITE_READONLY);
    EXPECT_NE(std::string(e.what()).find("readonly"), std::string::npos) << e.what();
  }
}

TEST_F(SqliteTest, FailuresCarrySqlitesMessage) {
  struct Case {
    const char* label;
    void (*run)(const std::string& path);
    const char* fragment;
  } cases[] = {
      {"open a missing file", [](const std::string& p) { DB::Open(p + ".missing"); },
       "unable to open database file"},
      {"bad schema", [](const std::string& p) { DB::Create(p, "CREATE TABLE ("); }, "syntax error"},
      {"bad SQL",
       [](const std::string& p) {
         DB db = DB::Create(p, kSchema);
         db.execute("SELEC 1");
       },
       "syntax error"},
      {"prepare of an unknown table",
       [](const std::string& p) {
         DB db = DB::Create(p, kSchema);
         db.prepare("SELECT * FROM missing");
       },
       "no such table: missing"},
      {"bind out of range",
       [](const std::string& p) {
         DB db = DB::Create(p, kSchema);
         Statement s = db.prepare("SELECT ?");
         s.bind(2, 1);
       },
       "column index out of range"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    try {
      c.run(path_);
      ADD_FAILURE() << "no exception";
    } catch (const kesh::SystemException& e) {
      EXPECT_NE(std::string(e.what()).find(c.fragment), std::string::npos) << e.what();
      EXPECT_EQ(e.className(), "kesh::SystemException");
    }
    // A failed create leaves no file behind.
    unlink(path_.c_str());
  }
  // Create refuses to replace a database.
  { DB db = DB::Create(path_, kSchema); }
  EXPECT_THROW(DB::Create(path_, kSchema), kesh::SystemException);
  DB kept = DB::Open(path_);
  Statement tables = kept.prepare("SELECT count(*) FROM objects");
  EXPECT_TRUE(tables.nextRow());
}

TEST_F(SqliteTest, FailedSchemaRemovesTheFile) {
  EXPECT_THROW(DB::Create(path_, "CREATE TABLE t (x); CREATE TABLE t (y);"), kesh::SystemException);
  EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_F(SqliteTest, MovedHandlesStayUsable) {
  DB first = DB::Create(path_, kSchema);
  DB second = std::move(first);
  Statement s = second.prepare("SELECT 41 + 1");
  Statement moved = std::move(s);
  ASSERT_TRUE(moved.nextRow());
  EXPECT_EQ(moved.getInt(0), 42);
}

}  // namespace
}  // namespace Sqlite
