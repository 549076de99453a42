// The objects a new store starts with, against the in-memory directory: the PAM rights and
// roles of a hierarchical store, the PAM rights of a classic store, and the descriptor of a
// classic store's admin manager.
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/library/constants.h"
#include "directory/library/guid.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "memdir_session.h"
#include "security/sddl.h"

namespace {

const char kZone[] = "CN=DefaultsZone,CN=Program Data,DC=example,DC=test";
const char kPamOperationId[] = "33554433";  // 0x2000001

// The cn of the first RDN of `dn`, lower-cased.
std::string LowerCnOf(const std::string& dn) { return kesh::lower(dn.substr(3, dn.find(',') - 3)); }

class DefaultObjectsTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    kesh::memdir::LoadLdif(std::string("dn: ") + kZone + "\nobjectClass: container\n");
    binding_ = Bind("example.test");
  }
  // The children of `dn` by cn.
  std::map<std::string, kesh::ADObject> Children(const std::string& dn) {
    std::map<std::string, kesh::ADObject> out;
    kesh::ADObject parent(dn);
    for (kesh::ADObject& child : binding_->children(parent, nullptr))
      out[child.firstValue(AD_CN)] = child;
    return out;
  }
};

TEST_F(DefaultObjectsTest, HierarchicalStoreHoldsItsRightsAndRoles) {
  const struct {
    const char* cn;
    const char* app;
    const char* description;
  } rights[] = {
      {"pam-login-all", "*", "Predefined global PAM permission. Do not delete"},
      {"pam-ssh", "ssh", "PAM application for: ssh - on Ubuntu 6, 7"},
      {"pam-sshd", "sshd",
       "PAM application for: ssh - on all Linux and UNIX systems except Ubuntu 6, 7"},
      {"pam-qvssh-all", "qvssh-*", "All of ssh services"},
      {"pam-qvssh-shell", "qvssh-shell", "Terminal tty/pty"},
      {"pam-qvssh-exec", "qvssh-exec", "Command execution"},
      {"pam-qvssh-scp", "qvssh-scp", "scp"},
      {"pam-qvssh-sftp", "qvssh-sftp", "sftp"},
      {"pam-qvssh-direct-tcpip", "qvssh-direct-tcpip",
       "Local/Dynamic port forwarding, ssh -L, ssh -D"},
      {"pam-qvssh-tcpip-forward", "qvssh-tcpip-forward", "Remote port forwarding, ssh -R"},
      {"pam-qvssh-tunnel", "qvssh-tunnel", "Tunnel device forwarding"},
      {"pam-qvssh-x11-forwarding", "qvssh-x11-forwarding", "X11 forwarding"},
      {"pam-qvssh-subsystem", "qvssh-subsystem", "External subsystem, except subsystem sftp"},
  };
  const struct {
    const char* cn;
    unsigned sysrights;
    bool allowLocalUser;
    std::set<std::string> rights;
    const char* description;
  } roles[] = {
      {"role-listed", 0, false, {}, "Predefined system role for visible but non-login users."},
      {"role-always permit login",
       64,
       true,
       {},
       "Predefined system role for users who are allowed to log in even when Auvelle is not "
       "functioning."},
      {"role-require MFA for login",
       512,
       false,
       {},
       "Predefined system role for multi-factor authentication of users during login. Users "
       "must be enrolled in the Norvane Cloud."},
      {"role-UNIX Login",
       11,
       false,
       {"pam-login-all"},
       "Predefined system role for general UNIX login users."},
      {"role-scp",
       11,
       false,
       {"pam-ssh", "pam-sshd", "pam-qvssh-scp"},
       "Predefined system role for granting scp right without explicit SSH login."},
      {"role-sftp",
       11,
       false,
       {"pam-ssh", "pam-sshd", "pam-qvssh-sftp"},
       "Predefined system role for granting sftp right without explicit SSH login."},
      {"role-winscp",
       11,
       false,
       {"pam-ssh", "pam-sshd", "pam-qvssh-shell"},
       "Predefined system role for granting winscp right."},
  };

  auto store = QVStore::Create(binding_, kesh::ADObject(kZone), 2);
  std::map<std::string, kesh::ADObject> ops = Children(store->operationContainerDn());
  EXPECT_EQ(ops.size(), std::size(rights));
  for (const auto& r : rights) {
    SCOPED_TRACE(r.cn);
    ASSERT_EQ(ops.count(r.cn), 1u);
    const kesh::ADObject& o = ops[r.cn];
    EXPECT_EQ(o.firstValue(AZ_OPERATION_ID), kPamOperationId);
    EXPECT_EQ(o.firstValue(AZ_APP_DATA), std::string("app=") + r.app);
    EXPECT_EQ(o.firstValue(AZ_APP_DATA), sam::SamParser::WriteV2PamData(r.app));
    EXPECT_EQ(o.firstValue(AD_DESCRIPTION), r.description);
  }

  std::map<std::string, kesh::ADObject> tasks = Children(store->taskContainerDn());
  EXPECT_EQ(tasks.size(), std::size(roles));
  for (const auto& r : roles) {
    SCOPED_TRACE(r.cn);
    ASSERT_EQ(tasks.count(r.cn), 1u);
    const kesh::ADObject& o = tasks[r.cn];
    EXPECT_EQ(kesh::upper(o.firstValue(AZ_TASK_IS_ROLE)), "TRUE");
    std::set<std::string> linked;
    for (const std::string& dn : ValuesOf(o, AZ_TASK_OPS)) {
      EXPECT_EQ(kesh::lower(kesh::LDAPBinding::parent(dn)),
                kesh::lower(store->operationContainerDn()));
      linked.insert(LowerCnOf(dn));
    }
    std::set<std::string> expected;
    for (const std::string& cn : r.rights) expected.insert(kesh::lower(cn));
    EXPECT_EQ(linked, expected);
    std::string timebox = "x";
    unsigned sysrights = 0;
    bool allowLocalUser = false, visible = false;
    sam::SamParser::ParseV2RoleData(o.firstValue(AZ_APP_DATA), timebox, sysrights, allowLocalUser,
                                    visible);
    EXPECT_EQ(TimeboxText(timebox), std::string(42, '0'));
    EXPECT_EQ(sysrights, r.sysrights);
    EXPECT_EQ(allowLocalUser, r.allowLocalUser);
    EXPECT_TRUE(visible);
    EXPECT_EQ(o.firstValue(AD_DESCRIPTION), r.description);
  }

  // Through the store's own operations: the login role grants every application.
  std::list<std::shared_ptr<QVRight>> granted;
  store->openNullScope()->findRole("UNIX Login")->getRoleRights(granted);
  ASSERT_EQ(granted.size(), 1u);
  EXPECT_EQ(granted.front()->getName(), "login-all");
}

TEST_F(DefaultObjectsTest, ClassicStoreHoldsEachApplicationOnceAndGivesTheCreatorItsStore) {
  const std::map<std::string, std::string> apps = {
      {"ftp", "PAM application for ftp on Solaris, HP-UX, Debian, IRIX, CentOS, Ubuntu"},
      {"login",
       "PAM application for: telnet - on Debian, Ubuntu, HPUX, SuSE. rlogin - on HPUX, SuSE 11. "
       "rsh - on HPUX"},
      {"remote",
       "PAM application for: telnet - on RedHat, Fedora, CentOS, ESX 3.5, Oracle Linux, "
       "Scientific Linux. rlogin - on RedHat, Fedora, CentOS. rsh - on RedHat, Fedora, CentOS"},
      {"sshd-kbdint", "PAM application for ssh on Solaris 10."},
      {"dtlogin",
       "PAM application for logging in from the UI on Solaris and HP-UX for the Common Desktop "
       "Environment (CDE)"},
      {"pure-ftpd", "PAM application for ftp on SuSE 9"},
      {"gdm",
       "PAM application for logging in from the UI on RedHat 9, Debian 4, RedHat Enterprise "
       "Desktop 5.2, Oracle Linux 5, Fedora, CentOS, Scientific Linux. Ubuntu"},
      {"vsftpd",
       "PAM application for ftp on RedHat 9, RedHat Enterprise Desktop 5.2, ESX 3.5, Oracle "
       "Linux 5, Fedora, Scientific Linux"},
      {"rlogin", "PAM application for: rlogin - on SuSE, Solaris. rsh - on SuSE, Solaris"},
      {"xdm", "PAM application for logging in from the UI on IRIX and SuSE 9."},
      {"sshd",
       "PAM application for: ssh - on all Linux and UNIX systems except Debian, AIX, and Ubuntu "
       "6, 7"},
      {"ssh", "PAM application for: ssh - on Debian, Ubuntu 6, 7"},
      {"gdm-password", "PAM application for logging in from the UI on RHEL6.x"},
      {"su", "PAM application for su on all Linux and UNIX servers."},
  };
  auto store = QVStore::Create(binding_, kesh::ADObject(kZone), 1);
  std::map<std::string, int> seen;
  for (auto& [cn, o] : Children(store->operationContainerDn())) {
    SCOPED_TRACE(cn);
    ASSERT_EQ(cn.substr(0, 4), "pam-");
    const std::string guid = cn.substr(4);
    EXPECT_EQ(kesh::Guid::fromRealMSString(guid).toRealMSString(), guid);
    EXPECT_EQ(o.firstValue(AZ_OPERATION_ID), kPamOperationId);
    std::string app;
    sam::SamParser::ParseV1PamData(o.firstValue(AZ_APP_DATA), app);
    ++seen[app];
    ASSERT_EQ(apps.count(app), 1u) << app;
    EXPECT_EQ(o.firstValue(AD_DESCRIPTION), apps.at(app));
  }
  EXPECT_EQ(seen.size(), apps.size());
  for (const auto& [app, count] : seen) EXPECT_EQ(count, 1) << app;
  EXPECT_TRUE(Children(store->taskContainerDn()).empty());

  // The creator (the binding's Administrator) has full control of the store; no "LA" is left.
  kesh::ADObject manager = binding_->fetch(store->adminManager->dn(), nullptr, AD_ALL_OBJECTS);
  SDPtr sd = GetSD(manager, kesh::SID());
  const std::string sddl = SDToString(sd, kesh::SID());
  const std::string admin =
      binding_->fetch("CN=Administrator,CN=Users,DC=example,DC=test", nullptr, AD_ALL_OBJECTS)
          .sid()
          .toMSString();
  EXPECT_NE(sddl.find("(A;CI;SDRCWDWOCCDCLCSWRPWPDTLOCR;;;" + admin + ")"), std::string::npos)
      << sddl;
  EXPECT_EQ(sddl.find(";LA)"), std::string::npos) << sddl;
  EXPECT_NE(sddl.find("(A;CI;RCLCRPLO;;;WD)"), std::string::npos) << sddl;
}

}  // namespace
