// Zone computer profiles on the in-memory directory, in every layout and version of the
// serviceConnectionPoint layouts: the stored form, loads by name and by "*<sid>", the
// managedBy link of the older classic generation, the dNSHostName a save fills in, the
// refusals, deletes and listings with their directory call counts.
//
// The hierarchical zones 6 (Dynamic) and 7 (RFC) are created; the classic versions 2 to 5
// are zone objects of a fixture, driven through the adapter that GetSchema gives them.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/strings.h"
#include "schema/computer.h"
#include "schema/zschema.h"
#include "zones/zone_rig.h"

namespace {

using memtest::OperationsOf;
using zonetest::MessageOf;
using Values = std::vector<std::string>;
namespace memdir = kesh::memdir;

const char kWs1[] = "WS1$@example.test";
const char kWs1Dn[] = "CN=WS1,CN=Computers,DC=example,DC=test";
const char kWs1Sid[] = "S-1-5-21-3623811015-3361044348-30300820-1300";
const char kWs1Dns[] = "ws1.example.test";
const char kWs3Dn[] = "CN=WS3,CN=Computers,DC=example,DC=test";
const char kSidBase[] = "S-1-5-21-3623811015-3361044348-30300820-";

// A classic zone as the zone classes hold it: its object, binding and the adapter that
// GetSchema chose, with the computer mix-in on top.
class ClassicZone : public NssZoneSupportComputer {
 public:
  void remove() override {}
  std::string getPath() override { return object.dn(); }
  void saveZone() override {}
  ZoneType getZoneType() override { return ZONE_TYPE_CLASSIC4; }
  std::string getZoneName() override { return object.dn(); }
};

struct Layout {
  const char* name;
  SchemaType type;
  int version;
  const char* marker;  // displayName of a computer profile
  bool tree() const { return version > 5; }
};

const Layout kLayouts[] = {
    {"Dynamic2", SCHEMA_TYPE_DYNAMIC, 2, "$KeshComputerVersion2"},
    {"Rfc3", SCHEMA_TYPE_RFC, 3, "$KeshComputerVersion2"},
    {"Dynamic4", SCHEMA_TYPE_DYNAMIC, 4, "$KeshComputerVersion2"},
    {"Rfc5", SCHEMA_TYPE_RFC, 5, "$KeshComputerVersion2"},
    {"Dynamic6", SCHEMA_TYPE_DYNAMIC, 6, "$KeshComputerVersion3"},
    {"Rfc7", SCHEMA_TYPE_RFC, 7, "$KeshComputerVersion3"},
};

struct Zone {
  std::shared_ptr<IZone> holder;
  IZoneSupportComputer* computers = nullptr;
  std::string dn;
  std::string computersDn() const { return "CN=Computers," + dn; }
  std::string profileDn(const std::string& cn) const { return "CN=" + cn + "," + computersDn(); }
};

class ScpComputersTest : public zonetest::ZoneRig {
 protected:
  // The zone of layout `l`, made first unless `existing`.
  Zone Open(const Layout& l, bool existing = false) {
    Zone z;
    z.dn = ZoneDn(l.name);
    if (l.tree()) {
      std::shared_ptr<TreeZone> tree = existing ? Reopen(z.dn) : NewTree(z.dn, l.type);
      z.holder = tree;
      z.computers = tree.get();
    } else {
      if (!existing) {
        memdir::LoadLdif("dn: " + z.dn + "\nobjectClass: container\ndisplayName: $KeshZoneVersion" +
                         std::to_string(l.version) + "\ndescription: schema:" +
                         (l.type == SCHEMA_TYPE_RFC ? "KVR_RFC_2307" : "Dynamic_Schema_2_0") +
                         "\n\ndn: CN=Computers," + z.dn + "\nobjectClass: container\n\n");
      }
      auto classic = std::make_shared<ClassicZone>();
      classic->object = binding_->fetch(z.dn, nullptr, AD_ALL_OBJECTS);
      classic->binding = binding_;
      classic->schema = GetSchema(classic->object);
      EXPECT_EQ(l.version, classic->schema->version()) << l.name;
      z.holder = classic;
      z.computers = classic.get();
    }
    return z;
  }

  // A directory computer CN=<cn>,CN=Computers with sAMAccountName <CN>$ and objectSid
  // kSidBase<rid>; `extra` are further LDIF lines.
  static void AddComputer(const std::string& cn, int rid, const std::string& extra = "") {
    memdir::LoadLdif("dn: CN=" + cn +
                     ",CN=Computers,DC=example,DC=test\nobjectClass: top\nobjectClass: person\n"
                     "objectClass: organizationalPerson\nobjectClass: user\n"
                     "objectClass: computer\nsAMAccountName: " +
                     cn + "$\nobjectSid: " + kSidBase + std::to_string(rid) + "\n" + extra + "\n");
  }

  std::shared_ptr<ZoneComputer> SaveNew(Zone& z, const std::string& name, const char* cpus) {
    std::shared_ptr<ZoneComputer> computer = z.computers->newZoneComputer(name);
    computer->keywords["cpus"] = cpus;
    z.computers->saveZoneComputer(computer);
    return computer;
  }
};

// What a save writes per layout and version, what a load reads back, and that a second
// new profile of the same computer and a load of a deleted one are refused.
TEST_F(ScpComputersTest, StoredFormRoundTripAndDeletePerLayout) {
  for (const Layout& l : kLayouts) {
    SCOPED_TRACE(l.name);
    Zone z = Open(l);
    std::shared_ptr<ZoneComputer> made = z.computers->newZoneComputer(kWs1);
    EXPECT_TRUE(made->isNew);
    EXPECT_EQ(kWs1, made->accountName);
    EXPECT_EQ(kWs1Dns, made->cn);
    made->keywords["cpus"] = "4";
    made->keywords["unix_enabled"] = "true";
    z.computers->saveZoneComputer(made);
    EXPECT_FALSE(made->isNew);

    kesh::ADObject stored = Stored(z.profileDn(kWs1Dns));
    const Values classes = ValuesOf(stored, AD_OBJECT_CLASS);
    EXPECT_EQ(1, std::count(classes.begin(), classes.end(), "serviceConnectionPoint"));
    EXPECT_EQ(Values{kWs1Dns}, ValuesOf(stored, AD_CN));
    EXPECT_EQ(Values{l.marker}, ValuesOf(stored, AD_DISPLAY_NAME));
    EXPECT_EQ((Values{"cpus:4", std::string("parentLink:") + kWs1Sid, "unix_enabled:true"}),
              ValuesOf(stored, AD_KEYWORDS));
    EXPECT_EQ(Values{kWs1Dns}, ValuesOf(Stored(kWs1Dn), AD_DNS_NAME));

    std::shared_ptr<ZoneComputer> loaded = z.computers->getZoneComputer(kWs1);
    EXPECT_FALSE(loaded->isNew);
    EXPECT_EQ(kWs1, loaded->accountName);
    EXPECT_EQ(kWs1Dns, loaded->cn);
    EXPECT_EQ(kWs1Dn, loaded->adComputer.dn());
    EXPECT_EQ("4", loaded->keywords["cpus"]);
    EXPECT_EQ(kesh::lower(z.profileDn(kWs1Dns)), kesh::lower(loaded->scp.dn()));

    // A change of a saved profile replaces keywords in place.
    loaded->keywords["cpus"] = "8";
    z.computers->saveZoneComputer(loaded);
    EXPECT_EQ((Values{"cpus:8", std::string("parentLink:") + kWs1Sid, "unix_enabled:true"}),
              ValuesOf(Stored(z.profileDn(kWs1Dns)), AD_KEYWORDS));

    EXPECT_EQ("Computer already in zone",
              MessageOf<kesh::BadDataException>([&] { z.computers->newZoneComputer(kWs1); }));
    z.computers->deleteZoneComputer(loaded);
    EXPECT_FALSE(Exists(z.profileDn(kWs1Dns)));
    EXPECT_TRUE(Exists(z.computersDn()));
    EXPECT_EQ("Computer not in current zone",
              MessageOf<kesh::NotFoundException>([&] { z.computers->getZoneComputer(kWs1); }));
  }
}

// Refusals, each without a directory write.
TEST_F(ScpComputersTest, RefusalsWriteNothing) {
  Zone z = Open(kLayouts[4]);
  const std::string before = memdir::DumpLdif(zonetest::kZones, true);
  const struct {
    const char* name;
    std::function<void()> call;
    const char* message;
  } cases[] = {
      {"delete unsaved",
       [&] {
         std::shared_ptr<ZoneComputer> fresh = z.computers->newZoneComputer(kWs1);
         z.computers->deleteZoneComputer(fresh);
       },
       "Computer has not been created"},
      {"sid not in zone", [&] { z.computers->getZoneComputer(std::string("*") + kWs1Sid); },
       "Computer not in current zone"},
      {"bad sid", [&] { z.computers->getZoneComputer("*S-1-nonsense"); },
       "Computer not in current zone"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.message, MessageOf<std::exception>(c.call)) << c.name;
  }
  EXPECT_THROW(z.computers->getZoneComputer(""), std::out_of_range);
  EXPECT_THROW(z.computers->newZoneComputer("nosuch$@example.test"), kesh::NotFoundException);
  EXPECT_EQ(before, memdir::DumpLdif(zonetest::kZones, true));
}

// A computer without dNSHostName gets "<cn>.<domain, lower case>" as profile name, and the
// save writes that name into the directory computer too. Once the directory computer is gone
// its profile loads by "*<sid>" and lists under that name; below version 4 a managedBy link
// resolves a profile whose SID does not.
TEST_F(ScpComputersTest, DnsHostNameUnresolvedAndManagedByLinks) {
  AddComputer("WS3", 1303);
  for (const Layout& l : kLayouts) {
    SCOPED_TRACE(l.name);
    Zone z = Open(l);
    // Written as an older program wrote it: managedBy WS1, and a SID nobody has.
    memdir::LoadLdif("dn: " + z.profileDn("old.example.test") +
                     "\nobjectClass: serviceConnectionPoint\ndisplayName: " + l.marker +
                     "\nmanagedBy: " + kWs1Dn + "\nkeywords: parentLink:" + kSidBase + "9999\n\n");
    EXPECT_EQ("WS3.example.test", SaveNew(z, "WS3$@example.test", "2")->cn);
    EXPECT_EQ(Values{"WS3.example.test"}, ValuesOf(Stored(kWs3Dn), AD_DNS_NAME));
    std::list<std::shared_ptr<ZoneComputer>> listed;
    z.computers->getZoneComputers(ZONE_COMPUTERS_FILTER, listed);
    std::vector<std::string> names;
    for (const auto& c : listed) names.push_back(c->accountName);
    std::sort(names.begin(), names.end());
    const std::string old = l.version < 4 ? kWs1 : std::string("*") + kSidBase + "9999";
    EXPECT_EQ((Values{old, "WS3$@example.test"}), names);
  }
  // Remove the directory computer: every zone names its profile by the SID now.
  kesh::ADObject ws3 = Stored(kWs3Dn);
  binding_->remove(ws3, false);
  const std::string sidName = std::string("*") + kSidBase + "1303";
  for (const Layout& l : kLayouts) {
    SCOPED_TRACE(l.name);
    Zone z = Open(l, true);
    std::shared_ptr<ZoneComputer> gone = z.computers->getZoneComputer(sidName);
    EXPECT_EQ(sidName, gone->accountName);
    EXPECT_EQ("WS3.example.test", gone->cn);
    EXPECT_TRUE(gone->adComputer.dn().empty());
    // Saving it keeps the link.
    z.computers->saveZoneComputer(gone);
    EXPECT_EQ((Values{"cpus:2", std::string("parentLink:") + kSidBase + "1303"}),
              ValuesOf(Stored(z.profileDn("WS3.example.test")), AD_KEYWORDS));
  }
}

// A listing reads the profiles in one search and the computers behind them in batches: the
// number of directory calls does not grow with the number of computers. A linked object
// without sAMAccountName is refused with its own message.
TEST_F(ScpComputersTest, ListingCallsAndBrokenLink) {
  Zone z = Open(kLayouts[4]);
  auto countFor = [&](int n, int firstRid) {
    for (int i = 0; i < n; ++i) {
      const std::string cn = "L" + std::to_string(firstRid + i);
      AddComputer(cn, firstRid + i, "dNSHostName: " + cn + ".example.test");
      SaveNew(z, cn + "$@example.test", "1");
    }
    std::list<std::shared_ptr<ZoneComputer>> listed;
    const uint64_t calls =
        OperationsOf([&] { z.computers->getZoneComputers(ZONE_COMPUTERS_FILTER, listed); });
    for (const auto& c : listed) EXPECT_EQ('L', c->accountName[0]) << c->accountName;
    return std::make_pair(calls, listed.size());
  };
  const auto few = countFor(2, 2000);
  const auto many = countFor(10, 2100);
  EXPECT_EQ(2u, few.second);
  EXPECT_EQ(12u, many.second);
  EXPECT_EQ(few.first, many.first);
  EXPECT_LE(many.first, 3u);

  memdir::LoadLdif(std::string("dn: CN=NoSam,CN=Computers,DC=example,DC=test\nobjectClass: top\n"
                               "objectClass: computer\nobjectSid: ") +
                   kSidBase + "2999\n\ndn: " + z.profileDn("nosam.example.test") +
                   "\nobjectClass: serviceConnectionPoint\ndisplayName: $KeshComputerVersion3\n"
                   "keywords: parentLink:" +
                   kSidBase + "2999\n\n");
  std::list<std::shared_ptr<ZoneComputer>> listed;
  EXPECT_EQ("AD Computer object do not have sAMAccountName attribute",
            MessageOf<kesh::BadDataException>(
                [&] { z.computers->getZoneComputers(ZONE_COMPUTERS_FILTER, listed); }));
}

}  // namespace
