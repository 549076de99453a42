// Control of the in-memory directory, for tests: the process-wide set of domains that
// bindings made by kesh::NewADBinding reach, and the knobs that the memdir:: Tcl
// commands expose.
//
// The directory holds any number of domains and forests. A domain exists once an object
// of class domainDNS is loaded; its forest is the topmost loaded domain above it in DNS
// terms, unless a root DSE record of the fixture says otherwise. A fixture may give a root
// DSE record ("dn:" with an empty DN and a defaultNamingContext) to set the facts a DC of
// that domain reports: dnsHostName, functional levels, rootDomainNamingContext, ...
//
// Passwords: an LDIF entry's "userPassword" value is not stored; it becomes the Kerberos
// password of sAMAccountName@REALM (and of the userPrincipalName).
//
// Fault injection: DropAfter(n) makes the n-th directory operation from now (of any
// binding, or of bindings to `domain` only) fail with LDAPException rc 81; the connections
// concerned are then down: connected() answers false and every operation fails with rc 81
// until connect(), or, with `reconnect`, until the next operation, which reconnects by
// itself as a client library with automatic reconnection would.
//
// All functions are safe to call from any thread.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_MEMORY_MEMDIR_H_
#define ZONESMITH_DIRECTORY_LIBRARY_MEMORY_MEMDIR_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kesh {
namespace memdir {

// Forgets every domain, object, password, credential cache, setting and fault, stops the
// agent, and sets the ranged-value threshold back to 1500.
void Reset();

// Adds the entries of LDIF text (or a file) to the directory, parents before children.
// Throws kesh::BadDataException naming the line on malformed LDIF, and the LDAPException of
// the failed add (with the DN in its text) when an entry cannot be stored; entries before
// it stay.
void LoadLdif(const std::string& text);
void LoadLdifFile(const std::string& path);

// LDIF of the object `dn` (with its subtree when `subtree`), or of the whole directory
// when `dn` is empty, root DSE records first. Loading the text into an empty directory
// gives the same directory. Throws LDAPException rc 32 when `dn` does not exist.
std::string DumpLdif(const std::string& dn, bool subtree);

// Arms the fault described above; n <= 0 disarms it. `domain` empty means every binding.
void DropAfter(long n, const std::string& domain, bool reconnect);
// With `on`, every operation of every binding (of bindings to `domain` only) waits the
// binding's search timeout (one second without one) and fails with LDAPException rc 85,
// as against a DC that stopped answering; the connections stay up.
void Stall(bool on, const std::string& domain);
// Directory operations made by bindings since the last Reset (fetch, search and each
// further page, add, update, rename, move, remove, getAttributeValues).
uint64_t OperationCount();

// Attributes with more values than this are returned ranged (incomplete). REQUIRES: n > 0.
void SetRangeThreshold(size_t n);
size_t RangeThreshold();

// The Kerberos password of `principal` ("user@REALM"; the realm is upper-cased).
void SetPassword(const std::string& principal, const std::string& password);
// A setting of the local agent (kesh::GetSetting); an empty value removes it.
void SetSetting(const std::string& key, const std::string& value);
// Starts or stops the machine's agent (kesh::LocalRpcSession); Reset stops it.
void SetAgent(bool running);
bool AgentRunning();
// Makes the credential cache `name` hold a ticket of `principal`; an empty principal
// removes the cache.
void SetCCache(const std::string& name, const std::string& principal);
// The cache that Krb5CredentialsCache::findUserCCache answers (empty: none).
void SetDefaultCCache(const std::string& name);
// The cache that ADHelper::GetMachineCredCache answers (empty: not joined).
void SetMachineCCache(const std::string& name);
// The next answer of kvr_getpass; answers are used in order, then the terminal is read.
void QueuePasswordAnswer(const std::string& answer);

}  // namespace memdir
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_MEMORY_MEMDIR_H_
