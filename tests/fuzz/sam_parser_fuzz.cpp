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
#include "require.h"

namespace {

using sam::SamParser;

// Whether `parse` accepts its blob: true, or false on kesh::BadDataException.
template <typename Parse>
bool Parses(Parse parse) {
  try {
    parse();
    return true;
  } catch (const kesh::BadDataException&) {
    return false;
  }
}

struct Role {
  std::string timebox;
  unsigned sysrights = 0;
  bool allowLocalUser = false;
  bool visible = false;
  bool operator==(const Role& o) const {
    return timebox == o.timebox && sysrights == o.sysrights && allowLocalUser == o.allowLocalUser &&
           visible == o.visible;
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
    return cmd == o.cmd && runas == o.runas && shellRunas == o.shellRunas && keepEnv == o.keepEnv &&
           delEnv == o.delEnv && path == o.path && add == o.add && form == o.form && pri == o.pri &&
           umask == o.umask && flags == o.flags;
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
  SamParser::ParseV1CommandData(blob, c.cmd, c.form, c.runas, c.pri, c.umask, c.keepEnv, c.delEnv,
                                c.path, c.add, c.flags);
  return c;
}

std::string WriteV1Command(const Command& c) {
  return SamParser::WriteV1CommandData(c.cmd, c.form, c.runas, c.pri, c.umask, c.keepEnv, c.delEnv,
                                       c.path, c.add, c.flags);
}

// Each parse function on the blob; what parses writes a blob that must parse to the same values.
void ParseEveryKind(const std::string& blob) {
  std::string timebox, again;
  unsigned sysrights = 0;
  if (Parses([&] { SamParser::ParseV1RoleData(blob, timebox, sysrights); })) {
    Require(Parses([&] {
      SamParser::ParseV1RoleData(SamParser::WriteV1RoleData(timebox), again, sysrights);
    }));
    Require(again == timebox && sysrights == 0);
  }

  Role role, role2;
  if (Parses([&] { role = ParseRole(blob); })) {
    Require(Parses([&] {
      role2 = ParseRole(SamParser::WriteV2RoleData(role.timebox, role.sysrights,
                                                   role.allowLocalUser, role.visible));
    }));
    Require(role2 == role);
  }

  long from = 0, to = 0, from2 = 1, to2 = 1;
  if (Parses([&] { SamParser::ParseV1AssignmentData(blob, from, to); })) {
    Require(Parses([&] {
      SamParser::ParseV1AssignmentData(SamParser::WriteV1AssignmentData(from, to), from2, to2);
    }));
    Require(from == from2 && to == to2);
  }

  std::string ptype, ptype2;
  if (Parses([&] { SamParser::ParseV2AssignmentData(blob, from, to, ptype); })) {
    Require(Parses([&] {
      SamParser::ParseV2AssignmentData(SamParser::WriteV2AssignmentData(from, to, ptype), from2,
                                       to2, ptype2);
    }));
    Require(from == from2 && to == to2 && ptype == ptype2);
  }

  Command command, command2;
  if (Parses([&] { command = ParseV1Command(blob); })) {
    Require(Parses([&] { command2 = ParseV1Command(WriteV1Command(command)); }));
    Require(command2 == command);
  }
  if (Parses([&] { command = ParseCommand(blob); })) {
    Require(Parses([&] { command2 = ParseCommand(WriteCommand(command)); }));
    Require(command2 == command);
  }

  std::string text, text2;
  if (Parses([&] { SamParser::ParseV1PamData(blob, text); })) {
    Require(Parses([&] { SamParser::ParseV2PamData(SamParser::WriteV2PamData(text), text2); }));
    Require(text == text2);
  }
  if (Parses([&] { SamParser::ParseV2ScopeData(blob, text); })) {
    Require(Parses([&] { SamParser::ParseV2ScopeData(SamParser::WriteV2ScopeData(text), text2); }));
    Require(text == text2);
  }

  bool enabled = false, enabled2 = true;
  if (Parses([&] { SamParser::ParseV1ApplicationData(blob, enabled); })) {
    Require(Parses([&] {
      SamParser::ParseV1ApplicationData(SamParser::WriteV1ApplicationData(enabled), enabled2);
    }));
    Require(enabled == enabled2);
  }

  Int64 a, r, g, a2, r2, g2;
  if (Parses([&] { SamParser::ParseV2StoreData(blob, a, r, g); })) {
    Require(Parses(
        [&] { SamParser::ParseV2StoreData(SamParser::WriteV2StoreData(a, r, g), a2, r2, g2); }));
    Require(a.value() == a2.value() && r.value() == r2.value() && g.value() == g2.value());
  }
}

// The input as a value of every writer: the blob must parse back to it.
void WriteEveryKind(const std::string& text) {
  Role role{text, 48, true, false}, role2;
  Require(Parses([&] {
    role2 = ParseRole(SamParser::WriteV2RoleData(role.timebox, role.sysrights, role.allowLocalUser,
                                                 role.visible));
  }));
  Require(role2 == role);

  long from = 0, to = 0;
  std::string ptype;
  Require(Parses([&] {
    SamParser::ParseV2AssignmentData(SamParser::WriteV2AssignmentData(-1, 7, text), from, to,
                                     ptype);
  }));
  Require(from == -1 && to == 7 && ptype == text);

  Command command, command2;
  command.cmd = command.runas = command.shellRunas = command.keepEnv = command.delEnv =
      command.path = command.add = text;
  command.form = 1;
  command.pri = -20;
  command.umask = 077;
  command.flags = int(text.size());
  Require(Parses([&] { command2 = ParseCommand(WriteCommand(command)); }));
  Require(command2 == command);

  std::string app, group;
  Require(Parses([&] {
    SamParser::ParseV2PamData(SamParser::WriteV2PamData(text), app);
    SamParser::ParseV2ScopeData(SamParser::WriteV2ScopeData(text), group);
  }));
  Require(app == text && group == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ParseEveryKind(text);
  WriteEveryKind(text);
  return 0;
}
