#include "security/sddl.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/strings.h"
#include "directory/principal.h"

using kesh::ACEntry;
using kesh::BadDataException;
using kesh::SID;

const SddlCode gAceTypes[] = {
    {0, "A", "Allow"}, {1, "D", "Deny"}, {5, "OA", "Allow"}, {6, "OD", "Deny"},
    {2, "AU", ""},     {7, "OU", ""},    {8, "OL", ""},
};

const SddlCode gAceFlags[] = {
    {2, "CI", "inherit"},      {1, "OI", "inherit to object"}, {4, "NP", "dont propagate"},
    {8, "IO", "inherit only"}, {16, "ID", "inherited"},        {64, "SA", ""},
    {128, "FA", ""},
};

// Standard and generic rights first, then the rights of directory objects.
const SddlCode gAceRights[] = {
    {0x10000, "SD", "delete"},       {0x20000, "RC", "read SD"},
    {0x40000, "WD", "write DACL"},   {0x80000, "WO", "change owner"},
    {0x80000000, "GR", "read"},      {0x40000000, "GW", "write"},
    {0x20000000, "GX", "execute"},   {0x10000000, "GA", "full control"},
    {0x1, "CC", "create child"},     {0x2, "DC", "delete child"},
    {0x4, "LC", "list children"},    {0x8, "SW", "self write"},
    {0x10, "RP", "read property"},   {0x20, "WP", "write property"},
    {0x40, "DT", "delete tree"},     {0x80, "LO", "list object"},
    {0x100, "CR", "control access"},
};

const SddlCode gWellKnownRids[] = {
    {kesh::WELL_KNOWN_RID::DOMAIN_ADMINS, "DA", "Domain Admins"},
    {kesh::WELL_KNOWN_RID::DOMAIN_USERS, "DU", "Domain Users"},
    {kesh::WELL_KNOWN_RID::ENTERPRISE_ADMINS, "EA", "Enterprise Admins"},
    {kesh::WELL_KNOWN_RID::DOMAIN_COMPUTERS, "DC", "Domain Computers"},
    {kesh::WELL_KNOWN_RID::DOMAIN_CONTROLLERS, "DD", "Domain Controllers"},
    {kesh::WELL_KNOWN_RID::DOMAIN_GUESTS, "DG", "Domain Guests"},
    {kesh::WELL_KNOWN_RID::ADMINISTRATOR, "LA", "Administrator"},
    {kesh::WELL_KNOWN_RID::GUEST, "LG", "Guest"},
    {kesh::WELL_KNOWN_RID::GP_CREATER_OWNERS, "PA", "GP admins"},
    {kesh::WELL_KNOWN_RID::RAS_IAS_SERVERS, "RS", "Ras Servers"},
    {kesh::WELL_KNOWN_RID::SCHEMA_ADMINS, "SA", "Schema Admins"},
};

const SddlSid gWellKnownSids[] = {
    {kesh::WELL_KNOWN_SID::ANONYMOUS, "AN", "Anonymous"},
    {kesh::WELL_KNOWN_SID::ACCOUNT_OPERATORS, "AO", "Account operators"},
    {kesh::WELL_KNOWN_SID::AUTHENTICATED_USERS, "AU", "Authenticated users"},
    {kesh::WELL_KNOWN_SID::ADMINISTRATORS, "BA", "Administrators"},
    {kesh::WELL_KNOWN_SID::GUESTS, "BG", "Guests"},
    {kesh::WELL_KNOWN_SID::BACKUP_OPERATORS, "BO", "Backup operators"},
    {kesh::WELL_KNOWN_SID::USERS, "BU", "Users"},
    {kesh::WELL_KNOWN_SID::CREATOR_GROUP, "CG", "creator group"},
    {kesh::WELL_KNOWN_SID::CREATOR_OWNER, "CO", "creator owner"},
    {kesh::WELL_KNOWN_SID::ENTERPRISE_DOMAIN_CONTROLLERS, "ED", "Enterprise Domain Controllers"},
    {kesh::WELL_KNOWN_SID::INTERACTIVE, "IU", "Interactive users"},
    {kesh::WELL_KNOWN_SID::LOCAL_SERVICE, "LS", "Local service"},
    {kesh::WELL_KNOWN_SID::PERFORMANCE_MONITOR_USERS, "MU", "Perfmon users"},
    {kesh::WELL_KNOWN_SID::NETWORK_CONFIGURATION_OPERATORS, "NO", "Network operators"},
    {kesh::WELL_KNOWN_SID::NETWORK_SERVICE, "NS", "Network service"},
    {kesh::WELL_KNOWN_SID::NETWORK, "NU", "Network users"},
    {kesh::WELL_KNOWN_SID::PRINT_OPERATORS, "PO", "Print operators"},
    {kesh::WELL_KNOWN_SID::PRINCIPAL_SELF, "PS", "Self"},
    {kesh::WELL_KNOWN_SID::POWER_USERS, "PU", "Power Users"},
    {kesh::WELL_KNOWN_SID::RESTRICTED_CODE, "RC", "Restricted code"},
    {kesh::WELL_KNOWN_SID::REMOTE_DESKTOP_USERS, "RD", "Remote desktop users"},
    {kesh::WELL_KNOWN_SID::REPLICATORS, "RE", "Replicators"},
    {kesh::WELL_KNOWN_SID::PRE_WINDOWS_2000_COMPATIBLE_ACCESS, "RU", "pre win2k"},
    {kesh::WELL_KNOWN_SID::SERVER_OPERATORS, "SO", "Server Operators"},
    {kesh::WELL_KNOWN_SID::SERVICE, "SU", "Service"},
    {kesh::WELL_KNOWN_SID::LOCAL_SYSTEM, "SY", "System"},
    {kesh::WELL_KNOWN_SID::EVERYONE, "WD", "Everyone"},
};

const char* const PLACEHOLDER_DOMAIN_SID = "S-1-5-21-0-0-0";

namespace {

template <size_t N>
const SddlCode* FindCode(const SddlCode (&table)[N], const std::string& code) {
  for (const SddlCode& row : table) {
    if (code == row.code) return &row;
  }
  return nullptr;
}

template <size_t N>
const SddlCode* FindValue(const SddlCode (&table)[N], uint32_t value) {
  for (const SddlCode& row : table) {
    if (row.value == value) return &row;
  }
  return nullptr;
}

bool IsDeny(const ACEntry& ace) {
  return ace.type == kesh::ACCESS_DENIED_ACE_TYPE ||
         ace.type == kesh::ACCESS_DENIED_OBJECT_ACE_TYPE;
}

// 0 explicit deny, 1 explicit allow, 2 inherited deny, 3 inherited allow.
int CanonicalGroup(const ACEntry& ace) {
  return ((ace.flags & kesh::INHERITED_ACE) ? 2 : 0) + (IsDeny(ace) ? 0 : 1);
}

// A SID of a domain: S-1-5-21 followed by the three numbers of the domain and a RID.
bool IsDomainAccountSid(const SID& sid) {
  return sid.identifierAuthority() == 5 && sid.subAuthorityCount() == 5 &&
         sid.getSubAuthority(0) == 21;
}

// Whether a code of gWellKnownRids may stand for `sid`: a code is read back as a SID of
// the placeholder domain, which FixSD turns into the domain of the object written, so
// it may stand only for SIDs of the placeholder domain and of `domain`.
bool InCodeDomain(const SID& sid, const SID& domain) {
  if (!IsDomainAccountSid(sid)) return false;
  const std::string sidDomain = sid.domainSID().toMSString();
  return sidDomain == PLACEHOLDER_DOMAIN_SID ||
         (!domain.isNull() && sidDomain == domain.toMSString());
}

// The code (or with `explain` the text) of the row of gWellKnownSids or gWellKnownRids
// that names `sid`; null when none does.
const char* WellKnownName(const SID& sid, const std::string& sidText, bool explain,
                          const SID& domain) {
  for (const SddlSid& row : gWellKnownSids) {
    if (sidText == row.sid) return explain ? row.text : row.code;
  }
  if (InCodeDomain(sid, domain)) {
    if (const SddlCode* row = FindValue(gWellKnownRids, sid.getObjectRid())) {
      return explain ? row->text : row->code;
    }
  }
  return nullptr;
}

// The bits that codes of gAceRights can write.
uint32_t CodedRights() {
  uint32_t bits = 0;
  for (const SddlCode& right : gAceRights) bits |= right.value;
  return bits;
}

// The domain a descriptor was read through, for a descriptor that GetSD made.
SID ReadDomain(const SDPtr& sd) {
  const auto* read = dynamic_cast<const DirectorySecurityDescriptor*>(sd.get());
  return read ? read->domain : SID();
}

bool SameAce(const ACEntry& a, const ACEntry& b) {
  return a.type == b.type && a.flags == b.flags && a.mask == b.mask &&
         a.objectType == b.objectType && a.inheritedObjectType == b.inheritedObjectType &&
         a.sid == b.sid;
}

// Inserts `ace` at the end of its canonical group, so that a canonical DACL stays so.
void InsertCanonical(kesh::ACList& dacl, const ACEntry& ace) {
  int group = CanonicalGroup(ace);
  auto it = dacl.aces.begin();
  while (it != dacl.aces.end() && CanonicalGroup(*it) <= group) ++it;
  dacl.aces.insert(it, ace);
}

}  // namespace

SDPtr ParseSddl(const std::string& text) {
  auto sd = std::make_shared<kesh::SecurityDescriptor>(SD_REVISION, SD_CONTROL);
  sd->control |= kesh::SE_SELF_RELATIVE;
  sd->dacl.revision = 4;

  static const char* const kMarks[] = {"O:", "G:", "D:", "S:"};
  size_t at[4];
  size_t first = std::string::npos;
  for (int i = 0; i < 4; ++i) {
    at[i] = text.find(kMarks[i]);
    if (at[i] < first) first = at[i];
  }
  // Anything but blanks before the first part (or text with no part at all) is not SDDL.
  if (text.find_first_not_of(" \t\r\n") < first) {
    KESH_THROW(BadDataException, 0, "Bad SDDL: %s", text.c_str());
  }
  // A part runs from its mark to the nearest later mark, or to the end.
  auto part = [&](int i) {
    size_t end = text.size();
    for (int j = 0; j < 4; ++j) {
      if (at[j] != std::string::npos && at[j] > at[i] && at[j] < end) end = at[j];
    }
    return text.substr(at[i], end - at[i]);
  };
  if (at[0] != std::string::npos) sd->owner = SidFromString(part(0).substr(2));
  if (at[1] != std::string::npos) sd->group = SidFromString(part(1).substr(2));
  if (at[2] != std::string::npos) ParseDacl(part(2), sd);
  return sd;
}

void ParseDacl(const std::string& text, SDPtr& sd) {
  std::vector<std::string> pieces;
  kesh::StringSplit('(', text, pieces);
  std::string flags = pieces.empty() ? std::string() : pieces[0];
  if (flags.compare(0, 2, "D:") == 0) flags.erase(0, 2);
  uint16_t control = sd->control;
  size_t pos = 0;
  if (!flags.empty() && flags[0] == 'P') {
    control |= SDDL_DACL_PROTECTED;
    pos = 1;
  }
  for (; pos < flags.size(); pos += 2) {
    std::string flag = flags.substr(pos, 2);
    if (flag == "AI") {
      control |= SDDL_DACL_AUTO_INHERITED;
    } else if (flag == "AR") {
      control |= SDDL_DACL_AUTO_INHERIT_REQ;
    } else {
      KESH_THROW(BadDataException, 0, "Bad DACL flag: %s", flag.c_str());
    }
  }
  std::vector<ACEntry> aces;
  for (size_t i = 1; i < pieces.size(); ++i) {
    const std::string& piece = pieces[i];
    if (piece.empty() || piece.back() != ')') {
      KESH_THROW(BadDataException, 0, "Bad ACE format: %s ", piece.c_str());
    }
    aces.push_back(ParseAce(piece.substr(0, piece.size() - 1)));
  }
  // Only a DACL that parsed completely reaches the descriptor.
  sd->control = control;
  sd->hasDacl = true;
  for (ACEntry& ace : aces) sd->dacl.addACE(ace);
}

ACEntry ParseAce(const std::string& text) {
  std::vector<std::string> fields;
  kesh::StringSplit(';', text, fields);
  if (fields.size() != 6) KESH_THROW(BadDataException, 0, "Bad ACE format: %s ", text.c_str());
  ACEntry ace;

  const SddlCode* type = FindCode(gAceTypes, fields[0]);
  if (!type) KESH_THROW(BadDataException, 0, "Bad ACE type: %s", fields[0].c_str());
  ace.type = static_cast<uint8_t>(type->value);

  const std::string& flags = fields[1];
  for (size_t pos = 0; pos < flags.size(); pos += 2) {
    std::string code = flags.substr(pos, 2);
    const SddlCode* flag = FindCode(gAceFlags, code);
    if (!flag) KESH_THROW(BadDataException, 0, "Bad ACE flag: %s", code.c_str());
    ace.flags = static_cast<uint8_t>(ace.flags + flag->value);
  }

  const std::string& rights = fields[2];
  if (!rights.empty() && rights[0] == '0') {
    // A number; the whole field must be hexadecimal and fit 32 bits.
    errno = 0;
    char* end = nullptr;
    unsigned long mask = strtoul(rights.c_str(), &end, 16);
    if (errno != 0 || *end != '\0' || mask > 0xFFFFFFFFul) {
      KESH_THROW(BadDataException, 0, "Bad ACE right: %s", rights.c_str());
    }
    ace.mask = static_cast<uint32_t>(mask);
  } else {
    for (size_t pos = 0; pos < rights.size(); pos += 2) {
      std::string code = rights.substr(pos, 2);
      const SddlCode* right = FindCode(gAceRights, code);
      if (!right) KESH_THROW(BadDataException, 0, "Bad ACE right: %s", code.c_str());
      ace.mask |= right->value;
    }
  }

  if (!fields[3].empty()) ace.setObjectType(kesh::Guid::fromRealMSString(fields[3]));
  if (!fields[4].empty()) ace.setInheritedObjectType(kesh::Guid::fromRealMSString(fields[4]));

  if (fields[5].empty()) {
    ace.sid.setNull();
  } else {
    ace.sid = SidFromString(fields[5]);
  }
  return ace;
}

std::array<ACEList, 4> CanonicalAceGroups(const kesh::ACList& dacl) {
  std::array<ACEList, 4> groups;
  for (const ACEntry& ace : dacl.aces) groups[CanonicalGroup(ace)].push_back(ace);
  return groups;
}

std::string RightsToString(uint32_t mask) {
  static const uint32_t kCoded = CodedRights();
  if ((mask & ~kCoded) != 0) {
    char hex[16];
    snprintf(hex, sizeof hex, "0x%x", static_cast<unsigned>(mask));
    return hex;
  }
  std::string out;
  for (const SddlCode& right : gAceRights) {
    if (mask & right.value) out += right.code;
  }
  return out;
}

std::string ConvertAces(const ACEList& aces, const SID& domain) {
  std::string out;
  for (const ACEntry& ace : aces) {
    out += '(';
    if (const SddlCode* type = FindValue(gAceTypes, ace.type)) out += type->code;
    out += ';';
    for (const SddlCode& flag : gAceFlags) {
      if (ace.flags & flag.value) out += flag.code;
    }
    out += ';';
    out += RightsToString(ace.mask);
    out += ';';
    if ((ace.objectFlags & kesh::ACE_OBJECT_TYPE_PRESENT) || !ace.objectType.isNull()) {
      out += ace.objectType.toRealMSString();
    }
    out += ';';
    if ((ace.objectFlags & kesh::ACE_INHERITED_OBJECT_TYPE_PRESENT) ||
        !ace.inheritedObjectType.isNull()) {
      out += ace.inheritedObjectType.toRealMSString();
    }
    out += ';';
    out += SidToString(ace.sid, false, domain);
    out += ')';
  }
  return out;
}

std::string SDToString(SDPtr& sd) { return SDToString(sd, ReadDomain(sd)); }

std::string SDToString(SDPtr& sd, const SID& domain) {
  std::string out;
  if (!sd) return out;
  if (!sd->owner.isNull()) out += "O:" + SidToString(sd->owner, false, domain);
  if (!sd->group.isNull()) out += "G:" + SidToString(sd->group, false, domain);
  if (sd->hasDacl) {
    out += "D:";
    if (sd->control & SDDL_DACL_PROTECTED) out += "P";
    if (sd->control & SDDL_DACL_AUTO_INHERITED) out += "AI";
    if (sd->control & SDDL_DACL_AUTO_INHERIT_REQ) out += "AR";
    for (const ACEList& group : CanonicalAceGroups(sd->dacl)) out += ConvertAces(group, domain);
  }
  return out;
}

std::string SidToString(const SID& sid, bool explain, const SID& domain) {
  if (sid.isNull()) return "";
  std::string text = sid.toMSString();
  if (const char* name = WellKnownName(sid, text, explain, domain)) return name;
  if (!explain) return text;
  try {
    SID lookup = sid;
    kesh::ADObject principal = GetPrincipalBySid(lookup);
    std::string name;
    if (principal.category() == "Group") {
      name = principal.firstValue(AD_CN);
      if (name.empty()) name = principal.firstValue("sAMAccountName");
    } else {
      name = principal.firstValue("userPrincipalName");
      if (name.empty()) name = principal.firstValue("sAMAccountName");
    }
    if (!name.empty()) return name;
  } catch (const std::exception&) {
    // Not known to any bound domain: the SID text stands.
  }
  return text;
}

SID SidFromString(const std::string& text) {
  for (const SddlSid& row : gWellKnownSids) {
    if (text == row.code) return SID(row.sid);
  }
  if (const SddlCode* row = FindCode(gWellKnownRids, text)) {
    SID sid(std::string(PLACEHOLDER_DOMAIN_SID) + "-0");
    sid.setObjectRid(row->value);
    return sid;
  }
  SID sid;
  sid.fromMSString(text);
  return sid;
}

SDPtr GetSD(kesh::ADObject& object, const SID& domain) {
  const kesh::ADAttribute* attr = object.find(AD_NT_SECDESC);
  if (!attr || attr->empty()) {
    KESH_THROW(kesh::NotFoundException, 0, "Security Descriptor not present");
  }
  auto sd = std::make_shared<DirectorySecurityDescriptor>(domain);
  sd->parse(attr->values()[0]);
  return sd;
}

SDPtr GetSD(kesh::ADObject& object) {
  SID domain;
  try {
    domain = GetBindingForDN(object.dn())->getDomainSid();
  } catch (const kesh::NotFoundException&) {
    // No binding of the object's domain: its principals keep their SID text.
  } catch (const kesh::SystemException&) {
    // No session on this thread: likewise.
  }
  return GetSD(object, domain);
}

void SetSD(kesh::ADObject& object, SDPtr sd, const SID& domain) {
  FixSD(sd, domain);
  kesh::NetBuf buf;
  sd->serialize(buf);
  kesh::ADAttribute& attr = object[AD_NT_SECDESC];
  attr.reset();
  attr.addVal(buf.data(), true, true);
}

void SetSD(kesh::ADObject& object, SDPtr sd) {
  SID domain = GetBindingForDN(object.dn())->getDomainSid();
  SetSD(object, sd, domain);
}

void AddAceToSD(SDPtr& sd, const std::string& aceText) {
  ACEntry ace = ParseAce(aceText);
  sd->hasDacl = true;
  InsertCanonical(sd->dacl, ace);
}

void RemoveAceFromSD(SDPtr& sd, const std::string& aceText) {
  ACEntry ace = ParseAce(aceText);
  switch (ace.type) {
    case kesh::ACCESS_ALLOWED_ACE_TYPE:
    case kesh::ACCESS_ALLOWED_OBJECT_ACE_TYPE:
    case kesh::ACCESS_DENIED_ACE_TYPE:
    case kesh::ACCESS_DENIED_OBJECT_ACE_TYPE:
      break;
    default:
      KESH_THROW(BadDataException, 0, "Invalid ACE type");
  }
  std::vector<ACEntry>& aces = sd->dacl.aces;
  for (auto it = aces.begin(); it != aces.end();) {
    it = SameAce(*it, ace) ? aces.erase(it) : it + 1;
  }
}

void SetOwnerInSD(SDPtr& sd, const std::string& sidText) { sd->owner = SidFromString(sidText); }

void SetGroupInSD(SDPtr& sd, const std::string& sidText) { sd->group = SidFromString(sidText); }

void SetDaclInSD(SDPtr& sd, const std::string& daclText) {
  kesh::ACList dacl;
  dacl.revision = 4;
  std::vector<std::string> pieces;
  kesh::CrackString(daclText, "()", pieces);
  for (const std::string& piece : pieces) {
    ACEntry ace = ParseAce(piece);
    dacl.addACE(ace);
  }
  sd->dacl = dacl;
  sd->hasDacl = true;
}

void AddAcesToCont(kesh::ADObject& object, std::vector<std::string>& aces) {
  SDPtr sd = GetSD(object);
  for (const std::string& text : aces) AddAceToSD(sd, text);
  SetSD(object, sd);
}

std::string ComposeACEStr(const std::string& p1, const std::string& p2, const std::string& p3,
                          const std::string& p4, const std::string& p5, const std::string& p6,
                          const std::string& p7) {
  std::string ace = p1 + p2 + p3 + p4 + p5 + p6 + p7;
  size_t separators = 0;
  for (char c : ace) separators += (c == ';');
  if (separators != 5) KESH_THROW(BadDataException, 0, "Bad ACE format: (%s)", ace.c_str());
  return ace;
}

SID FixSid(SID sid, const SID& domain) {
  if (sid.isNull() || domain.isNull()) return sid;
  if (sid.domainSID().toMSString() != PLACEHOLDER_DOMAIN_SID) return sid;
  return SID(domain.toMSString() + "-" + std::to_string(sid.getObjectRid()));
}

void FixAces(ACEList& aces, const SID& domain) {
  for (ACEntry& ace : aces) ace.sid = FixSid(ace.sid, domain);
}

void FixSD(SDPtr& sd, const SID& domain) {
  sd->owner = FixSid(sd->owner, domain);
  sd->group = FixSid(sd->group, domain);
  FixAces(sd->dacl.aces, domain);
}

std::string AddSDAce(const std::string& sddl, const std::string& ace) {
  SDPtr sd = ParseSddl(sddl);
  AddAceToSD(sd, ace);
  return SDToString(sd);
}

std::string RemoveSDAce(const std::string& sddl, const std::string& ace) {
  SDPtr sd = ParseSddl(sddl);
  RemoveAceFromSD(sd, ace);
  return SDToString(sd);
}

std::string SetSDOwner(const std::string& sddl, const std::string& sid) {
  SDPtr sd = ParseSddl(sddl);
  SetOwnerInSD(sd, sid);
  return SDToString(sd);
}

std::string SetSDGroup(const std::string& sddl, const std::string& sid) {
  SDPtr sd = ParseSddl(sddl);
  SetGroupInSD(sd, sid);
  return SDToString(sd);
}

std::string SetSDDacl(const std::string& sddl, const std::string& dacl) {
  SDPtr sd = ParseSddl(sddl);
  SetDaclInSD(sd, dacl);
  return SDToString(sd);
}
