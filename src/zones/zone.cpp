// Zone paths, opening and creation, and the schema-backed capabilities shared by the zone
// classes.
#include "zones/zone.h"

#include "directory/library/exceptions.h"

namespace {

[[noreturn]] void NotYet(const char* operation) {
  KESH_THROW(kesh::BadDataException, 0, "%s is not available yet", operation);
}

}  // namespace

SchemaType NssZone::getSchemaType() { NotYet("getSchemaType"); }
void NssZone::delegateRight(const std::string&, std::string) { NotYet("delegateRight"); }
void NssZone::delegateInitRights(kesh::ADObject, const std::shared_ptr<MyBinding>&) {}

void IZoneSupportNssGroup::saveGroup(std::shared_ptr<NssGroup>&) { NotYet("saveGroup"); }
void IZoneSupportNssGroup::getGroups(const std::string&, bool (*)(std::shared_ptr<NssGroup>&)) {
  NotYet("getGroups");
}
void IZoneSupportNssGroup::deleteGroup(std::shared_ptr<NssGroup>&) { NotYet("deleteGroup"); }

std::shared_ptr<NssZoneUser> NssZoneSupportZoneUserGroup::getNssZUser(const std::string&, bool) {
  NotYet("getNssZUser");
}
void NssZoneSupportZoneUserGroup::saveNssZUser(std::shared_ptr<NssZoneUser>) {
  NotYet("saveNssZUser");
}
std::shared_ptr<NssZoneUser> NssZoneSupportZoneUserGroup::newNssZUser(const std::string&) {
  NotYet("newNssZUser");
}
void NssZoneSupportZoneUserGroup::getNssZUsers(const std::string&,
                                               std::list<std::shared_ptr<NssZoneUser>>&) {
  NotYet("getNssZUsers");
}
void NssZoneSupportZoneUserGroup::deleteNssZUser(std::shared_ptr<NssUser>) {
  NotYet("deleteNssZUser");
}
kesh::ADObject NssZoneSupportZoneUserGroup::getZUserContainer() { NotYet("getZUserContainer"); }
std::shared_ptr<NssGroup> NssZoneSupportZoneUserGroup::getZGroup(const std::string&, bool) {
  NotYet("getZGroup");
}
std::shared_ptr<NssGroup> NssZoneSupportZoneUserGroup::newZGroup(const std::string&) {
  NotYet("newZGroup");
}
kesh::ADObject NssZoneSupportZoneUserGroup::getZGroupContainer() { NotYet("getZGroupContainer"); }

std::shared_ptr<NssLocalUser> NssZoneSupportLocalUserGroup::getNssLocalUser(const std::string&) {
  NotYet("getNssLocalUser");
}
void NssZoneSupportLocalUserGroup::saveNssLocalUser(std::shared_ptr<NssLocalUser>) {
  NotYet("saveNssLocalUser");
}
std::shared_ptr<NssLocalUser> NssZoneSupportLocalUserGroup::newNssLocalUser(const std::string&) {
  NotYet("newNssLocalUser");
}
void NssZoneSupportLocalUserGroup::getNssLocalUsers(const std::string&,
                                                    std::list<std::shared_ptr<NssLocalUser>>&) {
  NotYet("getNssLocalUsers");
}
void NssZoneSupportLocalUserGroup::deleteNssLocalUser(std::shared_ptr<NssUser>) {
  NotYet("deleteNssLocalUser");
}
std::shared_ptr<NssGroup> NssZoneSupportLocalUserGroup::getLocalGroup(const std::string&) {
  NotYet("getLocalGroup");
}
std::shared_ptr<NssGroup> NssZoneSupportLocalUserGroup::newLocalGroup(const std::string&) {
  NotYet("newLocalGroup");
}

std::shared_ptr<ZoneComputer> NssZoneSupportComputer::getZoneComputer(const std::string&) {
  NotYet("getZoneComputer");
}
void NssZoneSupportComputer::saveZoneComputer(std::shared_ptr<ZoneComputer>&) {
  NotYet("saveZoneComputer");
}
std::shared_ptr<ZoneComputer> NssZoneSupportComputer::newZoneComputer(const std::string&) {
  NotYet("newZoneComputer");
}
void NssZoneSupportComputer::getZoneComputers(const std::string&,
                                              std::list<std::shared_ptr<ZoneComputer>>&) {
  NotYet("getZoneComputers");
}
void NssZoneSupportComputer::deleteZoneComputer(std::shared_ptr<ZoneComputer>&) {
  NotYet("deleteZoneComputer");
}
kesh::ADObject NssZoneSupportComputer::getComputerContainer() { NotYet("getComputerContainer"); }
void NssZoneSupportComputer::createNisServerGroup() { NotYet("createNisServerGroup"); }

void NssZoneSupportNisMaps::getMaps(std::list<std::string>&) { NotYet("getMaps"); }
void NssZoneSupportNisMaps::getMapEntries(
    const std::string&, std::map<std::string, std::pair<std::string, std::string>>&) {
  NotYet("getMapEntries");
}
std::shared_ptr<NisMap> NssZoneSupportNisMaps::newMap(const std::string&, bool) {
  NotYet("newMap");
}
void NssZoneSupportNisMaps::deleteMap(const std::string&) { NotYet("deleteMap"); }
void NssZoneSupportNisMaps::addMapEntry(const std::string&, const std::string&,
                                        const std::string&, const std::string&) {
  NotYet("addMapEntry");
}
void NssZoneSupportNisMaps::removeMapEntry(const std::string&, const std::string&) {
  NotYet("removeMapEntry");
}
void NssZoneSupportNisMaps::saveMap(std::shared_ptr<NisMap>&) { NotYet("saveMap"); }
std::shared_ptr<NisMap> NssZoneSupportNisMaps::getMap(const std::string&) { NotYet("getMap"); }
kesh::ADObject NssZoneSupportNisMaps::getNisContainer() { NotYet("getNisContainer"); }

void ParseZonePath(const std::string&, std::string&, std::string&, std::string&) {
  NotYet("ParseZonePath");
}
std::shared_ptr<IZone> OpenZone(const std::string&) { NotYet("OpenZone"); }
void CreateZone(const std::string&, SchemaType, ZoneType, bool) { NotYet("CreateZone"); }
void GetAllChildren(std::list<std::shared_ptr<IZone>>&, std::shared_ptr<IZone>) {
  NotYet("GetAllChildren");
}
std::pair<int, std::string> ParseUpn(const std::string&, char) { NotYet("ParseUpn"); }
