// Roles: named collections of rights with a week time box and system rights. A role is a
// msDS-AzTask in the task container of its scope (cn=AzTaskObjectContainer-<cn of the
// scope object>, the application for a zone's own scope):
//
//   cn                           "role-" + name
//   objectClass                  msDS-AzTask
//   msDS-AzTaskIsRoleDefinition  TRUE (a restricted environment has FALSE)
//   msDS-OperationsForAzTask     one DN per right; a right may lie in another zone's store
//   msDS-TasksForAzTask          classic only: at most one DN, the restricted environment
//   msDS-AzApplicationData       role data (sam::SamParser): V1 classic, V2 hierarchical
//   description                  free text
//
// Changes to rights, environment and fields stay in memory until the scope's saveRole.
// Creating, finding, listing, saving and deleting roles are operations of the scope
// (authorization/qv.h).
#ifndef ZONESMITH_AUTHORIZATION_ROLE_H_
#define ZONESMITH_AUTHORIZATION_ROLE_H_

#include <list>
#include <memory>
#include <string>

#include "directory/library/adobject.h"

class QVScope;
class QVRight;
class RSEnv;

// A time box: one bit per hour of the week, 21 bytes.
constexpr size_t TIMEBOX_BYTES = 21;
// The 21 bytes of a time box from its 42 hex digits (either case). Anything else throws
// kesh::BadDataException "Timebox must be exactly 42 hex characters (21 bytes)".
std::string ParseTimebox(const std::string& text);
// The 42 lower-case hex digits of a time box; 42 zeros for an empty one.
std::string TimeboxText(const std::string& timebox);

// System rights bits beyond the audit level and always-permit-login of sam_parser.h.
constexpr unsigned SYSRIGHTS_CLASSIC_NO_RS_ENV = 8;  // a classic role without environment
constexpr unsigned SYSRIGHTS_REQUIRE_MFA = 512;
constexpr unsigned SYSRIGHTS_LOGIN = 11;  // the predefined login roles

class QVRole {
 public:
  // A QVClassicRole when the scope's version is 1, else a QVNGRole.
  static std::shared_ptr<QVRole> Create(kesh::ADObject object, std::shared_ptr<QVScope> scope,
                                        bool isNew);
  virtual ~QVRole();

  // Each value of msDS-OperationsForAzTask through the store's fetchRight; values that
  // fail (LDAPException, kesh::BadDataException) are skipped without a word.
  virtual void getRoleRights(std::list<std::shared_ptr<QVRight>>& out);
  // The role's restricted environment into `env`; left alone when it has none.
  virtual void getRoleRestrictEnv(std::shared_ptr<RSEnv>& env) = 0;
  // Adds the right's DN to msDS-OperationsForAzTask in memory and marks the roles changed.
  // Throws kesh::BadDataException "Right is not supported for this role" (a PAM right on a
  // saved role that allows local users) and "Right already in role".
  virtual void addRight(std::shared_ptr<QVRight> right);
  virtual void clearRestrictEnv() = 0;
  virtual void setRestrictEnv(std::shared_ptr<RSEnv> env) = 0;
  virtual void setAllowLocalUser(bool flag) = 0;
  virtual void setVisible(bool flag) = 0;
  virtual void setSysrights(unsigned value);
  // Writes the role data of the fields into msDS-AzApplicationData (in memory).
  virtual void saveRoleData() = 0;
  // Drops the right's DN from msDS-OperationsForAzTask; marks the change even when absent.
  void removeRight(std::shared_ptr<QVRight> right);

  // The cn without "role-".
  std::string getName() const;
  std::string getDescription() const;  // "" when absent
  void setDescription(const std::string& text);

  std::shared_ptr<kesh::ADObject> object;
  std::shared_ptr<QVScope> scope;
  unsigned sysrights = 0;
  std::string timebox;  // 21 raw bytes, or empty
  bool isNew;
  bool allowLocalUser = false;
  bool visible = true;

 protected:
  QVRole(kesh::ADObject object, std::shared_ptr<QVScope> scope, bool isNew);
};

// Role of a classic store: V1 data (time box only). Its sysrights read 0 with an
// environment and 8 without; allowLocalUser, visible and sysrights cannot be set
// (kesh::BadDataException "Classic zone does not support setting visible.", "Classic zone
// does not support setting allowLocalUser.", "Operation not supported in classic zone.").
// Adding a QVCommand clears the environment; setting an environment removes the
// QVCommands.
class QVClassicRole : public QVRole {
 public:
  QVClassicRole(kesh::ADObject object, std::shared_ptr<QVScope> scope, bool isNew);
  void getRoleRights(std::list<std::shared_ptr<QVRight>>& out) override;
  void getRoleRestrictEnv(std::shared_ptr<RSEnv>& env) override;
  void addRight(std::shared_ptr<QVRight> right) override;
  void clearRestrictEnv() override;
  void setRestrictEnv(std::shared_ptr<RSEnv> env) override;
  void setAllowLocalUser(bool flag) override;
  void setVisible(bool flag) override;
  void setSysrights(unsigned value) override;
  void saveRoleData() override;
};

// Role of a hierarchical store: V2 data. allowLocalUser can be set only while the role is
// new ("allowLocalUser can only be set during role creation"); the environment operations
// throw "Restricted command/environment is supported only in classic zones.".
class QVNGRole : public QVRole {
 public:
  QVNGRole(kesh::ADObject object, std::shared_ptr<QVScope> scope, bool isNew);
  void getRoleRestrictEnv(std::shared_ptr<RSEnv>& env) override;
  void clearRestrictEnv() override;
  void setRestrictEnv(std::shared_ptr<RSEnv> env) override;
  void setAllowLocalUser(bool flag) override;
  void setVisible(bool flag) override;
  void saveRoleData() override;
};

#endif  // ZONESMITH_AUTHORIZATION_ROLE_H_
