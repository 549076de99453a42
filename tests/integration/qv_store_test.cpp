// The authorization store on the local Samba DC through the LDAP backend: a store of each
// variant is created below a fresh container, let go (its time stamps written), opened
// again, given a scope that is listed and deleted, and read back with ldapsearch.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "dc_session.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "directory/session.h"

namespace conformance {
namespace {

std::string DecodeBase64(const std::string& text) {
  static const std::string digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  int bits = 0, buffer = 0;
  for (char c : text) {
    size_t d = digits.find(c);
    if (d == std::string::npos) continue;  // padding
    buffer = (buffer << 6) | int(d);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += char((buffer >> bits) & 0xff);
    }
  }
  return out;
}

// Entries by lower-cased DN, each attribute (lower-cased name) with its values.
using Entries = std::map<std::string, std::map<std::string, std::vector<std::string>>>;

// ldapsearch (GSSAPI, the rig's ticket) of the subtree below `base`, as the DC's own
// reference tool reads it. Under the sanitizer build the tool gets the rig's wrappers alone.
Entries Search(const std::string& base, const std::vector<std::string>& attrs) {
  if (const char* child = getenv("ZS_CHILD_PRELOAD")) setenv("LD_PRELOAD", child, 1);
  std::string command = "ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H ldap://" +
                        Env("ZS_DC_HOST") + " -s sub -b '" + base + "' '(objectClass=*)'";
  for (const std::string& a : attrs) command += " " + a;
  command += " 2>&1";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  EXPECT_NE(pipe, nullptr) << command;
  Entries entries;
  if (!pipe) return entries;
  std::string dn, line;
  char buffer[4096];
  while (fgets(buffer, sizeof buffer, pipe.get())) {
    line = buffer;
    if (!line.empty() && line.back() == '\n') line.pop_back();
    size_t colon = line.find(':');
    if (line.empty() || colon == std::string::npos) continue;
    std::string name = kesh::lower(line.substr(0, colon));
    bool base64 = colon + 1 < line.size() && line[colon + 1] == ':';
    std::string value = line.substr(colon + (base64 ? 2 : 1));
    if (!value.empty() && value[0] == ' ') value.erase(0, 1);
    if (base64) value = DecodeBase64(value);
    if (name == "dn") {
      dn = kesh::lower(value);
      entries[dn];
    } else if (!dn.empty()) {
      entries[dn][name].push_back(value);
    }
  }
  return entries;
}

const std::vector<std::string> kAttributes = {"objectClass",
                                              "description",
                                              "msDS-AzApplicationName",
                                              "msDS-AzApplicationVersion",
                                              "msDS-AzMajorVersion",
                                              "msDS-AzMinorVersion",
                                              "msDS-AzScopeName",
                                              "displayName",
                                              "wbemPath",
                                              "msDS-AzApplicationData"};

class QVStoreOnDcTest : public DcSessionTest {
 protected:
  // A fresh container standing in for a zone object.
  kesh::ADObject NewZone() { return Add("QVZone", "container"); }
};

TEST_F(QVStoreOnDcTest, BothVariantsAsTheDcStoresThem) {
  if (!binding_) return;
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    kesh::ADObject zone = NewZone();
    const time_t before = time(nullptr);
    std::string g = QVStore::Create(binding_, zone, version)->applicationCn;
    const time_t after = time(nullptr);

    auto store = QVStore::Open(binding_, zone);
    EXPECT_EQ(store->version, version);
    EXPECT_EQ(store->applicationCn, g);
    EXPECT_EQ(dynamic_cast<QVClassicStore*>(store.get()) != nullptr, version == 1);
    // A scope of the variant's own kind: a computer's in a classic store, an access zone's
    // in a hierarchical one.
    auto scope =
        version == 1 ? store->createMachineScope("ws1") : store->createAccessZoneScope("az");
    const std::string scopeName = version == 1 ? "ws1" : "az";
    const std::string s = kesh::lower(kesh::LDAPBinding::RDN(scope->scopeObject->dn()).substr(3));
    std::list<std::shared_ptr<QVScope>> scopes;
    store->getScopes(scopes);
    ASSERT_EQ(scopes.size(), 1u);
    EXPECT_EQ(kesh::lower(scopes.front()->scopeObject->dn()),
              kesh::lower(scope->scopeObject->dn()));

    const std::string z = kesh::lower(zone.dn());
    const std::string am = "cn=authorization," + z;
    const std::string app = "cn=" + g + "," + am;
    const std::string sc = "cn=" + s + "," + app;
    Entries entries = Search(zone.dn(), kAttributes);
    // The predefined rights and roles of a new store are counted here and compared one by
    // one by the zone tests; the layout below is the rest.
    size_t rights = 0, roles = 0;
    for (auto it = entries.begin(); it != entries.end();) {
      const auto& classes = it->second["objectclass"];
      const std::string cls = classes.empty() ? "" : classes.back();
      if (cls != "msDS-AzOperation" && cls != "msDS-AzTask") {
        ++it;
        continue;
      }
      ++(cls == "msDS-AzOperation" ? rights : roles);
      it = entries.erase(it);
    }
    EXPECT_EQ(rights, version == 1 ? 14u : 13u);
    EXPECT_EQ(roles, version == 1 ? 0u : 7u);
    struct Expected {
      std::string dn, cls;
      std::map<std::string, std::string> values;  // lower-cased names; others must be absent
    } expected[] = {
        {z, "container", {}},
        {am,
         "msDS-AzAdminManager",
         {{"description", "AzMan store created by Norvane ZoneSmith, store name: Authorization"},
          {"msds-azmajorversion", "1"},
          {"msds-azminorversion", "0"}}},
        {"cn=azgroupobjectcontainer-authorization," + am, "container", {}},
        {app,
         "msDS-AzApplication",
         {{"description",
           "AzMan application created by Norvane ZoneSmith, application name: SystemAuthorization"},
          {"msds-azapplicationname", "SystemAuthorization"},
          {"msds-azapplicationversion", "$KeshQVContainerVersion" + std::to_string(version)}}},
        {"cn=azgroupobjectcontainer-" + g + "," + app, "container", {}},
        {"cn=azopobjectcontainer-" + g + "," + app, "container", {}},
        {"cn=azroleobjectcontainer-" + g + "," + app, "container", {}},
        {"cn=aztaskobjectcontainer-" + g + "," + app, "container", {}},
        {sc, "msDS-AzScope",
         version == 1
             ? std::map<std::string, std::string>{{"msds-azscopename", "ws1"},
                                                  {"description",
                                                   "AzMan scope created by Norvane ZoneSmith "
                                                   "extension, mapped to Norvane computer: ws1"}}
             : std::map<std::string, std::string>{{"msds-azscopename", "az"},
                                                  {"displayname", "$KeshAccessZone1"}}},
        {"cn=azgroupobjectcontainer-" + s + "," + sc, "container", {}},
        {"cn=azroleobjectcontainer-" + s + "," + sc, "container", {}},
        {"cn=aztaskobjectcontainer-" + s + "," + sc, "container", {}},
    };
    EXPECT_EQ(entries.size(), std::size(expected));
    for (const Expected& e : expected) {
      SCOPED_TRACE(e.dn);
      auto found = entries.find(e.dn);
      ASSERT_NE(found, entries.end());
      auto& attrs = found->second;
      const auto& classes = attrs["objectclass"];
      EXPECT_EQ(classes.empty() ? "" : classes.back(), e.cls);  // the most specific last
      for (const std::string& name : kAttributes) {
        const std::string n = kesh::lower(name);
        if (n == "objectclass" ||
            (e.dn == am && (n == "wbempath" || n == "msds-azapplicationdata")))
          continue;
        auto want = e.values.find(n);
        if (want == e.values.end()) {
          EXPECT_EQ(attrs.count(n), 0u) << n;
        } else {
          EXPECT_EQ(attrs[n], std::vector<std::string>{want->second}) << n;
        }
      }
    }

    // The time stamps that the first handle wrote when it went.
    auto& manager = entries[am];
    std::vector<Int64> times;
    if (version == 1) {
      ASSERT_EQ(manager["wbempath"].size(), 1u);
      const std::string path = manager["wbempath"][0];
      ASSERT_EQ(path.rfind("smartrefresh:", 0), 0u) << path;
      times.push_back(Int64::parse(path.substr(13)));
      EXPECT_EQ(manager.count("msds-azapplicationdata"), 0u);
    } else {
      ASSERT_EQ(manager["msds-azapplicationdata"].size(), 1u);
      Int64 a, r, t;
      sam::SamParser::ParseV2StoreData(manager["msds-azapplicationdata"][0], a, r, t);
      times = {a, r, t};
      EXPECT_EQ(manager.count("wbempath"), 0u);
    }
    for (const Int64& t : times) {
      EXPECT_GE(t.toUnixTime(), before);
      EXPECT_LE(t.toUnixTime(), after);
    }

    // The scope goes with its containers.
    store->deleteScope(scopeName);
    scopes.clear();
    store->getScopes(scopes);
    EXPECT_TRUE(scopes.empty());
    EXPECT_EQ(Search(zone.dn(), {"cn"}).size(), std::size(expected) - 4 + rights + roles);
  }
}

// What a classic store writes besides its layout: the 14 PAM rights named by GUID with their
// applications in V1 data, the creator's full control over the admin manager, and a
// restricted environment holding a restricted command.
TEST_F(QVStoreOnDcTest, ClassicRightsAsTheDcStoresThem) {
  if (!binding_) return;
  kesh::ADObject zone = NewZone();
  auto store = QVStore::Create(binding_, zone, 1);

  std::set<std::string> applications;
  for (auto& entry : Search(store->operationContainerDn(),
                            {"objectClass", "msDS-AzOperationID", "msDS-AzApplicationData"})) {
    auto& attrs = entry.second;
    if (attrs["objectclass"].empty() || attrs["objectclass"].back() != "msDS-AzOperation") continue;
    EXPECT_EQ(entry.first.rfind("cn=pam-", 0), 0u) << entry.first;
    EXPECT_EQ(entry.first.size(), std::string("cn=pam-,").size() + 36 +
                                      kesh::lower(store->operationContainerDn()).size())
        << entry.first;  // a GUID after "pam-"
    EXPECT_EQ(attrs["msds-azoperationid"], std::vector<std::string>{"33554433"});
    ASSERT_EQ(attrs["msds-azapplicationdata"].size(), 1u);
    applications.insert(attrs["msds-azapplicationdata"][0]);
  }
  EXPECT_EQ(applications, (std::set<std::string>{
                              "app=ftp", "app=login", "app=remote", "app=sshd-kbdint",
                              "app=dtlogin", "app=pure-ftpd", "app=gdm", "app=vsftpd", "app=rlogin",
                              "app=xdm", "app=sshd", "app=ssh", "app=gdm-password", "app=su"}));

  // The rig binds as Administrator, whose SID the DC writes by its alias "LA": full control
  // of the admin manager for the creating user.
  const std::string sddl = DcSddl(store->adminManager->dn());
  EXPECT_NE(sddl.find("(A;CI;RPWPCRCCDCLCLORCWOWDSDDTSW;;;LA)"), std::string::npos) << sddl;
  EXPECT_NE(sddl.find("(A;CI;RPLCLORC;;;WD)"), std::string::npos) << sddl;

  std::shared_ptr<RSEnv> env = store->newRestrictEnv("shells");
  store->saveRestrictEnv(env);
  std::shared_ptr<RestrictCommand> command = store->newRestrictCommand("ls", env);
  command->cmd = "/bin/ls";
  command->qvsh_runas = "$";
  command->path = "USERPATH";
  store->saveRestrictCommand(command);
  Entries envs =
      Search(store->taskContainerDn(), {"msDS-AzTaskIsRoleDefinition", "msDS-OperationsForAzTask"});
  auto& stored = envs["cn=rs-shells," + kesh::lower(store->taskContainerDn())];
  EXPECT_EQ(stored["msds-aztaskisroledefinition"], std::vector<std::string>{"FALSE"});
  ASSERT_EQ(stored["msds-operationsforaztask"].size(), 1u);
  const std::string commandDn = kesh::lower(stored["msds-operationsforaztask"][0]);
  EXPECT_EQ(commandDn, "cn=rs-shells-ls," + kesh::lower(store->operationContainerDn()));
  Entries commands = Search(commandDn, {"msDS-AzOperationID", "msDS-AzApplicationData"});
  EXPECT_EQ(commands[commandDn]["msds-azoperationid"], std::vector<std::string>{"67108865"});
  EXPECT_EQ(commands[commandDn]["msds-azapplicationdata"],
            std::vector<std::string>{"cmd=/bin/ls;form=0;runas=$;pri=0;umask=63;keepenv=;delenv=;"
                                     "path=USERPATH;add=;flags=0"});
}

// A role and an assignment in the scope of an access zone, as the DC stores them.
TEST_F(QVStoreOnDcTest, AssignmentInAScope) {
  if (!binding_) return;
  kesh::ADObject zone = NewZone();
  auto store = QVStore::Create(binding_, zone, 2);
  auto scope = store->createAccessZoneScope("az");
  std::shared_ptr<QVRole> role = scope->newRole("operators");
  scope->saveRole(role);

  const std::string user = "CN=Administrator,CN=Users," + Env("ZS_DC_BASE");
  auto assignment = std::make_shared<Assignment>();
  assignment->isNew = true;
  assignment->principal = user;
  assignment->ptype = AD_USER_PTYPE;
  assignment->scope = scope;
  assignment->setRole(*role);
  assignment->to = 1900000000;
  scope->createAssignment(assignment);

  const std::string roles = kesh::lower("CN=AzRoleObjectContainer-" +
                                        kesh::LDAPBinding::RDN(scope->scopeObject->dn()).substr(3) +
                                        "," + scope->scopeObject->dn());
  Entries entries = Search(roles, {"objectClass", "msDS-TasksForAzRole", "msDS-MembersForAzRole",
                                   "msDS-AzApplicationData", "displayName"});
  entries.erase(roles);
  ASSERT_EQ(entries.size(), 1u);
  auto& stored = entries.begin()->second;
  EXPECT_EQ(entries.begin()->first.rfind("cn=cra_", 0), 0u) << entries.begin()->first;
  EXPECT_EQ(stored["objectclass"].back(), "msDS-AzRole");
  EXPECT_EQ(kesh::lower(stored["msds-tasksforazrole"].at(0)), kesh::lower(role->object->dn()));
  EXPECT_EQ(kesh::lower(stored["msds-membersforazrole"].at(0)), kesh::lower(user));
  EXPECT_EQ(stored["msds-azapplicationdata"],
            std::vector<std::string>{"from=0;to=1900000000;ptype=u"});
  EXPECT_EQ(stored.count("displayname"), 0u);
  // The role lives in the scope's own task container, not the zone's.
  EXPECT_NE(kesh::lower(role->object->dn()).find(kesh::lower(scope->scopeObject->dn())),
            std::string::npos);

  std::list<std::shared_ptr<Assignment>> found;
  scope->getAllAssignments(found, nullptr);
  ASSERT_EQ(found.size(), 1u);
  // The name takes the fourth parent of the role as its zone: for a role of a scope that is
  // the admin manager, one level deeper than for a zone's own roles.
  EXPECT_EQ(found.front()->getRoleName(), "operators/Authorization");
}

}  // namespace
}  // namespace conformance
