// Schema adapters: which adapter a zone object gets, the zone data a new zone gets, the
// zone properties, and whether a forest can hold the RFC 2307 layout. Against the
// in-memory directory with example.test (forest level 4) bound.
#include "schema/zschema.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <typeinfo>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "memdir_session.h"

namespace {

using memtest::MessageOf;
using Values = std::vector<std::string>;

const char kZoneDn[] = "CN=Zone1,CN=Zones,DC=example,DC=test";

// example.test bound; other.test loaded.
class ZSchemaTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    memtest::LoadFixture("other.ldif");
    binding_ = Bind("example.test");
  }

  // A zone object in memory; a null text leaves the attribute out.
  static kesh::ADObject Zone(const char* displayName, const char* schema,
                             const std::string& dn = kZoneDn) {
    kesh::ADObject zone(dn);
    if (displayName != nullptr) zone[AD_DISPLAY_NAME] = displayName;
    if (schema != nullptr) {
      zone[AD_DESCRIPTION].setValues({"gidnext:10000", std::string("schema:") + schema});
    }
    return zone;
  }
};

// Every digit under every schema text. One letter per digit 0-9: C classic, T tree,
// M computer zone, S SFU, - refused with "Unsupported schema type".
TEST_F(ZSchemaTest, AdapterByVersionDigitAndSchemaText) {
  struct Row {
    const char* schema;
    const char* byDigit;
  } rows[] = {
      {"Dynamic_Schema_2_0", "--C-C-T-M-"},
      {"KVR_RFC_2307", "---C-C-TM-"},
      {"SFU_3_0", "SSSSSSSSSS"},
      {"", "----------"},
      {"dynamic_schema_2_0", "----------"},  // the texts compare exactly
  };
  for (const Row& row : rows) {
    for (int digit = 0; digit <= 9; ++digit) {
      std::string marker = "$KeshZoneVersion" + std::to_string(digit);
      std::string label = std::string(row.schema) + " " + marker;
      kesh::ADObject zone = Zone(marker.c_str(), row.schema);
      char expected = row.byDigit[digit];
      if (expected == '-') {
        EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { GetSchema(zone); }),
                  "Unsupported schema type")
            << label;
        continue;
      }
      std::shared_ptr<SchemaBase> schema = GetSchema(zone);
      ASSERT_TRUE(schema) << label;
      const bool dynamic = std::string(row.schema) == "Dynamic_Schema_2_0";
      const std::type_info* type = &typeid(SchemaSfu);
      SchemaType schemaType = SCHEMA_TYPE_SFU;
      if (expected != 'S') {
        schemaType = dynamic ? SCHEMA_TYPE_DYNAMIC : SCHEMA_TYPE_RFC;
        if (expected == 'C') type = dynamic ? &typeid(SchemaScpDynamic) : &typeid(SchemaScpRfc);
        if (expected == 'T') {
          type = dynamic ? &typeid(NGSchemaScpDynamic) : &typeid(NGSchemaScpRfc);
        }
        if (expected == 'M') type = dynamic ? &typeid(MachineDynamic) : &typeid(MachineRfc);
      }
      EXPECT_EQ(typeid(*schema).name(), std::string(type->name())) << label;
      EXPECT_EQ(schema->getSchemaType(), schemaType) << label;
      EXPECT_EQ(schema->version(), digit) << label;
      EXPECT_EQ(schema->isTreeZone(),
                expected == 'T' || expected == 'M' || (expected == 'S' && digit == 9))
          << label;
      EXPECT_EQ(schema->isMachineZone(), expected == 'M') << label;
      EXPECT_EQ(schema->binding(), binding_) << label;
      EXPECT_TRUE(schema->zone().sameAs(zone)) << label;
    }
  }
}

TEST_F(ZSchemaTest, MarkersThatReadAsAVersion) {
  struct Case {
    const char* displayName;
    const char* schema;
    const std::type_info& type;
    int version;
  } cases[] = {
      // Position 16 of the computer zone marker is 'Z', yet it stands for 8.
      {"$KeshComputerZoneVersion1", "Dynamic_Schema_2_0", typeid(MachineDynamic), 8},
      {"$KeshComputerZoneVersion1", "KVR_RFC_2307", typeid(MachineRfc), 8},
      {"$KeshComputerZoneVersion1", "SFU_3_0", typeid(SchemaSfu), 8},
      {"$KeshZoneVersion8", "KVR_RFC_2307", typeid(MachineRfc), 8},
      {"$KeshZoneVersion67", "Dynamic_Schema_2_0", typeid(NGSchemaScpDynamic), 6},
      {"anything-at-all-5", "KVR_RFC_2307", typeid(SchemaScpRfc), 5},
      // SFU takes whatever stands there, unchecked.
      {"$KeshZoneVersionx", "SFU_3_0", typeid(SchemaSfu), 'x' - '0'},
  };
  for (const Case& c : cases) {
    std::shared_ptr<SchemaBase> schema = GetSchema(Zone(c.displayName, c.schema));
    EXPECT_EQ(typeid(*schema).name(), std::string(c.type.name())) << c.displayName;
    EXPECT_EQ(schema->version(), c.version) << c.displayName;
  }
}

TEST_F(ZSchemaTest, ObjectsThatAreNoZone) {
  const std::string notAZone = std::string(kZoneDn) + " is not a zone";
  kesh::ADObject noSchemaKey = Zone("$KeshZoneVersion5", nullptr);
  noSchemaKey[AD_DESCRIPTION].setValues({"uidnext:10000"});
  struct Case {
    const char* label;
    kesh::ADObject zone;
    std::string message;
  } cases[] = {
      {"no displayName", Zone(nullptr, "KVR_RFC_2307"), notAZone},
      {"no description", Zone("$KeshZoneVersion5", nullptr), notAZone},
      {"16 characters", Zone("$KeshZoneVersion", "KVR_RFC_2307"), notAZone},
      {"empty displayName", Zone("", "KVR_RFC_2307"), notAZone},
      {"no schema key", noSchemaKey, "Unsupported schema type"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { GetSchema(c.zone); }), c.message) << c.label;
  }
  // The schema is checked before the binding is looked for; then the binding must exist.
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] {
              GetSchema(Zone("$KeshZoneVersion5", "KVR_RFC_2307", "CN=Z,DC=nowhere,DC=test"));
            }),
            "No binding for domain nowhere.test");
}

// setZoneData of a new zone of each kind, exactly as the directory will hold it; the
// object then reads back as the same adapter.
TEST_F(ZSchemaTest, ZoneDataOfEachKind) {
  const Values common = {
      "availableshells:/bin/bash:/bin/csh:/bin/ksh:/bin/sh:/bin/tcsh",
      "gidnext:10000",
      "gidreserved:0-99",
      "groupname:${g:samAccountName}",
      "uidnext:10000",
      "uidreserved:0-99",
      "username:${u:samAccountName}",
  };
  const Values treeDefaults = {"defaultgecos:%{u:description}", "defaultgid:-1",
                               "defaulthome:%{home}/%{user}", "defaultshell:%{shell}"};
  using Make = std::function<std::shared_ptr<SchemaBase>(kesh::ADObject)>;
  struct Case {
    const char* label;
    Make make;
    const char* displayName;
    Values own;
  } cases[] = {
      {"classic dynamic 4",
       [&](kesh::ADObject z) { return std::make_shared<SchemaScpDynamic>(z, binding_, 4); },
       "$KeshZoneVersion4",
       {"schema:Dynamic_Schema_2_0", "truncatename:False", "defaulthome:/home/${user}",
        "defaultshell:/bin/bash"}},
      {"tree dynamic 6",
       [&](kesh::ADObject z) { return std::make_shared<NGSchemaScpDynamic>(z, binding_, 6); },
       "$KeshZoneVersion6",
       {"schema:Dynamic_Schema_2_0", "truncatename:False"}},
      {"tree rfc 7",
       [&](kesh::ADObject z) { return std::make_shared<NGSchemaScpRfc>(z, binding_, 7); },
       "$KeshZoneVersion7",
       {"schema:KVR_RFC_2307", "truncatename:False"}},
      {"computer zone 8",
       [&](kesh::ADObject z) { return std::make_shared<MachineDynamic>(z, binding_, 8); },
       "$KeshComputerZoneVersion1",
       {"schema:Dynamic_Schema_2_0"}},
      {"tree sfu 9",
       [&](kesh::ADObject z) { return std::make_shared<SchemaSfu>(z, binding_, 9); },
       "$KeshZoneVersion9",
       {"schema:SFU_3_0", "nisdomain:Zone1", "sfudomain:example.test", "truncatename:False"}},
  };
  for (Case& c : cases) {
    kesh::ADObject zone(kZoneDn);
    zone[AD_DESCRIPTION].setValues({"left:over"});
    std::shared_ptr<SchemaBase> schema = c.make(zone);
    schema->setZoneData();

    Values expected = common;
    expected.insert(expected.end(), c.own.begin(), c.own.end());
    if (schema->isTreeZone()) {
      expected.insert(expected.end(), treeDefaults.begin(), treeDefaults.end());
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(zone[AD_DESCRIPTION].values(), expected) << c.label;
    EXPECT_TRUE(zone[AD_DESCRIPTION].changed()) << c.label;
    EXPECT_EQ(static_cast<std::string>(zone[AD_DISPLAY_NAME]), c.displayName) << c.label;

    std::shared_ptr<SchemaBase> again = GetSchema(zone);
    EXPECT_EQ(typeid(*again).name(), std::string(typeid(*schema).name())) << c.label;
    EXPECT_EQ(again->version(), schema->version()) << c.label;
  }
}

TEST_F(ZSchemaTest, ComputerVersionPerLayout) {
  kesh::ADObject zone(kZoneDn);
  struct Case {
    std::shared_ptr<SchemaBase> schema;
    int computer;
  } cases[] = {
      {std::make_shared<SchemaScpDynamic>(zone, binding_, 2), 2},
      {std::make_shared<SchemaScpDynamic>(zone, binding_, 4), 2},
      {std::make_shared<NGSchemaScpDynamic>(zone, binding_, 6), 3},
      {std::make_shared<MachineDynamic>(zone, binding_, 8), 3},
      {std::make_shared<SchemaScpRfc>(zone, binding_, 3), 2},
      {std::make_shared<SchemaScpRfc>(zone, binding_, 5), 2},
      {std::make_shared<NGSchemaScpRfc>(zone, binding_, 7), 3},
      {std::make_shared<MachineRfc>(zone, binding_, 8), 3},
      {std::make_shared<SchemaSfu>(zone, binding_, 2), 2},
      {std::make_shared<SchemaSfu>(zone, binding_, 9), 3},
      {std::make_shared<SchemaSfu>(zone, binding_, 'x' - '0'), 0},  // outside the table
      {std::make_shared<SchemaSfu>(zone, binding_, -1), 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.schema->getComputerVersion(), c.computer)
        << typeid(*c.schema).name() << " " << c.schema->version();
  }
}

TEST_F(ZSchemaTest, ZonePropertiesInTheDescription) {
  kesh::ADObject zone = Zone("$KeshZoneVersion9", "SFU_3_0");
  zone[AD_DESCRIPTION].addVal("nisdomain:nis1", false);
  SchemaSfu sfu(zone, binding_, 9);
  EXPECT_EQ(sfu.nisDomain, "nis1");
  EXPECT_TRUE(sfu.writesRfcAttributes);
  EXPECT_EQ(sfu.getNisDomain(), "nis1");
  EXPECT_EQ(sfu.getSfuDomain(), "");

  sfu.setSfuDomain("example.test");
  sfu.setNisDomain("");  // removes the key
  sfu.setZoneProp("uidnext", "20000");
  EXPECT_EQ(sfu.getSfuDomain(), "example.test");
  EXPECT_EQ(sfu.nisDomain, "nis1");  // read once, at construction
  EXPECT_EQ(zone[AD_DESCRIPTION].values(),
            (Values{"gidnext:10000", "schema:SFU_3_0", "sfudomain:example.test", "uidnext:20000"}));
  // Only the object in memory changed.
  EXPECT_TRUE(zone[AD_DESCRIPTION].changed());
}

TEST_F(ZSchemaTest, RfcSchemaThere) {
  memtest::LoadFixture("rfc2307.ldif");
  Bind("legacy.test");
  Bind("other.test");
  struct Case {
    const char* domain;
    bool there;
  } cases[] = {
      {"example.test", true},  {"EXAMPLE.TEST", true},  // bindings are found in any case
      {"legacy.test", false},                           // the class is there, the forest level is 1
      {"other.test", false},                            // level 3, no posixAccount class
      {"nowhere.test", false},                          // no binding
  };
  for (const Case& c : cases) {
    EXPECT_EQ(IsRfcSchemaThere(c.domain), c.there) << c.domain;
  }
  // A connection that drops answers false as well.
  kesh::memdir::DropAfter(1, "example.test", false);
  EXPECT_FALSE(IsRfcSchemaThere("example.test"));
}

}  // namespace
