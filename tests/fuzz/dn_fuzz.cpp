// libFuzzer target for the DN helpers: every function takes any text without a fault, and
// the escapers have inverses. An escaped RDN value unescapes to itself and makes a valid
// one-RDN DN; a DN made of a domain gives the domain back; normalising is idempotent.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "directory/library/dn.h"
#include "require.h"

namespace {

// Characters that escape() may be asked to escape: the RFC 4514 specials and blanks.
const char kHexChars[] = " \r\n";
const char kSpecials[] = ",+\"\\<>;=#";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using kesh::DN;
  const std::string text(reinterpret_cast<const char*>(data), size);

  // The readers take any text.
  DN::explode(text);
  DN::rdn(text);
  DN::cnFromDn(text);
  DN::parent(text);
  DN::domainFromDN(text);
  DN::dnFromExtendedDN(text);
  std::string normal = DN::normalize(text);
  // The key form of a DN is a DN, and its own key.
  if (DN::isDN(text)) {
    Require(DN::isDN(normal));
    Require(DN::normalize(normal) == normal);
    Require(DN::equal(text, normal));
  }

  // An RDN value, escaped, reads back as itself and names a DN of one RDN.
  std::string escaped = DN::escapeRDNValue(text);
  Require(DN::unescapeDNString(escaped) == text);
  if (!text.empty()) {
    std::string dn = "CN=" + escaped;
    Require(DN::isDN(dn));
    Require(DN::explode(dn).size() == 1);
    Require(DN::cnFromDn(dn) == escaped);
    Require(DN::parent(dn + ",DC=x") == "DC=x");
  }

  // escape() in both of its modes: hex pairs and backslashed characters unescape alike.
  Require(DN::unescapeDNString(DN::escape(text, kHexChars, kSpecials, false)) == text);
  Require(DN::unescapeDNString(DN::escape(text, kHexChars, kSpecials, true)) == text);

  // A filter value has no unescaped special character left.
  std::string filterValue = DN::escapeLDAPFilter(text);
  for (size_t i = 0; i < filterValue.size(); ++i) {
    char c = filterValue[i];
    Require(c != '*' && c != '(' && c != ')' && c != '\0');
    if (c == '\\') {
      Require(i + 2 < filterValue.size() && std::isxdigit(uint8_t(filterValue[i + 1])) &&
              std::isxdigit(uint8_t(filterValue[i + 2])));
      i += 2;
    }
  }

  // Domain names: a domain without empty labels comes back from its DN.
  std::string domain = DN::domainFromDN(DN::dnFromDomain(text));
  bool plainDomain = !text.empty() && text.front() != '.' && text.back() != '.' &&
                     text.find("..") == std::string::npos;
  if (plainDomain) Require(domain == text);
  return 0;
}
