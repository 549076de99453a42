// Delegation of zone rights: which object of a zone carries a right.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"
#include "zones/access_zone.h"
#include "zones/zone.h"

void NssZone::delegateRight(const std::string&, std::string) { NotAvailableYet("delegateRight"); }

void NssZone::delegateInitRights(kesh::ADObject, const std::shared_ptr<MyBinding>&) {
  // The creator's access entries on the zone object come with the delegation of zone
  // rights; until then a new zone keeps the descriptor the directory gave it.
}

void AccessZone::delegateRight(const std::string&, std::string) {
  NotAvailableYet("delegateRight");
}
