// Zone computer profiles, stored the same way in every layout: a serviceConnectionPoint
// below the zone's child "Computers", named by the computer's DNS name, whose keyword
// dictionary links to the directory computer by SID (keyword parentLink).
#include <list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/sid.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/computer.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"

namespace {

using PrincipalsBySid = std::map<std::string, kesh::ADObject>;

// The child "Computers" of `zone`, built without a directory access.
kesh::ADObject ComputersOf(kesh::ADObject& zone) {
  return kesh::LDAPBinding::createChild(zone, COMPUTERS_CONTAINER, AD_CN);
}

// The directory computer behind a profile: below version 4 the object of its managedBy
// link, else (or when that cannot be read) the one of the SID text `link`, from `known`
// or GetPrincipalBySid. Empty when neither resolves; never throws.
kesh::ADObject LinkedComputer(const kesh::ADObject& scp, const std::string& link, int version,
                              const PrincipalsBySid& known) {
  const std::string managedBy = scp.firstValue(AD_MANAGED_BY);
  if (version < FIRST_MANAGED_BY_FREE_VERSION && !managedBy.empty()) {
    try {
      return GetBindingForDN(managedBy)->fetch(managedBy, nullptr, AD_ALL_OBJECTS);
    } catch (const std::exception&) {
      // managedBy is followed on a best-effort basis; the SID comes next.
    }
  }
  if (link.empty()) return kesh::ADObject();
  auto entry = known.find(link);
  if (entry != known.end()) return entry->second;
  try {
    kesh::SID sid(link);
    return GetPrincipalBySid(sid);
  } catch (const std::exception&) {
    // Removed, of a domain without binding, or no SID at all: named by the link.
    return kesh::ADObject();
  }
}

// "<sAMAccountName>@<domain, lower case>" of a directory computer.
std::string ComputerAccountName(const kesh::ADObject& computer) {
  const std::string sam = computer.firstValue(AD_SAM_ACCOUNT_NAME);
  if (sam.empty()) {
    KESH_THROW(kesh::BadDataException, 0,
               "AD Computer object do not have sAMAccountName attribute");
  }
  return sam + "@" + kesh::lower(kesh::DN::domainFromDN(computer.dn()));
}

// Fills `computer` from its profile object `scp`, and resolves the directory computer
// unless the computer already has its account name.
void LoadComputerData(const kesh::ADObject& scp, ZoneComputer& computer, int version,
                      const PrincipalsBySid& known) {
  computer.cn = scp.firstValue(AD_CN);
  computer.scp = scp;
  computer.isNew = false;
  computer.keywords = KeywordsOf(scp);
  if (!computer.accountName.empty()) return;
  const std::string link = GetCramAttr(KEY_PARENT_LINK, computer.keywords);
  kesh::ADObject found = LinkedComputer(scp, link, version, known);
  if (found.empty()) {
    computer.accountName = "*" + link;
    return;
  }
  computer.accountName = ComputerAccountName(found);
  computer.adComputer = found;
}

// The parentLink SIDs of the profiles in `found` that do not resolve through managedBy.
std::vector<kesh::SID> LinkedSids(kesh::ADObjectList& found, int version) {
  std::vector<kesh::SID> sids;
  for (kesh::ADObject& scp : found) {
    if (version < FIRST_MANAGED_BY_FREE_VERSION && !scp.firstValue(AD_MANAGED_BY).empty()) {
      continue;
    }
    try {
      const std::string link = GetCramAttr(KEY_PARENT_LINK, KeywordsOf(scp));
      if (!link.empty()) sids.push_back(kesh::SID(link));
    } catch (const kesh::BadDataException&) {
      // A link that is no SID names its profile "*<link>" when it is loaded.
    }
  }
  return sids;
}

}  // namespace

std::string ComputerProfileLink(MyBinding& binding, kesh::ADObject& zone, const std::string& name) {
  kesh::ADObject computers = ComputersOf(zone);
  const std::string dn = kesh::LDAPBinding::createChild(computers, name, AD_CN).dn();
  return GetCramAttr(KEY_PARENT_LINK, KeywordsOf(binding.fetch(dn, nullptr, AD_ALL_OBJECTS)));
}

void SchemaBase::loadComputer(const std::string& name, std::shared_ptr<ZoneComputer>& computer) {
  if (name.empty()) throw std::out_of_range("empty computer name");
  const bool bySid = name[0] == '*';
  kesh::ADObject adComputer = bySid ? FakeSidObject(name.substr(1)) : GetADComputer(name);
  kesh::SID sid;
  kesh::ADObject scp;
  try {
    sid = bySid ? kesh::SID(name.substr(1)) : adComputer.sid();
    scp = FindScpBySid(binding_, zone_, sid, COMPUTERS_CONTAINER, adComputer.dn());
  } catch (const std::exception&) {
    // A malformed SID, no profile and a failed search alike: no profile.
  }
  if (scp.empty()) KESH_THROW(kesh::NotFoundException, 0, "Computer not in current zone");
  // The computer just read stands for its own SID; the load need not look it up again.
  PrincipalsBySid known;
  if (!bySid) known[sid.toMSString()] = adComputer;
  LoadComputerData(scp, *computer, version_, known);
}

void SchemaBase::saveComputer(std::shared_ptr<ZoneComputer>& computer) {
  kesh::ADObject target;
  if (!computer->isNew) {
    target = computer->scp;
  } else {
    kesh::ADObject computers = ComputersOf(zone_);
    if (computer->adComputer.firstValue(AD_DNS_NAME).empty()) {
      computer->adComputer[AD_DNS_NAME] = computer->cn;
      GetBindingForDN(computer->adComputer.dn())
          ->update(computer->adComputer, MyBinding::UPDATE_REPLACE);
    }
    target = kesh::LDAPBinding::createChild(computers, computer->cn, AD_CN);
    target[AD_OBJECT_CLASS] = CLASS_SCP;
    target[AD_DISPLAY_NAME] = COMPUTER_VERSION_MARKER + std::to_string(getComputerVersion());
  }
  std::map<std::string, std::string> dict = computer->keywords;
  const kesh::SID sid = computer->adComputer.sid();
  // An unresolved computer keeps the link it was loaded with.
  if (!sid.isNull()) dict[KEY_PARENT_LINK] = sid.toMSString();
  CramAttrs(target[AD_KEYWORDS], dict);
  binding_->write(target, computer->isNew);
  computer->isNew = false;
  computer->scp = binding_->fetch(target.dn(), nullptr, AD_ALL_OBJECTS);
  computer->keywords = KeywordsOf(computer->scp);
}

void SchemaBase::deleteComputer(std::shared_ptr<ZoneComputer>& computer) {
  if (computer->isNew) KESH_THROW(kesh::BadDataException, 0, "Computer has not been created");
  binding_->remove(computer->scp, false);
}

void SchemaBase::getComputers(const std::string& filter,
                              std::list<std::shared_ptr<ZoneComputer>>& out) {
  kesh::ADObjectList found =
      binding_->search(filter, ComputersOf(zone_).dn(), nullptr, kesh::SCOPE_ONE, 0);
  const std::vector<kesh::SID> sids = LinkedSids(found, version_);
  const PrincipalsBySid known = sids.empty() ? PrincipalsBySid() : PrefetchPrincipalsBySid(sids);
  for (kesh::ADObject& scp : found) {
    auto computer = std::make_shared<ZoneComputer>();
    LoadComputerData(scp, *computer, version_, known);
    out.push_back(computer);
  }
}
