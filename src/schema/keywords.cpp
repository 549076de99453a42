// Keyword dictionaries: the table of extended attributes and the codec between a
// multi-valued "key:text" attribute and an ordered map.
#include "schema/keywords.h"

#include <mutex>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"

namespace {

using Dict = std::map<std::string, std::string>;
using AttrTable = std::map<std::string, ExtendedUserAttr>;

const char KEY_SEPARATOR = ':';
const char MULTI_SEPARATOR = ',';

// One row of the table as written below: key, property, type, multi.
struct TableRow {
  const char* key;
  const char* property;
  int type;
  int multi;
};

AttrTable* BuildTable() {
  const TableRow rows[] = {
      {ADMIN_ATTR, KESH_ADMIN, ExtendedUserAttr::FLAG, 0},
      {ADMGROUPS_ATTR, KESH_ADMGROUPS, ExtendedUserAttr::LIST, 1},
      {AUDITCLASSES_ATTR, KESH_AUDITCLASSES, ExtendedUserAttr::LIST, 1},
      {DAEMON_ATTR, KESH_DAEMON, ExtendedUserAttr::FLAG, 0},
      {LOGINCHK_ATTR, KESH_LOGINCHK, ExtendedUserAttr::FLAG, 0},
      {RLOGINCHK_ATTR, KESH_RLOGINCHK, ExtendedUserAttr::FLAG, 0},
      {SUCHK_ATTR, KESH_SUCHK, ExtendedUserAttr::FLAG, 0},
      {SUGROUPS_ATTR, KESH_SUGROUPS, ExtendedUserAttr::LIST, 1},
      {TPATH_ATTR, KESH_TPATH, ExtendedUserAttr::LIST, 0},
      {TTY_ATTR, KESH_TTY, ExtendedUserAttr::LIST, 1},
      {UMASK_ATTR, KESH_UMASK, ExtendedUserAttr::NUMBER, 0},
      {UFSIZE_ATTR, KESH_UFSIZE, ExtendedUserAttr::NUMBER, 0},
      {UCORE_ATTR, KESH_UCORE, ExtendedUserAttr::NUMBER, 0},
      {UCPU_ATTR, KESH_UCPU, ExtendedUserAttr::NUMBER, 0},
      {UDATA_ATTR, KESH_UDATA, ExtendedUserAttr::NUMBER, 0},
      {URSS_ATTR, KESH_URSS, ExtendedUserAttr::NUMBER, 0},
      {USTACK_ATTR, KESH_USTACK, ExtendedUserAttr::NUMBER, 0},
      {UNOFILES_ATTR, KESH_UNOFILES, ExtendedUserAttr::NUMBER, 0},
      {CAPABILITIES_ATTR, KESH_CAPABILITIES, ExtendedUserAttr::LIST, 1},
      {ROLES_ATTR, KESH_ROLES, ExtendedUserAttr::LIST, 1},
      {DFLT_ROLES_ATTR, KESH_DFLT_ROLES, ExtendedUserAttr::LIST, 1},
      {UFSIZE_HARD_ATTR, KESH_UFSIZE_HARD, ExtendedUserAttr::NUMBER, 0},
      {UCORE_HARD_ATTR, KESH_UCORE_HARD, ExtendedUserAttr::NUMBER, 0},
      {UCPU_HARD_ATTR, KESH_UCPU_HARD, ExtendedUserAttr::NUMBER, 0},
      {UDATA_HARD_ATTR, KESH_UDATA_HARD, ExtendedUserAttr::NUMBER, 0},
      {URSS_HARD_ATTR, KESH_URSS_HARD, ExtendedUserAttr::NUMBER, 0},
      {USTACK_HARD_ATTR, KESH_USTACK_HARD, ExtendedUserAttr::NUMBER, 0},
      {UNOFILES_HARD_ATTR, KESH_UNOFILES_HARD, ExtendedUserAttr::NUMBER, 0},
      {ULIMIT_ATTR, KESH_ULIMIT, ExtendedUserAttr::NUMBER, 0},
      {UTHREADS_ATTR, KESH_UTHREADS, ExtendedUserAttr::NUMBER, 0},
      {UNPROC_ATTR, KESH_UNPROC, ExtendedUserAttr::NUMBER, 0},
      {UTHREADS_HARD_ATTR, KESH_UTHREADS_HARD, ExtendedUserAttr::NUMBER, 0},
      {UNPROC_HARD_ATTR, KESH_UNPROC_HARD, ExtendedUserAttr::NUMBER, 0},
      {ZPA_PRIMARYGROUP_PRIORITY, ZPA_PRIMARYGROUP_PRIORITY, ExtendedUserAttr::LIST, 1},
      {LOCAL_GROUP_MEMBERS, LOCAL_GROUP_MEMBERS, ExtendedUserAttr::LIST, 1},
  };
  auto* table = new AttrTable;
  for (const TableRow& row : rows) {
    ExtendedUserAttr attr;
    attr.key = row.key;
    attr.property = row.property;
    attr.type = row.type;
    attr.multi = row.multi;
    (*table)[attr.key] = attr;
  }
  return table;
}

}  // namespace

const AttrTable& ExtendedAttributes() {
  // One of the process-wide tables: built once, never freed, read-only afterwards.
  static std::once_flag once;
  static const AttrTable* table = nullptr;
  std::call_once(once, [] { table = BuildTable(); });
  return *table;
}

void CramDict(const kesh::ADAttribute* attr, Dict& dict) {
  dict.clear();
  if (attr == nullptr) return;
  const AttrTable table = ExtendedAttributes();
  for (const std::string& value : attr->values()) {
    std::string key;
    std::string text;
    size_t colon = value.find(KEY_SEPARATOR);
    if (colon == std::string::npos) {
      // No colon: the whole value is both key and text, as the UNIX agents read it.
      key = value;
      text = value;
    } else {
      key = value.substr(0, colon);
      text = value.substr(colon + 1);
    }
    if (table.count(key) == 0) {
      dict[key] = text;
      continue;
    }
    auto row = table.find(key);
    if (row == table.end()) {
      KESH_THROW(kesh::NotFoundException, 0, "No such attribute '%s'", key.c_str());
    }
    std::string& current = dict[key];
    if (row->second.multi == 0 || current.empty()) {
      current = text;
    } else {
      current += MULTI_SEPARATOR;
      current += text;
    }
  }
}

void CramAttrs(kesh::ADAttribute& attr, const Dict& dict) {
  attr.reset();
  const AttrTable table = ExtendedAttributes();
  for (const auto& entry : dict) {
    auto row = table.find(entry.first);
    if (row != table.end() && row->second.multi != 0) {
      // Every piece between commas is a value of its own; an empty text writes none.
      const std::string& text = entry.second;
      if (text.empty()) continue;
      size_t start = 0;
      while (true) {
        size_t comma = text.find(MULTI_SEPARATOR, start);
        std::string piece =
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        attr.addVal(entry.first + KEY_SEPARATOR + piece);
        if (comma == std::string::npos) break;
        start = comma + 1;
      }
    } else {
      attr.addVal(entry.first + KEY_SEPARATOR + entry.second);
    }
  }
  attr.setChanged(true);
}

std::string GetCramAttr(const std::string& key, const Dict& dict) {
  auto it = dict.find(key);
  return it == dict.end() ? std::string() : it->second;
}

OptionalField<std::string> GetStringAttr(const std::string& key, const Dict& dict) {
  auto it = dict.find(key);
  if (it == dict.end()) return OptionalField<std::string>();
  return OptionalField<std::string>(it->second);
}

OptionalField<std::string> GetStringAttr(const std::string& name, const kesh::ADObject& object) {
  const kesh::ADAttribute* attr = object.find(name);
  if (attr == nullptr) return OptionalField<std::string>();
  return OptionalField<std::string>(static_cast<std::string>(*attr));
}

void CramSet(const std::string& key, const std::string& value, Dict& dict) {
  if (value.empty()) {
    dict.erase(key);
  } else {
    dict[key] = value;
  }
}

void SetCramAttr(kesh::ADObject& object, const std::string& attribute, const std::string& key,
                 const std::string& value) {
  Dict dict;
  CramDict(object.find(attribute), dict);
  CramSet(key, value, dict);
  CramAttrs(object[attribute], dict);
}
