// SDDL: security descriptors of directory objects as text, in both directions.
//
// A descriptor reads "O:" owner "G:" group "D:" dacl-flags ACE...; each ACE is
// "(" type ";" flags ";" rights ";" object GUID ";" inherited-object GUID ";" SID ")".
// Types, flags and rights are the two-letter codes of the tables below; rights may also
// be a hexadecimal number that starts with "0" ("0x10"). A SID is a code of
// gWellKnownSids, a code of gWellKnownRids (a principal of the domain) or "S-1-..." text.
// A SACL ("S:") is not read: that part of the text is dropped.
//
// Codes of gWellKnownRids stand for a SID of the placeholder domain S-1-5-21-0-0-0 with
// that relative ID. FixSD replaces the placeholder by a real domain before a descriptor
// is written to the directory.
//
// Written text grants what the descriptor grants, so that text read from an object and
// written back changes no right:
// - a code of gWellKnownRids is written only for a SID of the placeholder domain or of
//   the domain the descriptor was read through (GetSD); the same relative ID in any
//   other domain stays "S-1-..." text, since a code would be read as the object's domain;
// - rights are codes only when codes cover every bit of the mask; otherwise the whole
//   mask is written as a hexadecimal number ("0x100010").
// A DACL's ACEs are listed in canonical order (explicit deny, explicit allow, inherited
// deny, inherited allow), flags and rights in table order. Parsing never crashes on bad
// text: it throws kesh::BadDataException with the messages given below.
#ifndef ZONESMITH_SECURITY_SDDL_H_
#define ZONESMITH_SECURITY_SDDL_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/security_descriptor.h"
#include "directory/library/sid.h"

// One row of a code table: a number, its two-letter code, and the text that explains it.
struct SddlCode {
  uint32_t value;
  const char* code;
  const char* text;
};

// One row of the well-known SID table: the SID text, its code and its explaining text.
struct SddlSid {
  const char* sid;
  const char* code;
  const char* text;
};

constexpr size_t ACE_TYPE_COUNT = 7;
constexpr size_t ACE_FLAG_COUNT = 7;
constexpr size_t ACE_RIGHT_COUNT = 17;
constexpr size_t WELL_KNOWN_RID_COUNT = 11;
constexpr size_t WELL_KNOWN_SID_COUNT = 27;

extern const SddlCode gAceTypes[ACE_TYPE_COUNT];
extern const SddlCode gAceFlags[ACE_FLAG_COUNT];
extern const SddlCode gAceRights[ACE_RIGHT_COUNT];
extern const SddlCode gWellKnownRids[WELL_KNOWN_RID_COUNT];
extern const SddlSid gWellKnownSids[WELL_KNOWN_SID_COUNT];

// The domain part of SIDs written as a code of gWellKnownRids.
extern const char* const PLACEHOLDER_DOMAIN_SID;  // "S-1-5-21-0-0-0"

// DACL control bits that the text carries: "P", "AI", "AR".
constexpr uint16_t SDDL_DACL_PROTECTED = 0x1000;
constexpr uint16_t SDDL_DACL_AUTO_INHERITED = 0x400;
constexpr uint16_t SDDL_DACL_AUTO_INHERIT_REQ = 0x100;

// The control word and revision that every descriptor made here starts with.
constexpr unsigned short SD_REVISION = 1;
constexpr unsigned short SD_CONTROL = 32788;  // 0x8014

using ACEList = std::vector<kesh::ACEntry>;
using SDPtr = std::shared_ptr<kesh::SecurityDescriptor>;

// A descriptor read from a directory object (GetSD), with the SID of the domain of the
// binding it was read through; null when there was no such binding. SDToString names
// that domain's principals by the codes of gWellKnownRids.
class DirectorySecurityDescriptor : public kesh::SecurityDescriptor {
 public:
  explicit DirectorySecurityDescriptor(const kesh::SID& domain)
      : kesh::SecurityDescriptor(SD_REVISION, SD_CONTROL), domain(domain) {}

  const kesh::SID domain;
};

// Parses SDDL text. Owner, group and DACL are set only when their part is present.
// Throws kesh::BadDataException on a bad SID, DACL flag or ACE (see ParseDacl, ParseAce).
SDPtr ParseSddl(const std::string& text);
// Parses "D:" flags and ACEs "(...)..." into the DACL and control word of `sd`.
// Throws kesh::BadDataException "Bad DACL flag: %s" for an unknown flag, and ParseAce's
// messages for a bad ACE.
void ParseDacl(const std::string& text, SDPtr& sd);
// Parses one ACE given without its parentheses. Throws kesh::BadDataException:
// "Bad ACE format: %s " (not six fields; note the trailing blank), "Bad ACE type: %s",
// "Bad ACE flag: %s", "Bad ACE right: %s", or the GUID or SID parser's message.
// An empty SID field gives a null SID.
kesh::ACEntry ParseAce(const std::string& text);

// The SDDL text of `sd`: owner, group, DACL with its ACEs in canonical order. Codes of
// gWellKnownRids are written for SIDs of the placeholder domain and, for a descriptor
// read by GetSD, of the domain it was read through.
std::string SDToString(SDPtr& sd);
// The same, with codes of gWellKnownRids also for SIDs of `domain` (none when null).
std::string SDToString(SDPtr& sd, const kesh::SID& domain);
// The ACEs as "(...)" texts, in the order given; SIDs as by SidToString with `domain`.
std::string ConvertAces(const ACEList& aces, const kesh::SID& domain = kesh::SID());
// The rights of an ACE: the codes of gAceRights in table order when they cover every bit
// of `mask`, otherwise the whole mask as "0x" and lower-case hexadecimal digits. A mask
// of 0 gives "".
std::string RightsToString(uint32_t mask);
// The ACEs of `dacl` in four groups: explicit deny, explicit allow, inherited deny,
// inherited allow. Types 1 and 6 are deny; every other type counts as allow. The order
// within a group is kept.
std::array<ACEList, 4> CanonicalAceGroups(const kesh::ACList& dacl);

// The code of a well-known SID, or of a well-known relative ID in the placeholder domain
// or in `domain` (when not null); with `explain`, its text. Other SIDs: the "S-1-..."
// text, or with `explain` the principal's name from the directory (a group's cn or
// sAMAccountName, else userPrincipalName or sAMAccountName), falling back to the SID text
// when the look-up fails. A null SID gives "".
std::string SidToString(const kesh::SID& sid, bool explain, const kesh::SID& domain = kesh::SID());
// A SID from a code of gWellKnownSids, a code of gWellKnownRids (placeholder domain),
// or "S-1-..." text. Throws kesh::BadDataException for anything else.
kesh::SID SidFromString(const std::string& text);

// The descriptor stored in the object's nTSecurityDescriptor, as a
// DirectorySecurityDescriptor that carries the domain SID of the binding of the object's
// domain (null when the session holds no such binding). Throws kesh::NotFoundException
// "Security Descriptor not present" when there is no value, and kesh::BadDataException
// when the value is not a valid binary descriptor.
SDPtr GetSD(kesh::ADObject& object);
// The same, read as through a binding of `domain`.
SDPtr GetSD(kesh::ADObject& object, const kesh::SID& domain);
// Replaces the placeholder domain by the domain of the object's binding and stores the
// binary descriptor in the object in memory (marked changed; nothing is written to the
// directory). Throws kesh::NotFoundException when no binding holds the object's domain.
void SetSD(kesh::ADObject& object, SDPtr sd);
// The same with the domain given, for callers that already hold it.
void SetSD(kesh::ADObject& object, SDPtr sd, const kesh::SID& domain);

// Each takes the descriptor and a text; on a parse error the descriptor is unchanged.
void AddAceToSD(SDPtr& sd, const std::string& aceText);
// Removes every ACE equal in type, flags, rights, GUIDs and SID to the parsed one; no
// match is not an error. Throws kesh::BadDataException "Invalid ACE type" unless the
// type is A, D, OA or OD.
void RemoveAceFromSD(SDPtr& sd, const std::string& aceText);
void SetOwnerInSD(SDPtr& sd, const std::string& sidText);
void SetGroupInSD(SDPtr& sd, const std::string& sidText);
// Replaces the DACL by the ACEs of `daclText`, "(...)(...)"; the control word is kept.
void SetDaclInSD(SDPtr& sd, const std::string& daclText);

// Reads the object's descriptor, appends the ACE texts in order and stores it with
// SetSD. The object is changed in memory only: the caller writes it. Nothing changes
// when one of the texts is bad.
void AddAcesToCont(kesh::ADObject& object, std::vector<std::string>& aces);

// Joins up to seven pieces into an ACE text without parentheses. Throws
// kesh::BadDataException "Bad ACE format: (%s)" unless the result holds exactly five ";".
std::string ComposeACEStr(const std::string& p1, const std::string& p2 = "",
                          const std::string& p3 = "", const std::string& p4 = "",
                          const std::string& p5 = "", const std::string& p6 = "",
                          const std::string& p7 = "");

// `domain` plus the relative ID of `sid` when `sid` lies in the placeholder domain;
// otherwise `sid` unchanged. A null `domain` changes nothing.
kesh::SID FixSid(kesh::SID sid, const kesh::SID& domain);
void FixAces(ACEList& aces, const kesh::SID& domain);
// FixSid on owner, group and every ACE of the DACL.
void FixSD(SDPtr& sd, const kesh::SID& domain);

// Commands. Each takes an SDDL text and returns the changed descriptor's SDDL text.
// add_sd_ace, remove_sd_ace: an ACE without parentheses.
std::string AddSDAce(const std::string& sddl, const std::string& ace);
std::string RemoveSDAce(const std::string& sddl, const std::string& ace);
// set_sd_owner, set_sd_group: a SID text or code.
std::string SetSDOwner(const std::string& sddl, const std::string& sid);
std::string SetSDGroup(const std::string& sddl, const std::string& sid);
// set_sd_dacl: ACEs in parentheses.
std::string SetSDDacl(const std::string& sddl, const std::string& dacl);

#endif  // ZONESMITH_SECURITY_SDDL_H_
