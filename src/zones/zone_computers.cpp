// The zone computer profiles of a zone: the computer capability of the zone classes. The
// profiles are found, stored and listed by the zone's schema adapter; here is what a new
// profile is made of.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/computer.h"
#include "schema/zschema.h"
#include "zones/zone.h"

std::shared_ptr<ZoneComputer> NssZoneSupportComputer::getZoneComputer(const std::string& name) {
  auto computer = std::make_shared<ZoneComputer>();
  schema->loadComputer(name, computer);
  return computer;
}

void NssZoneSupportComputer::saveZoneComputer(std::shared_ptr<ZoneComputer>& computer) {
  schema->saveComputer(computer);
}

std::shared_ptr<ZoneComputer> NssZoneSupportComputer::newZoneComputer(const std::string& name) {
  // A name that does not resolve fails here with the lookup's own message.
  kesh::ADObject adComputer = GetADComputer(name);
  bool exists = true;
  try {
    auto probe = std::make_shared<ZoneComputer>();
    schema->loadComputer(name, probe);
  } catch (const std::exception&) {
    // By rule any failure to load the profile means the way is free.
    exists = false;
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "Computer already in zone");

  auto computer = std::make_shared<ZoneComputer>();
  computer->adComputer = adComputer;
  const std::string sam = adComputer.firstValue(AD_SAM_ACCOUNT_NAME);
  if (sam.empty()) {
    KESH_THROW(kesh::BadDataException, 0,
               "AD Computer object do not have sAMAccountName attribute");
  }
  const std::string domain = kesh::lower(kesh::DN::domainFromDN(adComputer.dn()));
  computer->accountName = sam + "@" + domain;
  computer->cn = adComputer.firstValue(AD_DNS_NAME);
  if (computer->cn.empty()) computer->cn = adComputer.firstValue(AD_CN) + "." + domain;
  computer->isNew = true;
  return computer;
}

void NssZoneSupportComputer::getZoneComputers(const std::string& filter,
                                              std::list<std::shared_ptr<ZoneComputer>>& out) {
  schema->getComputers(filter, out);
}

void NssZoneSupportComputer::deleteZoneComputer(std::shared_ptr<ZoneComputer>& computer) {
  schema->deleteComputer(computer);
}
