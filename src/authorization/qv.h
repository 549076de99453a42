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
  // The default rights and roles of a new store, and the security descriptor of a classic
  // store's admin manager, come with the authorization commands; both do nothing yet.
  virtual void createDefaultObjects(kesh::ADObject& operationContainer,
                                    kesh::ADObject& taskContainer);
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

  bool assignmentsChanged = false;
  bool rolesChanged = false;
  bool rightsChanged = false;
  time_t assignmentTime = 0;
  time_t roleTime = 0;
  time_t rightTime = 0;
};

// A place in the store where roles and assignments live: the application (the zone's own,
// "null" scope) or a msDS-AzScope. Assignments and roles arrive with the authorization
// commands.
class QVScope : public std::enable_shared_from_this<QVScope> {
 public:
  virtual ~QVScope() = default;
  // The group of computers of an access zone, from the scope object's
  // msDS-AzApplicationData (empty when absent). Classic scopes throw
  // kesh::BadDataException "Classic zone has no access zone group".
  virtual std::string getAccessZoneGroup() = 0;

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
};

// Throws kesh::BadDataException "Bad QV version number: <n>" unless the version is above 1.
class QVNGScope : public QVScope {
 public:
  QVNGScope(std::shared_ptr<QVStore> store, int version);
  std::string getAccessZoneGroup() override;
};

// The first msDS-AzScope named `name` anywhere below `application`. Throws
// kesh::BadDataException "Cannot find <name>".
kesh::ADObject FindAzScope(std::shared_ptr<MyBinding> binding, kesh::ADObject application,
                           const std::string& name);
// Removes the scope object with everything below it.
void DeleteAzScope(std::shared_ptr<MyBinding> binding, kesh::ADObject object);

#endif  // ZONESMITH_AUTHORIZATION_QV_H_
