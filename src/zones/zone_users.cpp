// The zone side of user profiles: zone users and local users of the schema-backed zones.
// The profiles are found, stored and listed by the zone's schema adapter; here are the
// steps that come before it: what a new profile is made of, and the checks of a save.
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/profile_store.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone.h"

// --- Zone users ------------------------------------------------------------------------------

std::shared_ptr<NssZoneUser> NssZoneSupportZoneUserGroup::getNssZUser(const std::string& name,
                                                                      bool byUnixName) {
  auto user = std::make_shared<NssZoneUser>();
  schema->loadZUser(name, user, byUnixName);
  return user;
}

void NssZoneSupportZoneUserGroup::saveNssZUser(std::shared_ptr<NssZoneUser> user) {
  checkNssUser(user, schema.get());
  schema->saveZUser(user);
}

std::shared_ptr<NssZoneUser> NssZoneSupportZoneUserGroup::newNssZUser(const std::string& name) {
  // The directory user is resolved once, for the test of an existing profile and for the
  // new one; a name that does not resolve fails below with the lookup's own message.
  kesh::ADObject adUser;
  bool exists = true;
  try {
    auto probe = std::make_shared<NssZoneUser>();
    const std::string bare = ParseUpn(name, ALIAS_SEPARATOR).second;
    if (!bare.empty() && bare[0] != '*') probe->adUser = adUser = GetADUser(bare);
    schema->loadZUser(name, probe, false);
  } catch (const std::exception&) {
    // By rule any failure to load the profile means the way is free.
    exists = false;
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "User already exists");

  auto user = std::make_shared<NssZoneUser>();
  std::pair<int, std::string> alias = ParseUpn(name, ALIAS_SEPARATOR);
  if (alias.first != 0) {
    if (getSchemaType() == SCHEMA_TYPE_SFU) {
      KESH_THROW(kesh::BadDataException, 0, "SFU zone does not support aliases");
    }
    user->altGuid = kesh::Guid::generate().toRealMSString();
    user->altIndex = alias.first;
  }
  user->adUser = adUser.empty() ? GetADUser(alias.second) : adUser;
  user->accountName = GetUserName(user->adUser, false);
  user->upn = user->adUser.firstValue(AD_USER_PRINCIPAL_NAME);
  if (user->upn.empty()) user->upn = user->accountName;
  const std::string userForest = GetBindingForDN(user->adUser.dn())->getForest();
  user->foreign = kesh::lower(binding->getForest()) != kesh::lower(userForest);
  user->isNew = true;
  return user;
}

void NssZoneSupportZoneUserGroup::getNssZUsers(const std::string& filter,
                                               std::list<std::shared_ptr<NssZoneUser>>& out) {
  schema->getZoneUsers(filter, out);
}

void NssZoneSupportZoneUserGroup::deleteNssZUser(std::shared_ptr<NssUser> user) {
  schema->deleteUser(user);
}

kesh::ADObject NssZoneSupportZoneUserGroup::getZUserContainer() {
  return kesh::LDAPBinding::createChild(object, USERS_CONTAINER, AD_CN);
}

// --- Local users -----------------------------------------------------------------------------

std::shared_ptr<NssLocalUser> NssZoneSupportLocalUserGroup::getNssLocalUser(
    const std::string& name) {
  auto user = std::make_shared<NssLocalUser>();
  schema->loadLocalUser(name, user);
  return user;
}

void NssZoneSupportLocalUserGroup::saveNssLocalUser(std::shared_ptr<NssLocalUser> user) {
  checkNssUser(user, schema.get());
  schema->saveLocalUser(user);
}

std::shared_ptr<NssLocalUser> NssZoneSupportLocalUserGroup::newNssLocalUser(
    const std::string& name) {
  if (name.find_first_of(LOCAL_NAME_FORBIDDEN) != std::string::npos) {
    KESH_THROW(kesh::BadDataException, 0, "value not allowed");
  }
  if (getSchemaType() == SCHEMA_TYPE_SFU) {
    KESH_THROW(kesh::BadDataException, 0, "SFU Zone does not support local user");
  }
  bool exists = true;
  try {
    getNssLocalUser(name);
  } catch (const std::exception&) {
    // By rule any failure to load the profile means the name is free.
    exists = false;
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "User already exists");
  auto user = std::make_shared<NssLocalUser>();
  user->unixName.set(name);
  user->isNew = true;
  return user;
}

void NssZoneSupportLocalUserGroup::getNssLocalUsers(const std::string& filter,
                                                    std::list<std::shared_ptr<NssLocalUser>>& out) {
  schema->getLocalUsers(filter, out);
}

void NssZoneSupportLocalUserGroup::deleteNssLocalUser(std::shared_ptr<NssUser> user) {
  schema->deleteUser(user);
}
