// UNIX profiles in memory: zone users, local users, zone groups and local groups.
//
// A profile says how one directory user or group looks on UNIX inside one zone. It is
// built in memory (new...: isNew true, scp empty) or loaded from its directory object
// (isNew false), changed field by field, and written by the zone's schema adapter (see
// schema/zschema.h), which then reads the object back into `scp`.
//
// Fields that can be missing are OptionalField values: "not set" is a state of its own,
// distinct from an empty text, and the command layer shows it as FIELD_NOT_SET ("-").
//
// Names of profiles (accountName):
//   sam@domain        the directory user's or group's sAMAccountName, "@", and the domain
//                     of its DN, lower-cased
//   *S-1-5-...        a profile whose directory object cannot be found: "*" and the SID
//                     stored in the profile ("parentLink")
//   *<unknown user>   a user profile without any stored link
// Aliases: the Nth alias of a user is a second profile of the same directory user, named
// "<user>+N" in the commands; altIndex N, altGuid a fresh GUID.
#ifndef ZONESMITH_SCHEMA_USER_H_
#define ZONESMITH_SCHEMA_USER_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/constants.h"  // FIELD_NOT_SET: "-", a field that is not set
#include "schema/keywords.h"

// The value of a user's gid that classic zones read as "the same number as the uid"; the
// save of a profile in a zone below version 6 replaces it by the uid.
constexpr uint32_t GID_SAME_AS_UID = 2147483648u;

// The state of a local profile ("profileflag"): a text out of a fixed map of accepted
// texts to words, or "-".
class LocalAccountState {
 public:
  // The map of the accepted texts to their words: users 1 enable, 2 disable, 3 remove.
  LocalAccountState();
  virtual ~LocalAccountState() = default;

  // Accepts a key of the map or "-". Anything else throws kesh::BadDataException
  // "Invalid value. Accepted value are 1 (for \"enable\"),2 (for \"disable\"),3 (for
  // \"remove\")." (the rows of this state's map, in key order) and changes nothing.
  void set(const std::string& value);
  // Stores the text as it is, unchecked (what a load reads from the directory).
  void setUnchecked(const std::string& value) { text = value; }
  const std::string& get() const { return text; }

  std::string text;
  std::map<std::string, std::string> accepted;
};

// The state of a local group: 1 enable, 3 remove.
class LocalGroupState : public LocalAccountState {
 public:
  LocalGroupState();
};

// The base of user profiles.
class NssUser {
 public:
  virtual ~NssUser() = default;
  // The directory user behind the profile.
  virtual kesh::ADObject getADUObject() = 0;
  // The name of the profile in the commands.
  virtual std::string getUserName() = 0;
  virtual std::string getDescription() { return getUserName(); }

  kesh::ADObject scp;  // the profile's directory object; empty until the first save
  OptionalField<uint32_t> uid;
  OptionalField<uint32_t> gid;
  OptionalField<std::string> unixName;
  OptionalField<std::string> shell;
  OptionalField<std::string> home;
  OptionalField<std::string> gecos;
  // Texts of the keys of the extended attribute table (see schema/keywords.h).
  std::map<std::string, std::string> extended;
  bool isNew = false;
};

// The profile of a directory user in a zone.
class NssZoneUser : public NssUser {
 public:
  kesh::ADObject getADUObject() override { return adUser; }
  std::string getUserName() override { return accountName; }

  int32_t altIndex = 0;  // 0 main profile, N the Nth alias
  std::string altGuid;   // the alias's identity (GUID text); empty for a main profile
  kesh::ADObject adUser;
  std::string accountName;  // sam@domain, or "*..." for a user that cannot be resolved
  std::string upn;          // userPrincipalName, or accountName when the user has none
  std::string storedUpn;    // keyword "upn" as read
  std::string parentLink;   // SID text of the directory user, keyword "parentLink"
  bool enabled = false;     // keyword "unix_enabled"; classic zones only
  bool foreign = false;     // the user lives in another forest than the zone
};

// A user that exists only on the UNIX computers of a zone.
class NssLocalUser : public NssUser {
 public:
  // Throws kesh::BadDataException: no directory user goes with a local user.
  kesh::ADObject getADUObject() override;
  // The unix name (empty when it is not set).
  std::string getUserName() override { return unixName.value; }

  OptionalField<LocalAccountState> profileFlag;
};

// 0 zone group, 1 local group.
enum GroupType { GROUP_TYPE_ZONE = 0, GROUP_TYPE_LOCAL = 1 };

// The profile of a directory group in a zone, or of a local group.
class NssGroup {
 public:
  explicit NssGroup(GroupType groupType) : type(groupType) {}

  OptionalField<uint32_t> gid;
  OptionalField<std::string> unixName;
  OptionalField<std::string> members;           // local groups only
  OptionalField<LocalGroupState> profileFlag;   // local groups only
  kesh::ADObject scp;                           // the profile's directory object
  std::string accountName;                      // sam@domain, or "*<sid>"
  kesh::ADObject adGroup;                       // the directory group
  std::map<std::string, std::string> keywords;  // the dictionary as read
  bool required = false;
  bool isNew = false;
  GroupType type;
};

// --- Field texts, as the commands show and take them.

// The text of a field: its value (a number in decimal, a state by its text), or `unset`
// when it is not set.
std::string FieldText(const OptionalField<uint32_t>& field,
                      const std::string& unset = FIELD_NOT_SET);
std::string FieldText(const OptionalField<std::string>& field,
                      const std::string& unset = FIELD_NOT_SET);
template <class State>
std::string StateText(const OptionalField<State>& field, const std::string& unset = FIELD_NOT_SET) {
  return field.isSet ? field.value.get() : unset;
}
// Sets a profile flag from a command's value: a text its state accepts, or FIELD_NOT_SET,
// which clears it. Anything else throws as State::set does, and changes nothing.
template <class State>
void SetStateText(OptionalField<State>& field, const std::string& value) {
  State state;
  state.set(value);
  if (value == FIELD_NOT_SET) {
    field.clear();
  } else {
    field.set(state);
  }
}
// Sets a field from a command's value: FIELD_NOT_SET clears it; a number is read with
// atoui, so "12ab" is 12 and "abc" is 0.
// A number field from its text: unset when the text is unset, or, with `emptyIsUnset`,
// empty; the number is read with atoui.
OptionalField<uint32_t> NumberOf(const OptionalField<std::string>& text, bool emptyIsUnset);
// The decimal text of a number field; unset when the field is.
OptionalField<std::string> TextOf(const OptionalField<uint32_t>& field);
// Gives the attribute `name` of `target` the field's text, or clears it (emptied and marked
// changed, so that an update removes it) when the field is unset.
void SetOrClear(kesh::ADObject& target, const char* name, const OptionalField<std::string>& field);
void SetFieldText(OptionalField<uint32_t>& field, const std::string& value);
void SetFieldText(OptionalField<std::string>& field, const std::string& value);
// The texts joined by ":", the separator of the lines of the list commands.
std::string JoinFields(const std::vector<std::string>& fields);

// Factories of groups for IZoneSchema::getGroups: a new zone group, a new local group.
NssGroup* MakeZGroup();
NssGroup* MakeLocalGroup();

#endif  // ZONESMITH_SCHEMA_USER_H_
