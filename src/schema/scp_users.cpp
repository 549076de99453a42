// User profiles in the serviceConnectionPoint layouts: finding, loading, saving and deleting
// zone users and local users, and the checks before a save.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"
#include "schema/zschema.h"

void SchemaScp::loadZUser(const std::string&, std::shared_ptr<NssZoneUser>, bool) {
  NotAvailableYet("loadZUser");
}
void SchemaScp::loadLocalUser(const std::string&, std::shared_ptr<NssLocalUser>) {
  NotAvailableYet("loadLocalUser");
}
void SchemaScp::saveZUser(std::shared_ptr<NssZoneUser>) { NotAvailableYet("saveZUser"); }
void SchemaScp::saveLocalUser(std::shared_ptr<NssLocalUser>) { NotAvailableYet("saveLocalUser"); }
void SchemaScp::deleteUser(std::shared_ptr<NssUser>&) { NotAvailableYet("deleteUser"); }
void SchemaScp::getZoneUsers(const std::string&, std::list<std::shared_ptr<NssZoneUser>>&) {
  NotAvailableYet("getZoneUsers");
}
void SchemaScp::getLocalUsers(const std::string&, std::list<std::shared_ptr<NssLocalUser>>&) {
  NotAvailableYet("getLocalUsers");
}
kesh::ADObject SchemaScp::findUnixUser(const std::string&, bool) {
  NotAvailableYet("findUnixUser");
}
void SchemaScp::loadZUserData(kesh::ADObject&, std::shared_ptr<NssZoneUser>) {
  NotAvailableYet("loadZUserData");
}
void SchemaScp::loadLocalUserData(kesh::ADObject&, std::shared_ptr<NssLocalUser>) {
  NotAvailableYet("loadLocalUserData");
}
void SchemaScp::findParentUser(std::shared_ptr<NssZoneUser>&, kesh::ADObject&) {
  NotAvailableYet("findParentUser");
}
kesh::ADObject SchemaScp::findZUserScp(kesh::ADObject&, const std::string&, int32_t, bool) {
  NotAvailableYet("findZUserScp");
}
void checkNssUser(std::shared_ptr<NssUser>, IZoneSchema*) { NotAvailableYet("checkNssUser"); }

std::vector<std::string> SchemaScpRfc::profileClasses() { NotAvailableYet("profileClasses"); }
kesh::ADObject SchemaScpRfc::FindUserScpByUnixName(std::shared_ptr<MyBinding>, kesh::ADObject,
                                                   const std::string&) {
  NotAvailableYet("FindUserScpByUnixName");
}
void SchemaScpRfc::loadUserData(kesh::ADObject&, std::shared_ptr<NssUser>,
                                std::map<std::string, std::string>&) {
  NotAvailableYet("loadUserData");
}
void SchemaScpRfc::saveUser(std::shared_ptr<NssUser>, std::map<std::string, std::string>&,
                            kesh::ADObject&) {
  NotAvailableYet("saveUser");
}
OptionalField<std::string> SchemaScpRfc::storedGecos(kesh::ADObject&,
                                                     std::map<std::string, std::string>&) {
  NotAvailableYet("storedGecos");
}
std::vector<std::string> SchemaScpDynamic::profileClasses() { NotAvailableYet("profileClasses"); }
kesh::ADObject SchemaScpDynamic::FindUserScpByUnixName(std::shared_ptr<MyBinding>, kesh::ADObject,
                                                       const std::string&) {
  NotAvailableYet("FindUserScpByUnixName");
}
void SchemaScpDynamic::loadUserData(kesh::ADObject&, std::shared_ptr<NssUser>,
                                    std::map<std::string, std::string>&) {
  NotAvailableYet("loadUserData");
}
void SchemaScpDynamic::saveUser(std::shared_ptr<NssUser>, std::map<std::string, std::string>&,
                                kesh::ADObject&) {
  NotAvailableYet("saveUser");
}
OptionalField<std::string> SchemaScpDynamic::storedGecos(kesh::ADObject&,
                                                         std::map<std::string, std::string>&) {
  NotAvailableYet("storedGecos");
}
