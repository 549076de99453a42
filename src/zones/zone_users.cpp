// The zone side of user profiles: zone users and local users of the schema-backed zones.
#include <list>
#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone.h"

std::shared_ptr<NssZoneUser> NssZoneSupportZoneUserGroup::getNssZUser(const std::string&, bool) {
  NotAvailableYet("getNssZUser");
}
void NssZoneSupportZoneUserGroup::saveNssZUser(std::shared_ptr<NssZoneUser>) {
  NotAvailableYet("saveNssZUser");
}
std::shared_ptr<NssZoneUser> NssZoneSupportZoneUserGroup::newNssZUser(const std::string&) {
  NotAvailableYet("newNssZUser");
}
void NssZoneSupportZoneUserGroup::getNssZUsers(const std::string&,
                                               std::list<std::shared_ptr<NssZoneUser>>&) {
  NotAvailableYet("getNssZUsers");
}
void NssZoneSupportZoneUserGroup::deleteNssZUser(std::shared_ptr<NssUser>) {
  NotAvailableYet("deleteNssZUser");
}
kesh::ADObject NssZoneSupportZoneUserGroup::getZUserContainer() {
  return kesh::LDAPBinding::createChild(object, "Users", AD_CN);
}

std::shared_ptr<NssLocalUser> NssZoneSupportLocalUserGroup::getNssLocalUser(const std::string&) {
  NotAvailableYet("getNssLocalUser");
}
void NssZoneSupportLocalUserGroup::saveNssLocalUser(std::shared_ptr<NssLocalUser>) {
  NotAvailableYet("saveNssLocalUser");
}
std::shared_ptr<NssLocalUser> NssZoneSupportLocalUserGroup::newNssLocalUser(const std::string&) {
  NotAvailableYet("newNssLocalUser");
}
void NssZoneSupportLocalUserGroup::getNssLocalUsers(const std::string&,
                                                    std::list<std::shared_ptr<NssLocalUser>>&) {
  NotAvailableYet("getNssLocalUsers");
}
void NssZoneSupportLocalUserGroup::deleteNssLocalUser(std::shared_ptr<NssUser>) {
  NotAvailableYet("deleteNssLocalUser");
}
