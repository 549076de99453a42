// kesh::DN: helpers for distinguished names as Active Directory writes them.
//
// Attribute types in a DN compare case-insensitively, and so do values in AD. Escaping
// follows RFC 4514 as AD uses it: ',', '+', '"', '\', '<', '>', ';', '=', a leading '#'
// or blank and a trailing blank are escaped with a backslash; "\xx" hex pairs are read.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_DN_H_
#define ZONESMITH_DIRECTORY_LIBRARY_DN_H_

#include <string>
#include <vector>

namespace kesh {

class DN {
 public:
  // "example.test" -> "DC=example,DC=test". An empty domain gives an empty DN.
  static std::string dnFromDomain(const std::string& domain);
  // The DC= components of `dn`, joined by dots, in the case written: "a.b". A DN
  // without DC= components gives an empty string.
  static std::string domainFromDN(const std::string& dn);
  // The value of the first RDN, as written (escapes kept), without its "type=" text.
  static std::string cnFromDn(const std::string& dn);
  // The DN without its first RDN; empty for a single RDN.
  static std::string parent(const std::string& dn);
  // The first RDN, "CN=x" as written.
  static std::string rdn(const std::string& dn);
  // The RDNs of `dn` in order, as written; escaped commas do not split.
  static std::vector<std::string> explode(const std::string& dn);

  // Escapes `text` for a DN value: each character of `hexChars` becomes a backslash and
  // its two upper-case hex digits ("\0D"), each character of `chars` gets a backslash
  // before it ("\,"); with `hex`, the characters of `chars` are written as hex pairs too.
  // Example: escape("a b,c", " \r\n", ",+\"\\<>;=#", false) is "a\20b\,c".
  static std::string escape(const std::string& text, const std::string& hexChars,
                            const std::string& chars, bool hex);
  // Escapes a value for an LDAP filter: '*', '(', ')', '\' and NUL become
  // "\2a", "\28", "\29", "\5c", "\00".
  static std::string escapeLDAPFilter(const std::string& text);
  // Escapes an RDN value for use in a DN.
  static std::string escapeRDNValue(const std::string& text);
  // Undoes DN escaping: "\," -> ",", "\2C" -> ",".
  static std::string unescapeDNString(const std::string& text);
  // "<GUID=...>;<SID=...>;CN=x,DC=y" -> "CN=x,DC=y". Text without the extended parts
  // is returned as it is.
  static std::string dnFromExtendedDN(const std::string& text);
  // True when `text` parses as a DN: one or more "type=value" RDNs.
  static bool isDN(const std::string& text);

  // Case-insensitive comparison of two DNs, ignoring blanks after separators.
  static bool equal(const std::string& a, const std::string& b);
  // The form used as a case-insensitive key: lower case, no blanks after separators.
  static std::string normalize(const std::string& dn);
};

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_DN_H_
