// The rights of a store: creating, finding, listing, saving and deleting them.
#include <exception>
#include <list>
#include <memory>
#include <string>

#include "authorization/qv.h"
#include "authorization/right.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"

namespace {

const char kRdnType[] = "cn";
// The low part of every operation ID.
constexpr unsigned kOperationIdLow = 1;
// Values that new rights start with.
constexpr int kNewCommandUmask = 63;
constexpr int kNewQVCommandFlags = 16;
constexpr int kNewRestrictCommandFlags = 0;
constexpr bool kTreeDelete = true;

// Whether the directory holds `dn`. Only its absence answers false; every other failure
// passes through.
bool Exists(MyBinding& binding, const std::string& dn) {
  try {
    binding.fetch(dn, nullptr, AD_ALL_OBJECTS);
    return true;
  } catch (const LDAPException& e) {
    if (e.rc() != kesh::LDAP_RC_NO_SUCH_OBJECT) throw;
    return false;
  }
}

// Replaces `object` by the directory's copy of it. A saved object whose fresh copy cannot be
// read is still saved, so any failure of the read is dropped and the memory copy stays.
void Reread(MyBinding& binding, std::shared_ptr<kesh::ADObject>& object) {
  try {
    object = std::make_shared<kesh::ADObject>(binding.fetch(object->dn(), nullptr, AD_ALL_OBJECTS));
  } catch (const std::exception&) {
  }
}

// The rights of the operation container whose type is `type`, as T, in child order.
template <class T>
void GetRights(QVStore& store, std::list<std::shared_ptr<T>>& out, unsigned type) {
  kesh::ADObject container(store.operationContainerDn());
  std::shared_ptr<QVStore> self = store.shared_from_this();
  for (kesh::ADObject& object : store.binding->children(container, nullptr)) {
    if (GetRightType(object) == type) out.push_back(std::make_shared<T>(object, self, false));
  }
}

// The classic store behind a restricted operation, which checkRestrictedSupported let pass.
QVClassicStore& Classic(QVStore& store) { return dynamic_cast<QVClassicStore&>(store); }

}  // namespace

// --- Finding rights -----------------------------------------------------------------------

kesh::ADObject QVStore::initNewRight(const std::string& cn, unsigned type) {
  kesh::ADObject right = kesh::LDAPBinding::createChild(operationContainerDn(), cn, kRdnType);
  if (Exists(*binding, right.dn())) KESH_THROW(kesh::BadDataException, 0, "Right already in zone");
  right[AD_CN] = cn;
  right[AD_OBJECT_CLASS] = AZ_CLASS_OPERATION;
  right[AZ_OPERATION_ID] = type | kOperationIdLow;
  return right;
}

std::shared_ptr<QVRight> QVStore::findRight(const std::string& cn) {
  return fetchRight(kesh::LDAPBinding::createChild(operationContainerDn(), cn, kRdnType).dn());
}

std::shared_ptr<QVRight> QVClassicStore::fetchRight(const std::string& dn) {
  kesh::ADObject object = GetADObjectByDN(dn);
  switch (GetRightType(object)) {
    case RIGHT_TYPE_CLASSIC_COMMAND:
      return std::make_shared<QVCommand>(object, shared_from_this(), false);
    case RIGHT_TYPE_PAM:
      return std::make_shared<PamApp>(object, shared_from_this(), false);
    case RIGHT_TYPE_RESTRICTED_COMMAND:
      return std::make_shared<RestrictCommand>(object, shared_from_this(), false);
  }
  KESH_THROW(kesh::BadDataException, 0, "unknown right type");
}

std::shared_ptr<QVRight> QVNGStore::fetchRight(const std::string& dn) {
  kesh::ADObject object = GetADObjectByDN(dn);
  switch (GetRightType(object)) {
    case RIGHT_TYPE_NG_COMMAND:
      return std::make_shared<QVCommand>(object, storeFromDN(dn), false);
    case RIGHT_TYPE_PAM:
      return std::make_shared<PamApp>(object, storeFromDN(dn), false);
  }
  KESH_THROW(kesh::BadDataException, 0, "unknown right type");
}

// --- PAM rights ---------------------------------------------------------------------------

std::shared_ptr<PamApp> QVStore::getPamApp(const std::string& dn) {
  return std::make_shared<PamApp>(binding->fetch(dn, nullptr, AD_ALL_OBJECTS), shared_from_this(),
                                  false);
}

void QVStore::listPamApps(std::list<std::shared_ptr<PamApp>>& out) {
  GetRights(*this, out, RIGHT_TYPE_PAM);
}

void QVStore::savePamApp(std::shared_ptr<PamApp>& app) {
  if (app->appString.empty())
    KESH_THROW(kesh::BadDataException, 0, "Must set PAM application string");
  checkPamExists(*app);
  (*app->object)[AZ_APP_DATA] = getPamAppData(*app);
  binding->write(*app->object, app->isNew);
  app->isNew = false;
  rightUpdated();
  Reread(*binding, app->object);
}

void QVStore::deletePamApp(std::shared_ptr<PamApp>& app) {
  if (app->isNew) KESH_THROW(kesh::BadDataException, 0, "PamApp has not been created");
  binding->remove(*app->object, !kTreeDelete);
  rightUpdated();
}

void QVStore::checkPamExists(PamApp&) {}

std::shared_ptr<PamApp> QVClassicStore::newPamApp(const std::string& name) {
  const std::string application = kesh::trimWhiteSpace(name);
  checkPamName(application);
  const std::string cn = PAM_PREFIX + kesh::Guid::generate().toRealMSString();
  auto app = std::make_shared<PamApp>(initNewRight(cn, RIGHT_TYPE_PAM), shared_from_this(), true);
  app->setApp(application);
  app->name = PAM_PREFIX + app->appString;
  return app;
}

void QVClassicStore::checkPamExists(PamApp& app) {
  // The cn of a classic PAM right is a GUID, so only the application tells two apart.
  const std::string cn = kesh::lower(app.object->firstValue(AD_CN));
  std::list<std::shared_ptr<PamApp>> apps;
  listPamApps(apps);
  for (const std::shared_ptr<PamApp>& other : apps) {
    if (other->appString == app.appString && kesh::lower(other->object->firstValue(AD_CN)) != cn)
      KESH_THROW(kesh::BadDataException, 0, "PAM application [%s] already exists.",
                 app.appString.c_str());
  }
}

std::string QVClassicStore::getPamAppData(PamApp& app) {
  return sam::SamParser::WriteV1PamData(app.appString);
}

std::shared_ptr<PamApp> QVNGStore::newPamApp(const std::string& name) {
  const std::string trimmed = kesh::trimWhiteSpace(name);
  checkPamName(trimmed);
  const std::string cn = PAM_PREFIX + trimmed;
  auto app = std::make_shared<PamApp>(initNewRight(cn, RIGHT_TYPE_PAM), shared_from_this(), true);
  app->name = cn;
  return app;
}

std::string QVNGStore::getPamAppData(PamApp& app) {
  return sam::SamParser::WriteV2PamData(app.appString);
}

// --- Privileged commands ------------------------------------------------------------------

std::shared_ptr<QVCommand> QVStore::newQVCommand(const std::string& name) {
  const std::string trimmed = kesh::trimWhiteSpace(name);
  checkQVCName(trimmed);
  const std::string cn = COMMAND_PREFIX + trimmed;
  auto command =
      std::make_shared<QVCommand>(initNewRight(cn, getQVCommandType()), shared_from_this(), true);
  command->name = cn;
  command->umask = kNewCommandUmask;
  command->flags = kNewQVCommandFlags;
  return command;
}

std::shared_ptr<QVCommand> QVStore::getQVCommand(const std::string& dn) {
  return std::make_shared<QVCommand>(binding->fetch(dn, nullptr, AD_ALL_OBJECTS),
                                     shared_from_this(), false);
}

void QVStore::listQVCommands(std::list<std::shared_ptr<QVCommand>>& out) {
  GetRights(*this, out, getQVCommandType());
}

void QVStore::saveQVCommand(std::shared_ptr<QVCommand>& command) {
  if (kesh::trimWhiteSpace(command->getCommand()).empty())
    KESH_THROW(kesh::BadDataException, 0, "Command cannot be empty");
  (*command->object)[AZ_APP_DATA] = getQVCommandData(*command);
  binding->write(*command->object, command->isNew);
  command->isNew = false;
  rightUpdated();
  Reread(*binding, command->object);
}

void QVStore::deleteQVCommand(std::shared_ptr<QVCommand>& command) {
  if (command->isNew) KESH_THROW(kesh::BadDataException, 0, "QV command has not been created");
  binding->remove(*command->object, !kTreeDelete);
  rightUpdated();
}

unsigned QVClassicStore::getQVCommandType() { return RIGHT_TYPE_CLASSIC_COMMAND; }

std::string QVClassicStore::getQVCommandData(QVCommand& c) {
  return sam::SamParser::WriteV1CommandData(c.cmd, c.form, c.qvdo_runas, c.pri, c.umask, c.keepEnv,
                                            c.delEnv, c.path, c.add, c.flags);
}

unsigned QVNGStore::getQVCommandType() { return RIGHT_TYPE_NG_COMMAND; }

std::string QVNGStore::getQVCommandData(QVCommand& c) {
  return sam::SamParser::WriteV2CommandData(c.cmd, c.form, c.qvdo_runas, c.qvsh_runas, c.pri,
                                            c.umask, c.keepEnv, c.delEnv, c.path, c.add, c.flags);
}

// --- Name checks --------------------------------------------------------------------------

void QVClassicStore::checkPamName(const std::string& name) { CheckEmpty(name); }
void QVClassicStore::checkQVCName(const std::string& name) {
  CheckClassicRoleRightName(name, CLASSIC_COMMAND_NAME_LIMIT);
}
void QVClassicStore::checkRoleName(const std::string& name) {
  CheckClassicRoleRightName(name, CLASSIC_ROLE_NAME_LIMIT);
}
void QVClassicStore::checkRSCName(const std::string& name) {
  CheckClassicRoleRightName(name, CLASSIC_RS_COMMAND_NAME_LIMIT);
}
void QVClassicStore::checkRSEName(const std::string& name) {
  CheckClassicRoleRightName(name, CLASSIC_RS_ENV_NAME_LIMIT);
}

void QVNGStore::checkPamName(const std::string& name) { CheckNGRoleRightName(name); }
void QVNGStore::checkQVCName(const std::string& name) { CheckNGRoleRightName(name); }
void QVNGStore::checkRoleName(const std::string& name) { CheckNGRoleRightName(name); }

void QVNGStore::checkRestrictedSupported() {
  KESH_THROW(kesh::BadDataException, 0,
             "Restricted command/environment is supported only in classic zones.");
}

// --- Restricted environments --------------------------------------------------------------

std::shared_ptr<RSEnv> QVStore::newRestrictEnv(const std::string& name) {
  checkRestrictedSupported();
  const std::string trimmed = kesh::trimWhiteSpace(name);
  Classic(*this).checkRSEName(trimmed);
  const std::string cn = RESTRICTED_PREFIX + trimmed;
  kesh::ADObject env = kesh::LDAPBinding::createChild(taskContainerDn(), cn, kRdnType);
  if (Exists(*binding, env.dn()))
    KESH_THROW(kesh::BadDataException, 0, "Restricted environment already in zone");
  env[AD_CN] = cn;
  env[AZ_TASK_IS_ROLE] = false;
  env[AD_OBJECT_CLASS] = AZ_CLASS_TASK;
  return std::make_shared<RSEnv>(env, shared_from_this(), true);
}

std::shared_ptr<RSEnv> QVStore::getRestrictEnv(const std::string& name) {
  checkRestrictedSupported();
  const std::string cn = RESTRICTED_PREFIX + kesh::trimWhiteSpace(name);
  const std::string dn = kesh::LDAPBinding::createChild(taskContainerDn(), cn, kRdnType).dn();
  return std::make_shared<RSEnv>(binding->fetch(dn, nullptr, AD_ALL_OBJECTS), shared_from_this(),
                                 false);
}

std::shared_ptr<RSEnv> QVStore::fetchRestrictEnv(const std::string& dn) {
  checkRestrictedSupported();
  return std::make_shared<RSEnv>(GetADObjectByDN(dn), storeFromDN(dn), false);
}

void QVStore::getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>& out) {
  checkRestrictedSupported();
  kesh::ADObject container(taskContainerDn());
  // The role attribute list holds no `name`; the cn has the same value.
  for (kesh::ADObject& object : binding->children(container, QVRoleAttributes())) {
    const kesh::ADAttribute* isRole = object.find(AZ_TASK_IS_ROLE);
    if (isRole && isRole->toBool()) continue;
    if (!kesh::startsWith(object.firstValue(AD_CN), RESTRICTED_PREFIX, true, false)) continue;
    out.push_back(std::make_shared<RSEnv>(object, shared_from_this(), false));
  }
}

void QVStore::saveRestrictEnv(std::shared_ptr<RSEnv>& env) {
  checkRestrictedSupported();
  binding->write(*env->object, env->isNew);
  env->isNew = false;
  rightUpdated();
  Reread(*binding, env->object);
}

void QVStore::deleteRestrictEnv(std::shared_ptr<RSEnv>& env) {
  checkRestrictedSupported();
  if (env->isNew)
    KESH_THROW(kesh::BadDataException, 0, "Restricted environment has not been created");
  std::list<std::shared_ptr<QVRight>> rights;
  env->getRestrictEnvCmds(rights);
  for (std::shared_ptr<QVRight>& right : rights) {
    std::shared_ptr<RestrictCommand> command = std::dynamic_pointer_cast<RestrictCommand>(right);
    if (command) deleteRestrictCommand(command);
  }
  binding->remove(*env->object, !kTreeDelete);
  rightUpdated();
}

// --- Restricted commands ------------------------------------------------------------------

std::shared_ptr<RestrictCommand> QVStore::newRestrictCommand(const std::string& name,
                                                             std::shared_ptr<RSEnv>& env) {
  checkRestrictedSupported();
  const std::string trimmed = kesh::trimWhiteSpace(name);
  Classic(*this).checkRSCName(trimmed);
  const std::string cn = RESTRICTED_PREFIX + env->getName() + "-" + trimmed;
  auto command = std::make_shared<RestrictCommand>(initNewRight(cn, RIGHT_TYPE_RESTRICTED_COMMAND),
                                                   shared_from_this(), true);
  command->name = cn;
  command->pri = 0;
  command->umask = kNewCommandUmask;
  command->flags = kNewRestrictCommandFlags;
  command->rsEnv = env;
  return command;
}

std::shared_ptr<RestrictCommand> QVStore::getRestrictCommand(const std::string& dn) {
  checkRestrictedSupported();
  return std::make_shared<RestrictCommand>(binding->fetch(dn, nullptr, AD_ALL_OBJECTS),
                                           shared_from_this(), false);
}

void QVStore::listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>& out) {
  checkRestrictedSupported();
  GetRights(*this, out, RIGHT_TYPE_RESTRICTED_COMMAND);
}

void QVStore::saveRestrictCommand(std::shared_ptr<RestrictCommand>& command) {
  checkRestrictedSupported();
  std::shared_ptr<RSEnv>& env = command->rsEnv;
  if (env && env->isNew)
    KESH_THROW(kesh::BadDataException, 0,
               "Restricted environment is not saved yet. Please save it before adding restricted "
               "commands");
  RestrictCommand& c = *command;
  if (kesh::trimWhiteSpace(c.cmd).empty())
    KESH_THROW(kesh::BadDataException, 0, "Command cannot be empty");
  (*c.object)[AZ_APP_DATA] = sam::SamParser::WriteV1CommandData(
      c.cmd, c.form, c.qvsh_runas, c.pri, c.umask, c.keepEnv, c.delEnv, c.path, c.add, c.flags);
  binding->write(*c.object, c.isNew);
  Reread(*binding, c.object);
  if (c.isNew && env) {
    env->addCommand(command);
    binding->update(*env->object, MyBinding::UPDATE_REPLACE);
  }
  c.isNew = false;
  rightUpdated();
}

void QVStore::deleteRestrictCommand(std::shared_ptr<RestrictCommand>& command) {
  checkRestrictedSupported();
  if (command->isNew)
    KESH_THROW(kesh::BadDataException, 0, "Restricted command has not been created");
  binding->remove(*command->object, !kTreeDelete);
  rightUpdated();
}
