#include "security/explain.h"

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/principal.h"
#include "security/schema_lookup.h"

namespace {

// Separates the pieces of an ACE's line.
constexpr char PIECE_SEPARATOR[] = " | ";
// The right "CR": an object GUID then names an extended right rather than a schema object.
constexpr uint32_t CONTROL_ACCESS_RIGHT = 0x100;

// Names of GUIDs and principals already looked up during one explanation. A zone's
// descriptor names the same classes, attributes and delegated groups many times; each
// distinct GUID or SID costs its searches once.
class Names {
 public:
  // The principal's name as SidToString explains it.
  const std::string& principal(const kesh::SID& sid) {
    auto it = principals_.find(sid);
    if (it == principals_.end()) it = principals_.emplace(sid, SidToString(sid, true)).first;
    return it->second;
  }

  // The cn of the extended right whose rightsGuid is `guid`, else the schema object's name.
  const std::string& objectName(const kesh::Guid& guid, bool controlAccess) {
    if (!controlAccess) return schemaName(guid);
    auto it = rights_.find(guid);
    if (it == rights_.end()) it = rights_.emplace(guid, extendedRightName(guid)).first;
    return it->second;
  }

  // The cn of the schema object whose schemaIDGUID is `guid`, else the GUID's text.
  const std::string& schemaName(const kesh::Guid& guid) {
    auto it = schema_.find(guid);
    if (it == schema_.end()) it = schema_.emplace(guid, SchemaGuidToName(guid)).first;
    return it->second;
  }

 private:
  // Searches the extended rights of the forest of the session's first binding; falls back
  // to schemaName when the forest holds no such right or cannot be asked.
  std::string extendedRightName(const kesh::Guid& guid) {
    const std::string forest = LookupBinding()->getForest();
    try {
      std::shared_ptr<MyBinding> binding = GetBinding(forest);
      const std::string base =
          "cn=extended-rights,cn=configuration," + kesh::DN::dnFromDomain(forest);
      kesh::ADObjectList found = binding->search("(rightsGuid=" + guid.toRealMSString() + ")", base,
                                                 nullptr, kesh::SCOPE_SUB, 0);
      if (!found.empty()) {
        const std::string cn = found.front().firstValue("cn");
        if (!cn.empty()) return cn;
      }
    } catch (const kesh::NotFoundException&) {
      // No binding of the forest root domain: the schema names the GUID if it can.
    } catch (const LDAPException&) {
      // No extended-rights container, or the search failed: likewise.
    }
    return schemaName(guid);
  }

  std::map<kesh::Guid, std::string> rights_;
  std::map<kesh::Guid, std::string> schema_;
  std::map<kesh::SID, std::string> principals_;
};

// The texts of the rows of `table` whose bits are set in `bits`, each followed by ",".
template <size_t N>
std::string SetTexts(const SddlCode (&table)[N], uint32_t bits) {
  std::string out;
  for (const SddlCode& row : table) {
    if ((bits & row.value) == row.value && row.value != 0) {
      out += row.text;
      out += ',';
    }
  }
  return out;
}

std::string AceTypeText(uint8_t type) {
  for (const SddlCode& row : gAceTypes) {
    if (row.value == type) return row.text;
  }
  return "";
}

std::string ExplainAceLines(const ACEList& aces, Names& names) {
  std::string out;
  for (const kesh::ACEntry& ace : aces) {
    out += " " + AceTypeText(ace.type);
    out += PIECE_SEPARATOR + SetTexts(gAceFlags, ace.flags);
    out += PIECE_SEPARATOR + SetTexts(gAceRights, ace.mask);
    const bool hasObject = (ace.objectFlags & kesh::ACE_OBJECT_TYPE_PRESENT) != 0;
    const bool hasInherited = (ace.objectFlags & kesh::ACE_INHERITED_OBJECT_TYPE_PRESENT) != 0;
    if (hasObject || hasInherited) {
      const bool controlAccess = (ace.mask & CONTROL_ACCESS_RIGHT) != 0;
      out += PIECE_SEPARATOR;
      if (hasObject && !ace.objectType.isNull()) {
        out += names.objectName(ace.objectType, controlAccess);
      }
      out += PIECE_SEPARATOR;
      if (hasInherited && !ace.inheritedObjectType.isNull()) {
        out += names.schemaName(ace.inheritedObjectType);
      }
    }
    out += PIECE_SEPARATOR + names.principal(ace.sid) + "\n";
  }
  return out;
}

}  // namespace

std::string ExplainSD(SDPtr& sd) {
  std::string out;
  if (!sd) return out;
  Names names;
  if (!sd->owner.isNull()) out += "Owner: " + names.principal(sd->owner) + "\n";
  if (!sd->group.isNull()) out += "Group: " + names.principal(sd->group) + "\n";
  if (sd->hasDacl) {
    out += "Dacl: ";
    if (sd->control & SDDL_DACL_PROTECTED) out += "protected (no inheritance),";
    if (sd->control & SDDL_DACL_AUTO_INHERITED) out += "inherit supported,";
    if (sd->control & SDDL_DACL_AUTO_INHERIT_REQ) out += "AR";
    out += "\n";
    for (const ACEList& group : CanonicalAceGroups(sd->dacl)) out += ExplainAceLines(group, names);
  }
  return out;
}

std::string ExplainAces(const ACEList& aces) {
  Names names;
  return ExplainAceLines(aces, names);
}

std::string ExplainSDText(const std::string& sddl) {
  SDPtr sd = ParseSddl(sddl);
  return ExplainSD(sd);
}
