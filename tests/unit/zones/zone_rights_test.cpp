// Delegation of zone rights on the in-memory directory: which object of a zone each right of
// the vocabulary lands on, which rights each zone class carries out or refuses (and that a
// refusal writes nothing), the NIS server group made again when it is missing, and the
// creator's entries on a new zone.
#include "zones/zone_rights.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "authorization/qv.h"
#include "directory/library/dn.h"
#include "directory/library/strings.h"
#include "security/delegate.h"
#include "security/sddl.h"
#include "zones/access_zone.h"
#include "zones/classic_zone.h"
#include "zones/machine_zone.h"
#include "zones/zone_rig.h"

namespace {

using zonetest::MessageOf;
using zonetest::ZoneRig;

const char kAlice[] = "alice@example.test";
const char kAliceSid[] = "S-1-5-21-3623811015-3361044348-30300820-1101";
const char kAdministratorSid[] = "S-1-5-21-3623811015-3361044348-30300820-500";

class ZoneRightsTest : public ZoneRig {
 protected:
  void SetUp() override {
    ZoneRig::SetUp();
    tree_ = NewTree(ZoneDn("Rights"));
    tree_->createNisServerGroup();
    Select(tree_);
  }

  void Select(const std::shared_ptr<IZone>& zone) { tab_.zone = zone; }

  // The stored descriptor of every object below OU=Zones, by upper-case DN.
  std::map<std::string, std::string> Descriptors() {
    std::map<std::string, std::string> out;
    for (kesh::ADObject& object :
         binding_->search("(objectClass=*)", zonetest::kZones, nullptr, 2, 0)) {
      out[kesh::upper(object.dn())] = object.firstValue(AD_NT_SECDESC);
    }
    return out;
  }

  // The DNs whose descriptor differs between two readings.
  static std::vector<std::string> Changed(const std::map<std::string, std::string>& before,
                                          const std::map<std::string, std::string>& after) {
    std::vector<std::string> changed;
    for (const auto& entry : after) {
      auto it = before.find(entry.first);
      if (it == before.end() || it->second != entry.second) changed.push_back(entry.first);
    }
    return changed;
  }

  // The SDDL of the object `dn` as stored.
  std::string Sddl(const std::string& dn) {
    kesh::ADObject object = binding_->binding->fetch(dn, nullptr, AD_ALL_OBJECTS, 0);
    SDPtr sd = GetSD(object);
    return SDToString(sd);
  }

  // A computer zone of ws1.example.test and an access zone "web" below the tree zone; a
  // classic zone with its store, NIS server group and the classic computer zone of WS1.
  void MakeEveryClass() {
    testing::internal::CaptureStderr();
    machine_ = MachineZone::Create(tree_, "ws1.example.test", SCHEMA_TYPE_DYNAMIC);
    testing::internal::GetCapturedStderr();
    access_ = AccessZone::Create(tree_, "web");
    std::string dn = ZoneDn("Classic");
    std::shared_ptr<IZone> classic =
        ClassicZone::Create(binding_, dn, SCHEMA_TYPE_DYNAMIC, 4, false);
    auto* classicZone = dynamic_cast<ClassicZone*>(classic.get());
    classicZone->enableQV();
    classicZone->createNisServerGroup();
    classic_ = classic;
    kesh::memdir::LoadLdif("dn: CN=ws1,CN=Computers," + dn +
                           "\nobjectClass: serviceConnectionPoint\n"
                           "keywords: parentLink:S-1-5-21-3623811015-3361044348-30300820-1300\n\n");
    classicMachine_ = ClassicMachineZone::Create(classic_, "ws1");
  }

  std::shared_ptr<TreeZone> tree_;
  std::shared_ptr<IZone> machine_, access_, classic_, classicMachine_;
};

// Where a right's entries land, named relative to the zone: "zone" (its object), the name
// of a container, "nisservers" (the group of the Computers container), "store" (anything in
// the authorization store of the zone or its parent).
std::string Label(const std::string& dn, const std::string& zoneDn, const std::string& storeDn) {
  const std::string zone = kesh::upper(zoneDn);
  const std::string store = kesh::upper(storeDn);
  if (dn == zone) return "zone";
  if (dn == "CN=ZONE_NIS_SERVERS,CN=COMPUTERS," + zone) return "nisservers";
  if (dn.size() >= store.size() && dn.compare(dn.size() - store.size(), store.size(), store) == 0)
    return "store";
  if (dn.size() > zone.size() && dn.compare(dn.size() - zone.size(), zone.size(), zone) == 0)
    return kesh::DN::cnFromDn(dn);
  return "outside:" + dn;
}

TEST_F(ZoneRightsTest, EachClassCarriesOutOrRefusesEveryRightOnItsObjects) {
  MakeEveryClass();
  const std::string treeDn = ZoneDn("Rights");
  const std::string store = "CN=Authorization," + treeDn;
  // Columns: tree, computer, access, classic, classic computer. 'y' carried out; 'n' "Right
  // not supported", 'u' "Unknown right", 'i' "Invalid right for this zone", 'c' "Right not
  // supported for computer zone" (nothing changes).
  const std::shared_ptr<IZone> zones[] = {tree_, machine_, access_, classic_, classicMachine_};
  // The DN the landing labels of each column are relative to; none for the classic ones.
  const std::string zoneDns[] = {treeDn, "CN=ws1.example.test:zone,CN=Computers," + treeDn, treeDn,
                                 "", ""};
  // Rights that behave alike share a row.
  const struct {
    const char* rights;
    const char* outcomes;
    const char* lands;  // labels of the objects changed in the tree zone, sorted
  } rows[] = {
      {"join change_computer delete_computer", "ynnyn", "COMPUTERS"},
      {"nisservers", "ynnyn", "nisservers"},
      {"add_user_group_to_computer_zone delete_user_group_from_computer_zone "
       "modify_user_group_in_computer_zone",
       "ynuyn", "COMPUTERS"},
      {"add_user delete_user change_user", "yynyn", "USERS"},
      {"add_group delete_group change_group", "yynyn", "GROUPS"},
      {"import", "yynyn", "GROUPS USERS"},
      {"delete_zone", "yyyyy", "zone"},
      {"change_zone", "yynyy", "zone"},
      {"enable_qv", "iinyi", ""},
      {"manage_roles_and_rights", "ycnyc", "store"},
      {"manage_role_assignments", "yyyyy", "store"},
      {"add_remove_nismap_entry modify_nismap_entry remove_nismap", "ynnyn", "NISMAPS"},
      {"add_nismap", "ynuyn", "NISMAPS"},
      {"add_computer_zone add_computer_role delete_computer_zone delete_computer_role "
       "delegate_permission_for_computer_zone",
       "ynuyn", "COMPUTERS store"},
      {"modify_computer_role", "nnynn", ""},
      {"frob", "uuuuu", ""},
  };
  // Landings in the computer zone (its own containers and object, its scope in the parent's
  // store) and the access zone (its scope).
  const std::map<std::pair<size_t, std::string>, std::string> subzoneLands = {
      {{1, "add_user"}, "USERS"},         {{1, "import"}, "GROUPS USERS"},
      {{1, "delete_zone"}, "store zone"}, {{1, "manage_role_assignments"}, "store"},
      {{2, "delete_zone"}, "store"},      {{2, "modify_computer_role"}, "store"},
  };
  const std::map<char, std::string> messages = {
      {'n', "Right not supported: "},
      {'u', "Unknown right: "},
      {'i', "Invalid right for this zone: "},
      {'c', "Right not supported for computer zone: "},
  };
  std::set<std::string> listed;
  for (const auto& row : rows) {
    std::istringstream names(row.rights);
    for (std::string right; names >> right;) {
      listed.insert(right);
      for (size_t i = 0; i < 5; ++i) {
        SCOPED_TRACE(right + " in " + zones[i]->getPath());
        Select(zones[i]);
        const auto before = Descriptors();
        const char outcome = row.outcomes[i];
        if (outcome != 'y') {
          EXPECT_EQ(messages.at(outcome) + right, MessageOf<kesh::BadDataException>([&] {
                      zones[i]->delegateRight(right, kAlice);
                    }));
          EXPECT_TRUE(Changed(before, Descriptors()).empty());
          continue;
        }
        zones[i]->delegateRight(right, kAlice);
        const std::vector<std::string> changed = Changed(before, Descriptors());
        EXPECT_FALSE(changed.empty());
        auto sub = subzoneLands.find({i, right});
        if (i != 0 && sub == subzoneLands.end()) continue;
        std::set<std::string> labels;
        for (const std::string& dn : changed) {
          labels.insert(Label(dn, zoneDns[i], store));
          EXPECT_NE(std::string::npos, Sddl(dn).find(kAliceSid)) << dn;
        }
        std::string got;
        for (const std::string& label : labels) got += (got.empty() ? "" : " ") + label;
        EXPECT_EQ(i == 0 ? row.lands : sub->second, got);
      }
    }
  }
  // Every name of the vocabulary has a row.
  for (const std::string& name : ZoneRightNames()) EXPECT_EQ(1u, listed.count(name)) << name;
}

TEST_F(ZoneRightsTest, NisServerGroupIsMadeAgainAndRefusalsOfZoneAndPrincipal) {
  const std::string group = "CN=zone_nis_servers,CN=Computers," + ZoneDn("Rights");
  kesh::ADObject stored = binding_->fetch(group, nullptr, AD_ALL_OBJECTS);
  binding_->remove(stored, false);
  tree_->delegateRight("nisservers", kAlice);
  ASSERT_TRUE(Exists(group));
  EXPECT_NE(std::string::npos, Sddl(group).find(kAliceSid));
  // An object of that name that is no group is refused.
  binding_->remove(stored, false);
  kesh::memdir::LoadLdif("dn: " + group + "\nobjectClass: container\n\n");

  // An SFU zone refuses the user and group rights before anything else.
  std::shared_ptr<TreeZone> sfu = NewTree(ZoneDn("Sfu"), SCHEMA_TYPE_SFU);
  const struct {
    std::shared_ptr<IZone> zone;
    const char* right;
    const char* principal;
    const char* message;
  } rows[] = {
      {sfu, "add_user", kAlice, "Right not supported for SFU zone: add_user"},
      {sfu, "change_group", kAlice, "Right not supported for SFU zone: change_group"},
      {tree_, "join", "staff-list@example.test",
       "Error: staff-list@example.test is a distribution group."},
      {tree_, "change_zone", "nobody@example.test", "Principal not found: nobody@example.test"},
      {tree_, "nisservers", kAlice, "zone_nis_servers is not a group"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    Select(row.zone);
    const auto before = Descriptors();
    EXPECT_EQ(row.message, MessageOf<std::exception>(
                               [&] { row.zone->delegateRight(row.right, row.principal); }));
    EXPECT_TRUE(Changed(before, Descriptors()).empty());
  }
  // Without a current zone the session's tests report it.
  tab_.zone.reset();
  EXPECT_EQ("Must set current zone",
            MessageOf<kesh::BadDataException>([&] { tree_->delegateRight("enable_qv", kAlice); }));
}

// The ACE texts of the DACL of `dn` whose trustee is `sid`, sorted.
std::vector<std::string> AcesOf(kesh::ADObject object, const std::string& sid) {
  std::vector<std::string> texts;
  SDPtr sd = GetSD(object);
  for (const kesh::ACEntry& ace : sd->dacl.aces) {
    if (ace.sid.toMSString() == sid) texts.push_back(ConvertAces({ace}));
  }
  std::sort(texts.begin(), texts.end());
  return texts;
}

TEST_F(ZoneRightsTest, NewZoneGivesItsCreatorTheCreatorEntries) {
  // The entries a zone's creator gets, written by hand on a plain container for comparison.
  const std::string plain = "CN=Plain," + std::string(zonetest::kZones);
  kesh::memdir::LoadLdif("dn: " + plain + "\nobjectClass: container\n\n");
  kesh::ADObject scratch = binding_->fetch(plain, nullptr, AD_ALL_OBJECTS);
  const std::vector<std::string> untouched = AcesOf(scratch, kAdministratorSid);
  DelegateRightBySDDL(scratch, "zone_creator", "Administrator@EXAMPLE.TEST", SCHEMA_TYPE_NONE);
  const std::vector<std::string> expected = AcesOf(scratch, kAdministratorSid);
  ASSERT_NE(untouched, expected);

  kesh::ADObject zone = binding_->binding->fetch(ZoneDn("Rights"), nullptr, AD_ALL_OBJECTS, 0);
  EXPECT_EQ(expected, AcesOf(zone, kAdministratorSid));
}

}  // namespace
