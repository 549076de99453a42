// Commands that read and change any directory object, without zones.
//
// A script selects one object as the session's current object (or makes a new one in
// memory), changes its attributes in memory and saves it. Every command goes through the
// binding of the domain that the object's DN names. add_object_value and
// remove_object_value work on the DN they are given and leave the current object alone.
#ifndef ZONESMITH_DIRECTORY_OBJ_FUNC_H_
#define ZONESMITH_DIRECTORY_OBJ_FUNC_H_

#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "script/cpptcl.h"

// `select_object [-rootdse] [-attrs a1,a2,...] [-gc] <dn>`. A failed read leaves the
// former current object in place.
void SelectObject(const Tcl::object& args);
// `new_object <dn>`: an unsaved object in memory. Throws kesh::BadDataException
// "Object already exists" when the directory can read `dn`.
void NewObject(const std::string& dn);
// `set_object_field <field> [<value>...]`: "sd" takes SDDL text; no value clears the field
// at the next save. "sid", "dn" and "guid" cannot be set.
void SetObjectField(const std::string& field, const Tcl::object& values);
// `get_object_field <field>`: the values as a Tcl list ("sid", "guid", "dn" and "sd" as
// text); the values of a ranged or absent attribute are read from the directory first.
Tcl::object GetObjectField(const std::string& field);
// `get_object_field_names`: the attribute names of the current object, in name order.
Tcl::object GetObjectFieldNames();
// `add_object_value <dn> <field> <value>`, `remove_object_value ...`: adds (removes) one
// value of `dn` in the directory at once; the other values stay. Answer true.
bool AddObjectValue(const std::string& dn, const std::string& field, const std::string& value);
bool RemoveObjectValue(const std::string& dn, const std::string& field, const std::string& value);
// `save_object`: adds a new object or replaces the changed attributes of a selected one.
// When the write fails it is tried once more with only the DACL of the descriptor.
void SaveObject();
// `delete_object`: deletes the current object; afterwards none is selected.
void DeleteObject();
// `delete_sub_tree <dn>`: deletes `dn` with all its descendants.
void DeleteSubTree(const Tcl::object& args);
// `move_object <parent>`, `rename_object <cn>`: the current object becomes the moved or
// renamed object as read back; unsaved changes are gone.
void MoveObject(const std::string& parent);
void RenameObject(const std::string& cn);
// `get_objects [-gc] [-depth one|sub] [-limit <n>] [-f <forest>] <base> <filter>`: the DNs
// of the matching objects, in the order of the search.
Tcl::object GetObjects(const Tcl::object& args);
// `dump_object`: writes the current object to standard output.
void DumpObject();

// Splits "a,b,c" into attribute names; `list()` is the null-terminated list for a read
// and stays valid while this object lives.
class AttrNames {
 public:
  explicit AttrNames(const std::string& commaList);
  AttrNames(const AttrNames&) = delete;
  AttrNames& operator=(const AttrNames&) = delete;
  kesh::AttrList list() const { return pointers_.data(); }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::vector<std::string> names_;
  std::vector<const char*> pointers_;
};

// The text dump_object writes for `object`.
std::string DumpObjectText(kesh::ADObject& object);

#endif  // ZONESMITH_DIRECTORY_OBJ_FUNC_H_
