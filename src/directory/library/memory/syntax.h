// What the in-memory directory knows of the AD schema: which attributes hold bytes, SIDs
// or DNs, which are linked (member and its back link memberOf, ...), and the structural
// class chains and default categories of the classes the system uses. Names compare
// case-insensitively. Classes and attributes not listed here are plain strings with no
// chain; objects of them are still stored as given.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_MEMORY_SYNTAX_H_
#define ZONESMITH_DIRECTORY_LIBRARY_MEMORY_SYNTAX_H_

#include <string>
#include <vector>

namespace kesh {
namespace memdir {

enum class Syntax { STRING, BINARY, SID, DN };

Syntax AttributeSyntax(const std::string& name);
// BINARY or SID: values are raw bytes.
bool IsBinaryAttribute(const std::string& name);
// Attributes that the directory keeps itself and that a client may not write.
bool IsSystemAttribute(const std::string& name);

// The back link of a forward link attribute ("member" -> "memberOf"); empty when `name`
// is not a forward link.
std::string BackLinkOf(const std::string& name);
// The forward link of a back link ("memberOf" -> "member"); empty when not a back link.
std::string ForwardLinkOf(const std::string& name);
// Every back link name, in a fixed order.
const std::vector<std::string>& BackLinks();

// The structural chain of a class from "top" down to the class itself, in the spelling
// of the schema ("user" -> top, person, organizationalPerson, user); empty when unknown.
std::vector<std::string> ClassChain(const std::string& objectClass);
// The first RDN value of the class's default objectCategory ("user" -> "Person"); empty
// when unknown.
std::string DefaultCategory(const std::string& objectClass);
// Whether objects of the class get an objectSid (user, group, computer, ...).
bool IsSecurityPrincipalClass(const std::string& objectClass);

}  // namespace memdir
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_MEMORY_SYNTAX_H_
