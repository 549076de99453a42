// Zone paths, opening and creation, and the schema-backed capabilities that the zone
// classes compose.
#include "zones/zone.h"

#include <cstdlib>
#include <list>
#include <memory>
#include <string>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/strings.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"
#include "zones/access_zone.h"
#include "zones/classic_zone.h"
#include "zones/machine_zone.h"
#include "zones/ngzone.h"

namespace {

// The domain functional level from which hierarchical, computer and access zones exist.
constexpr int MIN_ZONE_DOMAIN_LEVEL = 2;

// Hierarchical zones and their sub-zones need a domain above the first functional level.
void CheckDomainLevel(const std::shared_ptr<MyBinding>& binding) {
  if (binding->binding->domainLevel() < MIN_ZONE_DOMAIN_LEVEL) {
    KESH_THROW(kesh::BadDataException, 0, "Zone type not supported in win2k domain");
  }
}

// The child container `cn` of the zone object, read from the directory.
kesh::ADObject ReadChild(kesh::ADObject& zone, const char* cn) {
  return GetADObjectByDN(kesh::LDAPBinding::createChild(zone, cn, "cn").dn());
}

bool IsClassicVersion(int version) { return version >= 2 && version <= 5; }
bool IsTreeVersion(int version) { return version == 6 || version == 7 || version == 9; }

}  // namespace

// --- NssZone -----------------------------------------------------------------------------

SchemaType NssZone::getSchemaType() { return schema->getSchemaType(); }

// --- Computers ------------------------------------------------------------------------------

kesh::ADObject NssZoneSupportComputer::getComputerContainer() {
  return ReadChild(object, COMPUTERS_CONTAINER);
}

void NssZoneSupportComputer::createNisServerGroup() {
  std::string zoneDn = object.dn();
  std::string root = kesh::DN::dnFromDomain(kesh::DN::domainFromDN(zoneDn));
  kesh::ADObject system =
      binding->fetch(std::string("<WKGUID=") + AD_GUID_SYSTEM_CONTAINER + "," + root + ">", nullptr,
                     AD_ALL_OBJECTS);
  std::string systemDn = kesh::upper(system.dn());
  std::string upperZone = kesh::upper(zoneDn);
  if (!systemDn.empty() && upperZone.size() >= systemDn.size() &&
      upperZone.compare(upperZone.size() - systemDn.size(), systemDn.size(), systemDn) == 0) {
    KESH_THROW(kesh::BadDataException, 0,
               "A computer in a zone under the default system container cannot act as a NIS "
               "server.");
  }
  kesh::ADObject computers = getComputerContainer();
  kesh::ADObject group = kesh::LDAPBinding::createChild(computers, "zone_nis_servers", "cn");
  group[AD_OBJECT_CLASS] = "group";
  group[AD_DISPLAY_NAME] = "zone_nis_servers";
  group[AD_SAM_ACCOUNT_NAME] = kesh::Guid::generate().toRealMSString();
  binding->add(group);
}

void ThrowWrongZoneType() { KESH_THROW(kesh::BadDataException, 0, "Wrong zone type"); }

void AddZoneContainers(MyBinding& binding, kesh::ADObject& zone,
                       std::initializer_list<const char*> cns) {
  std::list<kesh::ADObject> containers;
  for (const char* cn : cns) {
    kesh::ADObject child = kesh::LDAPBinding::createChild(zone, cn, AD_CN);
    child[AD_OBJECT_CLASS] = "container";
    containers.push_back(child);
  }
  for (kesh::ADObject& child : containers) binding.add(child);
}

// --- Paths, opening, creation -----------------------------------------------------------

void ParseZonePath(const std::string& path, std::string& computerName, std::string& zoneDn,
                   std::string& accessZoneName) {
  size_t at = path.find('@');
  size_t slash = path.find('/');
  size_t equals = path.find('=');  // npos stands for "at infinity"
  if (at != std::string::npos && at <= equals) {
    computerName = path.substr(0, at);
    zoneDn = path.substr(at + 1);
  } else if (slash != std::string::npos) {
    zoneDn = path.substr(0, slash);
    accessZoneName = path.substr(slash + 1);
  } else {
    zoneDn = path;
  }
  if (!kesh::DN::isDN(zoneDn)) KESH_THROW(kesh::BadDataException, 0, "Bad zone name format");
  if (!computerName.empty() && !accessZoneName.empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Bad zone name format");
  }
}

std::shared_ptr<IZone> OpenZone(const std::string& path) {
  std::string computerName, zoneDn, accessZoneName;
  ParseZonePath(path, computerName, zoneDn, accessZoneName);
  std::shared_ptr<MyBinding> binding = GetBindingForDN(zoneDn);
  kesh::ADObject object = binding->fetch(zoneDn, nullptr, AD_ALL_OBJECTS);
  int version = GetSchema(object)->version();
  if (IsClassicVersion(version)) {
    if (!accessZoneName.empty()) {
      KESH_THROW(kesh::BadDataException, 0, "Bad zone name format (az not supported)");
    }
    if (!computerName.empty()) return ClassicMachineZone::Open(binding, zoneDn, computerName);
    return ClassicZone::Open(binding, zoneDn);
  }
  if (!IsTreeVersion(version)) KESH_THROW(kesh::BadDataException, 0, "Unsupported zone type");
  std::shared_ptr<IZone> tree = TreeZone::Open(binding, zoneDn);
  if (!computerName.empty()) return MachineZone::Open(tree, computerName);
  if (!accessZoneName.empty()) return AccessZone::Open(tree, accessZoneName);
  return tree;
}

void CreateZone(const std::string& path, SchemaType schema, ZoneType type,
                bool organizationalUnit) {
  std::string computerName, zoneDn, accessZoneName;
  ParseZonePath(path, computerName, zoneDn, accessZoneName);
  std::shared_ptr<MyBinding> binding = GetBindingForDN(zoneDn);

  if (computerName.empty() && accessZoneName.empty()) {
    std::shared_ptr<IZone> zone;
    switch (type) {
      case ZONE_TYPE_CLASSIC3:
        zone = ClassicZone::Create(binding, zoneDn, schema, 3, organizationalUnit);
        break;
      case ZONE_TYPE_CLASSIC4:
        zone = ClassicZone::Create(binding, zoneDn, schema, 4, organizationalUnit);
        break;
      case ZONE_TYPE_TREE:
        CheckDomainLevel(binding);
        // The zone DN, not the path: a path with an empty computer or access zone name
        // ("@<dn>", "<dn>/") names the zone itself.
        zone = TreeZone::Create(binding, zoneDn, schema, organizationalUnit);
        break;
      default:
        KESH_THROW(kesh::BadDataException, 0, "Invalid zone type");
    }
    IZoneJoinable* joinable = dynamic_cast<IZoneJoinable*>(zone.get());
    if (joinable == nullptr) KESH_THROW(kesh::BadDataException, 0, "Invalid zone type");
    joinable->createNisServerGroup();
    return;
  }

  if (!accessZoneName.empty()) {
    if (type != ZONE_TYPE_ACCESS) KESH_THROW(kesh::BadDataException, 0, "Invalid zone type");
    CheckDomainLevel(binding);
    AccessZone::Create(OpenZone(zoneDn), accessZoneName);
    return;
  }

  size_t dot = computerName.find('.');
  if (dot == std::string::npos || dot + 1 == computerName.size()) {
    KESH_THROW(kesh::BadDataException, 0, "Machine zone name must be FQDN");
  }
  switch (type) {
    case ZONE_TYPE_COMPUTER:
      CheckDomainLevel(binding);
      if (schema == SCHEMA_TYPE_SFU) {
        KESH_THROW(kesh::BadDataException, 0, "Machine zone can not be SFU zone");
      }
      MachineZone::Create(OpenZone(zoneDn), computerName, schema);
      return;
    case ZONE_TYPE_CLASSIC_COMPUTER:
      ClassicMachineZone::Create(OpenZone(zoneDn), computerName);
      return;
    default:
      KESH_THROW(kesh::BadDataException, 0, "Invalid zone type");
  }
}

void GetAllChildren(std::list<std::shared_ptr<IZone>>& out, std::shared_ptr<IZone> zone) {
  TreeZone* tree = dynamic_cast<TreeZone*>(zone.get());
  if (tree == nullptr) return;
  std::list<std::shared_ptr<IZone>> children;
  tree->getChildren(children, true, true, true);
  for (std::shared_ptr<IZone>& child : children) {
    out.push_back(child);
    GetAllChildren(out, child);
  }
}

std::pair<int, std::string> ParseUpn(const std::string& name, char separator) {
  size_t pos = name.find(separator);
  if (pos == std::string::npos) return {0, name};
  if (pos + 1 == name.size()) KESH_THROW(kesh::BadDataException, 0, "Invalid alias suffix");
  int suffix = static_cast<int>(std::strtol(name.c_str() + pos + 1, nullptr, 10));
  if (suffix == 0) KESH_THROW(kesh::BadDataException, 0, "Invalid alias suffix");
  return {suffix, name.substr(0, pos)};
}
