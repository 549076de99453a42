// Role assignments against the in-memory directory: the text form, the stored objects of
// both store variants and their reading, the searches, the duplicate checks, foreign
// principals, and the delegation of store rights by a scope.
#include "authorization/assignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "authorization/qv.h"
#include "authorization/role.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sam_parser.h"
#include "memdir_session.h"
#include "security/sddl.h"

namespace {

using memtest::MessageOf;
using AssignmentList = std::list<std::shared_ptr<Assignment>>;

const char kZone[] = "CN=ZoneA,CN=Program Data,DC=example,DC=test";
const char kAlice[] = "CN=Alice Able,CN=Users,DC=example,DC=test";
const char kAdmins[] = "CN=UNIX Admins,CN=Users,DC=example,DC=test";
const char kOlivia[] = "CN=Olivia Olsen,CN=Users,DC=other,DC=test";

TEST(ParseAssignmentTest, FormsAndRefusals) {
  const char kKeep[] = "untouched";
  struct Case {
    const char* text;
    const char* principal;
    const char* role;
    const char* sid;
    const char* cn;
  } good[] = {
      {"all ad users/role1", "all ad users", "role1", kKeep, kKeep},
      {"All AD Users/role1/zoneA", "all ad users", "role1/zoneA", kKeep, kKeep},
      {"ALL UNIX USERS/r", "all unix users", "r", kKeep, kKeep},
      {"alice@example.test/role1", "alice@example.test", "role1", kKeep, kKeep},
      {"a/b@example.test/role1/zoneA", "a/b@example.test", "role1/zoneA", kKeep, kKeep},
      {"#1000@localhost/r", "#1000@localhost", "r", kKeep, kKeep},
      {"*S-1-5-21-1-2-3-500/role1/z", kKeep, "role1/z", "S-1-5-21-1-2-3-500", kKeep},
      {"!CRA_abc", kKeep, kKeep, kKeep, "CRA_abc"},
  };
  for (const Case& c : good) {
    SCOPED_TRACE(c.text);
    std::string principal = kKeep, role = kKeep, sid = kKeep, cn = kKeep;
    ParseAssignment(c.text, principal, role, sid, cn);
    EXPECT_EQ(principal, c.principal);
    EXPECT_EQ(role, c.role);
    EXPECT_EQ(sid, c.sid);
    EXPECT_EQ(cn, c.cn);
  }

  struct Bad {
    const char* text;
    const char* message;
  } bad[] = {
      {"", "No assignment specified"},
      {"all ad users", "No role specified"},
      {"alice@example.test", "No role specified"},
      {"a/b@example.test", "No role specified"},
      {"!CRA@abc", "No role specified"},
      {"*S-1-5-21-1-2-3-500", "No role specified"},
      {"alice/role1", "Bad assignment format"},
      {"all users/role1", "Bad assignment format"},
  };
  for (const Bad& b : bad) {
    SCOPED_TRACE(b.text);
    std::string principal = kKeep, role = kKeep, sid = kKeep, cn = kKeep;
    EXPECT_EQ(MessageOf<kesh::BadDataException>(
                  [&] { ParseAssignment(b.text, principal, role, sid, cn); }),
              b.message);
    EXPECT_EQ(principal + role + sid + cn, std::string(kKeep) + kKeep + kKeep + kKeep);
  }
}

// A store in ZoneA with its null scope, and roles in its task container.
class AssignmentTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    kesh::memdir::LoadLdif(std::string("dn: ") + kZone + "\nobjectClass: container\n");
    binding_ = Bind("example.test");
  }

  void Open(int version) {
    azStore_ = QVStore::Create(binding_, kesh::ADObject(kZone), version);
    azScope_ = azStore_->openNullScope();
    role1_ = AddRole("role-one");
    role2_ = AddRole("role-two");
  }

  std::string AddRole(const std::string& cn) {
    kesh::ADObject role = kesh::LDAPBinding::createChild(azStore_->taskContainerDn(), cn, "cn");
    role[AD_OBJECT_CLASS] = AZ_CLASS_TASK;
    binding_->add(role);
    return role.dn();
  }

  // A saved assignment of `roleDn` to `principal`.
  std::shared_ptr<Assignment> Create(const std::string& principal, const std::string& ptype,
                                     const std::string& roleDn, long from = 0, long to = 0,
                                     const std::string& description = "") {
    auto a = NewAssignment(principal, ptype, roleDn);
    a->from = from;
    a->to = to;
    if (!description.empty()) (*a->object)[AD_DESCRIPTION] = description;
    azScope_->createAssignment(a);
    a->isNew = false;
    return a;
  }
  std::shared_ptr<Assignment> NewAssignment(const std::string& principal, const std::string& ptype,
                                            const std::string& roleDn) {
    auto a = std::make_shared<Assignment>();
    a->isNew = true;
    a->principal = principal;
    a->ptype = ptype;
    a->roleDn = roleDn;
    return a;
  }

  size_t StoredCount() {
    return binding_
        ->search(AD_ALL_OBJECTS, azScope_->roleContainerDn(), nullptr, kesh::SCOPE_ONE, 0)
        .size();
  }

  std::shared_ptr<QVStore> azStore_;
  std::shared_ptr<QVScope> azScope_;
  std::string role1_, role2_;
};

TEST_F(AssignmentTest, RoleNameAndLocalRules) {
  Open(2);
  Assignment a;
  EXPECT_EQ(a.getRoleName(), "");
  a.roleDn = role1_;
  EXPECT_EQ(a.getRoleName(), "one/ZoneA");

  struct Case {
    bool allowLocalUser;
    const char* principal;
    const char* ptype;
    bool refused;
  } cases[] = {
      {false, "all unix users", "x", true}, {false, "all ad users", "a", false},
      {false, "jdoe@localhost", "#", true}, {false, "%staff@localhost", "%", true},
      {true, "jdoe@localhost", "#", false}, {true, "all unix users", "x", false},
      {false, kAlice, "u", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.principal);
    QVNGRole role(kesh::ADObject(role2_), azScope_, false);
    role.allowLocalUser = c.allowLocalUser;
    Assignment b;
    b.principal = c.principal;
    b.ptype = c.ptype;
    if (c.refused) {
      EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { b.setRole(role); }),
                "Role is not allowed to be assigned to local user/group");
      EXPECT_EQ(b.roleDn, "");
    } else {
      b.setRole(role);
      EXPECT_EQ(b.roleDn, role2_);
    }
  }
}

TEST_F(AssignmentTest, StoredFormAndReadingOfEachPrincipalKind) {
  struct Case {
    int version;
    const char* principal;
    const char* ptype;
    const char* members;      // msDS-MembersForAzRole, "" absent
    const char* displayName;  // "" absent
    const char* readPrincipal;
  } cases[] = {
      {1, kAlice, "u", kAlice, "", kAlice},
      {1, kAdmins, "g", kAdmins, "", kAdmins},
      {2, kAlice, "u", kAlice, "", kAlice},
      {2, kAdmins, "g", kAdmins, "", kAdmins},
      {2, "all ad users", "a", "", "allAD", "all ad users"},
      {2, "all unix users", "x", "", "allUnix", "all unix users"},
      {2, "jdoe@localhost", "#", "", "jdoe@localhost", "jdoe@localhost"},
      {2, "#1000@localhost", "#", "", "#1000@localhost", "#1000@localhost"},
      {2, "%staff@localhost", "%", "", "%staff@localhost", "%staff@localhost"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.version) + " " + c.principal);
    SetUp();
    Open(c.version);
    auto a = Create(c.principal, c.ptype, role1_, 1700000000, 1800000000, "on call");

    kesh::ADObject o = Stored(a->object->dn());
    EXPECT_TRUE(kesh::DN::equal(kesh::DN::parent(o.dn()), azScope_->roleContainerDn()));
    EXPECT_TRUE(kesh::DN::equal(
        azScope_->roleContainerDn(),
        "CN=AzRoleObjectContainer-" + azStore_->applicationCn + "," + azStore_->application->dn()));
    const std::string cn = o.firstValue(AD_CN);
    ASSERT_EQ(cn.substr(0, 4), "CRA_");
    EXPECT_EQ(kesh::Guid::fromRealMSString(cn.substr(4)).toRealMSString(), cn.substr(4));
    const std::vector<std::string>& classes = o[AD_OBJECT_CLASS].values();
    EXPECT_NE(std::find(classes.begin(), classes.end(), "msDS-AzRole"), classes.end());
    EXPECT_EQ(o.firstValue(AZ_ROLE_TASKS), role1_);
    EXPECT_EQ(o.firstValue(AZ_ROLE_MEMBERS), c.members);
    EXPECT_EQ(o.firstValue(AD_DISPLAY_NAME), c.displayName);
    EXPECT_EQ(o.firstValue(AD_DESCRIPTION), "on call");
    long from = 0, to = 0;
    std::string ptype = "unset";
    if (c.version == 1) {
      sam::SamParser::ParseV1AssignmentData(o.firstValue(AZ_APP_DATA), from, to);
      ptype = "";
    } else {
      sam::SamParser::ParseV2AssignmentData(o.firstValue(AZ_APP_DATA), from, to, ptype);
    }
    EXPECT_EQ(from, 1700000000);
    EXPECT_EQ(to, 1800000000);
    EXPECT_EQ(ptype, c.version == 1 ? "" : c.ptype);

    std::shared_ptr<Assignment> read = azScope_->getAssignmentByADCN(cn);
    EXPECT_FALSE(read->isNew);
    EXPECT_EQ(read->principal, c.readPrincipal);
    EXPECT_EQ(read->ptype, ptype);
    EXPECT_EQ(read->roleDn, role1_);
    EXPECT_EQ(read->from, 1700000000);
    EXPECT_EQ(read->to, 1800000000);
    EXPECT_EQ(read->scope, azScope_);

    azScope_->deleteAssignment(read);
    EXPECT_FALSE(Exists(o.dn()));
  }
}

TEST_F(AssignmentTest, SearchesByName) {
  const std::string star =
      binding_->search("(sAMAccountName=starry)", "DC=example,DC=test", nullptr, kesh::SCOPE_SUB, 0)
          .front()
          .dn();
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    Open(version);
    Create(kAlice, "u", role1_);
    Create(kAlice, "u", role2_);
    Create(star, "u", role1_);
    if (version == 2) {
      Create("all ad users", "a", role1_);
      Create("all unix users", "x", role1_);
      Create("jdoe@localhost", "#", role1_);
      Create("%staff@localhost", "%", role2_);
    }
    struct Case {
      std::string name;
      size_t classic, hierarchical;
    } cases[] = {
        {kAlice, 2, 2},
        {star, 1, 1},  // the name's "*", "(", ")" and "\" are escaped
        {"all ad users", 0, 1},
        {"ALL AD USERS", 0, 1},
        {"All Unix Users", 0, 1},
        {"jdoe@localhost", 0, 1},
        {"%staff@localhost", 0, 1},
        {"*", 0, 0},
    };
    for (const Case& c : cases) {
      SCOPED_TRACE(c.name);
      AssignmentList list;
      azScope_->getAssignments(c.name, list);
      EXPECT_EQ(list.size(), version == 1 ? c.classic : c.hierarchical);
    }
    AssignmentList all;
    azScope_->getAllAssignments(all, nullptr);
    EXPECT_EQ(all.size(), version == 1 ? 3u : 7u);
    AssignmentList alice;
    kesh::ADObject aliceObject = Stored(kAlice);
    azScope_->getAssignments(aliceObject, alice);
    EXPECT_EQ(alice.size(), 2u);
    EXPECT_EQ(
        MessageOf<kesh::NotFoundException>([&] { azScope_->getAssignmentByADCN("CRA_none"); }),
        "could not find assignment entry");
  }
}

TEST_F(AssignmentTest, DuplicatesAreRefusedAndUnchangedRolesPass) {
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    Open(version);
    auto saved = Create(kAlice, "u", role1_);
    std::vector<std::shared_ptr<Assignment>> duplicates = {
        NewAssignment(kAlice, "u", kesh::upper(role1_)),
        NewAssignment(kAlice, "u", kesh::lower(role1_)),
    };
    if (version == 2) {
      Create("jdoe@localhost", "#", role1_);
      Create("all ad users", "a", role1_);
      duplicates.push_back(NewAssignment("jdoe@localhost", "#", kesh::upper(role1_)));
      duplicates.push_back(NewAssignment("all ad users", "a", role1_));
      // Another local user with the same role is not a duplicate.
      Create("#1000@localhost", "#", role1_);
    }
    const size_t stored = StoredCount();
    for (auto& d : duplicates) {
      SCOPED_TRACE(d->principal + " " + d->roleDn);
      EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { azScope_->createAssignment(d); }),
                "Role assignment already exists");
    }
    EXPECT_EQ(StoredCount(), stored);

    // New times with the same role pass; a role the principal holds already does not.
    saved->from = 1700000000;
    azScope_->updateAssignment(saved);
    long from = 0, to = 0;
    std::string ptype;
    const std::string data = Stored(saved->object->dn()).firstValue(AZ_APP_DATA);
    if (version == 1) {
      sam::SamParser::ParseV1AssignmentData(data, from, to);
    } else {
      sam::SamParser::ParseV2AssignmentData(data, from, to, ptype);
    }
    EXPECT_EQ(from, 1700000000);
    auto other = Create(kAlice, "u", role2_);
    other->roleDn = kesh::upper(role1_);
    EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { azScope_->updateAssignment(other); }),
              "Role assignment already exists");
    EXPECT_EQ(Stored(other->object->dn()).firstValue(AZ_ROLE_TASKS), role2_);

    auto fresh = NewAssignment(kAdmins, "g", role1_);
    EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { azScope_->updateAssignment(fresh); }),
              "Can not update new role assignment");
    EXPECT_EQ(
        MessageOf<kesh::BadDataException>([&] { azScope_->createAssignment(saved); }),
        version == 1 ? "Can not create old role assignment" : "Cannot create old role assignment");
  }
}

TEST_F(AssignmentTest, ClassicZonesTakeOnlyDirectoryPrincipals) {
  Open(1);
  struct Case {
    const char* principal;
    const char* ptype;
  } cases[] = {{"all ad users", "a"},
               {"all unix users", "x"},
               {"jdoe@localhost", "#"},
               {"%staff@localhost", "%"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.principal);
    auto a = NewAssignment(c.principal, c.ptype, role1_);
    EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { azScope_->createAssignment(a); }),
              "Role in classic zone can only be assigned to aduser/adgroup.");
  }
  EXPECT_EQ(StoredCount(), 0u);
}

TEST_F(AssignmentTest, PrincipalOfAnotherForestGoesBySid) {
  // Olivia of the forest other.test is a foreign security principal in example.test.
  const std::string fsp =
      "CN=S-1-5-21-1004336348-1177238915-682003330-1104,CN=ForeignSecurityPrincipals,"
      "DC=example,DC=test";
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    memtest::LoadFixture("other.ldif");
    Bind("other.test");
    Open(version);
    struct Case {
      std::string principal, member;
    } cases[] = {
        {kOlivia, "<SID=S-1-5-21-1004336348-1177238915-682003330-1104>"},
        {kAlice, kAlice},
        {fsp, fsp},
    };
    for (const Case& c : cases) {
      SCOPED_TRACE(c.principal);
      auto a = NewAssignment(c.principal, "u", role1_);
      EXPECT_EQ(azScope_->getAssignmentRoleField(*a), c.member);
    }
    // Stored as the directory resolves the SID, the assignment is found by the foreign
    // security principal's DN, and a second one is refused.
    Create(fsp, "u", role1_);
    kesh::ADObject olivia = GetADObjectByDN(kOlivia);
    AssignmentList found;
    azScope_->getAssignments(olivia, found);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(kesh::DN::equal(found.front()->principal, fsp));
    auto again = NewAssignment(kOlivia, "u", role1_);
    EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { azScope_->createAssignment(again); }),
              "Role assignment already exists");
  }
}

TEST_F(AssignmentTest, DelegatedStoreRightsReachTheirObjects) {
  const std::string aliceSid = "S-1-5-21-3623811015-3361044348-30300820-1101";
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    Open(version);
    const std::string app = azStore_->application->dn();
    const std::string adminManager = azStore_->adminManager->dn();
    const std::string tasks = azStore_->taskContainerDn();
    const std::string operations = azStore_->operationContainerDn();
    // Each right's objects, and on each the number of entries it gains for alice.
    struct Case {
      const char* right;
      std::vector<std::pair<std::string, size_t>> objects;
    } cases[] = {
        {"manage_roles_and_rights", {{tasks, 8}, {operations, 7}, {adminManager, 2}}},
        {"manage_role_assignments", {{adminManager, 9}}},
        {"add_computer_role", {{adminManager, 1}, {app, 3}}},
        {"delete_computer_zone", {{app, 1}}},
        {"delegate_permission_for_computer_zone", {{adminManager, 1}, {app, 2}}},
        {"join", {{app, 3}}},
    };
    for (const Case& c : cases) {
      SCOPED_TRACE(c.right);
      auto count = [&](const std::string& dn) {
        kesh::ADObject o = Stored(dn);
        SDPtr sd = GetSD(o);
        size_t n = 0;
        for (const kesh::ACEntry& ace : sd->dacl.aces) n += ace.sid.toMSString() == aliceSid;
        return n;
      };
      std::vector<size_t> before;
      for (const auto& o : c.objects) before.push_back(count(o.first));
      azScope_->delegateRight(c.right, "alice@example.test");
      for (size_t i = 0; i < c.objects.size(); ++i) {
        SCOPED_TRACE(c.objects[i].first);
        EXPECT_EQ(count(c.objects[i].first) - before[i], c.objects[i].second);
      }
    }
    if (version == 1) {
      EXPECT_EQ(MessageOf<kesh::BadDataException>(
                    [&] { azScope_->delegateRight("modify_computer_role", "alice@example.test"); }),
                "Right modify_computer_role is not used in classic zone");
    } else {
      azScope_->delegateRight("modify_computer_role", "alice@example.test");
    }
  }
}

}  // namespace
