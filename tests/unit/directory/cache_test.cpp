// The object cache on its own: checksums, keys, trace lines, memory and SQLite stores.
#include "directory/cache.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sid.h"

namespace {

// The trace lines a cache hands to its sink while the log lives, each with a newline.
class TraceLog {
 public:
  explicit TraceLog(Cache& cache) : cache_(cache) {
    cache_.setTraceSink([this](const std::string& line) { text += line + "\n"; });
  }
  ~TraceLog() { cache_.setTraceSink(nullptr); }
  std::string text;

 private:
  Cache& cache_;
};

const char* const kAliceDn = "CN=Alice,CN=Users,DC=example,DC=test";
const char* const kAliceSid = "S-1-5-21-1-2-3-1104";
const char* const kAliceGuid = "00112233445566778899AABBCCDDEEFF";

kesh::ADObject MakeObject(const std::string& dn, const std::string& category,
                          const std::string& sam, const std::string& sid, const std::string& guid) {
  kesh::ADObject object(dn);
  object["distinguishedName"].setChanged(false);
  if (!category.empty()) object["_objectCategory"].setValues({category});
  if (!sam.empty()) object["sAMAccountName"].setValues({sam});
  if (!sid.empty()) {
    object["objectSid"].setValues({kesh::SID(sid).toBytes()});
    object["objectSid"].setBinary(true);
  }
  if (!guid.empty()) {
    object["objectGUID"].setValues({kesh::Guid::fromString(guid).toBytes()});
    object["objectGUID"].setBinary(true);
  }
  object["description"].setValues({"first"});
  return object;
}

kesh::ADObject Alice() { return MakeObject(kAliceDn, "Person", "alice", kAliceSid, kAliceGuid); }

const char* const kCnOnly[] = {"cn", nullptr};
const char* const kCnAndDescription[] = {"cn", "description", nullptr};

std::vector<std::string> Keys(const Cache& cache) {
  std::vector<std::string> keys;
  for (const auto& entry : cache.objects) keys.push_back(entry.first);
  return keys;
}

// A cache as `cache -memory on` leaves it.
void TurnOnMemory(Cache& cache) {
  cache.memory = true;
  cache.opened = true;
  cache.enabled = true;
}

TEST(Adler32, PublishedVectors) {
  struct Case {
    const char* label;
    std::string data;
    unsigned long expected;
  } cases[] = {
      {"empty", "", 1},
      {"a", "a", 0x00620062},
      {"abc", "abc", 0x024d0127},
      {"Wikipedia", "Wikipedia", 0x11E60398},
      {"embedded NUL", std::string("a\0b", 3), 0x018800C4},
      // Long enough that the sums wrap the modulus many times.
      {"5552 bytes of 0xff", std::string(5552, '\xff'), 0xF18F9B8C},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.expected, Cache::adler32(reinterpret_cast<const unsigned char*>(c.data.data()),
                                         static_cast<int>(c.data.size())))
        << c.label;
  }
  const unsigned char byte = 'x';
  EXPECT_EQ(1u, Cache::adler32(&byte, -3)) << "negative length";
  EXPECT_EQ(1u, Cache::adler32(nullptr, 0)) << "null data";
}

TEST(ComputeAttrHash, KeysOfAttributeLists) {
  const char* const ab_c[] = {"ab", "c", nullptr};
  const char* const a_bc[] = {"a", "bc", nullptr};
  const char* const c_ab[] = {"c", "ab", nullptr};
  const char* const none[] = {nullptr};
  EXPECT_EQ(":0", Cache::ComputeAttrHash(nullptr));
  EXPECT_EQ(":1", Cache::ComputeAttrHash(none));  // adler32 of no bytes
  EXPECT_EQ(":" + std::to_string(0x024d0127ul), Cache::ComputeAttrHash(ab_c));
  // Lists that join to the same text share a key; another order is another key.
  EXPECT_EQ(Cache::ComputeAttrHash(ab_c), Cache::ComputeAttrHash(a_bc));
  EXPECT_NE(Cache::ComputeAttrHash(ab_c), Cache::ComputeAttrHash(c_ab));
}

TEST(CacheDisabled, LookupsAnswerEmptyAndStoresDoNothing) {
  Cache cache;
  kesh::SID sid(kAliceSid);
  cache.cacheObject(Alice(), nullptr, "");
  EXPECT_TRUE(cache.objects.empty());
  EXPECT_TRUE(cache.lookupDN(kAliceDn, nullptr, "").empty());
  EXPECT_TRUE(cache.lookupSid(sid, nullptr).empty());
  EXPECT_TRUE(cache.lookupUser("alice@example.test", nullptr).empty());

  // Closed: remove does not even trace.
  cache.trace = true;
  TraceLog log(cache);
  cache.remove(kAliceDn);
  EXPECT_EQ("", log.text);
}

TEST(CacheMemory, StoresUnderDnGuidSidAndNameKeys) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(Alice(), nullptr, "");
  std::vector<std::string> expected = {
      "00112233445566778899aabbccddeeff:0",
      "alice@example.test:0",
      "cn=alice,cn=users,dc=example,dc=test:0",
      "s-1-5-21-1-2-3-1104:0",
  };
  EXPECT_EQ(expected, Keys(cache));

  kesh::SID sid(kAliceSid);
  for (kesh::ADObject hit :
       {cache.lookupDN("cn=ALICE,CN=Users,DC=Example,DC=test", nullptr, ""),
        cache.lookupSid(sid, nullptr), cache.lookupUser("Alice@Example.Test", nullptr)}) {
    ASSERT_FALSE(hit.empty());
    EXPECT_EQ(kAliceDn, hit.dn());
    EXPECT_EQ("first", std::string(hit["description"]));
    EXPECT_TRUE(hit.isIndexed());
  }
  // GUID keys are written but never read.
  EXPECT_TRUE(cache.lookupGuid("00112233445566778899aabbccddeeff", nullptr).empty());
  // Another attribute list is another entry.
  EXPECT_TRUE(cache.lookupDN(kAliceDn, kCnOnly, "").empty());
}

TEST(CacheMemory, OnlyPersonsGetANameKeyAndOnlySidsASidKey) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(MakeObject("CN=Staff,DC=example,DC=test", "Group", "staff",
                               "S-1-5-21-1-2-3-1200", "0102030405060708090A0B0C0D0E0F10"),
                    nullptr, "");
  cache.cacheObject(MakeObject("OU=Units,DC=example,DC=test", "Organizational-Unit", "", "",
                               "1112131415161718191A1B1C1D1E1F20"),
                    kCnOnly, "");
  std::string cnHash = Cache::ComputeAttrHash(kCnOnly);
  std::vector<std::string> expected = {
      "0102030405060708090a0b0c0d0e0f10:0",
      "1112131415161718191a1b1c1d1e1f20" + cnHash,
      "cn=staff,dc=example,dc=test:0",
      "ou=units,dc=example,dc=test" + cnHash,
      "s-1-5-21-1-2-3-1200:0",
  };
  EXPECT_EQ(expected, Keys(cache));
}

TEST(CacheMemory, NameWithCapitalsIsStoredButNeverFound) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(MakeObject("CN=Bob,CN=Users,DC=example,DC=test", "Person", "Bob",
                               "S-1-5-21-1-2-3-1105", "2122232425262728292A2B2C2D2E2F30"),
                    nullptr, "");
  EXPECT_EQ(1u, cache.objects.count("Bob@example.test:0"));
  EXPECT_TRUE(cache.lookupUser("Bob@example.test", nullptr).empty());
  EXPECT_TRUE(cache.lookupUser("bob@example.test", nullptr).empty());
}

TEST(CacheMemory, RootDseKeyCarriesTheDomainSuffix) {
  Cache cache;
  TurnOnMemory(cache);
  kesh::ADObject root;
  root["distinguishedName"].setValues({""});
  root["rootDomainNamingContext"].setValues({"DC=example,DC=test"});
  cache.cacheObject(root, nullptr, "dc=example,dc=test");
  EXPECT_EQ(1u, cache.objects.count(":0dc=example,dc=test"));
  EXPECT_FALSE(cache.lookupDN("", nullptr, "dc=example,dc=test").empty());
  EXPECT_TRUE(cache.lookupDN("", nullptr, "dc=other,dc=test").empty());
}

TEST(CacheMemory, HitIsACopyTheCallerCannotSpoil) {
  Cache cache;
  TurnOnMemory(cache);
  kesh::ADObject original = Alice();
  cache.cacheObject(original, nullptr, "");
  original["description"] = "changed by the caller";
  kesh::ADObject hit = cache.lookupDN(kAliceDn, nullptr, "");
  hit["description"] = "changed after the hit";
  EXPECT_EQ("first", std::string(cache.lookupDN(kAliceDn, nullptr, "")["description"]));
}

TEST(CacheMemory, SecondStoreOfTheSameKeyKeepsTheFirst) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(Alice(), nullptr, "");
  kesh::ADObject newer = Alice();
  newer["description"].setValues({"second"});
  cache.cacheObject(newer, nullptr, "");
  EXPECT_EQ("first", std::string(cache.lookupDN(kAliceDn, nullptr, "")["description"]));
}

TEST(CacheMemory, RemoveDropsEveryAttributeListAndTheSecondaryKeys) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(Alice(), nullptr, "");
  cache.cacheObject(Alice(), kCnAndDescription, "");
  // A neighbour whose DN begins with the same text must survive.
  cache.cacheObject(MakeObject("CN=Alice2,CN=Users,DC=example,DC=test", "Person", "alice2",
                               "S-1-5-21-1-2-3-1110", "FF112233445566778899AABBCCDDEEFF"),
                    nullptr, "");
  ASSERT_EQ(12u, cache.objects.size());

  cache.trace = true;
  TraceLog log(cache);
  cache.remove("cn=alice,CN=Users,DC=example,DC=test");
  std::string out = log.text;

  std::string hash = Cache::ComputeAttrHash(kCnAndDescription);
  EXPECT_EQ(
      // The first DN entry takes the secondary keys of both attribute lists with it.
      "cache remove cn=alice,CN=Users,DC=example,DC=test\n"
      "cache erase s-1-5-21-1-2-3-1104:0\n"
      "cache erase s-1-5-21-1-2-3-1104" +
          hash +
          "\n"
          "cache erase alice@example.test:0\n"
          "cache erase alice@example.test" +
          hash +
          "\n"
          "cache erase 00112233445566778899aabbccddeeff:0\n"
          "cache erase 00112233445566778899aabbccddeeff" +
          hash + "\n",
      out);
  std::vector<std::string> expected = {
      "alice2@example.test:0",
      "cn=alice2,cn=users,dc=example,dc=test:0",
      "ff112233445566778899aabbccddeeff:0",
      "s-1-5-21-1-2-3-1110:0",
  };
  EXPECT_EQ(expected, Keys(cache));
}

TEST(CacheMemory, RemoveWorksWhileDisabledOnceOpened) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(Alice(), nullptr, "");
  cache.enabled = false;
  cache.remove(kAliceDn);
  EXPECT_TRUE(cache.objects.empty());
}

TEST(CacheMemory, TraceLinesOfStoreHitAndSearch) {
  Cache cache;
  TurnOnMemory(cache);
  cache.trace = true;
  TraceLog log(cache);
  cache.cacheObject(Alice(), nullptr, "");
  cache.lookupDN(kAliceDn, nullptr, "");
  cache.lookupDN("CN=Nobody,DC=example,DC=test", nullptr, "");
  kesh::ADObjectList list = cache.search("(cn=*)", "DC=example,DC=test", nullptr);
  cache.cacheObject(Alice(), nullptr, "");  // already there: a hit, no store
  std::string out = log.text;
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(std::string("cache store ") + kAliceDn + "\n" +
                "cache hit cn=alice,cn=users,dc=example,dc=test:0\n"
                "search (cn=*) DC=example,DC=test\n"
                "cache hit cn=alice,cn=users,dc=example,dc=test:0\n",
            out);
}

// The sink may run script code that changes the cache (a channel transform running
// `cache clear`); removal must not touch entries or iterators that the sink invalidated.
TEST(CacheMemory, TraceSinkThatClearsTheCacheDuringRemove) {
  Cache cache;
  TurnOnMemory(cache);
  cache.cacheObject(Alice(), nullptr, "");
  cache.cacheObject(Alice(), kCnAndDescription, "");
  cache.trace = true;
  std::vector<std::string> lines;
  cache.setTraceSink([&](const std::string& line) {
    lines.push_back(line);
    cache.clear();
  });
  cache.remove(kAliceDn);
  EXPECT_TRUE(cache.objects.empty());
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(std::string("cache remove ") + kAliceDn, lines.front());

  // The same when the entries go one trace line at a time.
  cache.setTraceSink(nullptr);
  cache.cacheObject(Alice(), nullptr, "");
  cache.cacheObject(Alice(), kCnOnly, "");
  lines.clear();
  cache.setTraceSink([&](const std::string& line) {
    lines.push_back(line);
    if (!cache.objects.empty()) cache.objects.erase(cache.objects.begin());
  });
  cache.eraseSecondary(kAliceSid);
  cache.remove(kAliceDn);
  EXPECT_TRUE(cache.objects.empty());
}

TEST(CacheMemory, CacheListStoresEachObjectAndClearEmpties) {
  Cache cache;
  TurnOnMemory(cache);
  kesh::ADObjectList list;
  list.push_back(Alice());
  list.push_back(MakeObject("CN=Staff,DC=example,DC=test", "Group", "staff", "", ""));
  cache.cacheList(list, kCnOnly);
  EXPECT_FALSE(cache.lookupDN(kAliceDn, kCnOnly, "").empty());
  EXPECT_FALSE(cache.lookupDN("CN=Staff,DC=example,DC=test", kCnOnly, "").empty());
  cache.clear();
  EXPECT_TRUE(cache.objects.empty());
  EXPECT_TRUE(cache.opened);
}

// --- SQLite store ---------------------------------------------------------------------------

class CacheFile : public testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/zs-cache-test-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    dir_ = dir;
    path_ = dir_ + "/cache.db";
  }
  void TearDown() override {
    unlink(path_.c_str());
    rmdir(dir_.c_str());
  }

  // Rows of a query against the file, each row's columns joined by "|".
  std::vector<std::string> Query(const std::string& sql) {
    std::vector<std::string> rows;
    sqlite3* db = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open_v2(path_.c_str(), &db, SQLITE_OPEN_READONLY, nullptr));
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr));
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::string row;
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        if (i) row += "|";
        const unsigned char* text = sqlite3_column_text(statement, i);
        row += text ? reinterpret_cast<const char*>(text) : "NULL";
      }
      rows.push_back(row);
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
  }

  void Open(Cache& cache, bool keep) {
    cache.open(path_, keep);
    cache.enabled = true;
  }

  std::string dir_;
  std::string path_;
};

TEST_F(CacheFile, CreatesTheTableAndIndexes) {
  Cache cache;
  Open(cache, false);
  EXPECT_TRUE(cache.opened);
  EXPECT_FALSE(cache.memory);
  std::vector<std::string> expected = {
      "index|idx1", "index|idx2", "index|idx3", "index|idx4", "table|object",
  };
  EXPECT_EQ(expected, Query("select type, name from sqlite_master order by name"));
  EXPECT_EQ(std::vector<std::string>{"CREATE TABLE [object] ([id] integer not null primary "
                                     "key,[data] blob not null,[dn] text not null,[sid] text,"
                                     "[name] text,[guid] text not null)"},
            Query("select sql from sqlite_master where name = 'object'"));
}

TEST_F(CacheFile, RowsCarryTheKeysAndNullsWhereThereAreNone) {
  Cache cache;
  Open(cache, false);
  cache.cacheObject(Alice(), nullptr, "");
  cache.cacheObject(MakeObject("OU=Units,DC=example,DC=test", "Organizational-Unit", "", "",
                               "1112131415161718191A1B1C1D1E1F20"),
                    kCnOnly, "");
  std::string cnHash = Cache::ComputeAttrHash(kCnOnly);
  std::vector<std::string> expected = {
      "cn=alice,cn=users,dc=example,dc=test:0|00112233445566778899aabbccddeeff:0|"
      "s-1-5-21-1-2-3-1104:0|alice@example.test:0",
      "ou=units,dc=example,dc=test" + cnHash + "|1112131415161718191a1b1c1d1e1f20" + cnHash +
          "|NULL|NULL",
  };
  EXPECT_EQ(expected, Query("select dn, guid, sid, name from object order by id"));
  EXPECT_TRUE(cache.objects.empty());
}

TEST_F(CacheFile, LookupsReadTheSerialisedObjectBack) {
  Cache cache;
  Open(cache, false);
  cache.cacheObject(Alice(), nullptr, "");
  kesh::SID sid(kAliceSid);
  for (kesh::ADObject hit : {cache.lookupDN(kAliceDn, nullptr, ""), cache.lookupSid(sid, nullptr),
                             cache.lookupUser("alice@example.test", nullptr)}) {
    ASSERT_FALSE(hit.empty());
    EXPECT_EQ(kAliceDn, hit.dn());
    EXPECT_EQ(sid, hit.sid());
    EXPECT_EQ("first", std::string(hit["description"]));
  }
  EXPECT_TRUE(cache.lookupDN(kAliceDn, kCnOnly, "").empty());
}

TEST_F(CacheFile, RemoveDeletesEveryRowWhoseKeyBeginsWithTheDn) {
  Cache cache;
  Open(cache, false);
  cache.cacheObject(Alice(), nullptr, "");
  cache.cacheObject(Alice(), kCnOnly, "");
  cache.cacheObject(MakeObject("CN=Staff,DC=example,DC=test", "Group", "staff", "", ""), nullptr,
                    "");
  cache.trace = true;
  TraceLog log(cache);
  cache.remove("CN=Alice,CN=Users,DC=Example,DC=Test");
  EXPECT_EQ("cache remove CN=Alice,CN=Users,DC=Example,DC=Test\n", log.text);
  EXPECT_EQ(std::vector<std::string>{"cn=staff,dc=example,dc=test:0"},
            Query("select dn from object"));
  EXPECT_TRUE(cache.lookupDN(kAliceDn, nullptr, "").empty());
}

TEST_F(CacheFile, KeepReusesTheFileAndWithoutKeepStartsAfresh) {
  {
    Cache cache;
    Open(cache, false);
    cache.cacheObject(Alice(), nullptr, "");
  }
  {
    Cache cache;
    Open(cache, true);
    EXPECT_FALSE(cache.lookupDN(kAliceDn, nullptr, "").empty());
  }
  {
    Cache cache;
    Open(cache, false);
    EXPECT_TRUE(cache.lookupDN(kAliceDn, nullptr, "").empty());
    EXPECT_TRUE(Query("select dn from object").empty());
  }
}

TEST_F(CacheFile, NewFileIsReadableByItsOwnerOnlyWhateverTheUmask) {
  mode_t old = umask(0);
  Cache cache;
  Open(cache, false);
  umask(old);
  struct stat st;
  ASSERT_EQ(0, stat(path_.c_str(), &st));
  EXPECT_EQ(0600u, st.st_mode & 0777u);
}

// A file that is no cache database is never replaced or used, and a refused open leaves
// the cache as it was: a later open of a good file works.
TEST_F(CacheFile, RefusesAFileThatIsNotACacheDatabase) {
  struct Case {
    const char* label;
    std::string content;
  } cases[] = {
      {"text", "precious notes\n"},
      {"SQLite header, garbage after",
       std::string("SQLite format 3\0", 16) + std::string(200, 'x')},
  };
  for (const Case& c : cases) {
    for (bool keep : {false, true}) {
      { std::ofstream(path_, std::ios::binary) << c.content; }
      Cache cache;
      try {
        cache.open(path_, keep);
        ADD_FAILURE() << c.label << ": opened";
      } catch (const kesh::BadDataException& e) {
        EXPECT_EQ(path_ + " is not a cache database; it was left as it is", e.what()) << c.label;
      }
      std::ifstream in(path_, std::ios::binary);
      std::stringstream content;
      content << in.rdbuf();
      EXPECT_EQ(c.content, content.str()) << c.label << ": file changed";
      EXPECT_FALSE(cache.opened) << c.label;
      EXPECT_FALSE(cache.db) << c.label;

      std::string good = dir_ + "/good.db";
      cache.open(good, false);
      cache.enabled = true;
      cache.cacheObject(Alice(), nullptr, "");
      EXPECT_FALSE(cache.lookupDN(kAliceDn, nullptr, "").empty()) << c.label;
      unlink(good.c_str());
    }
  }
  // A sqlite database of another schema is no cache either.
  unlink(path_.c_str());
  sqlite3* db = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(path_.c_str(), &db));
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(db, "create table notes(text);", nullptr, nullptr, nullptr));
  sqlite3_close(db);
  Cache cache;
  EXPECT_THROW(cache.open(path_, false), kesh::BadDataException);
  EXPECT_EQ(std::vector<std::string>{}, Query("select text from notes"));
  EXPECT_THROW(cache.open(dir_, false), kesh::BadDataException) << "a directory";
}

TEST_F(CacheFile, ClearEmptiesTheTable) {
  Cache cache;
  Open(cache, false);
  cache.cacheObject(Alice(), nullptr, "");
  cache.clear();
  EXPECT_TRUE(Query("select dn from object").empty());
  EXPECT_TRUE(cache.lookupDN(kAliceDn, nullptr, "").empty());
}

}  // namespace
