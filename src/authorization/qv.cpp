// The authorization store of a zone (temporary: every operation refuses until filled in).
#include "authorization/qv.h"

#include "directory/library/exceptions.h"

const char* const QV_STORE_DESCRIPTION =
    "AzMan store created by Norvane ZoneSmith, store name: Authorization";
const char* const QV_APPLICATION_NAME = "SystemAuthorization";
const char* const QV_APPLICATION_DESCRIPTION =
    "AzMan application created by Norvane ZoneSmith, application name: SystemAuthorization";
const char* const QV_CONTAINER_VERSION_MARKER = "$KeshQVContainerVersion";
const char* const COMPUTER_ZONE_SCOPE_MARKER = "$KeshComputerZone1";
const char* const ACCESS_ZONE_SCOPE_MARKER = "$KeshAccessZone1";

namespace {
[[noreturn]] void Todo() { KESH_THROW(kesh::BadDataException, 0, "not implemented"); }
}  // namespace

QVStore::~QVStore() = default;
std::shared_ptr<QVStore> QVStore::Create(std::shared_ptr<MyBinding>, kesh::ADObject, int) { Todo(); }
std::shared_ptr<QVStore> QVStore::Open(std::shared_ptr<MyBinding>, kesh::ADObject) { Todo(); }
void QVStore::createDefaultObjects(kesh::ADObject&, kesh::ADObject&) {}
void QVStore::delegateQVRights(kesh::ADObject&) {}
kesh::ADObject QVStore::createScope(const std::string&, const std::string&, const std::string&) {
  Todo();
}
std::shared_ptr<QVScope> QVStore::openNullScope() { Todo(); }
std::shared_ptr<QVScope> QVStore::openAccessZoneScope(const std::string&, const std::string&) {
  Todo();
}
void QVStore::getScopes(std::list<std::shared_ptr<QVScope>>&) { Todo(); }
void QVStore::deleteScope(const std::string&) { Todo(); }
std::shared_ptr<QVStore> QVStore::storeFromDN(const std::string&) { Todo(); }
std::string QVStore::operationContainerDn() const { Todo(); }
std::string QVStore::roleContainerDn() const { Todo(); }
std::string QVStore::taskContainerDn() const { Todo(); }

QVClassicStore::~QVClassicStore() = default;
void QVClassicStore::updateTimeStamps() { Todo(); }
std::shared_ptr<QVScope> QVClassicStore::createEmptyScope() { Todo(); }
std::shared_ptr<QVScope> QVClassicStore::createMachineScope(const std::string&) { Todo(); }
std::shared_ptr<QVScope> QVClassicStore::createAccessZoneScope(const std::string&) { Todo(); }
void QVClassicStore::getOriginalTimestamp() { Todo(); }

QVNGStore::QVNGStore(int v) { version = v; }
QVNGStore::~QVNGStore() = default;
void QVNGStore::updateTimeStamps() { Todo(); }
std::shared_ptr<QVScope> QVNGStore::createEmptyScope() { Todo(); }
std::shared_ptr<QVScope> QVNGStore::createMachineScope(const std::string&) { Todo(); }
std::shared_ptr<QVScope> QVNGStore::createAccessZoneScope(const std::string&) { Todo(); }
void QVNGStore::getOriginalTimestamp() { Todo(); }

QVScope::QVScope(std::shared_ptr<QVStore> s, int v) : version(v), store(std::move(s)) {}
QVClassicScope::QVClassicScope(std::shared_ptr<QVStore> s, int v) : QVScope(std::move(s), v) {}
std::string QVClassicScope::getAccessZoneGroup() { Todo(); }
QVNGScope::QVNGScope(std::shared_ptr<QVStore> s, int v) : QVScope(std::move(s), v) {}
std::string QVNGScope::getAccessZoneGroup() { Todo(); }

kesh::ADObject FindAzScope(std::shared_ptr<MyBinding>, kesh::ADObject, const std::string&) {
  Todo();
}
void DeleteAzScope(std::shared_ptr<MyBinding>, kesh::ADObject) { Todo(); }
