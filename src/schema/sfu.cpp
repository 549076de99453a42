// The SFU layout: profile data on the directory's own users and groups.
//
// There are no profile objects here. A directory user or group is in the zone when its
// msSFU30NisDomain holds the zone's NIS domain ("nisdomain"); its UNIX fields are read from
// the msSFU30 attributes when it has any of them, else from the RFC 2307 names, and are
// written under the RFC 2307 names. All writes go to the binding of the zone's "sfudomain".
#include <list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/user.h"
#include "schema/zschema.h"

namespace {

// The attribute that puts a directory user or group into a zone of this layout.
const char SFU_NIS_DOMAIN[] = "msSFU30NisDomain";

// One field of a user and the two attributes that can hold it.
struct SfuField {
  const char* sfu;  // first choice, read only
  const char* rfc;  // second choice, read and written
};
const SfuField UID_FIELD = {"msSFU30UidNumber", "uidNumber"};
const SfuField GID_FIELD = {"msSFU30GidNumber", RFC_GID_NUMBER};
const SfuField NAME_FIELD = {"msSFU30Name", "uid"};
const SfuField SHELL_FIELD = {"msSFU30LoginShell", "loginShell"};
const SfuField HOME_FIELD = {"msSFU30HomeDirectory", "unixHomeDirectory"};
const SfuField GECOS_FIELD = {"msSFU30Gecos", "gecos"};
const SfuField* const USER_FIELDS[] = {&UID_FIELD,   &GID_FIELD,  &NAME_FIELD,
                                       &SHELL_FIELD, &HOME_FIELD, &GECOS_FIELD};

const char PERSON_CATEGORY[] = "Person";
const char GROUP_CATEGORY[] = "Group";

const char NO_LOCAL_USER[] = "SFU Zone does not support local user";
const char NO_LOCAL_GROUP[] = "SFU Zone does not support local group";

// "(&(objectCategory=<category>)(msSFU30NisDomain=<nisDomain>)<more>)", the domain escaped.
std::string NisDomainFilter(const char* category, const std::string& nisDomain,
                            const std::string& more = "") {
  return std::string("(&(") + AD_OBJECT_CATEGORY + "=" + category + ")(" + SFU_NIS_DOMAIN + "=" +
         kesh::DN::escapeLDAPFilter(nisDomain) + ")" + more + ")";
}

// Whether `object` is in the NIS domain `nisDomain`.
bool InNisDomain(const kesh::ADObject& object, const std::string& nisDomain) {
  const kesh::ADAttribute* attr = object.find(SFU_NIS_DOMAIN);
  if (attr == nullptr) return false;
  for (const std::string& value : attr->values()) {
    if (value == nisDomain) return true;
  }
  return false;
}

}  // namespace

void CheckSfuUserGroupName(IZone& zone, const std::string& name) {
  auto* sfu = dynamic_cast<SchemaSfu*>(zone.getSchema());
  if (sfu != nullptr) sfu->checkUserGroupName(name);
}

void SchemaSfu::checkUserGroupName(const std::string& name) {
  const size_t at = name.find('@');
  if (at == std::string::npos) {
    KESH_THROW(kesh::BadDataException, 0, "User/Group name must include domain");
  }
  if (kesh::lower(name.substr(at + 1)) != kesh::lower(getSfuDomain())) {
    KESH_THROW(kesh::BadDataException, 0, "User/Group is not from SfuDomain");
  }
}

// --- Users -----------------------------------------------------------------------------------

void SchemaSfu::loadZUser(const std::string& name, std::shared_ptr<NssZoneUser> user,
                          bool byUnixName) {
  if (byUnixName) {
    KESH_THROW(kesh::NotFoundException, 0,
               "It has not been supported to load user by unix name under SFU schema");
  }
  kesh::ADObject object = GetADUser(name);
  if (!InNisDomain(object, nisDomain)) {
    KESH_THROW(kesh::NotFoundException, 0, "User not found in zone");
  }
  loadZUserData(object, user);
}

void SchemaSfu::loadZUserData(kesh::ADObject& object, std::shared_ptr<NssZoneUser> user) {
  user->adUser = object;
  user->scp = object;
  user->accountName = GetUserName(object, false);
  user->upn = object.firstValue(AD_USER_PRINCIPAL_NAME);
  if (user->upn.empty()) user->upn = user->accountName;

  bool firstChoice = false;
  for (const SfuField* field : USER_FIELDS) firstChoice |= object.attributeExists(field->sfu);
  // Below version 6 the second choice of gecos is the directory user's description.
  const char* rfcGecos = version_ >= FIRST_TREE_VERSION ? GECOS_FIELD.rfc : AD_DESCRIPTION;
  if (!firstChoice) {
    bool any = object.attributeExists(rfcGecos);
    for (const SfuField* field : USER_FIELDS) {
      if (field != &GECOS_FIELD) any |= object.attributeExists(field->rfc);
    }
    writesRfcAttributes = any;
    if (!any) {
      KESH_THROW(kesh::BadDataException, 0, "Zone user has incomplete attributes: %s",
                 object.dn().c_str());
    }
  }
  auto pick = [&](const SfuField& field) {
    const char* name = firstChoice ? field.sfu : (&field == &GECOS_FIELD ? rfcGecos : field.rfc);
    return GetStringAttr(name, object);
  };
  user->uid = NumberOf(pick(UID_FIELD), false);
  user->gid = NumberOf(pick(GID_FIELD), false);
  user->unixName = pick(NAME_FIELD);
  user->shell = pick(SHELL_FIELD);
  user->home = pick(HOME_FIELD);
  user->gecos = pick(GECOS_FIELD);
  user->extended.clear();
  std::map<std::string, std::string> dict = KeywordsOf(object);
  for (const auto& entry : ExtendedAttributes()) {
    const std::string text = GetCramAttr(entry.first, dict);
    if (!text.empty()) user->extended[entry.first] = text;
  }
  user->isNew = false;
}

void SchemaSfu::saveZUser(std::shared_ptr<NssZoneUser> user) {
  const std::string name = user->getUserName();
  if (name.find('@') == std::string::npos) throw std::out_of_range("user name without domain");
  kesh::ADObject& object = user->adUser;
  if (writesRfcAttributes) {
    if (user->gid.isSet && user->gid.value == GID_SAME_AS_UID && version_ < FIRST_TREE_VERSION) {
      user->gid.value = user->uid.value;
    }
    SetOrClear(object, UID_FIELD.rfc, TextOf(user->uid));
    SetOrClear(object, GID_FIELD.rfc, TextOf(user->gid));
    SetOrClear(object, SHELL_FIELD.rfc, user->shell);
    SetOrClear(object, HOME_FIELD.rfc, user->home);
    SetOrClear(object, NAME_FIELD.rfc, user->unixName);
    if (version_ >= FIRST_TREE_VERSION) SetOrClear(object, GECOS_FIELD.rfc, user->gecos);
    if (!user->extended.empty()) {
      // The directory user's keywords keep what they held besides the extended keys.
      std::map<std::string, std::string> dict = KeywordsOf(object);
      for (const auto& entry : user->extended) dict[entry.first] = entry.second;
      CramAttrs(object[AD_KEYWORDS], dict);
    }
  }
  object[SFU_NIS_DOMAIN] = nisDomain;
  GetBinding(getSfuDomain())->update(object, MyBinding::UPDATE_REPLACE);
  user->scp = object;
  user->isNew = false;
}

void SchemaSfu::deleteUser(std::shared_ptr<NssUser>& user) {
  if (user->isNew) KESH_THROW(kesh::BadDataException, 0, "Zone user has not been created");
  kesh::ADObject object = user->getADUObject();
  object[SFU_NIS_DOMAIN].reset();
  GetBinding(getSfuDomain())->update(object, MyBinding::UPDATE_REPLACE);
}

void SchemaSfu::getZoneUsers(const std::string& /*filter*/,
                             std::list<std::shared_ptr<NssZoneUser>>& out) {
  kesh::ADObjectList found =
      GetBinding(getSfuDomain())
          ->search(NisDomainFilter(PERSON_CATEGORY, nisDomain), "", nullptr, kesh::SCOPE_SUB, 0);
  for (kesh::ADObject& object : found) {
    auto user = std::make_shared<NssZoneUser>();
    loadZUserData(object, user);
    out.push_back(user);
  }
}

kesh::ADObject SchemaSfu::findUnixUser(const std::string& name, bool local) {
  if (local) KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_USER);
  const std::string more =
      "(" + std::string(NAME_FIELD.rfc) + "=" + kesh::DN::escapeLDAPFilter(name) + ")";
  kesh::ADObjectList found = GetBinding(getSfuDomain())
                                 ->search(NisDomainFilter(PERSON_CATEGORY, nisDomain, more), "",
                                          nullptr, kesh::SCOPE_SUB, 1);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "user not found");
  return found.front();
}

void SchemaSfu::loadLocalUser(const std::string&, std::shared_ptr<NssLocalUser>) {
  KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_USER);
}
void SchemaSfu::saveLocalUser(std::shared_ptr<NssLocalUser>) {
  KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_USER);
}
void SchemaSfu::getLocalUsers(const std::string&, std::list<std::shared_ptr<NssLocalUser>>&) {
  KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_USER);
}

// --- Groups ----------------------------------------------------------------------------------

void SchemaSfu::loadGroup(const std::string& name, std::shared_ptr<NssGroup>& group,
                          bool byUnixName) {
  if (group->type == GROUP_TYPE_LOCAL) KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_GROUP);
  if (byUnixName) {
    KESH_THROW(kesh::NotFoundException, 0,
               "It has not been supported to load group by unix name under SFU schema");
  }
  kesh::ADObject object = GetADGroup(name);
  if (!InNisDomain(object, nisDomain)) {
    KESH_THROW(kesh::NotFoundException, 0, "Group not found in zone");
  }
  loadGroupData(object, group);
}

void SchemaSfu::loadGroupData(kesh::ADObject& object, std::shared_ptr<NssGroup>& group) {
  group->adGroup = object;
  group->scp = object;
  group->accountName = GetGroupName(object);
  OptionalField<std::string> gid = GetStringAttr(GID_FIELD.sfu, object);
  if (!gid.isSet) gid = GetStringAttr(GID_FIELD.rfc, object);
  group->gid = NumberOf(gid, false);
  group->unixName = GetStringAttr(AD_CN, object);
  group->isNew = false;
}

void SchemaSfu::saveGroup(std::shared_ptr<NssGroup>& group) {
  if (group->type == GROUP_TYPE_LOCAL) KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_GROUP);
  kesh::ADObject& object = group->adGroup;
  SetOrClear(object, GID_FIELD.rfc, TextOf(group->gid));
  object[SFU_NIS_DOMAIN] = nisDomain;
  GetBinding(getSfuDomain())->update(object, MyBinding::UPDATE_REPLACE);
  group->scp = object;
  group->isNew = false;
}

void SchemaSfu::deleteGroup(std::shared_ptr<NssGroup>& group) {
  if (group->isNew) KESH_THROW(kesh::BadDataException, 0, "Zone group has not been created");
  kesh::ADObject object = group->adGroup;
  object[SFU_NIS_DOMAIN].reset();
  GetBinding(getSfuDomain())->update(object, MyBinding::UPDATE_REPLACE);
}

void SchemaSfu::getGroups(const std::string& /*filter*/, std::list<std::shared_ptr<NssGroup>>& out,
                          NssGroup* (*factory)(), bool local) {
  if (local) KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_GROUP);
  kesh::ADObjectList found =
      GetBinding(getSfuDomain())
          ->search(NisDomainFilter(GROUP_CATEGORY, nisDomain), "", nullptr, kesh::SCOPE_SUB, 0);
  for (kesh::ADObject& object : found) {
    std::shared_ptr<NssGroup> group(factory());
    loadGroupData(object, group);
    out.push_back(group);
  }
}

kesh::ADObject SchemaSfu::findUnixGroup(const std::string& name, bool local) {
  if (local) KESH_THROW(kesh::BadDataException, 0, "%s", NO_LOCAL_GROUP);
  const std::string more = "(" + std::string(AD_CN) + "=" + kesh::DN::escapeLDAPFilter(name) + ")";
  kesh::ADObjectList found = GetBinding(getSfuDomain())
                                 ->search(NisDomainFilter(GROUP_CATEGORY, nisDomain, more), "",
                                          nullptr, kesh::SCOPE_SUB, 1);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "group not found");
  return found.front();
}
