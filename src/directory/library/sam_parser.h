// sam::SamParser: the codec of the role, assignment, command, PAM, scope, application and
// store data that the authorization store keeps in msDS-AzApplicationData.
//
// That attribute is a Unicode string in the directory, so every blob is printable text:
//
//   blob  := "" | pair { ";" pair }
//   pair  := key "=" value
//
// Keys are fixed lower-case words, written in the order of the table below. In a value,
// "\" "=" and ";" are written "\\" "\=" "\;", control bytes (below 0x20, and 0x7f) as
// "\xNN", and bytes above 0x7f as "\xNN" too unless the value is valid UTF-8 (which stays
// as it is). Numbers are decimal, flags "0" or "1", byte strings (the time box) hex digits.
//
//   role V1        timebox=<hex>
//   role V2        timebox=<hex>;sysrights=<u32>;allowlocaluser=<0|1>;visible=<0|1>
//   assignment V1  from=<i64>;to=<i64>
//   assignment V2  from=<i64>;to=<i64>;ptype=<text>      (so "*ptype=a*" finds ptype "a")
//   command V1     cmd;form;runas;pri;umask;keepenv;delenv;path;add;flags
//   command V2     cmd;form;runas;shellrunas;pri;umask;keepenv;delenv;path;add;flags
//   PAM V1, V2     app=<text>                            ("app=sshd", "app=qvssh-*")
//   application V1 enabled=<0|1>
//   scope V2       group=<text>
//   store V2       assignment=<i64>;role=<i64>;right=<i64>
//
// Parsing fills every output: a key that is absent gives its default (empty text, 0,
// false; `visible` true). So an empty blob parses as all defaults. Keys that a kind does
// not know are passed over. A blob that breaks the grammar, repeats a key or holds a value
// of the wrong form throws kesh::BadDataException "Malformed <kind> data: <reason>", and
// the outputs are left as they were.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_SAM_PARSER_H_
#define ZONESMITH_DIRECTORY_LIBRARY_SAM_PARSER_H_

#include <cstdint>
#include <string>

#include "directory/library/int64.h"

namespace sam {

class SamParser {
 public:
  // `timebox` is the 21-byte time box or empty.
  static std::string WriteV1RoleData(const std::string& timebox);
  static void ParseV1RoleData(const std::string& data, std::string& timebox, unsigned& sysrights);
  static std::string WriteV2RoleData(const std::string& timebox, unsigned sysrights,
                                     bool allowLocalUser, bool visible);
  static void ParseV2RoleData(const std::string& data, std::string& timebox, unsigned& sysrights,
                              bool& allowLocalUser, bool& visible);

  // Unix times; 0 means none.
  static std::string WriteV1AssignmentData(long from, long to);
  static void ParseV1AssignmentData(const std::string& data, long& from, long& to);
  static std::string WriteV2AssignmentData(long from, long to, const std::string& ptype);
  static void ParseV2AssignmentData(const std::string& data, long& from, long& to,
                                    std::string& ptype);

  static std::string WriteV1CommandData(const std::string& cmd, int form, const std::string& runas,
                                        int pri, int umask, const std::string& keepEnv,
                                        const std::string& delEnv, const std::string& path,
                                        const std::string& add, int flags);
  static void ParseV1CommandData(const std::string& data, std::string& cmd, int& form,
                                 std::string& runas, int& pri, int& umask, std::string& keepEnv,
                                 std::string& delEnv, std::string& path, std::string& add,
                                 int& flags);
  static std::string WriteV2CommandData(const std::string& cmd, int form, const std::string& runas,
                                        const std::string& shellRunas, int pri, int umask,
                                        const std::string& keepEnv, const std::string& delEnv,
                                        const std::string& path, const std::string& add, int flags);
  static void ParseV2CommandData(const std::string& data, std::string& cmd, int& form,
                                 std::string& runas, std::string& shellRunas, int& pri, int& umask,
                                 std::string& keepEnv, std::string& delEnv, std::string& path,
                                 std::string& add, int& flags);

  static std::string WriteV1PamData(const std::string& application);
  static void ParseV1PamData(const std::string& data, std::string& application);
  static std::string WriteV2PamData(const std::string& application);
  static void ParseV2PamData(const std::string& data, std::string& application);

  static std::string WriteV1ApplicationData(bool enabled);
  static void ParseV1ApplicationData(const std::string& data, bool& enabled);

  static std::string WriteV2ScopeData(const std::string& group);
  static void ParseV2ScopeData(const std::string& data, std::string& group);

  // File times of the last changes of assignments, roles and rights.
  static std::string WriteV2StoreData(const Int64& assignmentTime, const Int64& roleTime,
                                      const Int64& rightTime);
  static void ParseV2StoreData(const std::string& data, Int64& assignmentTime, Int64& roleTime,
                               Int64& rightTime);
};

// The system rights of a role: bits 16 and 32 (mask 48) hold the audit level, bit 64
// lets the role's users log in always.
constexpr unsigned AUDIT_LEVEL_MASK = 48;
constexpr unsigned ALWAYS_PERMIT_LOGIN = 64;

// Audit levels, as the audit bits give them.
enum AuditLevel {
  AUDIT_IF_POSSIBLE = 0,    // bits 0
  AUDIT_NOT_REQUESTED = 1,  // bit 16
  AUDIT_REQUIRED = 2,       // bit 32
  AUDIT_UNKNOWN = 3,        // bits 16 and 32 together: no level
};

// "AuditIfPossible", "AuditNotRequested", "AuditRequired", or "Unknown" for any other value.
std::string AuditLevelToString(int level);
// The AuditLevel of the audit bits of `rights`.
int GetAuditLevelFromSysRights(unsigned rights);
bool IsAlwaysPermitLogin(unsigned rights);

}  // namespace sam

#endif  // ZONESMITH_DIRECTORY_LIBRARY_SAM_PARSER_H_
