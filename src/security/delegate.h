// Delegating a right means adding a fixed set of access control entries to a directory
// object. This file holds those sets, keyed by the right's name, and writes them.
//
// A set is a list of ACE texts without trustee: "type;flags;rights;object;inherited"
// where object and inherited object are schema class or attribute names (looked up with
// SchemaStringToGuid) or empty. The trustee is the principal's SID, or the well-known
// OWNER RIGHTS SID where a set says so.
#ifndef ZONESMITH_SECURITY_DELEGATE_H_
#define ZONESMITH_SECURITY_DELEGATE_H_

#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "zones/zone.h"

// One ACE of a right's set, before the GUIDs are looked up.
struct DelegationAce {
  std::string head;           // "A;;RCLCRPLO" or "OA;CIIO;WP": type, flags, rights
  std::string objectType;     // schema name of the object GUID, or ""
  std::string inheritedType;  // schema name of the inherited-object GUID, or ""
  bool ownerRights = false;   // trustee OWNER RIGHTS instead of the principal
};

// The set of `right` for a zone of schema `schema` (only "change_user" differs: RFC adds
// the writes of the posix attributes). Throws kesh::BadDataException "Unknown right: <right>"
// for a name that has no set.
std::vector<DelegationAce> DelegationAces(const std::string& right, SchemaType schema);

// Adds the ACEs of `right` for `principal` to the security descriptor of `object` and
// sets it on the object in memory (AddAcesToCont of security/sddl.h); the caller's
// binding update writes it. An empty principal means the owner of
// the object's descriptor (kesh::NotFoundException "Security Descriptor owner not found"
// when it has none); a distribution group is refused ("Error: <principal> is a
// distribution group."). Nothing is written unless every ACE of the set could be composed.
void DelegateRightBySDDL(kesh::ADObject& object, const std::string& right, std::string principal,
                         SchemaType schema);

#endif  // ZONESMITH_SECURITY_DELEGATE_H_
