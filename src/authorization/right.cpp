// Rights in memory: their classes, names and the name checks.
#include "authorization/right.h"

#include <cstdlib>
#include <exception>
#include <string>

#include "authorization/qv.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"

const char* const COMMAND_PREFIX = "pc-";
const char* const PAM_PREFIX = "pam-";
const char* const RESTRICTED_PREFIX = "rs-";
const char* const ROLE_PREFIX = "role-";
const char* const USERPATH = "USERPATH";

namespace {

// The version of the store of a classic zone, whose data is written in the V1 form.
constexpr int kClassicVersion = 1;
// Levels from a right up to its zone: container, application, admin manager, zone.
constexpr int kLevelsToZone = 4;
// Lengths of the cn prefixes that getName strips.
constexpr size_t kCommandPrefixLength = 3;  // "pc-", "rs-"
constexpr size_t kPamPrefixLength = 4;      // "pam-"

// The characters a classic name may not hold; the message shows the tab as "[tab]".
const char kClassicForbidden[] = "\\/:*?\"<>|[]\t+=,;#";
const char kNGAllowed[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890-_ ";

bool ClassicStore(const std::shared_ptr<QVStore>& store) {
  return store && store->version == kClassicVersion;
}

std::string AttributeOr(const std::shared_ptr<kesh::ADObject>& object, const char* name) {
  return object ? object->firstValue(name) : std::string();
}

// The stored data of `object`, or empty for a new right, which has nothing to read yet.
std::string StoredData(const std::shared_ptr<kesh::ADObject>& object, bool isNew) {
  return isNew ? std::string() : AttributeOr(object, AZ_APP_DATA);
}

}  // namespace

unsigned GetRightType(const kesh::ADObject& object) {
  // The directory keeps the ID as a signed 32-bit number.
  const std::string id = object.firstValue(AZ_OPERATION_ID);
  return unsigned(std::strtoll(id.c_str(), nullptr, 10)) & RIGHT_TYPE_MASK;
}

void CheckEmpty(const std::string& name) {
  if (name.empty())
    KESH_THROW(kesh::BadDataException, 0, "name cannot be empty or contains spaces only.");
}

void CheckClassicRoleRightName(const std::string& name, size_t limit) {
  CheckEmpty(name);
  if (name.size() > limit)
    KESH_THROW(kesh::BadDataException, 0, "Length of the name cannot be greater than %d",
               int(limit));
  if (name.find_first_of(kClassicForbidden) != std::string::npos)
    KESH_THROW(kesh::BadDataException, 0,
               "These characters are not allowed in the name: [\\/:*?\"<>|[tab]+=,;#]");
}

void CheckNGRoleRightName(const std::string& name) {
  CheckEmpty(name);
  if (name.find_first_not_of(kNGAllowed) != std::string::npos)
    KESH_THROW(kesh::BadDataException, 0,
               "Only alphanumeric, space, '_' and '-' is valid in the name");
}

void CheckEnvString(const std::string& value) {
  if (value.find('=') != std::string::npos)
    KESH_THROW(kesh::BadDataException, 0, "The environment string cannot contains character [=]");
}

// --- QVRight ------------------------------------------------------------------------------

QVRight::QVRight(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n)
    : object(std::make_shared<kesh::ADObject>(o)),
      store(std::move(s)),
      name(o.firstValue(AD_CN)),
      isNew(n) {}

QVRight::~QVRight() = default;

void QVRight::setDescription(const std::string& text) { (*object)[AD_DESCRIPTION] = text; }

std::string QVRight::getDescription() const { return AttributeOr(object, AD_DESCRIPTION); }
std::string QVRight::getCreateTime() const { return AttributeOr(object, AD_WHEN_CREATED); }
std::string QVRight::getModifyTime() const { return AttributeOr(object, AD_WHEN_CHANGED); }

std::string QVRight::getZoneName() const {
  std::string zone = object->dn();
  for (int level = 0; level < kLevelsToZone; ++level) zone = kesh::DN::parent(zone);
  return kesh::DN::unescapeDNString(kesh::DN::cnFromDn(zone));
}

unsigned QVRight::getType() const { return GetRightType(*object); }

// --- Commands -----------------------------------------------------------------------------

std::string Command::getName() { return name; }
std::string Command::getCommand() { return cmd; }

void Command::setKeepEnv(const std::string& text) {
  CheckEnvString(text);
  keepEnv = text;
}
std::string Command::getKeepEnv() { return keepEnv; }

void Command::setDelEnv(const std::string& text) {
  CheckEnvString(text);
  delEnv = text;
}
std::string Command::getDelEnv() { return delEnv; }

QVCommand::QVCommand(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n) : Command(o, s, n) {
  const std::string data = StoredData(object, isNew);
  if (data.empty()) return;
  if (ClassicStore(store)) {
    sam::SamParser::ParseV1CommandData(data, cmd, form, qvdo_runas, pri, umask, keepEnv, delEnv,
                                       path, add, flags);
  } else {
    sam::SamParser::ParseV2CommandData(data, cmd, form, qvdo_runas, qvsh_runas, pri, umask, keepEnv,
                                       delEnv, path, add, flags);
  }
}

std::string QVCommand::getName() { return name.substr(kCommandPrefixLength); }

RestrictCommand::RestrictCommand(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n)
    : Command(o, s, n) {
  if (isNew) return;
  if (!ClassicStore(store))
    KESH_THROW(kesh::BadDataException, 0, "The command data are not supported in classic zone.");
  const std::string data = StoredData(object, isNew);
  if (data.empty()) return;
  sam::SamParser::ParseV1CommandData(data, cmd, form, qvsh_runas, pri, umask, keepEnv, delEnv, path,
                                     add, flags);
}

std::string RestrictCommand::getName() { return name.substr(kCommandPrefixLength); }

// --- PAM rights ---------------------------------------------------------------------------

PamApp::PamApp(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n) : QVRight(o, s, n) {
  const std::string data = StoredData(object, isNew);
  if (data.empty()) return;
  if (ClassicStore(store)) {
    sam::SamParser::ParseV1PamData(data, appString);
    // The cn of a classic PAM right is a GUID; it is known by its application instead.
    name = PAM_PREFIX + appString;
  } else {
    sam::SamParser::ParseV2PamData(data, appString);
  }
}

std::string PamApp::getName() { return name.substr(kPamPrefixLength); }

void PamApp::setApp(const std::string& application) {
  appString = kesh::trimWhiteSpace(application);
}

// --- Restricted environments --------------------------------------------------------------

RSEnv::RSEnv(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n)
    : object(std::make_shared<kesh::ADObject>(o)), store(std::move(s)), isNew(n) {}

void RSEnv::addCommand(std::shared_ptr<RestrictCommand>& command) {
  const std::string dn = command->object->dn();
  kesh::ADAttribute& commands = (*object)[AZ_TASK_OPS];
  for (const std::string& value : commands.values()) {
    if (value == dn)
      KESH_THROW(kesh::BadDataException, 0, "Restricted command already in this environment");
  }
  commands.addVal(dn);
  store->rightUpdated();
}

void RSEnv::getRestrictEnvCmds(std::list<std::shared_ptr<QVRight>>& out) {
  const kesh::ADAttribute* commands = object->find(AZ_TASK_OPS);
  if (!commands) return;
  for (const std::string& dn : commands->values()) {
    // A link to a command that is gone or unreadable leaves the listing, not the caller.
    try {
      out.push_back(store->fetchRight(dn));
    } catch (const std::exception&) {
    }
  }
}

std::string RSEnv::getName() const {
  // From the DN, which a new environment has before it has a cn attribute.
  return kesh::DN::unescapeDNString(kesh::DN::cnFromDn(object->dn()))
      .substr(std::string(RESTRICTED_PREFIX).size());
}
