// Cache: the object cache of one interpreter.
//
// Fetched objects are kept by DN, GUID, SID and user name, in memory or in a SQLite file,
// so that scripts that read the same objects again and again do not ask the directory
// each time. It is closed and disabled until the `cache` command turns it on; it belongs
// to the interpreter's ContextTab, outside the frames that push and pop save.
#ifndef ZONESMITH_DIRECTORY_CACHE_H_
#define ZONESMITH_DIRECTORY_CACHE_H_

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"

namespace Sqlite {
class DB;
class Statement;
}  // namespace Sqlite

class Cache {
 public:
  Cache() = default;
  ~Cache();  // closes the database
  Cache(const Cache&) = delete;
  Cache& operator=(const Cache&) = delete;

  // Sets up a SQLite store at `path`: a fresh file, readable by its owner only, unless
  // `keep` and the file exists, when its entries are used as they are. Throws
  // kesh::BadDataException, leaving the file and this cache as they were, when `path`
  // exists and is not a cache database (an empty regular file counts as one).
  void open(const std::string& path, bool keep);
  // Empties the store.
  void clear();

  // Each answers an empty object when there is no hit or the cache is disabled.
  kesh::ADObject lookupDN(const std::string& dn, kesh::AttrList attrs, const std::string& suffix);
  kesh::ADObject lookupGuid(const std::string& guid, kesh::AttrList attrs);
  kesh::ADObject lookupSid(kesh::SID& sid, kesh::AttrList attrs);
  kesh::ADObject lookupUser(const std::string& name, kesh::AttrList attrs);
  // Never searches: traces and answers an empty list, so searches reach the directory.
  kesh::ADObjectList search(const std::string& filter, const std::string& base,
                            kesh::AttrList attrs);

  void cacheObject(kesh::ADObject object, kesh::AttrList attrs, const std::string& suffix);
  void cacheList(kesh::ADObjectList list, kesh::AttrList attrs);
  // Drops every entry of `dn` (all attribute lists) and its secondary keys.
  void remove(const std::string& dn);
  void eraseSecondary(const std::string& key);

  // Where trace lines go (without their newline) while `trace` is set. The sink may run
  // script code, even code that changes this cache: no operation holds an iterator or a
  // reference into the store across a trace line.
  void setTraceSink(std::function<void(const std::string&)> sink) { traceSink_ = std::move(sink); }

  static std::string ComputeAttrHash(kesh::AttrList attrs);
  static unsigned long adler32(const unsigned char* data, int length);

  // State, as the `cache` command sets it.
  std::shared_ptr<Sqlite::DB> db;
  bool enabled = false;
  bool memory = false;
  bool opened = false;
  bool trace = false;
  std::map<std::string, kesh::ADObject> objects;

 private:
  std::shared_ptr<Sqlite::Statement> getStatement(int index, const char* sql);
  // The entry under `key`: from `objects` in memory mode, else through statement `index`.
  kesh::ADObject lookup(int index, const std::string& key);
  void traceLine(const std::string& line);

  std::function<void(const std::string&)> traceSink_;
  std::array<std::shared_ptr<Sqlite::Statement>, 5> statements_;
};

#endif  // ZONESMITH_DIRECTORY_CACHE_H_
