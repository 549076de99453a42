// Roles in memory: their data, rights, restricted environment and the variant rules.
#include "authorization/role.h"

#include <cstdint>
#include <vector>

#include "authorization/qv.h"
#include "authorization/right.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/logger.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"

namespace {

// The version of a classic store; every other version is hierarchical.
constexpr int kClassicVersion = 1;
const char kLoggerName[] = "cli.zonesmith";
const char kRestrictedOnlyClassic[] =
    "Restricted command/environment is supported only in classic zones.";

// Logs that a classic role names more than one restricted environment; the first counts.
void LogManyEnvironments(const kesh::ADObject& object) {
  kesh::Logger::GetThreadPrivateLogger(kLoggerName)
      ->log(kesh::Logger::DEBUG, __FILE__, __LINE__, __func__,
            "Role[%s] has more than one restricted environment.", object.dn().c_str());
}

// The values of `name`, copied, so that the caller may change the attribute meanwhile.
std::vector<std::string> ValuesOf(const kesh::ADObject& object, const char* name) {
  const kesh::ADAttribute* attribute = object.find(name);
  return attribute ? attribute->values() : std::vector<std::string>();
}

// Appends the right at `dn` through the store; a DN that no longer reads as a right (gone,
// or of a type the store does not know) is left out, so dangling links vanish from lists.
void AppendRight(QVStore& store, const std::string& dn, std::list<std::shared_ptr<QVRight>>& out) {
  try {
    out.push_back(store.fetchRight(dn));
  } catch (const LDAPException&) {
  } catch (const kesh::BadDataException&) {
  }
}

}  // namespace

std::string ParseTimebox(const std::string& text) {
  uint8_t bytes[TIMEBOX_BYTES];
  if (!kesh::HexToUint8Array(text, bytes, TIMEBOX_BYTES)) {
    KESH_THROW(kesh::BadDataException, 0, "Timebox must be exactly 42 hex characters (21 bytes)");
  }
  return std::string(reinterpret_cast<const char*>(bytes), TIMEBOX_BYTES);
}

std::string TimeboxText(const std::string& timebox) {
  return kesh::Uint8ArrayToHex(timebox, TIMEBOX_BYTES, false);
}

// --- QVRole -------------------------------------------------------------------------------

std::shared_ptr<QVRole> QVRole::Create(kesh::ADObject object, std::shared_ptr<QVScope> scope,
                                       bool isNew) {
  if (scope->version == kClassicVersion) {
    return std::make_shared<QVClassicRole>(object, scope, isNew);
  }
  return std::make_shared<QVNGRole>(object, scope, isNew);
}

QVRole::QVRole(kesh::ADObject o, std::shared_ptr<QVScope> s, bool n)
    : object(std::make_shared<kesh::ADObject>(o)), scope(std::move(s)), isNew(n) {}

QVRole::~QVRole() = default;

void QVRole::getRoleRights(std::list<std::shared_ptr<QVRight>>& out) {
  for (const std::string& dn : ValuesOf(*object, AZ_TASK_OPS)) AppendRight(*scope->store, dn, out);
}

void QVRole::addRight(std::shared_ptr<QVRight> right) {
  // A saved role for local users keeps out PAM rights; a new one is checked at its save.
  if (!isNew && allowLocalUser && right->getType() == RIGHT_TYPE_PAM) {
    KESH_THROW(kesh::BadDataException, 0, "Right is not supported for this role");
  }
  const std::string dn = right->object->dn();
  for (const std::string& value : ValuesOf(*object, AZ_TASK_OPS)) {
    if (value == dn) KESH_THROW(kesh::BadDataException, 0, "Right already in role");
  }
  (*object)[AZ_TASK_OPS].addVal(dn);
  scope->store->roleUpdated();
}

void QVRole::setSysrights(unsigned value) { sysrights = value; }

void QVRole::removeRight(std::shared_ptr<QVRight> right) {
  const std::string dn = right->object->dn();
  const std::vector<std::string> values = ValuesOf(*object, AZ_TASK_OPS);
  kesh::ADAttribute& attribute = (*object)[AZ_TASK_OPS];
  attribute.reset();
  for (const std::string& value : values) {
    if (value != dn) attribute.addVal(value);
  }
  scope->store->roleUpdated();
}

std::string QVRole::getName() const {
  const std::string cn = object->firstValue(AD_CN);
  return kesh::startsWith(cn, ROLE_PREFIX) ? cn.substr(std::string(ROLE_PREFIX).size()) : cn;
}

std::string QVRole::getDescription() const { return object->firstValue(AD_DESCRIPTION); }

void QVRole::setDescription(const std::string& text) {
  // The directory takes no empty value: an empty text clears the attribute at the save.
  if (text.empty()) {
    (*object)[AD_DESCRIPTION].reset();
  } else {
    (*object)[AD_DESCRIPTION] = text;
  }
}

// --- QVClassicRole ------------------------------------------------------------------------

QVClassicRole::QVClassicRole(kesh::ADObject o, std::shared_ptr<QVScope> s, bool n)
    : QVRole(o, s, n) {
  if (isNew) return;
  sam::SamParser::ParseV1RoleData(object->firstValue(AZ_APP_DATA), timebox, sysrights);
  // What the data says does not count: the environment link decides.
  sysrights = ValuesOf(*object, AZ_TASK_TASKS).empty() ? SYSRIGHTS_CLASSIC_NO_RS_ENV : 0;
}

void QVClassicRole::getRoleRights(std::list<std::shared_ptr<QVRight>>& out) {
  const std::vector<std::string> envs = ValuesOf(*object, AZ_TASK_TASKS);
  if (!envs.empty()) {
    if (envs.size() > 1) LogManyEnvironments(*object);
    kesh::ADObject env = GetADObjectByDN(envs.front());
    for (const std::string& dn : ValuesOf(env, AZ_TASK_OPS)) AppendRight(*scope->store, dn, out);
  }
  QVRole::getRoleRights(out);
}

void QVClassicRole::getRoleRestrictEnv(std::shared_ptr<RSEnv>& env) {
  const std::vector<std::string> envs = ValuesOf(*object, AZ_TASK_TASKS);
  if (envs.empty()) return;
  if (envs.size() > 1) LogManyEnvironments(*object);
  // Best effort on purpose: an environment that cannot be read leaves `env` as it was.
  try {
    env = scope->store->fetchRestrictEnv(envs.front());
  } catch (const std::exception&) {
  }
}

void QVClassicRole::addRight(std::shared_ptr<QVRight> right) {
  QVRole::addRight(right);
  // Plain commands and a restricted environment exclude each other.
  if (std::dynamic_pointer_cast<QVCommand>(right)) clearRestrictEnv();
}

void QVClassicRole::clearRestrictEnv() {
  (*object)[AZ_TASK_TASKS].reset();
  scope->store->roleUpdated();
}

void QVClassicRole::setRestrictEnv(std::shared_ptr<RSEnv> env) {
  const std::string dn = env->object->dn();
  const std::vector<std::string> envs = ValuesOf(*object, AZ_TASK_TASKS);
  if (envs.size() == 1 && envs.front() == dn) {
    KESH_THROW(kesh::BadDataException, 0, "Restricted environment already in role");
  }
  (*object)[AZ_TASK_TASKS] = dn;
  // Only the role's own rights can be plain commands; the environment's are restricted ones.
  std::list<std::shared_ptr<QVRight>> rights;
  QVRole::getRoleRights(rights);
  for (std::shared_ptr<QVRight>& right : rights) {
    if (std::dynamic_pointer_cast<QVCommand>(right)) removeRight(right);
  }
  scope->store->roleUpdated();
}

void QVClassicRole::setAllowLocalUser(bool) {
  KESH_THROW(kesh::BadDataException, 0, "Classic zone does not support setting allowLocalUser.");
}

void QVClassicRole::setVisible(bool) {
  KESH_THROW(kesh::BadDataException, 0, "Classic zone does not support setting visible.");
}

void QVClassicRole::setSysrights(unsigned) {
  KESH_THROW(kesh::BadDataException, 0, "Operation not supported in classic zone.");
}

void QVClassicRole::saveRoleData() {
  (*object)[AZ_APP_DATA] = sam::SamParser::WriteV1RoleData(timebox);
}

// --- QVNGRole -----------------------------------------------------------------------------

QVNGRole::QVNGRole(kesh::ADObject o, std::shared_ptr<QVScope> s, bool n) : QVRole(o, s, n) {
  // Also for a new role: empty data gives the initial fields.
  sam::SamParser::ParseV2RoleData(object->firstValue(AZ_APP_DATA), timebox, sysrights,
                                  allowLocalUser, visible);
}

void QVNGRole::getRoleRestrictEnv(std::shared_ptr<RSEnv>&) {
  KESH_THROW(kesh::BadDataException, 0, "%s", kRestrictedOnlyClassic);
}

void QVNGRole::clearRestrictEnv() {
  KESH_THROW(kesh::BadDataException, 0, "%s", kRestrictedOnlyClassic);
}

void QVNGRole::setRestrictEnv(std::shared_ptr<RSEnv>) {
  KESH_THROW(kesh::BadDataException, 0, "%s", kRestrictedOnlyClassic);
}

void QVNGRole::setAllowLocalUser(bool flag) {
  if (!isNew) {
    KESH_THROW(kesh::BadDataException, 0, "allowLocalUser can only be set during role creation");
  }
  allowLocalUser = flag;
}

void QVNGRole::setVisible(bool flag) { visible = flag; }

void QVNGRole::saveRoleData() {
  (*object)[AZ_APP_DATA] =
      sam::SamParser::WriteV2RoleData(timebox, sysrights, allowLocalUser, visible);
}
