// Zone computer profiles, stored the same way in every layout.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"
#include "schema/computer.h"
#include "schema/zschema.h"

void SchemaBase::loadComputer(const std::string&, std::shared_ptr<ZoneComputer>&) {
  NotAvailableYet("loadComputer");
}
void SchemaBase::saveComputer(std::shared_ptr<ZoneComputer>&) { NotAvailableYet("saveComputer"); }
void SchemaBase::deleteComputer(std::shared_ptr<ZoneComputer>&) {
  NotAvailableYet("deleteComputer");
}
void SchemaBase::getComputers(const std::string&, std::list<std::shared_ptr<ZoneComputer>>&) {
  NotAvailableYet("getComputers");
}
