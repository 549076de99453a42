// Group profiles in the serviceConnectionPoint layouts: zone groups and local groups.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"
#include "schema/zschema.h"

void SchemaScp::loadGroup(const std::string&, std::shared_ptr<NssGroup>&, bool) {
  NotAvailableYet("loadGroup");
}
void SchemaScp::saveGroup(std::shared_ptr<NssGroup>&) { NotAvailableYet("saveGroup"); }
void SchemaScp::deleteGroup(std::shared_ptr<NssGroup>&) { NotAvailableYet("deleteGroup"); }
void SchemaScp::getGroups(const std::string&, std::list<std::shared_ptr<NssGroup>>&,
                          NssGroup* (*)(), bool) {
  NotAvailableYet("getGroups");
}
kesh::ADObject SchemaScp::findUnixGroup(const std::string&, bool) {
  NotAvailableYet("findUnixGroup");
}
void SchemaScp::loadGroupData(kesh::ADObject&, std::shared_ptr<NssGroup>&) {
  NotAvailableYet("loadGroupData");
}
void SchemaScp::commonZGroupLoad(kesh::ADObject&, std::shared_ptr<NssGroup>&) {
  NotAvailableYet("commonZGroupLoad");
}
void SchemaScp::commonLocalGroupLoad(kesh::ADObject&, std::shared_ptr<NssGroup>&) {
  NotAvailableYet("commonLocalGroupLoad");
}
kesh::ADObject SchemaScp::saveZGroup(std::shared_ptr<NssGroup>&,
                                     std::map<std::string, std::string>&) {
  NotAvailableYet("saveZGroup");
}
kesh::ADObject SchemaScp::saveLocalGroup(std::shared_ptr<NssGroup>&,
                                         std::map<std::string, std::string>&) {
  NotAvailableYet("saveLocalGroup");
}
void SchemaScpRfc::loadGroupGid(kesh::ADObject&, std::shared_ptr<NssGroup>&) {
  NotAvailableYet("loadGroupGid");
}
void SchemaScpRfc::saveGroupGid(std::shared_ptr<NssGroup>&, kesh::ADObject&,
                                std::map<std::string, std::string>&) {
  NotAvailableYet("saveGroupGid");
}
std::string SchemaScpRfc::zoneGroupName(std::shared_ptr<NssGroup>&) {
  NotAvailableYet("zoneGroupName");
}
void SchemaScpRfc::checkZGroupFields(std::shared_ptr<NssGroup>&) {
  NotAvailableYet("checkZGroupFields");
}
void SchemaScpDynamic::loadGroupGid(kesh::ADObject&, std::shared_ptr<NssGroup>&) {
  NotAvailableYet("loadGroupGid");
}
void SchemaScpDynamic::saveGroupGid(std::shared_ptr<NssGroup>&, kesh::ADObject&,
                                    std::map<std::string, std::string>&) {
  NotAvailableYet("saveGroupGid");
}
std::string SchemaScpDynamic::zoneGroupName(std::shared_ptr<NssGroup>&) {
  NotAvailableYet("zoneGroupName");
}
