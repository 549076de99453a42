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
#include <string>
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

TEST_F(ZoneRightsTest, EveryRightLandsOnItsObject) {
  MakeEveryClass();
  const std::string treeDn = ZoneDn("Rights");
  const std::string machineDn = "CN=ws1.example.test:zone,CN=Computers," + treeDn;
  const std::string store = "CN=Authorization," + treeDn;
  // Zones: 't' the tree zone, 'm' its computer zone, 'a' its access zone.
  const std::map<char, std::pair<std::shared_ptr<IZone>, std::string>> zones = {
      {'t', {tree_, treeDn}}, {'m', {machine_, machineDn}}, {'a', {access_, treeDn}}};
  const struct {
    char zone;
    const char* right;
    const char* expected;  // labels of the changed objects, sorted, blank-separated
  } rows[] = {
      {'t', "join", "COMPUTERS"},
      {'t', "change_computer", "COMPUTERS"},
      {'t', "delete_computer", "COMPUTERS"},
      {'t', "add_user_group_to_computer_zone", "COMPUTERS"},
      {'t', "delete_user_group_from_computer_zone", "COMPUTERS"},
      {'t', "modify_user_group_in_computer_zone", "COMPUTERS"},
      {'t', "add_user", "USERS"},
      {'t', "delete_user", "USERS"},
      {'t', "change_user", "USERS"},
      {'t', "add_group", "GROUPS"},
      {'t', "delete_group", "GROUPS"},
      {'t', "change_group", "GROUPS"},
      {'t', "delete_zone", "zone"},
      {'t', "change_zone", "zone"},
      {'t', "nisservers", "nisservers"},
      {'t', "import", "GROUPS USERS"},
      {'t', "manage_roles_and_rights", "store"},
      {'t', "manage_role_assignments", "store"},
      {'t', "add_remove_nismap_entry", "NISMAPS"},
      {'t', "modify_nismap_entry", "NISMAPS"},
      {'t', "remove_nismap", "NISMAPS"},
      {'t', "add_nismap", "NISMAPS"},
      {'t', "add_computer_zone", "COMPUTERS store"},
      {'t', "add_computer_role", "COMPUTERS store"},
      {'t', "delete_computer_zone", "COMPUTERS store"},
      {'t', "delete_computer_role", "COMPUTERS store"},
      {'t', "delegate_permission_for_computer_zone", "COMPUTERS store"},
      // A computer zone: its own containers and object, and its scope in the parent's store.
      {'m', "add_user", "USERS"},
      {'m', "import", "GROUPS USERS"},
      {'m', "delete_zone", "store zone"},
      {'m', "manage_role_assignments", "store"},
      // An access zone: its scope.
      {'a', "delete_zone", "store"},
      {'a', "modify_computer_role", "store"},
  };
  for (const auto& row : rows) {
    const std::shared_ptr<IZone>& zone = zones.at(row.zone).first;
    const std::string& zoneDn = zones.at(row.zone).second;
    SCOPED_TRACE(std::string(row.right) + " in " + zone->getPath());
    Select(zone);
    const auto before = Descriptors();
    zone->delegateRight(row.right, kAlice);
    std::set<std::string> labels;
    for (const std::string& dn : Changed(before, Descriptors())) {
      labels.insert(Label(dn, zoneDn, store));
      EXPECT_NE(std::string::npos, Sddl(dn).find(kAliceSid)) << dn;
    }
    std::string got;
    for (const std::string& label : labels) got += (got.empty() ? "" : " ") + label;
    EXPECT_EQ(row.expected, got);
  }
  // Every name of the vocabulary has a row above for the tree zone but the two refused there.
  for (const std::string& name : ZoneRightNames()) {
    bool listed = std::any_of(std::begin(rows), std::end(rows), [&](const auto& row) {
      return row.zone == 't' && name == row.right;
    });
    EXPECT_TRUE(listed || name == "enable_qv" || name == "modify_computer_role") << name;
  }
}

TEST_F(ZoneRightsTest, EachClassCarriesOutOrRefusesEveryRight) {
  MakeEveryClass();
  // Columns: tree, computer, access, classic, classic computer. 'y' carried out (some
  // descriptor changes); 'n' "Right not supported", 'u' "Unknown right", 'i' "Invalid right
  // for this zone", 'c' "Right not supported for computer zone" (nothing changes).
  const std::shared_ptr<IZone> zones[] = {tree_, machine_, access_, classic_, classicMachine_};
  const struct {
    const char* right;
    const char* outcomes;
  } rows[] = {
      {"join", "ynnyn"},
      {"change_computer", "ynnyn"},
      {"delete_computer", "ynnyn"},
      {"add_user_group_to_computer_zone", "ynuyn"},
      {"delete_user_group_from_computer_zone", "ynuyn"},
      {"modify_user_group_in_computer_zone", "ynuyn"},
      {"add_user", "yynyn"},
      {"delete_user", "yynyn"},
      {"change_user", "yynyn"},
      {"add_group", "yynyn"},
      {"delete_group", "yynyn"},
      {"change_group", "yynyn"},
      {"delete_zone", "yyyyy"},
      {"change_zone", "yynyy"},
      {"enable_qv", "iinyi"},
      {"nisservers", "ynnyn"},
      {"import", "yynyn"},
      {"manage_roles_and_rights", "ycnyc"},
      {"manage_role_assignments", "yyyyy"},
      {"add_remove_nismap_entry", "ynnyn"},
      {"modify_nismap_entry", "ynnyn"},
      {"remove_nismap", "ynnyn"},
      {"add_nismap", "ynuyn"},
      {"add_computer_zone", "ynuyn"},
      {"add_computer_role", "ynuyn"},
      {"delete_computer_zone", "ynuyn"},
      {"delete_computer_role", "ynuyn"},
      {"delegate_permission_for_computer_zone", "ynuyn"},
      {"modify_computer_role", "nnynn"},
      {"frob", "uuuuu"},
  };
  const std::map<char, std::string> messages = {
      {'n', "Right not supported: "},
      {'u', "Unknown right: "},
      {'i', "Invalid right for this zone: "},
      {'c', "Right not supported for computer zone: "},
  };
  for (const auto& row : rows) {
    for (size_t i = 0; i < 5; ++i) {
      SCOPED_TRACE(std::string(row.right) + " in " + zones[i]->getPath());
      Select(zones[i]);
      const auto before = Descriptors();
      const char outcome = row.outcomes[i];
      if (outcome == 'y') {
        zones[i]->delegateRight(row.right, kAlice);
        EXPECT_FALSE(Changed(before, Descriptors()).empty());
      } else {
        EXPECT_EQ(messages.at(outcome) + row.right, MessageOf<kesh::BadDataException>([&] {
                    zones[i]->delegateRight(row.right, kAlice);
                  }));
        EXPECT_TRUE(Changed(before, Descriptors()).empty());
      }
    }
  }
}

TEST_F(ZoneRightsTest, RefusalsThatDependOnTheZoneAndThePrincipal) {
  // An SFU zone refuses the user and group rights before anything else.
  std::shared_ptr<TreeZone> sfu = NewTree(ZoneDn("Sfu"), SCHEMA_TYPE_SFU);
  Select(sfu);
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
      {tree_, "nisservers", "nobody@example.test", "Principal not found: nobody@example.test"},
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

TEST_F(ZoneRightsTest, NisServerGroupIsMadeAgainOrMustBeAGroup) {
  const std::string group = "CN=zone_nis_servers,CN=Computers," + ZoneDn("Rights");
  kesh::ADObject stored = binding_->fetch(group, nullptr, AD_ALL_OBJECTS);
  binding_->remove(stored, false);
  ASSERT_FALSE(Exists(group));
  tree_->delegateRight("nisservers", kAlice);
  ASSERT_TRUE(Exists(group));
  EXPECT_NE(std::string::npos, Sddl(group).find(kAliceSid));

  // An object of that name that is no group is refused.
  binding_->remove(stored, false);
  kesh::memdir::LoadLdif("dn: " + group + "\nobjectClass: container\n\n");
  const auto before = Descriptors();
  EXPECT_EQ("zone_nis_servers is not a group",
            MessageOf<kesh::BadDataException>([&] { tree_->delegateRight("nisservers", kAlice); }));
  EXPECT_TRUE(Changed(before, Descriptors()).empty());
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
