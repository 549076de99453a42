// Principal resolution: names, SIDs and directory objects of users, groups and computers.
//
// Name forms:
//   name@domain            a user principal name, or sAMAccountName and DNS domain; every
//                          lookup by name needs the "@"
//   sam@domain             canonical text of a group (domain lower-cased) and of a user
//   *S-1-5-...             a foreign security principal that could not be resolved
//   ?@domain               an object without sAMAccountName
//
// Lookups search the binding of the name's domain first and then every global catalog and
// domain binding of the session. All of them throw rather than answer an empty object,
// unless a comment says otherwise. Every value put into a filter is escaped.
#ifndef ZONESMITH_DIRECTORY_PRINCIPAL_H_
#define ZONESMITH_DIRECTORY_PRINCIPAL_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/sid.h"

class MyBinding;

// The user (or computer account, when found in the name's own domain) named `name`.
// Throws kesh::BadDataException "User name must include domain" without "@",
// kesh::NotFoundException "could not find <name>" when no binding knows it.
kesh::ADObject GetADUser(const std::string& name);
// The group named sam@domain. Throws kesh::BadDataException without "@", the binding's
// kesh::NotFoundException, "could not find <name>" or "<name> is not a group".
kesh::ADObject GetADGroup(const std::string& name);
// The computer named sam@domain (sam without its "$"); like GetADGroup.
kesh::ADObject GetADComputer(const std::string& name);
// The machine account sam$ of name@domain, whatever its category.
kesh::ADObject GetComputer(const std::string& name);
// A user, else a group, else a computer of that name. Throws kesh::NotFoundException
// "Principal not found: <name>" when none of the three lookups succeeds.
kesh::ADObject GetPrincipal(const std::string& name);

// The object whose objectSid or sIDHistory is `sid`, other than a foreign security
// principal; searched in the bindings of the SID's domain, then in every global catalog.
// Throws kesh::NotFoundException "could not find <sid>\n".
kesh::ADObject GetPrincipalBySid(kesh::SID& sid);
// The SIDs of a user: its objectSid first, then those of its sIDHistory in stored order.
// Values that are no SID are left out.
std::vector<kesh::SID> GetUserSids(const kesh::ADObject& user);
// Resolves many SIDs with few directory calls, for listings: for each domain binding of the
// session, the SIDs of its domain are searched by objectSid in batches (one filter per batch
// of up to MyBinding::PAGE_SIZE SIDs), all attributes. Answers SID text -> object for every
// SID found so, foreign security principals left out. What it does not answer (a SID in a
// history, of a domain without binding, or not found) is for GetPrincipalBySid; what it
// answers is what GetPrincipalBySid would answer. Directory failures pass through.
std::map<std::string, kesh::ADObject> PrefetchPrincipalsBySid(const std::vector<kesh::SID>& sids);
// Reads many objects by DN with few directory calls, for listings: the DNs of each bound
// domain are searched by distinguishedName in batches (one filter per batch of up to 25
// DNs), with the attributes `attrs` (null-terminated; null for all).
// Answers lower-cased DN -> object for every DN found so. What it does not answer (a DN of a
// domain without binding, not found, or of a batch the directory refused) is for
// GetADObjectByDN, which then reports it as it would.
std::map<std::string, kesh::ADObject> PrefetchObjectsByDn(const std::vector<std::string>& dns,
                                                          const char* const* attrs);
// The first object of `binding` whose objectSid or sIDHistory is `sid`, not a foreign
// security principal; an empty object when there is none.
kesh::ADObject InternalGetObjectBySid(std::shared_ptr<MyBinding> binding, kesh::SID& sid);

// Searches each binding in turn for `filter` (subtree, from its default base) and answers
// the first object of the first result whose "_objectCategory" is `category`; an empty
// object when no binding has one. Only the first object of each result is looked at.
kesh::ADObject ScanBindings(std::vector<std::shared_ptr<MyBinding>>& bindings, std::string filter,
                            std::string category);
// Appends the session's domain bindings (or global catalog bindings), in key order.
void GetBindings(std::vector<std::shared_ptr<MyBinding>>& bindings);
void GetGCBindings(std::vector<std::shared_ptr<MyBinding>>& bindings);

// The canonical text of a user: "*S-1-..." for an unresolved foreign security principal;
// with `preferUpn` its userPrincipalName when it has one; else sam@domain.
std::string GetUserName(kesh::ADObject object, bool preferUpn);
// sam@domain of a group, the domain lower-cased.
std::string GetGroupName(kesh::ADObject object);
// The real principal behind a foreign security principal, when a binding reaches it;
// otherwise (and for every other object) the object itself.
kesh::ADObject LookupForeignUser(kesh::ADObject& object);
// Whether `dn` names a group; false also when it cannot be read.
bool IsGroup(const std::string& dn);
// Whether `group`'s groupType lacks the security bit (the sign bit; a group without
// groupType counts as lacking it): such a group cannot be given rights, roles or profiles.
bool IsDistributionGroup(const kesh::ADObject& group);

// Sets the password of `user` (name@domain) with the credentials of the cache `ccName`.
// Throws kesh::BadDataException "User name must include domain" or "Cannot change
// password", KerberosException when the cache or the name cannot be used.
void ChangeUserPassword(const std::string& user, const std::string& password, std::string ccName);

// The first object below `baseDn` (subtree) that matches the filter `condition` (may be
// empty) and links to `sid` (keywords "parentLink:<sid>") or is managed by `dn`: the
// answer of the one search "(&<condition>(|(keywords=parentLink:<sid>)(managedBy=<dn>)))",
// found faster. The directory indexes keywords but not managedBy, and a subtree search on
// an attribute without an index reads the whole database; so the objects linked by SID are
// searched first, and those managed by `dn` only when `dn` can manage anything below
// `baseDn`: it lies in another domain, or its managedObjects back link (read afresh) holds
// an object below `baseDn`. `dn` is unescaped, then escaped for the filter. Answers an
// empty object when there is none.
kesh::ADObject FindLinkedBelow(const std::shared_ptr<MyBinding>& binding, const std::string& baseDn,
                               const std::string& condition, kesh::SID sid, const std::string& dn);

// The profile object below `container` of `zone` that links to `sid` (keywords
// "parentLink:<sid>") or is managed by `dn` (FindLinkedBelow). Throws
// kesh::NotFoundException "could not find zone entry".
kesh::ADObject FindScpBySid(std::shared_ptr<MyBinding> binding, kesh::ADObject zone, kesh::SID sid,
                            const std::string& container, const std::string& dn);

#endif  // ZONESMITH_DIRECTORY_PRINCIPAL_H_
