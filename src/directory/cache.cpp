#include "directory/cache.h"

#include <sys/stat.h>
#include <unistd.h>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/sqlite.h"
#include "directory/principal.h"

using boost::algorithm::starts_with;
using boost::algorithm::to_lower_copy;

namespace {

const char kSchema[] =
    "create table [object] ([id] integer not null primary key,[data] blob not null,[dn] text "
    "not null,[sid] text,[name] text,[guid] text not null);create index idx1 on "
    "[object]([dn] asc);create index idx2 on [object]([sid] asc);create index idx3 on "
    "[object]([guid] asc);create index idx4 on [object]([name] asc);";

enum StatementIndex { kInsert = 0, kByDn = 1, kBySid = 2, kByName = 3, kDeleteDn = 4 };

const char* const kStatementSql[] = {
    "insert into [object](data,dn,guid,sid,name) values(?, ?, ?, ?, ?);",
    "select [data] from [object] where [dn]=?;",
    "select [data] from [object] where [sid]=?;",
    "select [data] from [object] where [name]=?;",
    "delete from [object] where [dn] like ?;",
};

// SQLite open flags: read-write, and create.
constexpr int kOpenReadOnly = 1;
constexpr int kOpenReadWrite = 2;
constexpr int kOpenReadWriteCreate = 6;

bool IsPerson(const kesh::ADObject& object) { return object.category() == "Person"; }

// Whether the existing file `path` may serve as, or be replaced by, a cache database: an
// empty regular file, or a SQLite database that holds the object table.
bool IsCacheFile(const std::string& path, const struct stat& st) {
  if (!S_ISREG(st.st_mode)) return false;
  if (st.st_size == 0) return true;
  static const char kMagic[] = "SQLite format 3";  // with its NUL: 16 bytes
  char header[sizeof kMagic] = {};
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  size_t got = fread(header, 1, sizeof header, file);
  fclose(file);
  if (got != sizeof header || memcmp(header, kMagic, sizeof header) != 0) return false;
  try {
    Sqlite::DB db = Sqlite::DB::Open(path, kOpenReadOnly);
    db.prepare("select [id],[data],[dn],[sid],[name],[guid] from [object] limit 0;");
    return true;
  } catch (const KESHException&) {
    return false;
  }
}

}  // namespace

void Cache::traceLine(const std::string& line) {
  if (trace && traceSink_) traceSink_(line);
}

Cache::~Cache() {
  // Statements are finalised before their database closes.
  for (auto& statement : statements_) statement.reset();
  db.reset();
}

std::shared_ptr<Sqlite::Statement> Cache::getStatement(int index, const char* sql) {
  if (!statements_[index])
    statements_[index] = std::make_shared<Sqlite::Statement>(db->prepare(sql));
  return statements_[index];
}

unsigned long Cache::adler32(const unsigned char* data, int length) {
  constexpr unsigned long kModulus = 65521;
  if (length <= 0) return 1;
  unsigned long a = 1, b = 0;
  for (int i = 0; i < length; ++i) {
    a = (a + data[i]) % kModulus;
    b = (b + a) % kModulus;
  }
  return (b << 16) | a;
}

std::string Cache::ComputeAttrHash(kesh::AttrList attrs) {
  unsigned long value = 0;
  if (attrs) {
    std::string joined;
    for (kesh::AttrList a = attrs; *a; ++a) joined += *a;
    value = adler32(reinterpret_cast<const unsigned char*>(joined.data()),
                    static_cast<int>(joined.size()));
  }
  return ":" + std::to_string(value);
}

void Cache::open(const std::string& path, bool keep) {
  struct stat st;
  const bool exists = stat(path.c_str(), &st) == 0;
  if (exists && !IsCacheFile(path, st)) {
    KESH_THROW(kesh::BadDataException, 0, "%s is not a cache database; it was left as it is",
               path.c_str());
  }
  // Everything is set up aside and taken over only when it all worked, so a refused open
  // leaves the cache as it was.
  std::shared_ptr<Sqlite::DB> opening;
  if (!keep || !exists) {
    // A fresh file each time: whatever an earlier run left is gone.
    if (exists) unlink(path.c_str());
    opening = std::make_shared<Sqlite::DB>(Sqlite::DB::Create(path, kSchema, kOpenReadWrite));
  } else {
    opening = std::make_shared<Sqlite::DB>(Sqlite::DB::Open(path, kOpenReadWriteCreate));
  }
  // The cache trades durability for speed: it can always be rebuilt.
  opening->execute("PRAGMA synchronous=OFF");
  opening->execute("PRAGMA temp_store=MEMORY");
  opening->execute("PRAGMA count_changes=OFF");
  opening->execute("PRAGMA journal_mode=OFF");

  for (auto& statement : statements_) statement.reset();
  db = std::move(opening);
  memory = false;
  opened = true;
}

void Cache::clear() {
  if (db) {
    db->execute("delete from object");
  } else {
    objects.clear();
  }
}

kesh::ADObject Cache::lookup(int index, const std::string& key) {
  kesh::ADObject object;
  if (memory) {
    auto it = objects.find(key);
    if (it == objects.end()) return object;
    // The caller may change its object; the cached one stays as it was read.
    object = it->second.clone();
  } else {
    if (!db) return object;
    std::shared_ptr<Sqlite::Statement> statement = getStatement(index, kStatementSql[index]);
    statement->bind(1, key);
    bool found = statement->nextRow();
    std::string data;
    if (found) data = statement->getText(0);
    statement->rewind();
    if (!found) return object;
    object = kesh::ADObject(data.size(), data.data(), false, nullptr);
    object.deSerialize(false);
  }
  object.setIndexed(true);
  traceLine("cache hit " + key);
  return object;
}

kesh::ADObject Cache::lookupDN(const std::string& dn, kesh::AttrList attrs,
                               const std::string& suffix) {
  if (!enabled) return kesh::ADObject();
  return lookup(kByDn, to_lower_copy(dn + ComputeAttrHash(attrs) + suffix));
}

kesh::ADObject Cache::lookupGuid(const std::string&, kesh::AttrList) {
  // GUID keys are stored but not read back.
  return kesh::ADObject();
}

kesh::ADObject Cache::lookupSid(kesh::SID& sid, kesh::AttrList attrs) {
  if (!enabled) return kesh::ADObject();
  return lookup(kBySid, to_lower_copy(sid.toMSString() + ComputeAttrHash(attrs)));
}

kesh::ADObject Cache::lookupUser(const std::string& name, kesh::AttrList attrs) {
  if (!enabled) return kesh::ADObject();
  return lookup(kByName, to_lower_copy(name + ComputeAttrHash(attrs)));
}

kesh::ADObjectList Cache::search(const std::string& filter, const std::string& base,
                                 kesh::AttrList) {
  traceLine("search " + filter + " " + base);
  return kesh::ADObjectList();
}

void Cache::cacheObject(kesh::ADObject object, kesh::AttrList attrs, const std::string& suffix) {
  if (!enabled) return;
  std::string data = object.getSerialized();
  std::string dn;
  try {
    dn = object.dn();
  } catch (const std::exception&) {
    dn.clear();
  }
  if (!lookupDN(dn, attrs, suffix).empty()) return;
  traceLine("cache store " + dn);
  // The trace may have turned the cache off or cleared it; storing now is still harmless.

  std::string hash = ComputeAttrHash(attrs);
  std::string dnKey = to_lower_copy(dn) + hash + suffix;
  std::string guidKey = to_lower_copy(object.guid().toString()) + hash;
  std::string sidText = object.sid().toMSString();
  std::string sidKey = sidText.empty() ? std::string() : to_lower_copy(sidText) + hash;
  // Stored as the name is written, looked up in lower case: an account name with capitals
  // is never found through lookupUser.
  std::string nameKey = IsPerson(object) ? GetUserName(object, false) + hash : std::string();

  if (!memory) {
    if (!db) return;
    std::shared_ptr<Sqlite::Statement> insert = getStatement(kInsert, kStatementSql[kInsert]);
    insert->bindBlob(1, data);
    insert->bind(2, dnKey);
    insert->bind(3, guidKey);
    if (sidKey.empty()) {
      insert->bindNull(4);
    } else {
      insert->bind(4, sidKey);
    }
    if (nameKey.empty()) {
      insert->bindNull(5);
    } else {
      insert->bind(5, nameKey);
    }
    insert->execute();
    insert->rewind();
    return;
  }
  kesh::ADObject stored = object.clone();
  objects[dnKey] = stored;
  objects[guidKey] = stored;
  if (!sidKey.empty()) objects[sidKey] = stored;
  if (!nameKey.empty()) objects[nameKey] = stored;
}

void Cache::cacheList(kesh::ADObjectList list, kesh::AttrList attrs) {
  if (!enabled) return;
  for (kesh::ADObject& object : list) cacheObject(object, attrs, std::string());
}

void Cache::remove(const std::string& dn) {
  if (!opened) return;
  traceLine("cache remove " + dn);
  if (!memory) {
    if (!db) return;
    std::shared_ptr<Sqlite::Statement> erase = getStatement(kDeleteDn, kStatementSql[kDeleteDn]);
    erase->bind(1, to_lower_copy(dn) + "%");
    erase->execute();
    erase->rewind();
    return;
  }
  std::string prefix = to_lower_copy(dn) + ":";
  std::vector<std::string> keys;
  for (auto it = objects.lower_bound(prefix); it != objects.end() && starts_with(it->first, prefix);
       ++it) {
    keys.push_back(it->first);
  }
  // Each step looks its entry up again: a trace line in between may have changed the store.
  for (const std::string& key : keys) {
    auto it = objects.find(key);
    if (it == objects.end()) continue;
    kesh::ADObject object = it->second;
    eraseSecondary(object.sid().toMSString());
    if (IsPerson(object)) eraseSecondary(GetUserName(object, false));
    eraseSecondary(object.guid().toString());
    objects.erase(key);
  }
}

void Cache::eraseSecondary(const std::string& key) {
  std::string prefix = to_lower_copy(key) + ":";
  std::vector<std::string> keys;
  for (auto it = objects.lower_bound(prefix); it != objects.end() && starts_with(it->first, prefix);
       ++it) {
    keys.push_back(it->first);
  }
  for (const std::string& erased : keys) {
    if (objects.erase(erased) == 0) continue;
    traceLine("cache erase " + erased);
  }
}
