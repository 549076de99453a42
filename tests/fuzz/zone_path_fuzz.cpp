// libFuzzer target for zone paths: ParseZonePath takes any text without a fault, and what
// it splits re-assembles. When a path parses to (computer c, zone DN d, access zone a):
//   - d is a DN; c holds neither "@" nor "="; with a non-empty a, d holds no "/";
//   - c and a are never both non-empty;
//   - the path P' = (a empty ? c "@" d : d "/" a) parses again, to exactly (c, d, a).
// A plain DN and "<dn>/" re-assemble as "@<dn>", which names the same zone; "<dn>/<a>" is
// the path itself. A computer name becomes the computer zone's RDN below cn=Computers of
// the zone: built as the zone classes build it, that DN is one RDN longer than
// cn=Computers,<d>, and its first RDN value unescapes to the lower-case name and ":zone". ParseUpn,
// the other splitter of outside names, takes any text too, and its user name is the text before the
// first separator.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "require.h"
#include "zones/zone.h"

namespace {

bool Parse(const std::string& path, std::string& computer, std::string& dn, std::string& access) {
  try {
    ParseZonePath(path, computer, dn, access);
    return true;
  } catch (const kesh::BadDataException& e) {
    Require(std::string(e.what()) == "Bad zone name format");
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);

  std::string computer, dn, access;
  if (Parse(text, computer, dn, access)) {
    Require(kesh::DN::isDN(dn));
    Require(computer.find_first_of("@=") == std::string::npos);
    Require(computer.empty() || access.empty());
    if (!access.empty()) Require(dn.find('/') == std::string::npos);

    std::string again = access.empty() ? computer + "@" + dn : dn + "/" + access;
    std::string c2, d2, a2;
    Require(Parse(again, c2, d2, a2));
    Require(c2 == computer && d2 == dn && a2 == access);

    if (!computer.empty()) {
      kesh::ADObject zone(dn);
      kesh::ADObject computers = kesh::LDAPBinding::createChild(zone, "Computers", "cn");
      const std::string name = kesh::lower(computer) + ":zone";
      const std::string zoneDn = kesh::LDAPBinding::createChild(computers, name, "cn").dn();
      Require(kesh::DN::isDN(zoneDn));
      Require(kesh::DN::parent(zoneDn) == computers.dn());
      Require(kesh::DN::unescapeDNString(kesh::DN::cnFromDn(zoneDn)) == name);
    }
  }

  try {
    std::pair<int, std::string> upn = ParseUpn(text, '+');
    size_t plus = text.find('+');
    if (plus == std::string::npos) {
      Require(upn.first == 0 && upn.second == text);
    } else {
      Require(upn.first != 0 && upn.second == text.substr(0, plus));
    }
  } catch (const kesh::BadDataException& e) {
    Require(std::string(e.what()) == "Invalid alias suffix");
  }
  return 0;
}
