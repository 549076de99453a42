// Kerberos failures in words: the sentence that tells an administrator what went wrong when
// a ticket could not be obtained, and what to do about it.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_KERBEROS_FAILURE_H_
#define ZONESMITH_DIRECTORY_LIBRARY_KERBEROS_FAILURE_H_

#include <string>

namespace kesh {

// The sentence for the Kerberos error `code` met while getting a ticket for `principal`
// ("user@REALM"), such as "wrong password for alice@EXAMPLE.TEST"; an empty string for a
// code that has none. Callers put the Kerberos text after it.
std::string KerberosFailureSentence(int code, const std::string& principal);

// The sentence when no user is given and the calling user holds no valid ticket.
extern const char* const NO_TICKET_SENTENCE;

// The Kerberos code for a password that could not be read (an empty answer at a prompt).
extern const int KRB_CANNOT_READ_PASSWORD;

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_KERBEROS_FAILURE_H_
