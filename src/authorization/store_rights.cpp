// The rights of a store: creating, finding, listing, saving and deleting them.
#include "authorization/qv.h"
#include "authorization/right.h"
#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

kesh::ADObject QVStore::initNewRight(const std::string&, unsigned) { NOT_YET; }
std::shared_ptr<QVRight> QVStore::findRight(const std::string&) { NOT_YET; }
std::shared_ptr<PamApp> QVStore::getPamApp(const std::string&) { NOT_YET; }
void QVStore::listPamApps(std::list<std::shared_ptr<PamApp>>&) { NOT_YET; }
void QVStore::savePamApp(std::shared_ptr<PamApp>&) { NOT_YET; }
void QVStore::deletePamApp(std::shared_ptr<PamApp>&) { NOT_YET; }
void QVStore::checkPamExists(PamApp&) {}
std::shared_ptr<QVCommand> QVStore::newQVCommand(const std::string&) { NOT_YET; }
std::shared_ptr<QVCommand> QVStore::getQVCommand(const std::string&) { NOT_YET; }
void QVStore::listQVCommands(std::list<std::shared_ptr<QVCommand>>&) { NOT_YET; }
void QVStore::saveQVCommand(std::shared_ptr<QVCommand>&) { NOT_YET; }
void QVStore::deleteQVCommand(std::shared_ptr<QVCommand>&) { NOT_YET; }
std::shared_ptr<RSEnv> QVStore::newRestrictEnv(const std::string&) { NOT_YET; }
std::shared_ptr<RSEnv> QVStore::getRestrictEnv(const std::string&) { NOT_YET; }
std::shared_ptr<RSEnv> QVStore::fetchRestrictEnv(const std::string&) { NOT_YET; }
void QVStore::getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>&) { NOT_YET; }
void QVStore::saveRestrictEnv(std::shared_ptr<RSEnv>&) { NOT_YET; }
void QVStore::deleteRestrictEnv(std::shared_ptr<RSEnv>&) { NOT_YET; }
std::shared_ptr<RestrictCommand> QVStore::newRestrictCommand(const std::string&,
                                                             std::shared_ptr<RSEnv>&) {
  NOT_YET;
}
std::shared_ptr<RestrictCommand> QVStore::getRestrictCommand(const std::string&) { NOT_YET; }
void QVStore::listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>&) { NOT_YET; }
void QVStore::saveRestrictCommand(std::shared_ptr<RestrictCommand>&) { NOT_YET; }
void QVStore::deleteRestrictCommand(std::shared_ptr<RestrictCommand>&) { NOT_YET; }

std::shared_ptr<QVRight> QVClassicStore::fetchRight(const std::string&) { NOT_YET; }
std::shared_ptr<PamApp> QVClassicStore::newPamApp(const std::string&) { NOT_YET; }
void QVClassicStore::checkPamExists(PamApp&) { NOT_YET; }
std::string QVClassicStore::getPamAppData(PamApp&) { NOT_YET; }
unsigned QVClassicStore::getQVCommandType() { return RIGHT_TYPE_CLASSIC_COMMAND; }
std::string QVClassicStore::getQVCommandData(QVCommand&) { NOT_YET; }
void QVClassicStore::checkPamName(const std::string&) { NOT_YET; }
void QVClassicStore::checkQVCName(const std::string&) { NOT_YET; }
void QVClassicStore::checkRoleName(const std::string&) { NOT_YET; }
void QVClassicStore::checkRSCName(const std::string&) { NOT_YET; }
void QVClassicStore::checkRSEName(const std::string&) { NOT_YET; }

std::shared_ptr<QVRight> QVNGStore::fetchRight(const std::string&) { NOT_YET; }
std::shared_ptr<PamApp> QVNGStore::newPamApp(const std::string&) { NOT_YET; }
std::string QVNGStore::getPamAppData(PamApp&) { NOT_YET; }
unsigned QVNGStore::getQVCommandType() { return RIGHT_TYPE_NG_COMMAND; }
std::string QVNGStore::getQVCommandData(QVCommand&) { NOT_YET; }
void QVNGStore::checkPamName(const std::string&) { NOT_YET; }
void QVNGStore::checkQVCName(const std::string&) { NOT_YET; }
void QVNGStore::checkRoleName(const std::string&) { NOT_YET; }
void QVNGStore::checkRestrictedSupported() { NOT_YET; }
