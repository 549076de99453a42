// QVStore and QVScope: the authorization store of a zone and the scopes inside it.
//
// Every zone that carries roles holds one authorization store: plain directory objects
// below the zone object. <G> is a fresh GUID in Microsoft text form, <S> one per scope.
//
//   cn=Authorization                                msDS-AzAdminManager
//       description "AzMan store created by Norvane ZoneSmith, store name: Authorization"
//       msDS-AzMajorVersion 1, msDS-AzMinorVersion 0
//     cn=AzGroupObjectContainer-Authorization       container
//     cn=<G>                                        msDS-AzApplication
//         msDS-AzApplicationName "SystemAuthorization"
//         msDS-AzApplicationVersion "$KeshQVContainerVersion<version>"
//         description "AzMan application created by Norvane ZoneSmith, application name:
//                      SystemAuthorization"
//       cn=AzGroupObjectContainer-<G>               container
//       cn=AzOpObjectContainer-<G>                  container (rights)
//       cn=AzRoleObjectContainer-<G>                container (assignments of the zone)
//       cn=AzTaskObjectContainer-<G>                container (roles)
//       cn=<S>                                      msDS-AzScope, msDS-AzScopeName <name>,
//                                                   displayName/description when given
//         cn=AzGroupObjectContainer-<S>, cn=AzRoleObjectContainer-<S>,
//         cn=AzTaskObjectContainer-<S>              container each
//
// Two variants, told apart by the version behind the application's marker: 1 is the
// store of a classic zone (QVClassicStore), anything else that of a hierarchical zone
// (QVNGStore). Only the last character of the marker counts: "$KeshQVContainerVersion12"
// opens as version 2.
//
// Change time stamps. Saves and deletes of assignments, roles and rights mark the store
// (asgUpdated, roleUpdated, rightUpdated); the marks are written once, when the last
// handle on the store goes (the destructor calls updateTimeStamps and swallows its
// failure). Times are Windows file times, t * 10000000 + 116444736000000000. A classic
// store keeps one time in the admin manager's wbemPath as "smartrefresh:<filetime>"; a
// hierarchical store keeps three (assignments, roles, rights) in the admin manager's
// msDS-AzApplicationData (sam::SamParser store data). A store only read writes nothing.
//
// Ownership: stores and scopes are held by shared pointer; a scope keeps its store alive.
#ifndef ZONESMITH_AUTHORIZATION_QV_H_
#define ZONESMITH_AUTHORIZATION_QV_H_

#include <ctime>
#include <list>
#include <memory>
#include <string>

#include "directory/library/adobject.h"
#include "directory/library/int64.h"

class MyBinding;
class QVScope;
class QVRight;
class QVCommand;
class PamApp;
class RSEnv;
class RestrictCommand;
class QVRole;
class Assignment;

// The containers below an application or a scope are named by a prefix and the owner's cn.
extern const char* const AZ_GROUP_CONTAINER_PREFIX;      // "AzGroupObjectContainer-"
extern const char* const AZ_OPERATION_CONTAINER_PREFIX;  // "AzOpObjectContainer-"
extern const char* const AZ_ROLE_CONTAINER_PREFIX;       // "AzRoleObjectContainer-"
extern const char* const AZ_TASK_CONTAINER_PREFIX;       // "AzTaskObjectContainer-"
// The DN of the container `prefix` + the cn of `owner` below `owner`.
std::string AzContainerDn(const kesh::ADObject& owner, const char* prefix);

// The attributes that role reads ask for (data, cn, description, the task links, the role
// flag, the times), built once.
const char* const* QVRoleAttributes();

// Texts written into the store.
extern const char* const QV_STORE_DESCRIPTION;
extern const char* const QV_APPLICATION_NAME;  // "SystemAuthorization"
extern const char* const QV_APPLICATION_DESCRIPTION;
extern const char* const QV_CONTAINER_VERSION_MARKER;  // "$KeshQVContainerVersion"
// displayName markers of the scopes of computer zones and access zones.
extern const char* const COMPUTER_ZONE_SCOPE_MARKER;  // "$KeshComputerZone1"
extern const char* const ACCESS_ZONE_SCOPE_MARKER;    // "$KeshAccessZone1"

class QVStore : public std::enable_shared_from_this<QVStore> {
 public:
  virtual ~QVStore();

  // Writes the store below the zone object `parent` (objects built in memory first, then
  // added in the order admin manager, application, the store's group container, the
  // application's group, operation, role and task containers), marks all three kinds
  // changed, re-reads application and admin manager, then calls createDefaultObjects and
  // delegateQVRights. No rollback: a failure leaves what was added.
  static std::shared_ptr<QVStore> Create(std::shared_ptr<MyBinding> binding, kesh::ADObject parent,
                                         int version);
  // Opens the store below the zone object `parent`. Throws kesh::BadDataException "Cannot
  // find QV definition (corrupted zone?)" when no child of cn=Authorization has the
  // application name "SystemAuthorization" (the last such child wins), and what the
  // directory throws when cn=Authorization cannot be read.
  static std::shared_ptr<QVStore> Open(std::shared_ptr<MyBinding> binding, kesh::ADObject parent);

  // Writes the marked time stamps (see the top of this file) and clears the marks. A
  // hierarchical store writes all three times: one neither read (getOriginalTimestamp) nor
  // marked goes out as 0. Does nothing for a store without binding or admin manager.
  virtual void updateTimeStamps() = 0;
  // The predefined objects of a new store (authorization/default_objects.cpp): classic
  // stores get 14 PAM rights through newPamApp/savePamApp; hierarchical stores 13 PAM
  // rights and 7 roles, added directly. The containers are those of the application.
  virtual void createDefaultObjects(kesh::ADObject& operationContainer,
                                    kesh::ADObject& taskContainer) = 0;
  // The security descriptor of a classic store's admin manager, which gives the creating
  // user full control; nothing for hierarchical stores.
  virtual void delegateQVRights(kesh::ADObject& adminManager);

  // A new msDS-AzScope `name` below the application with its three containers. Throws
  // kesh::BadDataException "Zone <name> already exists" when openAccessZoneScope(name,
  // displayName) finds one.
  virtual kesh::ADObject createScope(const std::string& name, const std::string& displayName,
                                     const std::string& description);
  // A scope of this store's variant with no scope object.
  virtual std::shared_ptr<QVScope> createEmptyScope() = 0;
  // The scope of the zone itself: its scope object is the application.
  virtual std::shared_ptr<QVScope> openNullScope();
  // The scope of a computer (zone): classic stores describe the computer in the scope's
  // description, hierarchical ones mark it "$KeshComputerZone1".
  virtual std::shared_ptr<QVScope> createMachineScope(const std::string& name) = 0;
  // The scope of an access zone ("$KeshAccessZone1"). Classic stores throw
  // kesh::BadDataException "Cannot create access zone in classic zone.".
  virtual std::shared_ptr<QVScope> createAccessZoneScope(const std::string& name) = 0;
  // The first scope named `name` (and with that displayName unless it is empty), one level
  // below the application. Throws kesh::NotFoundException "Scope <name> not found".
  virtual std::shared_ptr<QVScope> openAccessZoneScope(const std::string& name,
                                                       const std::string& displayName);
  // Every scope of the store, in search order.
  virtual void getScopes(std::list<std::shared_ptr<QVScope>>& out);
  // Deletes the scope `name` with everything below it. Throws kesh::BadDataException
  // "Cannot find <name>" when there is none.
  virtual void deleteScope(const std::string& name);

  virtual void asgUpdated() = 0;
  virtual void roleUpdated() = 0;
  virtual void rightUpdated() = 0;
  // Reads the stored times into the time fields.
  virtual void getOriginalTimestamp() = 0;

  // The store that owns the right or environment at `dn`: this store when the zone of
  // `dn` (its fourth parent) is this store's zone, else the store of that zone, opened.
  virtual std::shared_ptr<QVStore> storeFromDN(const std::string& dn);

  // --- Rights (authorization/store_rights.cpp; classes and names in right.h) ---

  // The in-memory msDS-AzOperation `cn` below the operation container with the operation
  // ID type | 1. Throws kesh::BadDataException "Right already in zone" when the directory
  // has it; nothing is written.
  kesh::ADObject initNewRight(const std::string& cn, unsigned type);
  // fetchRight of the DN of `cn` below the operation container; a missing cn throws what
  // the directory throws.
  std::shared_ptr<QVRight> findRight(const std::string& cn);
  // The right at `dn` as its class (by the type of its operation ID). Throws
  // kesh::BadDataException "unknown right type" for a type this variant does not know.
  virtual std::shared_ptr<QVRight> fetchRight(const std::string& dn) = 0;

  // A new PAM right for the application `name` (trimmed, checkPamName).
  virtual std::shared_ptr<PamApp> newPamApp(const std::string& name) = 0;
  // The PAM right at `dn`.
  std::shared_ptr<PamApp> getPamApp(const std::string& dn);
  void listPamApps(std::list<std::shared_ptr<PamApp>>& out);
  // "Must set PAM application string"; checkPamExists; data; add or update; re-read.
  void savePamApp(std::shared_ptr<PamApp>& app);
  // "PamApp has not been created" for a new one; else removes it.
  void deletePamApp(std::shared_ptr<PamApp>& app);
  // Classic stores: "PAM application [<app>] already exists." when another right has it.
  virtual void checkPamExists(PamApp& app);
  virtual std::string getPamAppData(PamApp& app) = 0;

  // A new command `name` (trimmed, checkQVCName): cn "pc-" + name, umask 63, flags 16.
  std::shared_ptr<QVCommand> newQVCommand(const std::string& name);
  std::shared_ptr<QVCommand> getQVCommand(const std::string& dn);
  void listQVCommands(std::list<std::shared_ptr<QVCommand>>& out);
  // "Command cannot be empty"; data; add or update; re-read.
  void saveQVCommand(std::shared_ptr<QVCommand>& command);
  // "QV command has not been created" for a new one; else removes it.
  void deleteQVCommand(std::shared_ptr<QVCommand>& command);
  virtual unsigned getQVCommandType() = 0;
  virtual std::string getQVCommandData(QVCommand& command) = 0;

  // Name checks of the variant (right.h).
  virtual void checkPamName(const std::string& name) = 0;
  virtual void checkQVCName(const std::string& name) = 0;
  virtual void checkRoleName(const std::string& name) = 0;

  // Restricted environments and commands: classic stores only. Every one of these throws
  // kesh::BadDataException "Restricted command/environment is supported only in classic
  // zones." in a hierarchical store (checkRestrictedSupported).
  std::shared_ptr<RSEnv> newRestrictEnv(const std::string& name);
  std::shared_ptr<RSEnv> getRestrictEnv(const std::string& name);
  std::shared_ptr<RSEnv> fetchRestrictEnv(const std::string& dn);
  void getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>& out);
  void saveRestrictEnv(std::shared_ptr<RSEnv>& env);
  // Deletes the environment's restricted commands first.
  void deleteRestrictEnv(std::shared_ptr<RSEnv>& env);
  std::shared_ptr<RestrictCommand> newRestrictCommand(const std::string& name,
                                                      std::shared_ptr<RSEnv>& env);
  std::shared_ptr<RestrictCommand> getRestrictCommand(const std::string& dn);
  void listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>& out);
  // Adds a new command to its environment's msDS-OperationsForAzTask and updates that.
  void saveRestrictCommand(std::shared_ptr<RestrictCommand>& command);
  void deleteRestrictCommand(std::shared_ptr<RestrictCommand>& command);
  virtual void checkRestrictedSupported() = 0;

  std::shared_ptr<MyBinding> binding;
  int version = 0;
  std::shared_ptr<kesh::ADObject> application;
  std::shared_ptr<kesh::ADObject> adminManager;
  std::string applicationCn;

  // The containers of the application, composed from applicationCn.
  std::string operationContainerDn() const;
  std::string roleContainerDn() const;
  std::string taskContainerDn() const;

 protected:
  QVStore() = default;
};

class QVClassicStore : public QVStore {
 public:
  ~QVClassicStore() override;
  void updateTimeStamps() override;
  std::shared_ptr<QVScope> createEmptyScope() override;
  std::shared_ptr<QVScope> createMachineScope(const std::string& name) override;
  std::shared_ptr<QVScope> createAccessZoneScope(const std::string& name) override;
  void asgUpdated() override { assignmentsChanged = true; }
  void roleUpdated() override { assignmentsChanged = true; }
  void rightUpdated() override { assignmentsChanged = true; }
  void getOriginalTimestamp() override;
  void createDefaultObjects(kesh::ADObject& operationContainer,
                            kesh::ADObject& taskContainer) override;
  void delegateQVRights(kesh::ADObject& adminManager) override;
  std::shared_ptr<QVRight> fetchRight(const std::string& dn) override;
  std::shared_ptr<PamApp> newPamApp(const std::string& name) override;
  void checkPamExists(PamApp& app) override;
  std::string getPamAppData(PamApp& app) override;
  unsigned getQVCommandType() override;
  std::string getQVCommandData(QVCommand& command) override;
  void checkPamName(const std::string& name) override;   // CheckEmpty
  void checkQVCName(const std::string& name) override;   // classic, 60
  void checkRoleName(const std::string& name) override;  // classic, 58
  void checkRSCName(const std::string& name);            // classic, 29
  void checkRSEName(const std::string& name);            // classic, 30
  void checkRestrictedSupported() override {}

  bool assignmentsChanged = false;
  time_t assignmentTime = 0;
};

class QVNGStore : public QVStore {
 public:
  explicit QVNGStore(int version);
  ~QVNGStore() override;
  void updateTimeStamps() override;
  std::shared_ptr<QVScope> createEmptyScope() override;
  std::shared_ptr<QVScope> createMachineScope(const std::string& name) override;
  std::shared_ptr<QVScope> createAccessZoneScope(const std::string& name) override;
  void asgUpdated() override { assignmentsChanged = true; }
  void roleUpdated() override { rolesChanged = true; }
  void rightUpdated() override { rightsChanged = true; }
  void getOriginalTimestamp() override;
  void createDefaultObjects(kesh::ADObject& operationContainer,
                            kesh::ADObject& taskContainer) override;
  // A right of a parent zone belongs to that zone's store (storeFromDN).
  std::shared_ptr<QVRight> fetchRight(const std::string& dn) override;
  std::shared_ptr<PamApp> newPamApp(const std::string& name) override;
  std::string getPamAppData(PamApp& app) override;
  unsigned getQVCommandType() override;
  std::string getQVCommandData(QVCommand& command) override;
  void checkPamName(const std::string& name) override;   // hierarchical character set
  void checkQVCName(const std::string& name) override;   // hierarchical character set
  void checkRoleName(const std::string& name) override;  // hierarchical character set
  void checkRestrictedSupported() override;

  bool assignmentsChanged = false;
  bool rolesChanged = false;
  bool rightsChanged = false;
  time_t assignmentTime = 0;
  time_t roleTime = 0;
  time_t rightTime = 0;
};

// A place in the store where roles and assignments live: the application (the zone's own,
// "null" scope) or a msDS-AzScope. Roles live in its task container, assignments in its
// role container (authorization/role.h, authorization/assignment.h).
class QVScope : public std::enable_shared_from_this<QVScope> {
 public:
  // Asked of each principal name while loading assignments; no loader filters by it.
  using AssignmentTest = bool (*)(const std::string& name);

  virtual ~QVScope() = default;
  // The group of computers of an access zone, from the scope object's
  // msDS-AzApplicationData (empty when absent). Classic scopes throw
  // kesh::BadDataException "Classic zone has no access zone group".
  virtual std::string getAccessZoneGroup() = 0;

  // --- Roles (authorization/scope_roles.cpp) ---

  // A new role `name` (trimmed, the store's checkRoleName) in memory. Throws
  // kesh::BadDataException "Role already in zone" when the directory has it.
  virtual std::shared_ptr<QVRole> newRole(const std::string& name);
  // The role `name` (trimmed); the directory's not-found passes through.
  virtual std::shared_ptr<QVRole> findRole(const std::string& name);
  // Every role of the task container (restricted environments left out), in child order.
  virtual void getRoles(std::list<std::shared_ptr<QVRole>>& out);
  // Refuses PAM rights in a new role that allows local users ("Cannot add %s to current
  // role. ..."), writes the role data, adds or updates, re-reads.
  virtual void saveRole(std::shared_ptr<QVRole>& role);
  // "Role has not been created" for a new one; else removes it.
  virtual void deleteRole(std::shared_ptr<QVRole>& role);
  // The DN of the task container of this scope.
  std::string taskContainerDn() const;

  // --- Assignments (authorization/scope_assignments.cpp) ---

  // Assignments of the given objects, in order.
  virtual void loadAssignments(std::list<std::shared_ptr<Assignment>>& out,
                               kesh::ADObjectList& objects, AssignmentTest test);
  // Throws kesh::BadDataException "Role assignment already exists" when the principal has
  // the role in this scope already (role DNs compared upper-cased); a saved assignment
  // whose role did not change passes.
  virtual void checkAsgExists(Assignment& assignment) = 0;
  // The msDS-MembersForAzRole value: the DN, or "<SID=...>" for a principal of another
  // forest.
  virtual std::string getAssignmentRoleField(Assignment& assignment);
  virtual std::string getAssignmentData(Assignment& assignment) = 0;
  virtual void createAssignment(std::shared_ptr<Assignment>& assignment) = 0;
  // Every assignment of the role container.
  virtual void getAllAssignments(std::list<std::shared_ptr<Assignment>>& out, AssignmentTest test);
  // The assignments of a directory principal (by DN, or by foreign security principal
  // for another forest).
  virtual void getAssignments(kesh::ADObject& principal,
                              std::list<std::shared_ptr<Assignment>>& out);
  // The assignments whose member value (or, hierarchical, all-users or local principal)
  // is `name`.
  virtual void getAssignments(const std::string& name,
                              std::list<std::shared_ptr<Assignment>>& out) = 0;
  virtual std::shared_ptr<Assignment> getAssignmentByADObject(kesh::ADObject& object) = 0;
  // Throws kesh::NotFoundException "could not find assignment entry".
  virtual std::shared_ptr<Assignment> getAssignmentByADCN(const std::string& cn);
  virtual void updateAssignment(std::shared_ptr<Assignment>& assignment);
  virtual void deleteAssignment(std::shared_ptr<Assignment>& assignment);
  // The DN of the role container of this scope.
  std::string roleContainerDn() const;

  // --- Delegation (authorization/scope_assignments.cpp) ---

  // Writes the ACEs of the zone right `right` for `principal` on the store objects that
  // carry it (security/delegate.h).
  virtual void delegateRight(const std::string& right, const std::string& principal);
  virtual void checkRightDelegationSupported(const std::string& right);

  std::shared_ptr<MyBinding> binding;  // the store's, taken at construction
  int version = 0;
  std::shared_ptr<kesh::ADObject> scopeObject;
  std::shared_ptr<QVStore> store;

 protected:
  QVScope(std::shared_ptr<QVStore> store, int version);
};

// Throws kesh::BadDataException "Bad QV version number: <n>" unless the version is 1.
class QVClassicScope : public QVScope {
 public:
  QVClassicScope(std::shared_ptr<QVStore> store, int version);
  std::string getAccessZoneGroup() override;
  void checkAsgExists(Assignment& assignment) override;
  std::string getAssignmentData(Assignment& assignment) override;
  // Only AD users and groups: "Role in classic zone can only be assigned to
  // aduser/adgroup.".
  void createAssignment(std::shared_ptr<Assignment>& assignment) override;
  void getAssignments(const std::string& name,
                      std::list<std::shared_ptr<Assignment>>& out) override;
  using QVScope::getAssignments;
  std::shared_ptr<Assignment> getAssignmentByADObject(kesh::ADObject& object) override;
  // "Right modify_computer_role is not used in classic zone".
  void checkRightDelegationSupported(const std::string& right) override;
};

// Throws kesh::BadDataException "Bad QV version number: <n>" unless the version is above 1.
class QVNGScope : public QVScope {
 public:
  QVNGScope(std::shared_ptr<QVStore> store, int version);
  std::string getAccessZoneGroup() override;
  void checkAsgExists(Assignment& assignment) override;
  std::string getAssignmentData(Assignment& assignment) override;
  void createAssignment(std::shared_ptr<Assignment>& assignment) override;
  // "all ad users" and "all unix users" (any case) by ptype, local principals by
  // displayName, else by member value.
  void getAssignments(const std::string& name,
                      std::list<std::shared_ptr<Assignment>>& out) override;
  using QVScope::getAssignments;
  std::shared_ptr<Assignment> getAssignmentByADObject(kesh::ADObject& object) override;
};

// The first msDS-AzScope named `name` anywhere below `application`. Throws
// kesh::BadDataException "Cannot find <name>".
kesh::ADObject FindAzScope(std::shared_ptr<MyBinding> binding, kesh::ADObject application,
                           const std::string& name);
// Removes the scope object with everything below it.
void DeleteAzScope(std::shared_ptr<MyBinding> binding, kesh::ADObject object);

#endif  // ZONESMITH_AUTHORIZATION_QV_H_
