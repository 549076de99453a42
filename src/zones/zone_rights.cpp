// Delegation of zone rights: which object of a zone carries a right.
#include "zones/zone_rights.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "authorization/zone_qv.h"
#include "directory/cli_orlutils.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/session.h"
#include "security/delegate.h"
#include "zones/access_zone.h"
#include "zones/classic_zone.h"
#include "zones/machine_zone.h"
#include "zones/zone.h"

const char* const COMPUTER_ZONE_SCOPE_DELETE_KEY = "delete_qvscope_of_current_computer_zone";

namespace {

struct RightEntry {
  const char* name;
  ZoneRightGroup group;
  const char* computerContainerKey;  // COMPUTER_ZONES only
};

// The vocabulary, in the order of the groups.
const std::vector<RightEntry>& Vocabulary() {
  using G = ZoneRightGroup;
  static const std::vector<RightEntry> entries = {
      {"join", G::COMPUTER_CONTAINER, ""},
      {"change_computer", G::COMPUTER_CONTAINER, ""},
      {"delete_computer", G::COMPUTER_CONTAINER, ""},
      {"add_user_group_to_computer_zone", G::COMPUTER_CONTAINER, ""},
      {"delete_user_group_from_computer_zone", G::COMPUTER_CONTAINER, ""},
      {"modify_user_group_in_computer_zone", G::COMPUTER_CONTAINER, ""},
      {"add_user", G::USER_CONTAINER, ""},
      {"delete_user", G::USER_CONTAINER, ""},
      {"change_user", G::USER_CONTAINER, ""},
      {"add_group", G::GROUP_CONTAINER, ""},
      {"delete_group", G::GROUP_CONTAINER, ""},
      {"change_group", G::GROUP_CONTAINER, ""},
      {"delete_zone", G::ZONE_OBJECT, ""},
      {"change_zone", G::ZONE_OBJECT, ""},
      {"enable_qv", G::ZONE_OBJECT, ""},
      {"nisservers", G::NIS_SERVERS, ""},
      {"import", G::IMPORT, ""},
      {"manage_roles_and_rights", G::SCOPE, ""},
      {"manage_role_assignments", G::SCOPE, ""},
      {"add_remove_nismap_entry", G::NIS_MAPS, ""},
      {"modify_nismap_entry", G::NIS_MAPS, ""},
      {"remove_nismap", G::NIS_MAPS, ""},
      {"add_nismap", G::NIS_MAPS, ""},
      {"add_computer_zone", G::COMPUTER_ZONES, "add_czone_crole_in_computer_cont"},
      {"add_computer_role", G::COMPUTER_ZONES, "add_czone_crole_in_computer_cont"},
      {"delete_computer_zone", G::COMPUTER_ZONES, "del_czone_crole_in_computer_cont"},
      {"delete_computer_role", G::COMPUTER_ZONES, "del_czone_crole_in_computer_cont"},
      {"delegate_permission_for_computer_zone", G::COMPUTER_ZONES,
       "deleg_perm_czone_in_computer_cont"},
      {"modify_computer_role", G::REFUSED, ""},
  };
  return entries;
}

const RightEntry* Find(const std::string& right) {
  for (const RightEntry& entry : Vocabulary()) {
    if (right == entry.name) return &entry;
  }
  return nullptr;
}

// The name of the group that a computer container holds for the zone's NIS servers.
constexpr char NIS_SERVERS_GROUP[] = "zone_nis_servers";

[[noreturn]] void NotSupported(const std::string& right) {
  KESH_THROW(kesh::BadDataException, 0, "Right not supported: %s", right.c_str());
}

// This zone as a T, or "Right not supported: <right>".
template <typename T>
T* Cast(NssZone* zone, const std::string& right) {
  T* result = dynamic_cast<T*>(zone);
  if (result == nullptr) NotSupported(right);
  return result;
}

}  // namespace

ZoneRightGroup ZoneRightGroupOf(const std::string& right) {
  const RightEntry* entry = Find(right);
  return entry ? entry->group : ZoneRightGroup::UNKNOWN;
}

std::string ComputerContainerKeyOf(const std::string& right) {
  const RightEntry* entry = Find(right);
  return entry ? entry->computerContainerKey : "";
}

const std::vector<std::string>& ZoneRightNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> out;
    for (const RightEntry& entry : Vocabulary()) out.push_back(entry.name);
    return out;
  }();
  return names;
}

AccessRightAction AccessZoneRightAction(const std::string& right) {
  static const std::map<std::string, AccessRightAction> actions = {
      {"join", AccessRightAction::REFUSE},
      {"change_computer", AccessRightAction::REFUSE},
      {"delete_computer", AccessRightAction::REFUSE},
      {"add_user", AccessRightAction::REFUSE},
      {"delete_user", AccessRightAction::REFUSE},
      {"change_user", AccessRightAction::REFUSE},
      {"add_group", AccessRightAction::REFUSE},
      {"delete_group", AccessRightAction::REFUSE},
      {"change_group", AccessRightAction::REFUSE},
      {"change_zone", AccessRightAction::REFUSE},
      {"enable_qv", AccessRightAction::REFUSE},
      {"nisservers", AccessRightAction::REFUSE},
      {"import", AccessRightAction::REFUSE},
      {"manage_roles_and_rights", AccessRightAction::REFUSE},
      {"add_remove_nismap_entry", AccessRightAction::REFUSE},
      {"modify_nismap_entry", AccessRightAction::REFUSE},
      {"remove_nismap", AccessRightAction::REFUSE},
      {"delete_zone", AccessRightAction::SCOPE},
      {"manage_role_assignments", AccessRightAction::SCOPE},
      {"modify_computer_role", AccessRightAction::SCOPE},
  };
  auto it = actions.find(right);
  return it == actions.end() ? AccessRightAction::UNKNOWN : it->second;
}

void NssZone::delegateRight(const std::string& right, std::string principal) {
  kesh::setSDFlag(binding->binding, false);

  // Writes the entries of `key` on `target`: the object is read from the directory first
  // when it was only named (a container built from the zone's DN has no descriptor).
  auto grant = [&](kesh::ADObject& target, const std::string& key, SchemaType schema) {
    DelegateRightBySDDL(target, key, principal, schema);
    binding->update(target, MyBinding::UPDATE_REPLACE);
  };
  auto read = [&](const kesh::ADObject& named) {
    return binding->fetch(named.dn(), nullptr, AD_ALL_OBJECTS);
  };
  auto refuseSfu = [&] {
    if (getSchemaType() == SCHEMA_TYPE_SFU) {
      KESH_THROW(kesh::BadDataException, 0, "Right not supported for SFU zone: %s", right.c_str());
    }
  };

  switch (ZoneRightGroupOf(right)) {
    case ZoneRightGroup::COMPUTER_CONTAINER: {
      kesh::ADObject computers = Cast<IZoneJoinable>(this, right)->getComputerContainer();
      grant(computers, right, SCHEMA_TYPE_NONE);
      return;
    }
    case ZoneRightGroup::USER_CONTAINER: {
      refuseSfu();
      kesh::ADObject users = read(Cast<IZoneSupportNssZoneUser>(this, right)->getZUserContainer());
      grant(users, right, getSchemaType());
      return;
    }
    case ZoneRightGroup::GROUP_CONTAINER: {
      refuseSfu();
      kesh::ADObject groups =
          read(Cast<IZoneSupportNssZoneGroup>(this, right)->getZGroupContainer());
      grant(groups, right, getSchemaType());
      return;
    }
    case ZoneRightGroup::ZONE_OBJECT:
      if (right == "enable_qv" && !TestCurrentZone<ClassicZone>()) {
        KESH_THROW(kesh::BadDataException, 0, "Invalid right for this zone: %s", right.c_str());
      }
      grant(object, right, SCHEMA_TYPE_NONE);
      if (right == "delete_zone" && dynamic_cast<MachineZone*>(this) != nullptr) {
        dynamic_cast<ZoneUsesQV*>(this)->delegateQVRight(COMPUTER_ZONE_SCOPE_DELETE_KEY, principal);
      }
      return;
    case ZoneRightGroup::NIS_SERVERS: {
      IZoneJoinable* joinable = Cast<IZoneJoinable>(this, right);
      kesh::ADObject computers = joinable->getComputerContainer();
      const std::string dn =
          kesh::LDAPBinding::createChild(computers, NIS_SERVERS_GROUP, AD_CN).dn();
      kesh::ADObject group;
      try {
        group = binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
      } catch (const LDAPException&) {
        joinable->createNisServerGroup();
        group = binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
      }
      if (group.firstValue(KESH_OBJECT_CATEGORY) != AD_GROUP_CATEGORY) {
        KESH_THROW(kesh::BadDataException, 0, "zone_nis_servers is not a group");
      }
      grant(group, right, SCHEMA_TYPE_NONE);
      return;
    }
    case ZoneRightGroup::IMPORT: {
      kesh::ADObject users = read(Cast<IZoneSupportNssZoneUser>(this, right)->getZUserContainer());
      kesh::ADObject groups =
          read(Cast<IZoneSupportNssZoneGroup>(this, right)->getZGroupContainer());
      DelegateRightBySDDL(users, right, principal, SCHEMA_TYPE_NONE);
      DelegateRightBySDDL(groups, right, principal, SCHEMA_TYPE_NONE);
      binding->update(users, MyBinding::UPDATE_REPLACE);
      binding->update(groups, MyBinding::UPDATE_REPLACE);
      return;
    }
    case ZoneRightGroup::SCOPE:
      if (right == "manage_roles_and_rights" &&
          (TestCurrentZone<MachineZone>() || TestCurrentZone<ClassicMachineZone>())) {
        KESH_THROW(kesh::BadDataException, 0, "Right not supported for computer zone: %s",
                   right.c_str());
      }
      Cast<ZoneUsesQV>(this, right)->delegateQVRight(right, principal);
      return;
    case ZoneRightGroup::NIS_MAPS: {
      kesh::ADObject maps = Cast<IZoneSupportNisMaps>(this, right)->getNisContainer();
      grant(maps, right, SCHEMA_TYPE_NONE);
      return;
    }
    case ZoneRightGroup::COMPUTER_ZONES: {
      IZoneJoinable* joinable = Cast<IZoneJoinable>(this, right);
      ZoneUsesQV* qv = Cast<ZoneUsesQV>(this, right);
      kesh::ADObject computers = joinable->getComputerContainer();
      grant(computers, ComputerContainerKeyOf(right), SCHEMA_TYPE_NONE);
      qv->delegateQVRight(right, principal);
      return;
    }
    case ZoneRightGroup::REFUSED:
      NotSupported(right);
    case ZoneRightGroup::UNKNOWN:
      break;
  }
  KESH_THROW(kesh::BadDataException, 0, "Unknown right: %s", right.c_str());
}

void NssZone::delegateInitRights(kesh::ADObject zoneObject,
                                 const std::shared_ptr<MyBinding>& binding) {
  kesh::ADObject fetched = binding->fetch(zoneObject.dn(), nullptr, AD_ALL_OBJECTS);
  kesh::setSDFlag(binding->binding, false);
  const std::string user = kesh::getBindingUser(binding->binding);
  DelegateRightBySDDL(fetched, "zone_creator", user, SCHEMA_TYPE_NONE);
  binding->update(fetched, MyBinding::UPDATE_REPLACE);
}

void AccessZone::delegateRight(const std::string& right, std::string principal) {
  switch (AccessZoneRightAction(right)) {
    case AccessRightAction::REFUSE:
      KESH_THROW(kesh::BadDataException, 0, "Right not supported: %s", right.c_str());
    case AccessRightAction::SCOPE:
      delegateQVRight(right, principal);
      return;
    case AccessRightAction::UNKNOWN:
      break;
  }
  KESH_THROW(kesh::BadDataException, 0, "Unknown right: %s", right.c_str());
}
