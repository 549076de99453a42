// Credentials and connections: which Kerberos credentials a binding uses, and the `bind`
// command that makes bindings.
//
// Passwords are held only in Shredder strings and wiped as soon as a credential cache has
// the ticket. A password given on the command line lives only in a MEMORY cache.
#ifndef ZONESMITH_DIRECTORY_CLI_ORLUTILS_H_
#define ZONESMITH_DIRECTORY_CLI_ORLUTILS_H_

#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/logger.h"
#include "directory/library/shredder.h"

namespace kesh {

// Where a credential cache name comes from.
enum CCNSource {
  CCN_DISCOVERED = 0,  // the calling user's own cache
  CCN_MACHINE = 1,     // the cache of the joined machine
  CCN_USER = 2,        // a user, with or without a password
};

// Makes and connects a binding to `domain` (the joined domain when empty) with the
// credentials that `source`, `user` and `password` select; `ccName` receives the cache
// name. Throws BaseException "No credential cache found" (rc 1008) when there is none,
// and whatever the connection throws.
std::shared_ptr<ADBinding> getBindingPtr(CCNSource source, const std::string& domain,
                                         const std::string& user, Shredder& password,
                                         std::string& ccName, const std::string& server, bool gc,
                                         bool prompt, void* memoryTag);

// The credential cache name for `source`; `upn`, when given, receives its principal.
std::string getCCName(CCNSource source, const std::string& user, Shredder* password,
                      std::string* upn, void* memoryTag, Locator locator, bool prompt);

// The cache with a ticket for `user`: the calling user's discovered cache when no user and
// no password are given, else a fresh ticket obtained with the password (prompted for when
// missing and `prompt`), stored in "MEMORY:<memoryTag>" or, without a tag, in a new file
// cache of the calling user. Throws KerberosException "get user credentials:<reason>".
std::string getUserCCName(const std::string& user, Shredder* password, void* memoryTag,
                          Locator locator, bool prompt);

// Decides between a discovered cache and a user with a password. Answers true when
// `ccName` is to be used as it is; false when `user` and `password` are to obtain a ticket
// (the password prompted for when `prompt`). With a `domain`, a discovered cache is first
// tried on it and given up for "Administrator" when it does not work. Throws
// kesh::BadDataException "No credentials found, need user and password".
bool DetermineCredentials(std::string& user, Shredder& password, std::string& ccName,
                          const std::string& domain, bool prompt);

// The principal whose credentials the binding uses ("user@REALM").
std::string getBindingUser(std::shared_ptr<ADBinding>& binding);

// Makes the binding read and write owner, group and DACL (`all`) or the DACL only of
// security descriptors; reconnects when that changes the binding's setting.
void setSDFlag(std::shared_ptr<ADBinding>& binding, bool all);

// Checks that `server` can serve: 0 usable (or no server given), 1 not reachable, 2 no
// global catalog (with `gc`), 3 not writable (with `writable`), 5 an IP address (with
// `notIp`), 6 not a server of `domain`.
int VerifyServer(const std::string& server, bool gc, bool writable, bool notIp,
                 const std::string& domain);
// VerifyServer, telling the user on standard error (and the log) why a server does not
// serve. True when it does.
bool ValidateServer(std::shared_ptr<Logger> logger, const std::string& server, bool gc,
                    bool writable, bool notIp, const std::string& domain);

}  // namespace kesh

// The password callback of a binding when the user may be asked: prompts for the
// principal's password on the terminal and obtains a ticket with it. Answers 0 or the
// Kerberos error.
int cli_gic_with_password_prompt_callback(_krb5_context* context, void* data,
                                          const char* principal);

// The library's logger of that name for this thread.
std::shared_ptr<kesh::Logger> getLogger(const char* name, bool reserved);

// What `bind` asks for: `target` is "[server@]domain"; a user may come with a password,
// else the password is prompted for.
struct BindRequest {
  std::string target;
  bool userGiven = false;
  std::string user;
  bool passwordGiven = false;
  Shredder password;
  bool gc = false;
  bool machine = false;
  bool write = false;
};

// Throws kesh::BadDataException "-machine requires that the machine be joined" when the
// local agent names no domain.
void RequireJoinedMachine();

// Makes a binding to the request's domain (or its global catalog with `gc`) and enters it
// into the session, replacing the connection of a binding to that domain in place. Wipes
// the password. Throws kesh::BadDataException for -machine on a machine that is not joined
// or with a user, kesh::NotFoundException when the named server did not answer, and what
// the credentials and the connection throw; then the session is unchanged.
void BindDomain(BindRequest& request);

#endif  // ZONESMITH_DIRECTORY_CLI_ORLUTILS_H_
