// ZoneComputer: the record that a computer belongs to a zone.
//
// A zone computer profile is a serviceConnectionPoint in the zone's child container
// cn=Computers, named by the computer's DNS name, the same in every layout:
//   cn           the computer's dNSHostName (or "<cn>.<domain>" when it has none)
//   displayName  "$KeshComputerVersion" followed by the adapter's getComputerVersion()
//   keywords     the dictionary: "parentLink" (the computer's SID, Microsoft text form),
//                "cpus", "unix_enabled" ("true" or "false"), "agentVersion"
#ifndef ZONESMITH_SCHEMA_COMPUTER_H_
#define ZONESMITH_SCHEMA_COMPUTER_H_

#include <map>
#include <string>

#include "directory/library/adobject.h"

class MyBinding;

// The displayName prefix of zone computer profiles, and the filter that lists them.
extern const char* const COMPUTER_VERSION_MARKER;  // "$KeshComputerVersion"
extern const char* const ZONE_COMPUTERS_FILTER;
// "(&(objectClass=serviceConnectionPoint)(displayName=$KeshComputerVersion*))"

class ZoneComputer {
 public:
  // The directory computer; invalid when unresolved.
  kesh::ADObject adComputer;
  // "<sAMAccountName>@<domain, lower case>", or "*<SID>" when the computer is unresolved.
  std::string accountName;
  // The profile's directory object.
  kesh::ADObject scp;
  // The profile's cn: the computer's DNS name.
  std::string cn;
  // The profile's dictionary as read from keywords.
  std::map<std::string, std::string> keywords;
  // True until the first save.
  bool isNew = true;
};

// The keyword "parentLink" of the profile cn=<name>,cn=Computers of `zone`, read from the
// directory: the computer's SID, "" when the profile has no such keyword. The failure of
// the read (no such profile) passes through.
std::string ComputerProfileLink(MyBinding& binding, kesh::ADObject& zone, const std::string& name);

#endif  // ZONESMITH_SCHEMA_COMPUTER_H_
