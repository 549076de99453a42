// The authorization store of a zone: creating and opening it, its scopes, and the change
// time stamps that its handle writes when it goes.
#include "authorization/qv.h"

#include <cstdlib>
#include <exception>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sam_parser.h"

const char* const QV_STORE_DESCRIPTION =
    "AzMan store created by Norvane ZoneSmith, store name: Authorization";
const char* const QV_APPLICATION_NAME = "SystemAuthorization";
const char* const QV_APPLICATION_DESCRIPTION =
    "AzMan application created by Norvane ZoneSmith, application name: SystemAuthorization";
const char* const QV_CONTAINER_VERSION_MARKER = "$KeshQVContainerVersion";
const char* const COMPUTER_ZONE_SCOPE_MARKER = "$KeshComputerZone1";
const char* const ACCESS_ZONE_SCOPE_MARKER = "$KeshAccessZone1";
const char* const AZ_GROUP_CONTAINER_PREFIX = "AzGroupObjectContainer-";
const char* const AZ_OPERATION_CONTAINER_PREFIX = "AzOpObjectContainer-";
const char* const AZ_ROLE_CONTAINER_PREFIX = "AzRoleObjectContainer-";
const char* const AZ_TASK_CONTAINER_PREFIX = "AzTaskObjectContainer-";

namespace {

const char kAdminManagerName[] = "Authorization";
const char kContainerClass[] = "container";
const char kMachineScopeDescription[] =
    "AzMan scope created by Norvane ZoneSmith extension, mapped to Norvane computer: ";
const char kSmartRefreshPrefix[] = "smartrefresh:";
const char kRdnType[] = "cn";

// The version of the store of a classic zone; every other version is hierarchical.
constexpr int kClassicVersion = 1;
// Levels from a right or environment up to its zone: container, application, admin
// manager, zone.
constexpr int kLevelsToZone = 4;
constexpr bool kTreeDelete = true;

// The attributes that scope searches ask for, built once.
kesh::AttrList ScopeAttributes() {
  static const std::vector<const char*> attrs = {
      AD_CN,          AD_DISPLAY_NAME, AD_DISTINGUISHED_NAME, AZ_APP_DATA,     AZ_SCOPE_NAME,
      AD_NAME,        AD_NT_SECDESC,   AD_OBJECT_CATEGORY,    AD_OBJECT_CLASS, AD_USN_CREATED,
      AD_USN_CHANGED, AD_WHEN_CREATED, AD_WHEN_CHANGED,       AD_DESCRIPTION,  nullptr};
  return attrs.data();
}

}  // namespace

std::string AzContainerDn(const kesh::ADObject& owner, const char* prefix) {
  const std::string cn = kesh::DN::unescapeDNString(kesh::DN::cnFromDn(owner.dn()));
  return kesh::LDAPBinding::createChild(owner.dn(), prefix + cn, kRdnType).dn();
}

const char* const* QVRoleAttributes() {
  static const std::vector<const char*> attrs = {AZ_APP_DATA,     AD_CN,           AD_DESCRIPTION,
                                                 AZ_TASK_OPS,     AZ_TASK_TASKS,   AZ_TASK_IS_ROLE,
                                                 AD_WHEN_CREATED, AD_WHEN_CHANGED, nullptr};
  return attrs.data();
}

namespace {

// A new container `prefix` + `ownerCn` below `owner`, in memory.
kesh::ADObject NewContainer(kesh::ADObject& owner, const std::string& prefix,
                            const std::string& ownerCn) {
  kesh::ADObject container = kesh::LDAPBinding::createChild(owner, prefix + ownerCn, kRdnType);
  container[AD_OBJECT_CLASS] = kContainerClass;
  return container;
}

std::string ScopeNameFilter(const std::string& name) {
  return std::string("(&(objectClass=") + AZ_CLASS_SCOPE + ")(" + AZ_SCOPE_NAME + "=" +
         kesh::DN::escapeLDAPFilter(name) + ")";
}

// An empty store of the variant that `version` names: 1 classic, anything else hierarchical.
std::shared_ptr<QVStore> NewStore(int version) {
  if (version != kClassicVersion) return std::make_shared<QVNGStore>(version);
  std::shared_ptr<QVStore> store = std::make_shared<QVClassicStore>();
  store->version = version;
  return store;
}

}  // namespace

// --- QVStore ------------------------------------------------------------------------------

QVStore::~QVStore() = default;

std::shared_ptr<QVStore> QVStore::Create(std::shared_ptr<MyBinding> binding, kesh::ADObject parent,
                                         int version) {
  const std::string g = kesh::Guid::generate().toRealMSString();

  kesh::ADObject adminManager = kesh::LDAPBinding::createChild(parent, kAdminManagerName, kRdnType);
  adminManager[AD_OBJECT_CLASS] = AZ_CLASS_ADMIN_MANAGER;
  kesh::ADObject application = kesh::LDAPBinding::createChild(adminManager, g, kRdnType);
  application[AD_OBJECT_CLASS] = AZ_CLASS_APPLICATION;
  application[AZ_APP_NAME] = QV_APPLICATION_NAME;
  application[AZ_APP_VERSION] = QV_CONTAINER_VERSION_MARKER + std::to_string(version);
  kesh::ADObject storeGroups =
      NewContainer(adminManager, AZ_GROUP_CONTAINER_PREFIX, kAdminManagerName);
  kesh::ADObject groups = NewContainer(application, AZ_GROUP_CONTAINER_PREFIX, g);
  kesh::ADObject operations = NewContainer(application, AZ_OPERATION_CONTAINER_PREFIX, g);
  kesh::ADObject roles = NewContainer(application, AZ_ROLE_CONTAINER_PREFIX, g);
  kesh::ADObject tasks = NewContainer(application, AZ_TASK_CONTAINER_PREFIX, g);

  std::shared_ptr<QVStore> store = NewStore(version);

  adminManager[AD_DESCRIPTION] = QV_STORE_DESCRIPTION;
  adminManager[AZ_MAJOR_VERSION] = 1;
  adminManager[AZ_MINOR_VERSION] = 0;
  application[AD_DESCRIPTION] = QV_APPLICATION_DESCRIPTION;

  for (kesh::ADObject* object :
       {&adminManager, &application, &storeGroups, &groups, &operations, &roles, &tasks}) {
    binding->add(*object);
  }

  store->asgUpdated();
  store->roleUpdated();
  store->rightUpdated();
  store->binding = binding;

  store->application =
      std::make_shared<kesh::ADObject>(binding->fetch(application.dn(), nullptr, AD_ALL_OBJECTS));
  store->adminManager =
      std::make_shared<kesh::ADObject>(binding->fetch(adminManager.dn(), nullptr, AD_ALL_OBJECTS));
  store->applicationCn = g;

  store->createDefaultObjects(operations, tasks);
  store->delegateQVRights(*store->adminManager);
  return store;
}

std::shared_ptr<QVStore> QVStore::Open(std::shared_ptr<MyBinding> binding, kesh::ADObject parent) {
  const std::string adminManagerDn =
      kesh::LDAPBinding::createChild(parent, kAdminManagerName, kRdnType).dn();
  kesh::ADObject adminManager = binding->fetch(adminManagerDn, nullptr, AD_ALL_OBJECTS);

  // The last child of that name is the application: the walk does not stop at a match.
  kesh::ADObject application;
  bool found = false;
  for (kesh::ADObject& child : binding->children(adminManager, nullptr)) {
    if (child.firstValue(AZ_APP_NAME) == QV_APPLICATION_NAME) {
      application = child;
      found = true;
    }
  }
  if (!found) KESH_THROW(kesh::BadDataException, 0, "Cannot find QV definition (corrupted zone?)");

  // Only the last character counts; an empty value throws std::out_of_range from substr.
  const std::string marker = application.firstValue(AZ_APP_VERSION);
  const std::string last = marker.substr(marker.size() - 1);
  const int version = int(std::strtol(last.c_str(), nullptr, 10));

  std::shared_ptr<QVStore> store = NewStore(version);
  store->binding = binding;
  store->adminManager = std::make_shared<kesh::ADObject>(adminManager);
  store->application = std::make_shared<kesh::ADObject>(application);
  store->applicationCn = application.firstValue(AD_CN);
  return store;
}

kesh::ADObject QVStore::createScope(const std::string& name, const std::string& displayName,
                                    const std::string& description) {
  const std::string s = kesh::Guid::generate().toRealMSString();
  bool exists = true;
  try {
    openAccessZoneScope(name, displayName);
  } catch (const kesh::NotFoundException&) {
    exists = false;
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "Zone %s already exists", name.c_str());

  kesh::ADObject scope = kesh::LDAPBinding::createChild(*application, s, kRdnType);
  scope[AD_OBJECT_CLASS] = AZ_CLASS_SCOPE;
  scope[AZ_SCOPE_NAME] = name;
  if (!displayName.empty()) scope[AD_DISPLAY_NAME] = displayName;
  if (!description.empty()) scope[AD_DESCRIPTION] = description;
  binding->add(scope);
  for (const char* prefix :
       {AZ_GROUP_CONTAINER_PREFIX, AZ_ROLE_CONTAINER_PREFIX, AZ_TASK_CONTAINER_PREFIX}) {
    kesh::ADObject container = NewContainer(scope, prefix, s);
    binding->add(container);
  }
  return scope;
}

std::shared_ptr<QVScope> QVStore::openNullScope() {
  std::shared_ptr<QVScope> scope = createEmptyScope();
  scope->scopeObject = application;
  return scope;
}

std::shared_ptr<QVScope> QVStore::openAccessZoneScope(const std::string& name,
                                                      const std::string& displayName) {
  std::string filter = ScopeNameFilter(name);
  // The displayName goes into the filter as it is given.
  if (!displayName.empty()) filter += std::string("(") + AD_DISPLAY_NAME + "=" + displayName + ")";
  filter += ")";
  kesh::ADObjectList found =
      binding->search(filter, application->dn(), ScopeAttributes(), kesh::SCOPE_ONE, 0);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "Scope %s not found", name.c_str());
  std::shared_ptr<QVScope> scope = createEmptyScope();
  scope->scopeObject = std::make_shared<kesh::ADObject>(found.front());
  return scope;
}

void QVStore::getScopes(std::list<std::shared_ptr<QVScope>>& out) {
  const std::string filter = std::string("(objectClass=") + AZ_CLASS_SCOPE + ")";
  for (kesh::ADObject& object :
       binding->search(filter, application->dn(), ScopeAttributes(), kesh::SCOPE_ONE, 0)) {
    std::shared_ptr<QVScope> scope = createEmptyScope();
    scope->scopeObject = std::make_shared<kesh::ADObject>(object);
    out.push_back(scope);
  }
}

void QVStore::deleteScope(const std::string& name) {
  DeleteAzScope(binding, FindAzScope(binding, *application, name));
}

std::shared_ptr<QVStore> QVStore::storeFromDN(const std::string& dn) {
  const std::string ownZone =
      kesh::LDAPBinding::parent(kesh::LDAPBinding::parent(application->dn()));
  std::string zone = dn;
  for (int level = 0; level < kLevelsToZone; ++level) zone = kesh::LDAPBinding::parent(zone);
  if (zone == ownZone) return shared_from_this();
  return Open(GetBindingForDN(zone), kesh::ADObject(zone));
}

std::string QVStore::operationContainerDn() const {
  return AzContainerDn(*application, AZ_OPERATION_CONTAINER_PREFIX);
}

std::string QVStore::roleContainerDn() const {
  return AzContainerDn(*application, AZ_ROLE_CONTAINER_PREFIX);
}

std::string QVStore::taskContainerDn() const {
  return AzContainerDn(*application, AZ_TASK_CONTAINER_PREFIX);
}

// --- QVClassicStore -----------------------------------------------------------------------

QVClassicStore::~QVClassicStore() {
  // The store's last handle writes its time stamps; a failure here has nobody to tell.
  try {
    updateTimeStamps();
  } catch (const std::exception&) {
  }
}

void QVClassicStore::updateTimeStamps() {
  if (!assignmentsChanged || !adminManager || !binding) return;
  assignmentTime = time(nullptr);
  (*adminManager)[AD_WBEM_PATH] =
      kSmartRefreshPrefix + Int64::fileTimeOf(assignmentTime).toString();
  binding->update(*adminManager, MyBinding::UPDATE_REPLACE);
  assignmentsChanged = false;
}

std::shared_ptr<QVScope> QVClassicStore::createEmptyScope() {
  return std::make_shared<QVClassicScope>(shared_from_this(), version);
}

std::shared_ptr<QVScope> QVClassicStore::createMachineScope(const std::string& name) {
  createScope(name, "", kMachineScopeDescription + name);
  return openAccessZoneScope(name, "");
}

std::shared_ptr<QVScope> QVClassicStore::createAccessZoneScope(const std::string&) {
  KESH_THROW(kesh::BadDataException, 0, "Cannot create access zone in classic zone.");
}

void QVClassicStore::getOriginalTimestamp() {
  const std::string path = adminManager->firstValue(AD_WBEM_PATH);
  if (path.empty()) return;
  assignmentTime = Int64::parse(path.substr(path.find(':') + 1)).toUnixTime();
}

// --- QVNGStore ----------------------------------------------------------------------------

QVNGStore::QVNGStore(int v) { version = v; }

QVNGStore::~QVNGStore() {
  // The store's last handle writes its time stamps; a failure here has nobody to tell.
  try {
    updateTimeStamps();
  } catch (const std::exception&) {
  }
}

void QVNGStore::updateTimeStamps() {
  if (!(assignmentsChanged || rolesChanged || rightsChanged) || !adminManager || !binding) return;
  const time_t now = time(nullptr);
  if (assignmentsChanged) assignmentTime = now;
  if (rolesChanged) roleTime = now;
  if (rightsChanged) rightTime = now;
  // A time never read nor marked goes out as the file time of the Unix epoch, which reads
  // back as 0.
  (*adminManager)[AZ_APP_DATA] = sam::SamParser::WriteV2StoreData(
      Int64::fileTimeOf(assignmentTime), Int64::fileTimeOf(roleTime), Int64::fileTimeOf(rightTime));
  binding->update(*adminManager, MyBinding::UPDATE_REPLACE);
  assignmentsChanged = rolesChanged = rightsChanged = false;
}

std::shared_ptr<QVScope> QVNGStore::createEmptyScope() {
  return std::make_shared<QVNGScope>(shared_from_this(), version);
}

std::shared_ptr<QVScope> QVNGStore::createMachineScope(const std::string& name) {
  createScope(name, COMPUTER_ZONE_SCOPE_MARKER, "");
  return openAccessZoneScope(name, COMPUTER_ZONE_SCOPE_MARKER);
}

std::shared_ptr<QVScope> QVNGStore::createAccessZoneScope(const std::string& name) {
  createScope(name, ACCESS_ZONE_SCOPE_MARKER, "");
  return openAccessZoneScope(name, ACCESS_ZONE_SCOPE_MARKER);
}

void QVNGStore::getOriginalTimestamp() {
  Int64 assignments, roles, rights;
  sam::SamParser::ParseV2StoreData(adminManager->firstValue(AZ_APP_DATA), assignments, roles,
                                   rights);
  assignmentTime = assignments.toUnixTime();
  roleTime = roles.toUnixTime();
  rightTime = rights.toUnixTime();
}

// --- Scopes -------------------------------------------------------------------------------

QVScope::QVScope(std::shared_ptr<QVStore> s, int v)
    : binding(s ? s->binding : nullptr), version(v), store(std::move(s)) {}

QVClassicScope::QVClassicScope(std::shared_ptr<QVStore> s, int v) : QVScope(std::move(s), v) {
  if (v != kClassicVersion) KESH_THROW(kesh::BadDataException, 0, "Bad QV version number: %d", v);
}

std::string QVClassicScope::getAccessZoneGroup() {
  KESH_THROW(kesh::BadDataException, 0, "Classic zone has no access zone group");
}

QVNGScope::QVNGScope(std::shared_ptr<QVStore> s, int v) : QVScope(std::move(s), v) {
  if (v <= kClassicVersion) KESH_THROW(kesh::BadDataException, 0, "Bad QV version number: %d", v);
}

std::string QVNGScope::getAccessZoneGroup() {
  std::string group;
  if (scopeObject) {
    const std::string data = scopeObject->firstValue(AZ_APP_DATA);
    if (!data.empty()) sam::SamParser::ParseV2ScopeData(data, group);
  }
  return group;
}

// --- Free helpers -------------------------------------------------------------------------

kesh::ADObject FindAzScope(std::shared_ptr<MyBinding> binding, kesh::ADObject application,
                           const std::string& name) {
  kesh::ADObjectList found = binding->search(ScopeNameFilter(name) + ")", application.dn(),
                                             ScopeAttributes(), kesh::SCOPE_SUB, 0);
  if (found.empty()) KESH_THROW(kesh::BadDataException, 0, "Cannot find %s", name.c_str());
  return found.front();
}

void DeleteAzScope(std::shared_ptr<MyBinding> binding, kesh::ADObject object) {
  binding->remove(object, kTreeDelete);
}
