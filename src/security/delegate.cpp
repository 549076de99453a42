// The ACE sets of the delegable rights, and their writing.
#include "security/delegate.h"

#include <map>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/principal.h"
#include "security/schema_lookup.h"
#include "security/sddl.h"

namespace {

// The well-known SID of OWNER RIGHTS.
const char kOwnerRightsSid[] = "S-1-3-4";

// Schema names the sets refer to.
const char kScp[] = "Service-Connection-Point";
const char kClassStore[] = "Class-Store";
const char kContainer[] = "Container";
const char kAzAdminManager[] = "ms-DS-Az-Admin-Manager";
const char kAzApplication[] = "ms-DS-Az-Application";
const char kAzScope[] = "ms-DS-Az-Scope";
const char kAzRole[] = "ms-DS-Az-Role";
const char kAzTask[] = "ms-DS-Az-Task";
const char kAzOperation[] = "ms-DS-Az-Operation";
const char kAzApplicationData[] = "ms-DS-Az-Application-Data";

using AceSet = std::vector<DelegationAce>;

DelegationAce Ace(const char* head, const char* objectType = "", const char* inheritedType = "") {
  return DelegationAce{head, objectType, inheritedType, false};
}
DelegationAce OwnerRightsAce(const char* head) { return DelegationAce{head, "", "", true}; }
// Write property `attribute` on objects of class `cls` below the container.
DelegationAce W(const char* attribute, const char* cls) {
  return Ace("OA;CIIO;WP", attribute, cls);
}

// Read of the container, and generic read of the profiles below it.
const DelegationAce R = Ace("A;;RCLCRPLO");
const DelegationAce I = Ace("OA;CIIO;GR", "", kScp);

// The posix attributes that an RFC zone's profiles carry.
const char* const kPosixAttributes[] = {"Uid",   "UidNumber",         "LoginShell",
                                        "Gecos", "UnixHomeDirectory", "GidNumber"};

AceSet ManageTasksOf(const char* cls, bool withOperations) {
  AceSet set = {Ace("OA;CI;RCLCRPLO"), Ace("OA;;CCDC", cls),  W(kAzApplicationData, cls),
                W("RDN", cls),         W("Common-Name", cls), W("Description", cls)};
  if (withOperations) set.push_back(W("ms-DS-Operations-For-Az-Task", cls));
  set.push_back(Ace("OA;CIIO;GR", "", cls));
  return set;
}

const std::map<std::string, AceSet>& Sets() {
  static const std::map<std::string, AceSet> sets = [] {
    std::map<std::string, AceSet> m;
    // Rights on zone containers.
    m["join"] = {R, I, Ace("OA;OI;CC", kScp)};
    m["delete_computer"] = {R, I, Ace("OA;OI;DC", kScp)};
    m["change_computer"] = {R, I, W("Keywords", kScp), W("Display-Name", kScp)};
    m["add_user"] = m["add_group"] = {R, I, Ace("OA;OI;CC", kScp)};
    m["delete_user"] = m["delete_group"] = {R, I, Ace("OA;OI;DC", kScp)};
    m["change_group"] =
        m["change_user"] = {R, I, W("RDN", kScp), W("Common-Name", kScp), W("Keywords", kScp)};
    m["delete_zone"] = {Ace("A;;RCLCRPLO"), Ace("OA;OIIO;GR"), Ace("OA;CI;SDDT")};
    m["delete_qvscope_of_current_computer_zone"] = {Ace("OA;CI;RCLCRPLO"), Ace("OA;CI;SDDT")};
    m["change_zone"] = {Ace("A;;RCLCRPLO"), Ace("OA;OIIO;GR"), Ace("OA;OI;WP", "Description"),
                        Ace("OA;OI;WP", "RDN"), Ace("OA;OI;WP", "Common-Name")};
    m["enable_qv"] = {Ace("A;;RCLCRPLO"), Ace("OA;OIIO;GR"), Ace("OA;;CC", kAzAdminManager)};
    m["nisservers"] = {Ace("A;;GR"), Ace("OA;;WP", "Member")};

    // NIS maps.
    m["add_nismap"] = {Ace("A;OI;GR"), Ace("OA;OI;CC", kClassStore), OwnerRightsAce("A;CIIO;GRWP")};
    m["remove_nismap"] = {Ace("OA;CIIO;GR", "", kClassStore),
                          Ace("OA;CIIO;SDDCDT", "", kClassStore)};
    m["add_remove_nismap_entry"] = {Ace("OA;CIIO;GR", "", kClassStore),
                                    Ace("OA;CIIO;CC", kClassStore, kClassStore),
                                    W("RDN", kClassStore),
                                    W("Common-Name", kClassStore),
                                    W("Description", kClassStore),
                                    W("Admin-Description", kClassStore),
                                    W("WWW-Home-Page", kClassStore)};
    m["modify_nismap_entry"] = {Ace("OA;CIIO;GR", "", kClassStore), W("Description", kClassStore),
                                W("Admin-Description", kClassStore),
                                W("WWW-Home-Page", kClassStore)};

    // The authorization store and import.
    m["import"] = {R,
                   I,
                   W("Keywords", kScp),
                   W("RDN", kScp),
                   W("Common-Name", kScp),
                   W("Display-Name", kScp),
                   W("Managed-By", kScp)};
    m["manage_roles"] = ManageTasksOf(kAzTask, true);
    m["manage_rights"] = ManageTasksOf(kAzOperation, false);
    m["manage_qvstore"] = {Ace("A;;GR"), Ace("A;;WP", kAzApplicationData)};
    m["manage_role_assignments"] = {Ace("A;OI;GR"),
                                    Ace("A;CIIO;GR", "", kAzRole),
                                    Ace("OA;CIIO;CCDC", kAzRole),
                                    Ace("OA;CIIO;CC", kAzRole, kAzScope),
                                    W(kAzApplicationData, kAzRole),
                                    W("ms-DS-Tasks-For-Az-Role", kAzRole),
                                    W("ms-DS-Members-For-Az-Role", kAzRole),
                                    W("Display-Name", kAzRole),
                                    Ace("OA;OI;WP", kAzApplicationData),
                                    OwnerRightsAce("A;CIIO;GRWP")};
    m["modify_computer_role"] = {Ace("OA;;RCLCRPLO"), Ace("A;;WP", kAzApplicationData),
                                 Ace("A;;WP", "ms-DS-Az-Scope-Name"), Ace("OA;;WP", "Description")};

    // Creating zones and computer zones.
    AceSet creator = {Ace("A;;RCLCRPLO"), Ace("A;CIIO;GR"), Ace("A;OI;SDDT")};
    for (const char* attribute : {"Common-Name", "RDN", "Description", "Display-Name"})
      creator.push_back(Ace("OA;OI;WP", attribute));
    for (const char* cls : {kAzAdminManager, kAzOperation, kAzTask, kAzRole, kContainer, "Group",
                            static_cast<const char*>(kScp)})
      creator.push_back(Ace("OA;CI;CCDC", cls));
    creator.push_back(Ace("OA;CI;CCDC", kAzApplication, kAzScope));
    m["zone_creator"] = creator;

    m["add_user_group_to_computer_zone"] = {Ace("OA;CIIO;GR", "", kScp), W("Description", kScp),
                                            Ace("OA;CIIO;CC", kScp),
                                            OwnerRightsAce("OA;CIIO;GRWP")};
    m["delete_user_group_from_computer_zone"] = {Ace("OA;CIIO;GR", "", kScp),
                                                 W("Description", kScp), Ace("OA;CIIO;DC", kScp)};
    AceSet modify = {Ace("OA;CIIO;GR", "", kScp)};
    for (const char* attribute : {"Description", "Common-Name", "RDN", "Keywords"})
      modify.push_back(W(attribute, kScp));
    for (const char* attribute :
         {"Uid", "UidNumber", "GidNumber", "LoginShell", "Gecos", "UnixHomeDirectory"})
      modify.push_back(W(attribute, "PosixAccount"));
    modify.push_back(W("GidNumber", "PosixGroup"));
    m["modify_user_group_in_computer_zone"] = modify;

    m["add_czone_crole_in_computer_cont"] = {Ace("OA;OI;GR"),
                                             Ace("OA;OI;CC", kContainer),
                                             Ace("OA;CIIO;GR", "", kContainer),
                                             Ace("OA;CIIO;CC", kContainer, kContainer),
                                             Ace("OA;CIIO;WP", "", kContainer),
                                             OwnerRightsAce("A;CIIO;GRWP")};
    m["add_czone_crole_in_qvstore"] = {Ace("OA;OI;WP", kAzApplicationData)};
    m["add_czone_crole_in_qvapp"] = {Ace("A;OI;GR"), Ace("OA;OI;CC", kAzScope),
                                     Ace("OA;CIIO;CC", kAzScope, kContainer),
                                     OwnerRightsAce("OA;CIIO;GRWP")};
    m["del_czone_crole_in_computer_cont"] = {Ace("OA;CIIO;GRSDDT", "", kContainer)};
    m["del_czone_crole_in_qvapp"] = {Ace("OA;CIIO;GRSDDT", "", kAzScope)};
    m["deleg_perm_czone_in_computer_cont"] = {Ace("OA;CIIO;GRWD", "", kContainer)};
    m["deleg_perm_czone_in_qvstore"] = {Ace("A;OI;GRWD")};
    m["deleg_perm_czone_in_qvapplication"] = {Ace("OA;CIIO;GRWD", "", kContainer),
                                              Ace("OA;CIIO;GRWD", "", kAzScope)};
    return m;
  }();
  return sets;
}

// The SID text of the trustee: the descriptor's owner for an empty principal, else the
// principal's own SID. Refuses distribution groups, which cannot hold rights.
std::string TrusteeSid(kesh::ADObject& object, const std::string& principal) {
  if (principal.empty()) {
    SDPtr sd = GetSD(object);
    if (sd->owner.isNull()) {
      KESH_THROW(kesh::NotFoundException, 0, "Security Descriptor owner not found");
    }
    return sd->owner.toMSString();
  }
  kesh::ADObject trustee = GetPrincipal(principal);
  if (trustee.category() == AD_GROUP_CATEGORY && IsDistributionGroup(trustee)) {
    KESH_THROW(kesh::BadDataException, 0, "Error: %s is a distribution group.", principal.c_str());
  }
  return trustee.sid().toMSString();
}

}  // namespace

std::vector<DelegationAce> DelegationAces(const std::string& right, SchemaType schema) {
  const auto& sets = Sets();
  auto it = sets.find(right);
  if (it == sets.end()) KESH_THROW(kesh::BadDataException, 0, "Unknown right: %s", right.c_str());
  std::vector<DelegationAce> aces = it->second;
  if (right == "change_user" && schema == SCHEMA_TYPE_RFC) {
    for (const char* attribute : kPosixAttributes) aces.push_back(W(attribute, kScp));
  }
  return aces;
}

void DelegateRightBySDDL(kesh::ADObject& object, const std::string& right, std::string principal,
                         SchemaType schema) {
  // The set first: an unknown right asks nothing of the directory.
  const std::vector<DelegationAce> set = DelegationAces(right, schema);
  const std::string trustee = TrusteeSid(object, principal);

  std::map<std::string, std::string> guids;
  auto guidOf = [&guids](const std::string& name) -> std::string {
    if (name.empty()) return "";
    auto it = guids.find(name);
    if (it == guids.end()) it = guids.emplace(name, SchemaStringToGuid(name)).first;
    return it->second;
  };

  std::vector<std::string> aces;
  aces.reserve(set.size());
  for (const DelegationAce& ace : set) {
    aces.push_back(ComposeACEStr(ace.head, ";", guidOf(ace.objectType), ";",
                                 guidOf(ace.inheritedType), ";",
                                 ace.ownerRights ? kOwnerRightsSid : trustee));
  }
  AddAcesToCont(object, aces);
}
