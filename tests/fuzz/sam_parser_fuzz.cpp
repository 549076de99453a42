// libFuzzer target for sam::SamParser. The input goes to every parse function; a blob that
// parses writes back, through the writer of the same kind, to a blob that parses to the same
// values. The input also serves as a text value and a time box for every writer, whose blob
// must parse back to what was written. Refused blobs throw kesh::BadDataException.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "directory/library/exceptions.h"
#include "directory/library/sam_parser.h"

namespace {

using sam::SamParser;

// Stops the run, naming the line of the broken property.
void Require(bool condition, int line = __builtin_LINE()) {
  if (condition) return;
  fprintf(stderr, "%s:%d: property broken\n", __FILE__, line);
  __builtin_trap();
}

// Runs `check`; a parse error is allowed only where `mayFail` says so.
template <typename Check>
void Run(bool mayFail, Check check) {
  try {
    check();
  } catch (const kesh::BadDataException&) {
    Require(mayFail);
  }
}

struct Role {
  std::string timebox;
  unsigned sysrights = 0;
  bool allowLocalUser = false;
  bool visible = false;
  bool operator==(const Role& o) const {
    return timebox == o.timebox && sysrights == o.sysrights &&
           allowLocalUser == o.allowLocalUser && visible == o.visible;
  }
};

Role ParseRole(const std::string& blob) {
  Role r;
  SamParser::ParseV2RoleData(blob, r.timebox, r.sysrights, r.allowLocalUser, r.visible);
  return r;
}

struct Command {
  std::string cmd, runas, shellRunas, keepEnv, delEnv, path, add;
  int form = 0, pri = 0, umask = 0, flags = 0;
  bool operator==(const Command& o) const {
    return cmd == o.cmd && runas == o.runas && shellRunas == o.shellRunas &&
           keepEnv == o.keepEnv && delEnv == o.delEnv && path == o.path && add == o.add &&
           form == o.form && pri == o.pri && umask == o.umask && flags == o.flags;
  }
};

Command ParseCommand(const std::string& blob) {
  Command c;
  SamParser::ParseV2CommandData(blob, c.cmd, c.form, c.runas, c.shellRunas, c.pri, c.umask,
                                c.keepEnv, c.delEnv, c.path, c.add, c.flags);
  return c;
}

std::string WriteCommand(const Command& c) {
  return SamParser::WriteV2CommandData(c.cmd, c.form, c.runas, c.shellRunas, c.pri, c.umask,
                                       c.keepEnv, c.delEnv, c.path, c.add, c.flags);
}

Command ParseV1Command(const std::string& blob) {
  Command c;
  SamParser::ParseV1CommandData(blob, c.cmd, c.form, c.runas, c.pri, c.umask, c.keepEnv,
                                c.delEnv, c.path, c.add, c.flags);
  return c;
}

std::string WriteV1Command(const Command& c) {
  return SamParser::WriteV1CommandData(c.cmd, c.form, c.runas, c.pri, c.umask, c.keepEnv,
                                       c.delEnv, c.path, c.add, c.flags);
}

// Each parse function on the blob; what parses writes and parses back to the same values.
void ParseEveryKind(const std::string& blob) {
  Run(true, [&] {
    std::string timebox;
    unsigned sysrights = 0;
    SamParser::ParseV1RoleData(blob, timebox, sysrights);
    std::string again;
    SamParser::ParseV1RoleData(SamParser::WriteV1RoleData(timebox), again, sysrights);
    Require(again == timebox && sysrights == 0);
  });
  Run(true, [&] {
    Role r = ParseRole(blob);
    Require(ParseRole(SamParser::WriteV2RoleData(r.timebox, r.sysrights, r.allowLocalUser,
                                                 r.visible)) == r);
  });
  Run(true, [&] {
    long from = 0, to = 0, from2 = 1, to2 = 1;
    SamParser::ParseV1AssignmentData(blob, from, to);
    SamParser::ParseV1AssignmentData(SamParser::WriteV1AssignmentData(from, to), from2, to2);
    Require(from == from2 && to == to2);
  });
  Run(true, [&] {
    long from = 0, to = 0, from2 = 1, to2 = 1;
    std::string ptype, ptype2;
    SamParser::ParseV2AssignmentData(blob, from, to, ptype);
    SamParser::ParseV2AssignmentData(SamParser::WriteV2AssignmentData(from, to, ptype), from2,
                                     to2, ptype2);
    Require(from == from2 && to == to2 && ptype == ptype2);
  });
  Run(true, [&] {
    Command c = ParseV1Command(blob);
    Require(ParseV1Command(WriteV1Command(c)) == c);
  });
  Run(true, [&] {
    Command c = ParseCommand(blob);
    Require(ParseCommand(WriteCommand(c)) == c);
  });
  Run(true, [&] {
    std::string app, app2;
    SamParser::ParseV1PamData(blob, app);
    SamParser::ParseV2PamData(SamParser::WriteV2PamData(app), app2);
    Require(app == app2);
  });
  Run(true, [&] {
    bool enabled = false, enabled2 = true;
    SamParser::ParseV1ApplicationData(blob, enabled);
    SamParser::ParseV1ApplicationData(SamParser::WriteV1ApplicationData(enabled), enabled2);
    Require(enabled == enabled2);
  });
  Run(true, [&] {
    std::string group, group2;
    SamParser::ParseV2ScopeData(blob, group);
    SamParser::ParseV2ScopeData(SamParser::WriteV2ScopeData(group), group2);
    Require(group == group2);
  });
  Run(true, [&] {
    Int64 a, r, g, a2, r2, g2;
    SamParser::ParseV2StoreData(blob, a, r, g);
    SamParser::ParseV2StoreData(SamParser::WriteV2StoreData(a, r, g), a2, r2, g2);
    Require(a.value() == a2.value() && r.value() == r2.value() && g.value() == g2.value());
  });
}

// The input as a value of every writer: the blob must parse back to it.
void WriteEveryKind(const std::string& text) {
  Run(false, [&] {
    Role r{text, 48, true, false};
    Require(ParseRole(SamParser::WriteV2RoleData(r.timebox, r.sysrights, r.allowLocalUser,
                                                 r.visible)) == r);
  });
  Run(false, [&] {
    long from = 0, to = 0;
    std::string ptype;
    SamParser::ParseV2AssignmentData(SamParser::WriteV2AssignmentData(-1, 7, text), from, to,
                                     ptype);
    Require(from == -1 && to == 7 && ptype == text);
  });
  Run(false, [&] {
    Command c;
    c.cmd = c.runas = c.shellRunas = c.keepEnv = c.delEnv = c.path = c.add = text;
    c.form = 1;
    c.pri = -20;
    c.umask = 077;
    c.flags = int(text.size());
    Require(ParseCommand(WriteCommand(c)) == c);
  });
  Run(false, [&] {
    std::string app, group;
    SamParser::ParseV2PamData(SamParser::WriteV2PamData(text), app);
    SamParser::ParseV2ScopeData(SamParser::WriteV2ScopeData(text), group);
    Require(app == text && group == text);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ParseEveryKind(text);
  WriteEveryKind(text);
  return 0;
}
