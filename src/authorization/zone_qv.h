// The authorization capabilities of zones, and the mix-ins by which zone classes carry
// their authorization store.
//
// A zone with roles holds a QVStore and the QVScope it works in (the null scope for a
// zone itself, a scope of its own for a computer zone or access zone). ZoneUsesQV keeps
// both; the four mix-ins derive from it virtually, so that a zone class that composes
// several of them has one store and one scope.
//
// Every operation first calls checkForClassic ("QV not enabled for this zone" without a
// store), then the operation of the same name of the scope (roles, assignments) or the
// store (rights, restricted environments). newAssignment needs no store.
#ifndef ZONESMITH_AUTHORIZATION_ZONE_QV_H_
#define ZONESMITH_AUTHORIZATION_ZONE_QV_H_

#include <list>
#include <memory>
#include <string>

class QVStore;
class QVScope;
class QVRole;
class QVRight;
class QVCommand;
class PamApp;
class RSEnv;
class RestrictCommand;
class Assignment;

class IZoneSupportRoles {
 public:
  virtual std::shared_ptr<QVRole> findRole(const std::string& name) = 0;
  virtual std::shared_ptr<QVRight> findRight(const std::string& name) = 0;
  virtual ~IZoneSupportRoles() = default;
};

class IZoneSupportAssignment : public virtual IZoneSupportRoles {
 public:
  virtual std::shared_ptr<Assignment> getAssignment(const std::string& name) = 0;
  virtual void saveAssignment(std::shared_ptr<Assignment>& assignment) = 0;
  virtual std::shared_ptr<Assignment> newAssignment(const std::string& name) = 0;
  virtual void getAssignments(const std::string& filter,
                              std::list<std::shared_ptr<Assignment>>& out) = 0;
  virtual void deleteAssignment(std::shared_ptr<Assignment>& assignment) = 0;
};

class IZoneManageRoles : public virtual IZoneSupportRoles {
 public:
  virtual std::shared_ptr<QVRole> getRole(const std::string& name) = 0;
  virtual void saveRole(std::shared_ptr<QVRole>& role) = 0;
  virtual void deleteRole(std::shared_ptr<QVRole>& role) = 0;
  virtual void getRoles(std::list<std::shared_ptr<QVRole>>& out) = 0;
  virtual std::shared_ptr<QVRole> newRole(const std::string& name) = 0;
};

class IZoneManageRights : public virtual IZoneSupportRoles {
 public:
  virtual void listPamApps(std::list<std::shared_ptr<PamApp>>& out) = 0;
  virtual std::shared_ptr<PamApp> getPamApp(const std::string& name) = 0;
  virtual void deletePamApp(std::shared_ptr<PamApp>& app) = 0;
  virtual void savePamApp(std::shared_ptr<PamApp>& app) = 0;
  virtual std::shared_ptr<PamApp> newPamApp(const std::string& name) = 0;
  virtual void listQVCommands(std::list<std::shared_ptr<QVCommand>>& out) = 0;
  virtual std::shared_ptr<QVCommand> getQVCommand(const std::string& name) = 0;
  virtual void deleteQVCommand(std::shared_ptr<QVCommand>& command) = 0;
  virtual void saveQVCommand(std::shared_ptr<QVCommand>& command) = 0;
  virtual std::shared_ptr<QVCommand> newQVCommand(const std::string& name) = 0;
};

class IZoneManageRS : public virtual IZoneSupportRoles {
 public:
  virtual void saveRestrictEnv(std::shared_ptr<RSEnv>& env) = 0;
  virtual void deleteRestrictEnv(std::shared_ptr<RSEnv>& env) = 0;
  virtual void getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>& out) = 0;
  virtual std::shared_ptr<RSEnv> getRestrictEnv(const std::string& name) = 0;
  virtual std::shared_ptr<RSEnv> newRestrictEnv(const std::string& name) = 0;
  virtual void listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>& out) = 0;
  virtual std::shared_ptr<RestrictCommand> getRestrictCommand(const std::string& name) = 0;
  virtual std::shared_ptr<RestrictCommand> newRestrictCommand(const std::string& name,
                                                              std::shared_ptr<RSEnv>& env) = 0;
  virtual void saveRestrictCommand(std::shared_ptr<RestrictCommand>& command) = 0;
  virtual void deleteRestrictCommand(std::shared_ptr<RestrictCommand>& command) = 0;
};

// Splits "<name>/<zone>" at the first "/": true with `zone` the lower-cased second segment
// (a third is ignored), false for a text without "/" (`name` is then the text).
bool SplitZoneQualified(const std::string& text, std::string& name, std::string& zone);

// The store and scope of a zone.
class ZoneUsesQV : public virtual IZoneSupportRoles {
 public:
  // The role or right `name`, or "<name>/<zone>" for one of this zone or an ancestor named
  // <zone> (any case). Throws kesh::BadDataException "Role cannot be empty" / "Right name
  // cannot be empty", and kesh::NotFoundException "role not found" / "right not found".
  std::shared_ptr<QVRole> findRole(const std::string& name) override;
  std::shared_ptr<QVRight> findRight(const std::string& name) override;
  // checkForClassic, then the scope's delegateRight.
  void delegateQVRight(const std::string& right, const std::string& principal);
  // Returns when both store and scope are set; otherwise throws kesh::BadDataException
  // "QV not enabled for this zone". The argument is not used.
  virtual void checkForClassic(bool classic);

  std::shared_ptr<QVScope> scope;
  std::shared_ptr<QVStore> store;
};

// The text forms of getAssignment are those of ParseAssignment (authorization/assignment.h);
// newAssignment takes a user or group name, "All AD users", "All Unix users", or a local
// principal "name@localhost", "#uid@localhost", "%group@localhost". getAssignments lists
// the whole scope whatever the filter.
class AssignmentSupport : public virtual ZoneUsesQV, public IZoneSupportAssignment {
 public:
  std::shared_ptr<Assignment> getAssignment(const std::string& name) override;
  void saveAssignment(std::shared_ptr<Assignment>& assignment) override;
  std::shared_ptr<Assignment> newAssignment(const std::string& name) override;
  void getAssignments(const std::string& filter,
                      std::list<std::shared_ptr<Assignment>>& out) override;
  void deleteAssignment(std::shared_ptr<Assignment>& assignment) override;
};

class RoleManagement : public virtual ZoneUsesQV, public IZoneManageRoles {
 public:
  std::shared_ptr<QVRole> getRole(const std::string& name) override;
  void saveRole(std::shared_ptr<QVRole>& role) override;
  void deleteRole(std::shared_ptr<QVRole>& role) override;
  void getRoles(std::list<std::shared_ptr<QVRole>>& out) override;
  std::shared_ptr<QVRole> newRole(const std::string& name) override;
};

class RightsManagement : public virtual ZoneUsesQV, public IZoneManageRights {
 public:
  void listPamApps(std::list<std::shared_ptr<PamApp>>& out) override;
  std::shared_ptr<PamApp> getPamApp(const std::string& name) override;
  void deletePamApp(std::shared_ptr<PamApp>& app) override;
  void savePamApp(std::shared_ptr<PamApp>& app) override;
  std::shared_ptr<PamApp> newPamApp(const std::string& name) override;
  void listQVCommands(std::list<std::shared_ptr<QVCommand>>& out) override;
  std::shared_ptr<QVCommand> getQVCommand(const std::string& name) override;
  void deleteQVCommand(std::shared_ptr<QVCommand>& command) override;
  void saveQVCommand(std::shared_ptr<QVCommand>& command) override;
  std::shared_ptr<QVCommand> newQVCommand(const std::string& name) override;
};

class RSManagement : public virtual ZoneUsesQV, public IZoneManageRS {
 public:
  void saveRestrictEnv(std::shared_ptr<RSEnv>& env) override;
  void deleteRestrictEnv(std::shared_ptr<RSEnv>& env) override;
  void getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>& out) override;
  std::shared_ptr<RSEnv> getRestrictEnv(const std::string& name) override;
  std::shared_ptr<RSEnv> newRestrictEnv(const std::string& name) override;
  void listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>& out) override;
  std::shared_ptr<RestrictCommand> getRestrictCommand(const std::string& name) override;
  std::shared_ptr<RestrictCommand> newRestrictCommand(const std::string& name,
                                                      std::shared_ptr<RSEnv>& env) override;
  void saveRestrictCommand(std::shared_ptr<RestrictCommand>& command) override;
  void deleteRestrictCommand(std::shared_ptr<RestrictCommand>& command) override;
};

#endif  // ZONESMITH_AUTHORIZATION_ZONE_QV_H_
