// Rights: what a role may grant. A right is a msDS-AzOperation object in the operation
// container of a store (cn=AzOpObjectContainer-<application cn>); a restricted environment
// is a msDS-AzTask in the task container that batches restricted commands.
//
//   right                       cn                       msDS-AzOperationID  data (sam::SamParser)
//   command, classic store      "pc-" + name             0x1000001           V1 command
//   command, hierarchical       "pc-" + name             0x5000001           V2 command
//   PAM, classic store          "pam-" + fresh GUID      0x2000001           V1 PAM
//   PAM, hierarchical           "pam-" + name            0x2000001           V2 PAM ("app=<app>")
//   restricted command          "rs-<env>-" + name       0x4000001           V1 command
//   restricted environment      "rs-" + name             (msDS-AzTask, msDS-AzTaskIsRoleDefinition
//                                                         FALSE, msDS-OperationsForAzTask = the
//                                                         DNs of its commands)
//
// The type of a right is the top byte of its operation ID; the low part is always 1.
// Restricted commands and environments exist only in classic stores.
//
// A right in memory is new (isNew) from new... until its first save; new... fetches only to
// refuse a duplicate and writes nothing. After a save the object is the directory's fresh
// copy. Saving, finding and listing are operations of the store (authorization/qv.h).
#ifndef ZONESMITH_AUTHORIZATION_RIGHT_H_
#define ZONESMITH_AUTHORIZATION_RIGHT_H_

#include <list>
#include <memory>
#include <string>

#include "directory/library/adobject.h"

class QVStore;

// Top bytes of msDS-AzOperationID.
constexpr unsigned RIGHT_TYPE_MASK = 0xff000000u;
constexpr unsigned RIGHT_TYPE_CLASSIC_COMMAND = 0x1000000u;
constexpr unsigned RIGHT_TYPE_PAM = 0x2000000u;
constexpr unsigned RIGHT_TYPE_RESTRICTED_COMMAND = 0x4000000u;
constexpr unsigned RIGHT_TYPE_NG_COMMAND = 0x5000000u;

// The top byte of the operation ID of the right `object` (RIGHT_TYPE_...), 0 when absent.
unsigned GetRightType(const kesh::ADObject& object);

// cn prefixes of rights, roles and environments.
extern const char* const COMMAND_PREFIX;     // "pc-"
extern const char* const PAM_PREFIX;         // "pam-"
extern const char* const RESTRICTED_PREFIX;  // "rs-"
extern const char* const ROLE_PREFIX;        // "role-"
extern const char* const USERPATH;           // "USERPATH", the path a command saves without one

// Name checks. Each takes a name already trimmed and throws kesh::BadDataException:
// empty: "name cannot be empty or contains spaces only." (every check).
void CheckEmpty(const std::string& name);
// Longer than `limit`: "Length of the name cannot be greater than <limit>"; any of
// \ / : * ? " < > | [ ] tab + = , ; #: "These characters are not allowed in the name:
// [\/:*?"<>|[tab]+=,;#]".
void CheckClassicRoleRightName(const std::string& name, size_t limit);
// Only letters, digits, space, '-', '_': else "Only alphanumeric, space, '_' and '-' is
// valid in the name". No length limit.
void CheckNGRoleRightName(const std::string& name);
// Contains "=": "The environment string cannot contains character [=]".
void CheckEnvString(const std::string& value);

// Limits of classic names: commands, restricted commands, environments, roles.
constexpr size_t CLASSIC_COMMAND_NAME_LIMIT = 60;
constexpr size_t CLASSIC_RS_COMMAND_NAME_LIMIT = 29;
constexpr size_t CLASSIC_RS_ENV_NAME_LIMIT = 30;
constexpr size_t CLASSIC_ROLE_NAME_LIMIT = 58;

class QVRight {
 public:
  QVRight(kesh::ADObject object, std::shared_ptr<QVStore> store, bool isNew);
  virtual ~QVRight();

  // Sets the description attribute (in memory).
  virtual void setDescription(const std::string& text);
  // The name without its cn prefix. Throws std::out_of_range when `name` is shorter.
  virtual std::string getName() = 0;

  std::string getDescription() const;  // "" when absent
  std::string getCreateTime() const;   // whenCreated, "" when absent
  std::string getModifyTime() const;   // whenChanged, "" when absent
  // The cn of the zone that owns the right: the fourth parent of its DN.
  std::string getZoneName() const;
  // The top byte of the operation ID (RIGHT_TYPE_...), 0 when absent.
  unsigned getType() const;

  std::shared_ptr<kesh::ADObject> object;
  std::shared_ptr<QVStore> store;
  std::string name;  // the cn with its prefix (classic PAM rights: "pam-" + application)
  bool isNew;
};

// What privileged and restricted commands share: the fields of the command data.
class Command : public QVRight {
 public:
  using QVRight::QVRight;
  // `name` unchanged; the concrete classes strip their prefix.
  std::string getName() override;
  virtual std::string getCommand();
  // Both run CheckEnvString first.
  virtual void setKeepEnv(const std::string& text);
  virtual std::string getKeepEnv();
  virtual void setDelEnv(const std::string& text);
  virtual std::string getDelEnv();

  std::string keepEnv;
  std::string delEnv;
  std::string cmd;
  int form = 0;  // 0 wildcard, 1 regular expression
  std::string qvdo_runas;
  std::string qvsh_runas;
  int pri = 0;
  int umask = 0;
  std::string path;
  std::string add;
  int flags = 0;
};

// A privileged command. Reading an object parses its data: V1 in a store of version 1
// (runas is qvdo_runas), V2 otherwise.
class QVCommand : public Command {
 public:
  QVCommand(kesh::ADObject object, std::shared_ptr<QVStore> store, bool isNew);
  std::string getName() override;  // name from its fourth character
};

class RSEnv;

// A command of a restricted shell (classic stores). Reading one from a store of a version
// other than 1 throws kesh::BadDataException "The command data are not supported in
// classic zone.". The name after the prefix holds the environment: "<env>-<command>".
class RestrictCommand : public Command {
 public:
  RestrictCommand(kesh::ADObject object, std::shared_ptr<QVStore> store, bool isNew);
  std::string getName() override;  // name from its fourth character

  // The environment it was created in; null for one read from the directory.
  std::shared_ptr<RSEnv> rsEnv;
};

// The use of a PAM application. Reading one parses its data (V1 in version 1 stores, V2
// otherwise) into appString; in a classic store `name` becomes "pam-" + appString.
class PamApp : public QVRight {
 public:
  PamApp(kesh::ADObject object, std::shared_ptr<QVStore> store, bool isNew);
  std::string getName() override;  // name from its fifth character
  // Trims `application` into appString.
  void setApp(const std::string& application);

  std::string appString;
};

// A restricted environment (classic stores).
class RSEnv {
 public:
  RSEnv(kesh::ADObject object, std::shared_ptr<QVStore> store, bool isNew);

  // Adds the command's DN to msDS-OperationsForAzTask (in memory) and marks the rights
  // changed. Throws kesh::BadDataException "Restricted command already in this
  // environment" when the DN is there already (byte compare).
  void addCommand(std::shared_ptr<RestrictCommand>& command);
  // Each value of msDS-OperationsForAzTask through store->fetchRight; values that fail
  // are skipped.
  void getRestrictEnvCmds(std::list<std::shared_ptr<QVRight>>& out);
  // The cn of its DN without "rs-".
  std::string getName() const;

  std::shared_ptr<kesh::ADObject> object;
  std::shared_ptr<QVStore> store;
  bool isNew;
};

#endif  // ZONESMITH_AUTHORIZATION_RIGHT_H_
