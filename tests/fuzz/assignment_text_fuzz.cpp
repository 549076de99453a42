// libFuzzer target for the text forms of role assignments and of "<name>/<zone>" names.
// ParseAssignment takes any text without a fault and refuses only with its three messages.
// When it parses, exactly one form was read, the outputs of the other forms keep their
// values (told by parsing from two sets of start values), and:
//   - "!<cn>": cn is the text behind the "!";
//   - "*<sid>/<role>": sid holds no "/", and "*" sid "/" role parses to the same parts;
//   - "all ad users/<role>", "all unix users/<role>": the principal is one of the two in
//     lower case, and any case of it re-assembled with the role parses to the same parts;
//   - "<name>@<domain>/<role>": the principal holds an "@" with no "/" behind its last one,
//     and principal "/" role parses to the same parts.
// SplitZoneQualified: the name holds no "/"; a qualified text begins with name "/", and its
// zone is lower case without "/"; an unqualified text is the name and leaves the zone alone.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

#include "authorization/assignment.h"
#include "authorization/zone_qv.h"
#include "directory/library/exceptions.h"
#include "require.h"

namespace {

// The outputs of ParseAssignment. It runs twice, from two different sets of start values:
// an output that keeps its start value in both runs was not written.
struct Parts {
  std::string principal, role, sid, cn;
};
const Parts kStartA{"\x01", "\x01", "\x01", "\x01"};
const Parts kStartB{"\x02", "\x02", "\x02", "\x02"};

bool ParseFrom(const std::string& text, Parts& parts) {
  try {
    ParseAssignment(text, parts.principal, parts.role, parts.sid, parts.cn);
    return true;
  } catch (const kesh::BadDataException& e) {
    const std::string message = e.what();
    Require(message == "No assignment specified" || message == "No role specified" ||
            message == "Bad assignment format");
    return false;
  }
}

// Parses `text`; `written` tells which outputs were written (principal, role, sid, cn).
bool Parse(const std::string& text, Parts& parts, bool written[4]) {
  Parts a = kStartA, b = kStartB;
  const bool parsed = ParseFrom(text, a);
  Require(ParseFrom(text, b) == parsed);
  written[0] = a.principal != kStartA.principal || b.principal != kStartB.principal;
  written[1] = a.role != kStartA.role || b.role != kStartB.role;
  written[2] = a.sid != kStartA.sid || b.sid != kStartB.sid;
  written[3] = a.cn != kStartA.cn || b.cn != kStartB.cn;
  if (parsed) {
    // What was written does not depend on the start values.
    Require(!written[0] || a.principal == b.principal);
    Require(!written[1] || a.role == b.role);
    Require(!written[2] || a.sid == b.sid);
    Require(!written[3] || a.cn == b.cn);
    parts = a;
  }
  return parsed;
}

bool Reparses(const std::string& text, const Parts& parts, const bool written[4]) {
  Parts again;
  bool writtenAgain[4];
  if (!Parse(text, again, writtenAgain)) return false;
  for (int i = 0; i < 4; ++i) {
    if (writtenAgain[i] != written[i]) return false;
  }
  return (!written[0] || again.principal == parts.principal) &&
         (!written[1] || again.role == parts.role) && (!written[2] || again.sid == parts.sid) &&
         (!written[3] || again.cn == parts.cn);
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

void CheckAssignment(const std::string& text) {
  Parts parts;
  bool written[4];
  if (!Parse(text, parts, written)) return;
  const bool principal = written[0], role = written[1], sid = written[2], cn = written[3];
  Require(principal + sid + cn == 1);

  if (cn) {
    Require(!role && text == "!" + parts.cn);
    return;
  }
  Require(role);
  if (sid) {
    Require(parts.sid.find('/') == std::string::npos);
    Require(Reparses("*" + parts.sid + "/" + parts.role, parts, written));
    return;
  }
  if (parts.principal == ALL_AD_USERS || parts.principal == ALL_UNIX_USERS) {
    Require(Reparses(Upper(parts.principal) + "/" + parts.role, parts, written));
    return;
  }
  const size_t at = parts.principal.rfind('@');
  Require(at != std::string::npos && parts.principal.find('/', at) == std::string::npos);
  Require(Reparses(parts.principal + "/" + parts.role, parts, written));
}

void CheckSplit(const std::string& text) {
  const std::string untouched = "\x01";
  std::string name, zone = untouched;
  if (!SplitZoneQualified(text, name, zone)) {
    Require(name == text && zone == untouched);
    return;
  }
  Require(name.find('/') == std::string::npos);
  Require(text.compare(0, name.size() + 1, name + "/") == 0);
  Require(zone.find('/') == std::string::npos);
  for (char c : zone) Require(!(c >= 'A' && c <= 'Z'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckAssignment(text);
  CheckSplit(text);
  return 0;
}
