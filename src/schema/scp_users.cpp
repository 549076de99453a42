// User profiles in the serviceConnectionPoint layouts: finding, loading, saving and deleting
// zone users and local users, and the checks before a save.
//
// A profile is a serviceConnectionPoint below the zone's child "Users" (zone users) or
// "LocalUsers" (local users). The RFC layout keeps the fields in RFC 2307 attributes
// (uidNumber, gidNumber, uid, loginShell, unixHomeDirectory, gecos), the Dynamic layout in
// the keyword dictionary `keywords`; the links to the directory user, alias data and the
// extended attributes are keywords in both.
#include <cstdlib>
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
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"

namespace {

const char USER_VERSION_MARKER[] = "$KeshUserVersion";
const char LOCAL_USER_MARKER_RFC[] = "$KeshLocalUserVersion2";
const char LOCAL_USER_MARKER_DYNAMIC[] = "$KeshLocalUserVersion1";
const char UNKNOWN_USER_NAME[] = "*<unknown user>";

// Keys of a profile's keyword dictionary.
const char KEY_ALT_GUID[] = "altGuid";
const char KEY_ALT_INDEX[] = "altIndex";
const char KEY_UPN[] = "upn";
const char KEY_UNIX_ENABLED[] = "unix_enabled";
const char KEY_FOREIGN[] = "foreign";
const char KEY_UID[] = "uid";
const char KEY_SHELL[] = "shell";
const char KEY_HOME[] = "home";
const char KEY_GECOS[] = "gecos";
const char KEY_DESCRIPTION[] = "description";

// Attributes of the RFC layout.
const char RFC_UID_NUMBER[] = "uidNumber";
const char RFC_LOGIN[] = "uid";
const char RFC_SHELL[] = "loginShell";
const char RFC_HOME[] = "unixHomeDirectory";
const char RFC_GECOS[] = "gecos";

bool IsTrueText(const std::string& text) { return kesh::lower(text) == "true"; }

void SetIfSet(std::map<std::string, std::string>& dict, const char* key,
              const OptionalField<std::string>& field) {
  if (field.isSet) dict[key] = field.value;
}

// The texts of the extended attribute keys that `dict` holds, non-empty ones only.
std::map<std::string, std::string> ExtendedOf(const std::map<std::string, std::string>& dict) {
  std::map<std::string, std::string> extended;
  for (const auto& entry : ExtendedAttributes()) {
    std::string text = GetCramAttr(entry.first, dict);
    if (!text.empty()) extended[entry.first] = text;
  }
  return extended;
}

// The SID text a profile links to: the directory user's, or the stored link of a user that
// could not be resolved.
std::string ParentLinkOf(const NssZoneUser& user) {
  kesh::SID sid = user.adUser.sid();
  return sid.isNull() ? user.parentLink : sid.toMSString();
}

// The object classes of a new profile, and the classic rule that a gid of GID_SAME_AS_UID
// stands for the uid (applied to the profile in memory, before anything is written).
void PrepareTarget(NssUser& user, kesh::ADObject& target, const std::vector<std::string>& classes,
                   int version) {
  if (user.isNew) {
    kesh::ADAttribute& attr = target[AD_OBJECT_CLASS];
    attr.reset();
    for (const std::string& name : classes) attr.addVal(name);
  }
  if (user.gid.isSet && user.gid.value == GID_SAME_AS_UID && version < FIRST_TREE_VERSION) {
    user.gid.value = user.uid.value;
  }
}

// Adds the extended attributes to `dict`, writes it into keywords (replacing the attribute
// as a whole), adds or updates `target`, and only then marks the profile saved and reads
// the object back into its scp.
void WriteProfile(const std::shared_ptr<MyBinding>& binding, NssUser& user,
                  std::map<std::string, std::string>& dict, kesh::ADObject& target) {
  for (const auto& entry : user.extended) dict[entry.first] = entry.second;
  CramAttrs(target[AD_KEYWORDS], dict);
  binding->write(target, user.isNew);
  user.isNew = false;
  user.scp = binding->fetch(target.dn(), nullptr, AD_ALL_OBJECTS);
}

}  // namespace

// --- Zone users ------------------------------------------------------------------------------

void SchemaScp::loadZUser(const std::string& name, std::shared_ptr<NssZoneUser> user,
                          bool byUnixName) {
  std::pair<int, std::string> alias = ParseUpn(name, ALIAS_SEPARATOR);
  user->altIndex = alias.first;
  // A caller that resolved the directory user already hands it in.
  kesh::ADObject userObject = user->adUser;
  kesh::ADObject scp = findZUserScp(userObject, alias.second, alias.first, byUnixName);
  if (scp.empty()) KESH_THROW(kesh::NotFoundException, 0, "NssUser not in current zone");
  loadZUserData(scp, user);
}

kesh::ADObject SchemaScp::findZUserScp(kesh::ADObject& userObject, const std::string& name,
                                       int32_t altIndex, bool byUnixName) {
  if (name.empty()) throw std::out_of_range("empty user name");
  if (byUnixName) {
    try {
      return FindUserScpByUnixName(binding_, zone_, name);
    } catch (const std::exception&) {
      // No profile holds the name, or the search failed: both read as "no profile".
      return kesh::ADObject();
    }
  }
  if (name[0] == '*') {
    try {
      const std::string sidText = name.substr(1);
      userObject = FakeSidObject(sidText);
      return FindAltScpBySid(binding_, zone_, kesh::SID(sidText), USERS_CONTAINER, userObject.dn(),
                             altIndex);
    } catch (const std::exception&) {
      // A malformed SID and a missing profile alike: no profile.
      return kesh::ADObject();
    }
  }
  if (userObject.empty()) userObject = GetADUser(name);
  for (const kesh::SID& sid : GetUserSids(userObject)) {
    try {
      return FindAltScpBySid(binding_, zone_, sid, USERS_CONTAINER, userObject.dn(), altIndex);
    } catch (const std::exception&) {
      // Not linked through this SID (or the search failed): try the next one of the history.
    }
  }
  return kesh::ADObject();
}

void SchemaScp::loadZUserData(kesh::ADObject& scp, std::shared_ptr<NssZoneUser> user) {
  std::map<std::string, std::string> dict = KeywordsOf(scp);
  user->parentLink = GetCramAttr(KEY_PARENT_LINK, dict);
  user->altGuid = GetCramAttr(KEY_ALT_GUID, dict);
  user->altIndex =
      static_cast<int32_t>(std::strtol(GetCramAttr(KEY_ALT_INDEX, dict).c_str(), nullptr, 10));
  user->storedUpn = GetCramAttr(KEY_UPN, dict);
  user->enabled = IsTrueText(GetCramAttr(KEY_UNIX_ENABLED, dict));
  user->foreign = IsTrueText(GetCramAttr(KEY_FOREIGN, dict));
  loadUserData(scp, user, dict);
  findParentUser(user, scp);
  if (version_ >= FIRST_TREE_VERSION) {
    user->gecos = storedGecos(scp, dict);
  } else {
    user->gecos = GetStringAttr(AD_DESCRIPTION, user->adUser);
  }
}

void SchemaScp::findParentUser(std::shared_ptr<NssZoneUser>& user, kesh::ADObject& scp) {
  if (!user->upn.empty()) return;
  user->accountName = user->parentLink.empty() ? UNKNOWN_USER_NAME : "*" + user->parentLink;
  kesh::ADObject found = linkedPrincipal(scp, user->parentLink);
  if (!found.empty()) {
    user->accountName = GetUserName(found, false);
    user->upn = found.firstValue(AD_USER_PRINCIPAL_NAME);
    user->adUser = found;
  }
  if (user->upn.empty()) user->upn = user->accountName;
}

void SchemaScp::getZoneUsers(const std::string& filter,
                             std::list<std::shared_ptr<NssZoneUser>>& out) {
  kesh::ADObjectList found =
      binding_->search(filter, childContainer(USERS_CONTAINER).dn(), nullptr, kesh::SCOPE_ONE, 0);
  PrefetchScope prefetch(*this, found);
  for (kesh::ADObject& scp : found) {
    auto user = std::make_shared<NssZoneUser>();
    loadZUserData(scp, user);
    out.push_back(user);
  }
}

void SchemaScp::saveZUser(std::shared_ptr<NssZoneUser> user) {
  // The present object of a saved profile gives its name; a new profile has none to keep,
  // so it is not looked up.
  kesh::ADObject present;
  if (!user->isNew) {
    // Work on a copy of the handle: looking the profile up must not change the one in memory.
    kesh::ADObject adUser = user->adUser;
    try {
      present = findZUserScp(adUser, user->getUserName(), user->altIndex, false);
    } catch (const std::exception&) {
      // By rule any failure of the lookup means "no present object".
    }
    if (present.empty()) KESH_THROW(kesh::BadDataException, 0, "Scp has been deleted");
  }
  kesh::ADObject users = childContainer(USERS_CONTAINER);
  kesh::ADObject target;
  if (version_ < FIRST_TREE_VERSION) {
    if (!user->unixName.isSet || user->unixName.value.empty()) {
      KESH_THROW(kesh::BadDataException, 0, "Some user profile fields are missing");
    }
    if (!user->isNew && present.firstValue(KESH_USERNAME) != user->unixName.value) {
      binding_->rename(present,
                       std::string(AD_CN) + "=" + kesh::DN::escapeRDNValue(user->unixName.value));
    }
    target = kesh::LDAPBinding::createChild(users, user->unixName.value, AD_CN);
  } else {
    std::string cn;
    if (!user->isNew) {
      cn = present.firstValue(AD_CN);
    } else {
      cn = user->getUserName();
      if (user->altIndex != 0) cn += ":" + std::to_string(user->altIndex);
      if (cn.size() > MAX_PROFILE_CN && isTreeZone()) {
        cn = user->adUser.guid().toRealMSString();
      }
    }
    target = kesh::LDAPBinding::createChild(users, cn, AD_CN);
  }
  if (user->isNew) {
    target[AD_DISPLAY_NAME] = USER_VERSION_MARKER + std::to_string(objectVersion().user);
  }
  std::map<std::string, std::string> dict;
  if (version_ < FIRST_TREE_VERSION)
    dict[KEY_UNIX_ENABLED] = user->enabled ? TRUE_TEXT : FALSE_TEXT;
  if (version_ < FIRST_MANAGED_BY_FREE_VERSION && !user->foreign && !user->adUser.dn().empty()) {
    target[AD_MANAGED_BY] = user->adUser.dn();
  }
  dict[KEY_PARENT_LINK] = ParentLinkOf(*user);
  if (user->altIndex != 0) {
    dict[KEY_ALT_GUID] = user->altGuid;
    dict[KEY_ALT_INDEX] = std::to_string(user->altIndex);
  }
  if (user->foreign) {
    dict[KEY_UPN] = user->accountName;
    dict[KEY_FOREIGN] = TRUE_TEXT;
  }
  saveUser(user, dict, target);
}

// --- Local users -----------------------------------------------------------------------------

void SchemaScp::loadLocalUser(const std::string& name, std::shared_ptr<NssLocalUser> user) {
  kesh::ADObject scp = findScpByCN(name, LOCAL_USERS_CONTAINER);
  if (scp.empty()) KESH_THROW(kesh::NotFoundException, 0, "LocalUser not in current zone");
  loadLocalUserData(scp, user);
}

void SchemaScp::loadLocalUserData(kesh::ADObject& scp, std::shared_ptr<NssLocalUser> user) {
  std::map<std::string, std::string> dict = KeywordsOf(scp);
  loadUserData(scp, user, dict);
  const std::string flag = GetCramAttr(KEY_PROFILE_FLAG, dict);
  if (!flag.empty()) {
    user->profileFlag.isSet = true;
    user->profileFlag.value.setUnchecked(flag);
  }
  if (!user->unixName.isSet) user->unixName.set(scp.firstValue(AD_CN));
}

void SchemaScp::getLocalUsers(const std::string& filter,
                              std::list<std::shared_ptr<NssLocalUser>>& out) {
  kesh::ADObjectList found = binding_->search(filter, childContainer(LOCAL_USERS_CONTAINER).dn(),
                                              nullptr, kesh::SCOPE_ONE, 0);
  for (kesh::ADObject& scp : found) {
    auto user = std::make_shared<NssLocalUser>();
    loadLocalUserData(scp, user);
    out.push_back(user);
  }
}

void SchemaScp::saveLocalUser(std::shared_ptr<NssLocalUser> user) {
  const std::string name = user->getUserName();
  // A new name too long for a cn is refused before anything is written.
  if (user->isNew && name.size() > MAX_PROFILE_CN) {
    KESH_THROW(kesh::BadDataException, 0, "User name length has exceeded the limit");
  }
  if (user->isNew) checkAndCreateContainer(LOCAL_USERS_CONTAINER);
  kesh::ADObject present = findScpByCN(name, LOCAL_USERS_CONTAINER);
  if (!user->isNew && present.empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Scp has been deleted");
  }
  const std::string cn = user->isNew ? name : present.firstValue(AD_CN);
  if (cn.size() > MAX_PROFILE_CN) {
    KESH_THROW(kesh::BadDataException, 0, "User name length has exceeded the limit");
  }
  kesh::ADObject container = childContainer(LOCAL_USERS_CONTAINER);
  kesh::ADObject target = kesh::LDAPBinding::createChild(container, cn, AD_CN);
  if (user->isNew) {
    target[AD_DISPLAY_NAME] =
        getSchemaType() == SCHEMA_TYPE_RFC ? LOCAL_USER_MARKER_RFC : LOCAL_USER_MARKER_DYNAMIC;
  }
  std::map<std::string, std::string> dict;
  if (user->profileFlag.isSet) dict[KEY_PROFILE_FLAG] = user->profileFlag.value.get();
  saveUser(user, dict, target);
  updateContainerTimestamp(LOCAL_USERS_CONTAINER);
}

// --- Both kinds ------------------------------------------------------------------------------

void SchemaScp::deleteUser(std::shared_ptr<NssUser>& user) {
  if (user->isNew) KESH_THROW(kesh::BadDataException, 0, "Zone user has not been created");
  if (!user->scp.empty()) binding_->remove(user->scp, false);
  if (dynamic_cast<NssLocalUser*>(user.get()) != nullptr) {
    updateContainerTimestamp(LOCAL_USERS_CONTAINER);
  }
}

kesh::ADObject SchemaScp::findUnixUser(const std::string& name, bool local) {
  const std::string filter = getSchemaType() == SCHEMA_TYPE_RFC
                                 ? "(" + std::string(RFC_LOGIN) + "=" + name + ")"
                                 : "(keywords=" + std::string(KEY_LOGIN) + ":" + name + ")";
  return findUnixName(local ? LOCAL_USERS_CONTAINER : USERS_CONTAINER, name, filter,
                      "user not found");
}

void checkNssUser(std::shared_ptr<NssUser> user, IZoneSchema* schema) {
  const int version = schema->version();
  const int count = user->uid.isSet + user->gid.isSet + user->unixName.isSet + user->shell.isSet +
                    user->home.isSet;
  if (version < FIRST_TREE_VERSION && count != 5) {
    KESH_THROW(kesh::BadDataException, 0, "Some user profile fields are missing");
  }
  if (version >= FIRST_TREE_VERSION && count == 0 && !user->gecos.isSet) {
    KESH_THROW(kesh::BadDataException, 0, "At least one user profile field needed");
  }
  if (!user->unixName.isSet) return;
  const std::string& unixName = user->unixName.value;
  NssZoneUser* zoneUser = dynamic_cast<NssZoneUser*>(user.get());

  kesh::ADObject holder;
  try {
    holder = schema->findUnixUser(unixName, zoneUser == nullptr);
  } catch (const kesh::NotFoundException&) {
    // No profile holds the name.
  }
  if (!holder.empty()) {
    const kesh::ADObject& own = schema->getSchemaType() == SCHEMA_TYPE_SFU && zoneUser != nullptr
                                    ? zoneUser->adUser
                                    : user->scp;
    if (user->isNew || kesh::upper(holder.dn()) != kesh::upper(own.dn())) {
      KESH_THROW(kesh::BadDataException, 0, "Duplicate Unix name");
    }
  }
  if (zoneUser == nullptr) return;
  if (unixName.find('@') != std::string::npos) {
    KESH_THROW(kesh::BadDataException, 0, "unix name should not include '@' ");
  }
  const std::string domain = kesh::DN::domainFromDN(zoneUser->adUser.dn());
  if (domain.empty()) return;  // an unresolved directory user has no domain to compare in
  try {
    kesh::ADObject namesake = GetADUser(unixName + "@" + kesh::lower(domain));
    if (namesake.guid() != zoneUser->adUser.guid()) {
      KESH_THROW(kesh::BadDataException, 0, "Duplicate uname with AD user name in the same domain");
    }
  } catch (const kesh::NotFoundException&) {
    // No account of that name: the name is free.
  }
}

// --- RFC layout ------------------------------------------------------------------------------

std::vector<std::string> SchemaScpRfc::profileClasses() { return {CLASS_SCP, CLASS_POSIX_ACCOUNT}; }

kesh::ADObject SchemaScpRfc::FindUserScpByUnixName(std::shared_ptr<MyBinding> binding,
                                                   kesh::ADObject zone, const std::string& name) {
  return FirstProfileBelow(binding, zone, USERS_CONTAINER,
                           "(" + std::string(RFC_LOGIN) + "=" + name + ")",
                           "could not find zone entry");
}

void SchemaScpRfc::loadUserData(kesh::ADObject& scp, std::shared_ptr<NssUser> user,
                                std::map<std::string, std::string>& dict) {
  user->scp = scp;
  user->uid = NumberOf(GetStringAttr(RFC_UID_NUMBER, scp), false);
  user->gid = NumberOf(GetStringAttr(RFC_GID_NUMBER, scp), false);
  user->unixName = GetStringAttr(RFC_LOGIN, scp);
  user->shell = GetStringAttr(RFC_SHELL, scp);
  user->home = GetStringAttr(RFC_HOME, scp);
  user->gecos = GetStringAttr(version_ >= FIRST_TREE_VERSION ? RFC_GECOS : AD_DESCRIPTION, scp);
  user->extended = ExtendedOf(dict);
}

OptionalField<std::string> SchemaScpRfc::storedGecos(kesh::ADObject& scp,
                                                     std::map<std::string, std::string>&) {
  return GetStringAttr(RFC_GECOS, scp);
}

void SchemaScpRfc::saveUser(std::shared_ptr<NssUser> user, std::map<std::string, std::string>& dict,
                            kesh::ADObject& target) {
  PrepareTarget(*user, target, profileClasses(), version_);
  SetOrClear(target, RFC_UID_NUMBER, TextOf(user->uid));
  SetOrClear(target, RFC_GID_NUMBER, TextOf(user->gid));
  SetOrClear(target, RFC_SHELL, user->shell);
  SetOrClear(target, RFC_HOME, user->home);
  SetOrClear(target, RFC_LOGIN, user->unixName);
  if (version_ >= FIRST_TREE_VERSION) SetOrClear(target, RFC_GECOS, user->gecos);
  WriteProfile(binding_, *user, dict, target);
}

// --- Dynamic layout --------------------------------------------------------------------------

std::vector<std::string> SchemaScpDynamic::profileClasses() { return {CLASS_SCP}; }

kesh::ADObject SchemaScpDynamic::FindUserScpByUnixName(std::shared_ptr<MyBinding> binding,
                                                       kesh::ADObject zone,
                                                       const std::string& name) {
  if (version_ >= FIRST_TREE_VERSION) {
    return FindScpByLoginName(binding, zone, name, USERS_CONTAINER);
  }
  return FirstProfileBelow(binding, zone, USERS_CONTAINER,
                           "(" + std::string(AD_NAME) + "=" + name + ")",
                           "could not find zone entry");
}

void SchemaScpDynamic::loadUserData(kesh::ADObject& scp, std::shared_ptr<NssUser> user,
                                    std::map<std::string, std::string>& dict) {
  user->scp = scp;
  user->uid = NumberOf(GetStringAttr(KEY_UID, dict), true);
  user->gid = NumberOf(GetStringAttr(KEY_GID, dict), true);
  user->unixName =
      version_ >= FIRST_TREE_VERSION ? GetStringAttr(KEY_LOGIN, dict) : GetStringAttr(AD_NAME, scp);
  user->shell = GetStringAttr(KEY_SHELL, dict);
  user->home = GetStringAttr(KEY_HOME, dict);
  user->gecos = GetStringAttr(version_ >= FIRST_TREE_VERSION ? KEY_GECOS : KEY_DESCRIPTION, dict);
  user->extended = ExtendedOf(dict);
}

OptionalField<std::string> SchemaScpDynamic::storedGecos(kesh::ADObject&,
                                                         std::map<std::string, std::string>& dict) {
  return GetStringAttr(KEY_GECOS, dict);
}

void SchemaScpDynamic::saveUser(std::shared_ptr<NssUser> user,
                                std::map<std::string, std::string>& dict, kesh::ADObject& target) {
  PrepareTarget(*user, target, profileClasses(), version_);
  SetIfSet(dict, KEY_UID, TextOf(user->uid));
  SetIfSet(dict, KEY_GID, TextOf(user->gid));
  SetIfSet(dict, KEY_SHELL, user->shell);
  SetIfSet(dict, KEY_HOME, user->home);
  if (version_ >= FIRST_TREE_VERSION) {
    SetIfSet(dict, KEY_LOGIN, user->unixName);
    SetIfSet(dict, KEY_GECOS, user->gecos);
  }
  WriteProfile(binding_, *user, dict, target);
}
