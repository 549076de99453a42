// The SFU layout: profile data on the directory's own users and groups.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"
#include "schema/user.h"
#include "schema/zschema.h"

void SchemaSfu::loadZUser(const std::string&, std::shared_ptr<NssZoneUser>, bool) {
  NotAvailableYet("loadZUser");
}
void SchemaSfu::loadLocalUser(const std::string&, std::shared_ptr<NssLocalUser>) {
  NotAvailableYet("loadLocalUser");
}
void SchemaSfu::saveZUser(std::shared_ptr<NssZoneUser>) { NotAvailableYet("saveZUser"); }
void SchemaSfu::saveLocalUser(std::shared_ptr<NssLocalUser>) { NotAvailableYet("saveLocalUser"); }
void SchemaSfu::deleteUser(std::shared_ptr<NssUser>&) { NotAvailableYet("deleteUser"); }
void SchemaSfu::getZoneUsers(const std::string&, std::list<std::shared_ptr<NssZoneUser>>&) {
  NotAvailableYet("getZoneUsers");
}
void SchemaSfu::getLocalUsers(const std::string&, std::list<std::shared_ptr<NssLocalUser>>&) {
  NotAvailableYet("getLocalUsers");
}
void SchemaSfu::loadGroup(const std::string&, std::shared_ptr<NssGroup>&, bool) {
  NotAvailableYet("loadGroup");
}
void SchemaSfu::saveGroup(std::shared_ptr<NssGroup>&) { NotAvailableYet("saveGroup"); }
void SchemaSfu::deleteGroup(std::shared_ptr<NssGroup>&) { NotAvailableYet("deleteGroup"); }
void SchemaSfu::getGroups(const std::string&, std::list<std::shared_ptr<NssGroup>>&,
                          NssGroup* (*)(), bool) {
  NotAvailableYet("getGroups");
}
kesh::ADObject SchemaSfu::findUnixUser(const std::string&, bool) {
  NotAvailableYet("findUnixUser");
}
kesh::ADObject SchemaSfu::findUnixGroup(const std::string&, bool) {
  NotAvailableYet("findUnixGroup");
}
