#include "directory/obj_func.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

#include "directory/cache.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/security_descriptor.h"
#include "directory/library/strings.h"
#include "script/args.h"
#include "script/context.h"
#include "security/sddl.h"

namespace {

Tcl::interpreter& Interp() { return SessionInterp(); }

void RefuseNewObject() {
  if (GetContextTab()->objectIsNew) {
    KESH_THROW(kesh::BadDataException, 0, "Please save the new object first.");
  }
}

// The descriptor flags control: all three parts, or the DACL alone.
void SetSDFlag(std::shared_ptr<MyBinding>& binding, bool ownerAndGroup) {
  binding->binding->setSDFlag(ownerAndGroup
                                  ? kesh::SD_FLAG_OWNER | kesh::SD_FLAG_GROUP | kesh::SD_FLAG_DACL
                                  : kesh::SD_FLAG_DACL);
}

// The values as a Tcl list; the values of a binary attribute (objectSid, ...) as byte
// arrays, so that their bytes reach the script unchanged.
Tcl::object ValueList(const kesh::ADAttribute& attr) {
  Tcl::object result;
  for (const std::string& value : attr.values()) {
    if (attr.binary()) {
      Tcl_Obj* bytes = Tcl_NewByteArrayObj(reinterpret_cast<const unsigned char*>(value.data()),
                                           static_cast<int>(value.size()));
      result.append(Interp(), Tcl::object(bytes, true));
    } else {
      result.append(Interp(), Tcl::object(value));
    }
  }
  return result;
}

}  // namespace

AttrNames::AttrNames(const std::string& commaList) {
  kesh::StringSplit(',', commaList, names_);
  for (const std::string& name : names_) pointers_.push_back(name.c_str());
  pointers_.push_back(nullptr);
}

void SelectObject(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({
      SwitchDef("-rootdse"),
      SwitchDef("-attrs", true),
      SwitchDef("-gc"),
  });
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  const std::string& dn = positional[0];

  std::unique_ptr<AttrNames> attrs;
  if (switches["-attrs"].seen) attrs.reset(new AttrNames(switches["-attrs"].value));
  kesh::AttrList list = attrs ? attrs->list() : nullptr;

  kesh::ADObject object;
  if (!switches["-gc"].seen) {
    std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
    object = binding->fetch(switches["-rootdse"].seen ? std::string() : dn, list, AD_ALL_OBJECTS);
  } else {
    object = GetGCBinding("")->fetch(dn, list, AD_ALL_OBJECTS);
  }
  ContextTab& tab = *GetContextTab();
  tab.object = object;
  tab.objectIsNew = false;
}

void NewObject(const std::string& dn) {
  std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
  bool exists = false;
  try {
    binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
    exists = true;
  } catch (const std::exception&) {
    // Not readable: taken as not there.
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "Object already exists");
  ContextTab& tab = *GetContextTab();
  tab.object = kesh::ADObject(dn);
  tab.objectIsNew = true;
}

void SetObjectField(const std::string& field, const Tcl::object& values) {
  CheckObject();
  if (field == "sid") KESH_THROW(kesh::BadDataException, 0, "Cannot change SID");
  if (field == "dn") KESH_THROW(kesh::BadDataException, 0, "Cannot change dn");
  if (field == "guid") KESH_THROW(kesh::BadDataException, 0, "Cannot change GUID");

  kesh::ADObject& object = GetContextTab()->object;
  const size_t count = values.length(Interp());
  if (field == "sd") {
    if (count == 0) throw Tcl::tcl_syntax_error();
    SDPtr sd = ParseSddl(GetArgString(values, 0));
    kesh::SID domain = GetBindingForDN(object.dn())->getDomainSid();
    FixSD(sd, domain);
    kesh::NetBuf buffer;
    sd->serialize(buffer);
    kesh::ADAttribute& attr = object[AD_NT_SECDESC];
    attr.reset();
    attr.addVal(buffer.data(), true, true);
    return;
  }
  kesh::ADAttribute& attr = object[field];
  if (count == 1) {
    attr = GetArgString(values, 0);
    return;
  }
  attr.reset();
  for (size_t i = 0; i < count; ++i) attr.addVal(GetArgString(values, i), true, false);
}

Tcl::object GetObjectField(const std::string& field) {
  CheckObject();
  kesh::ADObject& object = GetContextTab()->object;
  if (field == "sid") return Tcl::object(object.sid().toMSString());
  if (field == "dn") return Tcl::object(object.dn());
  if (field == "guid") return Tcl::object(object.guid().toRealMSString());
  if (field == "sd") {
    SDPtr sd = GetSD(object);
    return Tcl::object(SDToString(sd));
  }
  kesh::ADAttribute& attr = object[field];
  if (attr.incomplete() || attr.empty()) {
    // Reading the rest of the values is no change of the attribute: a later save must not
    // write back what was only read.
    const bool changed = attr.changed();
    attr.reset();
    GetBindingForDN(object.dn())->getAttributeValues(object, kesh::DN::escapeLDAPFilter(field));
    object[field].setChanged(changed);
  }
  return ValueList(object[field]);
}

Tcl::object GetObjectFieldNames() {
  CheckObject();
  kesh::ADObject& object = GetContextTab()->object;
  object.deSerialize();
  Tcl::object result;
  for (const auto& entry : object.attributes()) result.append(Interp(), Tcl::object(entry.first));
  return result;
}

namespace {

bool ChangeOneValue(const std::string& dn, const std::string& field, const std::string& value,
                    int mode) {
  std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
  static const char* const kCnOnly[] = {"cn", nullptr};
  kesh::ADObject object = binding->fetch(dn, kCnOnly, AD_ALL_OBJECTS);
  kesh::ADAttribute& attr = object[field];
  attr.reset();
  attr.addVal(value, true, false);
  binding->update(object, mode);
  return true;
}

}  // namespace

bool AddObjectValue(const std::string& dn, const std::string& field, const std::string& value) {
  return ChangeOneValue(dn, field, value, 0);
}

bool RemoveObjectValue(const std::string& dn, const std::string& field, const std::string& value) {
  return ChangeOneValue(dn, field, value, 1);
}

void SaveObject() {
  CheckObject();
  ContextTab& tab = *GetContextTab();
  kesh::ADObject& object = tab.object;
  std::shared_ptr<MyBinding> binding = GetBindingForDN(object.dn());
  SetSDFlag(binding, true);
  try {
    binding->write(object, tab.objectIsNew);
  } catch (const std::exception&) {
    // Writing owner and group needs rights that a normal user lacks: send the DACL alone.
    SetSDFlag(binding, false);
    binding->write(object, tab.objectIsNew);
  }
  tab.objectIsNew = false;
}

void DeleteObject() {
  CheckObject();
  ContextTab& tab = *GetContextTab();
  if (tab.objectIsNew) KESH_THROW(kesh::BadDataException, 0, "Object has not been created");
  GetBindingForDN(tab.object.dn())->remove(tab.object, false);
  tab.object = kesh::ADObject();
  tab.objectIsNew = false;
}

void DeleteSubTree(const Tcl::object& args) {
  if (args.length(Interp()) != 1) throw Tcl::tcl_syntax_error();
  const std::string dn = GetArgString(args, 0);
  if (!AreYouSure(dn)) return;
  kesh::ADObject object = GetADObjectByDN(dn);
  GetBindingForDN(dn)->remove(object, true);
}

void MoveObject(const std::string& parent) {
  CheckObject();
  RefuseNewObject();
  ContextTab& tab = *GetContextTab();
  const std::string dn = tab.object.dn();
  const std::string rdn = kesh::LDAPBinding::RDN(dn);
  std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
  binding->move(tab.object, parent);
  tab.object = binding->fetch(rdn + "," + parent, nullptr, AD_ALL_OBJECTS);
}

void RenameObject(const std::string& cn) {
  CheckObject();
  RefuseNewObject();
  ContextTab& tab = *GetContextTab();
  const std::string dn = tab.object.dn();
  const std::string parent = kesh::LDAPBinding::parent(dn);
  std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
  // The new name is a value: its commas, plus signs and the like are escaped, so that it
  // can neither change the parent nor make a multi-valued RDN.
  const std::string rdn = kesh::LDAPBinding::RDN(dn);
  const std::string newRdn = rdn.substr(0, rdn.find('=') + 1) + kesh::DN::escapeRDNValue(cn);
  binding->rename(tab.object, newRdn);
  tab.object = binding->fetch(newRdn + "," + parent, nullptr, AD_ALL_OBJECTS);
}

Tcl::object GetObjects(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({
      SwitchDef("-gc"),
      SwitchDef("-depth", true),
      SwitchDef("-limit", true),
      SwitchDef("-f", true),
  });
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);

  const std::string depth = switches["-depth"].seen ? switches["-depth"].value : "one";
  int scope;
  if (depth == "one") {
    scope = kesh::SCOPE_ONE;
  } else if (depth == "sub") {
    scope = kesh::SCOPE_SUB;
  } else {
    KESH_THROW(kesh::BadDataException, 0, "invalid depth, must be 'one' or 'sub'");
  }
  const std::string limitText = switches["-limit"].seen ? switches["-limit"].value : "0";
  const int limit = static_cast<int>(strtol(limitText.c_str(), nullptr, 10));
  if (positional.size() != 2) throw Tcl::tcl_syntax_error();
  const std::string& base = positional[0];
  const std::string& filter = positional[1];

  std::shared_ptr<MyBinding> binding;
  if (!switches["-gc"].seen) {
    binding = GetBindingForDN(base);
  } else if (switches["-f"].seen) {
    binding = GetGCBinding(switches["-f"].value);
  } else if (!base.empty()) {
    binding = GetGCBinding(kesh::DN::domainFromDN(base));
  } else {
    auto& gcBindings = GetContextTab()->gcBindings;
    if (gcBindings.empty()) KESH_THROW(kesh::NotFoundException, 0, "No binding for GC");
    auto entry = gcBindings.begin();
    binding = entry->second;
    const std::string forest = binding->getForest();
    for (++entry; entry != gcBindings.end(); ++entry) {
      if (entry->second->getForest() != forest) {
        KESH_THROW(kesh::NotFoundException, 0,
                   "Binding for multiple forests are available, please specify which forest "
                   "\nand/or search base to search the object in");
      }
    }
  }

  // With the cache on, all attributes are read, so that the cache learns each object under
  // the same key that a later select_object of its DN asks for. Otherwise the DNs are all
  // the command answers, and the server is asked for no attribute.
  static const char* const kNoAttributes[] = {"1.1", nullptr};
  kesh::AttrList attrs = GetContextTab()->cache->enabled ? nullptr : kNoAttributes;
  kesh::ADObjectList list = binding->search(filter, base, attrs, scope, limit);
  Tcl::object result;
  for (kesh::ADObject& object : list) result.append(Interp(), Tcl::object(object.dn()));
  return result;
}

std::string DumpObjectText(kesh::ADObject& object) {
  if (object.empty()) return "null ADObject\n";
  std::string text = "ADObject: " + object.guid().toDN() + "\n";
  time_t fetched = object.fetchTime();
  char timeText[64];
  text += "Acquired: ";
  text += ctime_r(&fetched, timeText) ? timeText : "\n";
  text += std::string("IsIndexed: ") + (object.isIndexed() ? "Yes" : "No") + "\n";
  text += "Deserialized data:\n";
  object.deSerialize();
  for (const auto& entry : object.attributes()) {
    text += entry.first + ":";
    const kesh::ADAttribute& attr = entry.second;
    if (kesh::CaseInsensitiveLess()(entry.first, AD_NT_SECDESC) ==
            kesh::CaseInsensitiveLess()(AD_NT_SECDESC, entry.first) &&
        !attr.empty()) {
      // Named as get_object_field sd names it: relative to the domain it was read through.
      SDPtr sd = GetSD(object);
      text += SDToString(sd);
    } else {
      for (const std::string& value : attr.values()) text += kesh::printable(value) + ",";
    }
    text += "\n";
  }
  return text;
}

void DumpObject() {
  CheckObject();
  WriteStdout(DumpObjectText(GetContextTab()->object));
}
