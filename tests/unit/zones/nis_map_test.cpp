// NIS maps on the in-memory directory: the marker tables, indexed keys, entry names, and
// the life of entries in a map (added, removed into a spare, the spare reused).
#include "zones/nis_map.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "zones/zone_rig.h"

namespace {

using memtest::OperationsOf;
using zonetest::MessageOf;
using zonetest::ZoneRig;
namespace memdir = kesh::memdir;

using Entries = std::map<std::string, std::pair<std::string, std::string>>;

TEST(NisMapNames, MarkersAndGuidsByName) {
  const struct {
    const char* name;
    bool automount;
    const char* mapMarker;
    const char* entryMarker;
    const char* guid;
  } rows[] = {
      {"auto.master", true, AUTOMOUNT_MAP_VERSION, AUTOMOUNT_VERSION, AUTOMOUNT_VERSION_GUID},
      {"auto_home", true, AUTOMOUNT_MAP_VERSION, AUTOMOUNT_VERSION, AUTOMOUNT_VERSION_GUID},
      {"automount", true, AUTOMOUNT_MAP_VERSION, AUTOMOUNT_VERSION, AUTOMOUNT_VERSION_GUID},
      {"auto_master", false, "", AUTOMASTER_VERSION, AUTOMASTER_VERSION_GUID},
      {"auto", false, "", "", GENERIC_VERSION_GUID},
      {"netgroup", false, "", NETGROUP_VERSION, NETGROUP_VERSION_GUID},
      {"printers", false, "", PRINTER_VERSION, PRINTER_VERSION_GUID},
      {"mymap", false, "", "", GENERIC_VERSION_GUID},
      {"Netgroup", false, "", "", GENERIC_VERSION_GUID},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(r.automount, IsAutomountMapName(r.name)) << r.name;
    EXPECT_EQ(r.mapMarker, GetMapSchema(r.name)) << r.name;
    EXPECT_EQ(r.entryMarker, GetMapEntrySchema(r.name)) << r.name;
    EXPECT_EQ(r.guid, GetMapSchemaGuid(r.name)) << r.name;
  }
}

TEST(NisMapNames, IndexedKeys) {
  const struct {
    const char* text;
    const char* key;
    unsigned index;
    const char* message;
  } rows[] = {
      {"a:b:1", "a:b", 1, nullptr},
      {"k:12", "k", 12, nullptr},
      {":3", "", 3, nullptr},
      {"a:0", "a", 0, nullptr},
      {"a", nullptr, 0, "Bad indexed key format: no index"},
      {"", nullptr, 0, "Bad indexed key format: no index"},
      {"a:x", nullptr, 0, "Bad indexed key format: index is not number"},
      {"a:", nullptr, 0, "Bad indexed key format: index is not number"},
      {"a:1 ", nullptr, 0, "Bad indexed key format: index is not number"},
      {"a:-1", nullptr, 0, "Bad indexed key format: index is not number"},
  };
  for (const auto& r : rows) {
    std::string key = "untouched";
    if (r.message) {
      EXPECT_EQ(r.message,
                MessageOf<kesh::BadDataException>([&] { ParseNisMapIndexedKey(r.text, key); }))
          << r.text;
      EXPECT_EQ("untouched", key) << r.text;
    } else {
      EXPECT_EQ(r.index, ParseNisMapIndexedKey(r.text, key)) << r.text;
      EXPECT_EQ(r.key, key) << r.text;
    }
  }
}

TEST(NisMapNames, EntryCnsBeginWithTheEscapedKey) {
  const struct {
    const char* key;
    const char* prefix;
  } rows[] = {
      {"plain", "plain_"},
      {"a,b", "a\\,b_"},
      {"#x", "\\#x_"},
      {"sp ace", "sp\\20ace_"},
      {"q\"=;+<>\\", "q\\\"\\=\\;\\+\\<\\>\\\\_"},
  };
  for (const auto& r : rows) {
    const std::string cn = NewMapEntryCn(r.key);
    ASSERT_EQ(0u, cn.compare(0, strlen(r.prefix), r.prefix)) << cn;
    const std::string number = cn.substr(strlen(r.prefix));
    ASSERT_FALSE(number.empty()) << cn;
    EXPECT_EQ(std::string::npos, number.find_first_not_of("0123456789")) << cn;
    EXPECT_LT(std::stoull(number), 1000000000ull) << cn;
    EXPECT_EQ(std::string(r.key) + "_" + number, kesh::DN::unescapeDNString(cn)) << cn;
  }
  const std::string spare = NewSpareEntryCn();
  EXPECT_EQ(NIS_SPARE_PREFIX, spare[0]);
  EXPECT_NE(spare, NewSpareEntryCn());
}

class NisMapTest : public ZoneRig {
 protected:
  void SetUp() override {
    ZoneRig::SetUp();
    zone_ = NewTree(ZoneDn("Nis"));
    map_ = zone_->newMap("auto.home", false);
    zone_->saveMap(map_);
    mapDn_ = "CN=auto.home,CN=NisMaps," + ZoneDn("Nis");
  }

  Entries EntriesOf(const std::string& map = "auto.home") {
    Entries out;
    zone_->getMapEntries(map, out);
    return out;
  }

  kesh::ADObjectList Children() {
    kesh::ADObject map(mapDn_);
    return binding_->children(map, nullptr);
  }

  // Adds an entry object as another writer would, with a cn of our choosing.
  void WriteEntry(const std::string& cn, const std::string& key, const std::string& value) {
    memdir::LoadLdif("dn: CN=" + cn + "," + mapDn_ + "\nobjectClass: classStore\ndescription: " +
                     key + "\nadminDescription: " + value + "\n\n");
  }

  std::shared_ptr<TreeZone> zone_;
  std::shared_ptr<NisMap> map_;
  std::string mapDn_;
};

TEST_F(NisMapTest, SavedMapsMarkersWbemPathAndNameInUse) {
  const struct {
    const char* name;
    bool automount;
    const char* marker;
    const char* guid;
  } rows[] = {
      {"auto.home", false, AUTOMOUNT_MAP_VERSION, AUTOMOUNT_VERSION_GUID},  // saved by SetUp
      {"mymap", false, "", GENERIC_VERSION_GUID},
      {"mounts", true, AUTOMOUNT_MAP_VERSION, AUTOMOUNT_VERSION_GUID},
  };
  for (const auto& r : rows) {
    std::shared_ptr<NisMap> map = map_;
    if (std::string(r.name) != "auto.home") {
      map = zone_->newMap(r.name, r.automount);
      // Nothing is written before the save.
      EXPECT_TRUE(map->isNew);
      EXPECT_FALSE(Exists(map->object.dn())) << r.name;
      map->wbemPath = "path of " + std::string(r.name);
      zone_->saveMap(map);
    }
    EXPECT_FALSE(map->isNew);
    EXPECT_FALSE(map->object.firstValue(AD_WHEN_CREATED).empty()) << r.name;
    std::shared_ptr<NisMap> read = zone_->getMap(r.name);
    EXPECT_EQ("container", read->object[AD_OBJECT_CLASS].values().back()) << r.name;
    EXPECT_EQ(r.marker, read->object.firstValue(AD_DISPLAY_NAME)) << r.name;
    // The directory holds no empty value: a map without a marker has no displayName.
    EXPECT_EQ(*r.marker != '\0', read->object.attributeExists(AD_DISPLAY_NAME)) << r.name;
    EXPECT_EQ(r.guid, read->object.firstValue(AD_DESCRIPTION)) << r.name;
    EXPECT_EQ(map->wbemPath, read->wbemPath);
    EXPECT_FALSE(read->isNew);
    EXPECT_EQ("NisMap already in zone",
              MessageOf<kesh::BadDataException>([&] { zone_->newMap(r.name, false); }));
  }
  // A saved map is updated in place; an empty path is no attribute, never an empty value.
  EXPECT_FALSE(GetADObjectByDN(mapDn_).attributeExists(AD_WBEM_PATH));
  map_->wbemPath = "changed";
  zone_->saveMap(map_);
  EXPECT_EQ("changed", zone_->getMap("auto.home")->wbemPath);
  map_->wbemPath = "";
  zone_->saveMap(map_);
  EXPECT_FALSE(GetADObjectByDN(mapDn_).attributeExists(AD_WBEM_PATH));
  EXPECT_THROW(zone_->getMap("absent"), LDAPException);
  // A spare directly below the container is no map.
  memdir::LoadLdif("dn: CN=\\01spare,CN=NisMaps," + ZoneDn("Nis") + "\nobjectClass: container\n\n");
  std::list<std::string> maps;
  zone_->getMaps(maps);
  maps.sort();
  EXPECT_EQ((std::list<std::string>{"auto.home", "mounts", "mymap"}), maps);
}

TEST_F(NisMapTest, EntriesAsStored) {
  std::shared_ptr<NisMap> generic = zone_->newMap("mymap", false);
  zone_->saveMap(generic);
  zone_->addMapEntry("auto.home", "a", "server:/a", "");
  zone_->addMapEntry("auto.home", "b", "server:/b", "the b");
  zone_->addMapEntry("mymap", "k", "", "");
  kesh::ADObjectList children = Children();
  ASSERT_EQ(2u, children.size());
  for (kesh::ADObject& child : children) {
    const std::string key = child.firstValue("description");
    EXPECT_EQ(0u, child.firstValue(AD_CN).rfind(key + "_", 0)) << child.dn();
    EXPECT_EQ("classStore", child[AD_OBJECT_CLASS].values().back());
    EXPECT_EQ(AUTOMOUNT_VERSION, child.firstValue(AD_DISPLAY_NAME));
    EXPECT_EQ("server:/" + key, child.firstValue("adminDescription"));
    EXPECT_EQ(key == "b", child.attributeExists("wWWHomePage", true)) << key;
  }
  EXPECT_EQ((Entries{{"a:1", {"server:/a", ""}}, {"b:1", {"server:/b", "the b"}}}), EntriesOf());
  // Empty markers and values are no attributes.
  kesh::ADObjectList found = zone_->findMapEntry("mymap", "k");
  ASSERT_EQ(1u, found.size());
  EXPECT_FALSE(found[0].attributeExists(AD_DISPLAY_NAME));
  EXPECT_FALSE(found[0].attributeExists("adminDescription"));
  EXPECT_EQ((Entries{{"k:1", {"", ""}}}), EntriesOf("mymap"));
}

TEST_F(NisMapTest, RemovedEntryBecomesASpareThatTheNextAddReuses) {
  zone_->addMapEntry("auto.home", "a", "va", "old comment");
  // One search for the key and the spares, the add.
  EXPECT_EQ(2u, OperationsOf([&] { zone_->addMapEntry("auto.home", "c", "vc", ""); }));
  const std::string guidOfA = [&] {
    for (kesh::ADObject& child : Children())
      if (child.firstValue("description") == "a") return child.guid().toString();
    return std::string();
  }();
  ASSERT_FALSE(guidOfA.empty());

  zone_->removeMapEntry("auto.home", "a:1");
  EXPECT_EQ((Entries{{"c:1", {"vc", ""}}}), EntriesOf());
  EXPECT_TRUE(zone_->findMapEntry("auto.home", "a").empty());
  kesh::ADObject spare = zone_->findSpareMapEntry("auto.home");
  ASSERT_FALSE(spare.empty());
  EXPECT_EQ(NIS_SPARE_PREFIX, spare.firstValue(AD_CN)[0]);
  EXPECT_EQ(guidOfA, spare.guid().toString());

  // The new entry without a comment takes the spare over; the former comment stays, the
  // former value goes even when the new one is empty.
  // The search, the spare's rename, its update.
  EXPECT_EQ(3u, OperationsOf([&] { zone_->addMapEntry("auto.home", "b", "", ""); }));
  EXPECT_EQ(2u, Children().size());
  kesh::ADObjectList found = zone_->findMapEntry("auto.home", "b");
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(guidOfA, found[0].guid().toString());
  EXPECT_EQ(0u, found[0].firstValue(AD_CN).rfind("b_", 0));
  EXPECT_FALSE(found[0].attributeExists("adminDescription"));
  EXPECT_EQ((Entries{{"b:1", {"", "old comment"}}, {"c:1", {"vc", ""}}}), EntriesOf());
  EXPECT_TRUE(zone_->findSpareMapEntry("auto.home").empty());

  // With no spare left, the next entry is a new object.
  zone_->addMapEntry("auto.home", "d", "vd", "");
  EXPECT_EQ(3u, Children().size());
}

TEST_F(NisMapTest, RefusalsLeaveTheMapAndItsSpareAsTheyWere) {
  zone_->addMapEntry("auto.home", "a", "va", "");
  zone_->addMapEntry("auto.home", "s", "vs", "");
  zone_->removeMapEntry("auto.home", "s:1");
  const std::string spare = zone_->findSpareMapEntry("auto.home").dn();
  const struct {
    const char* what;
    std::function<void()> call;
    const char* message;
  } rows[] = {
      {"repeated key", [&] { zone_->addMapEntry("auto.home", "a", "other", "c"); },
       "Map entry already exists"},
      // Refused before the spare would be taken.
      {"empty key", [&] { zone_->addMapEntry("auto.home", "", "other", "c"); },
       "Map entry key cannot be empty"},
      {"index 0", [&] { zone_->removeMapEntry("auto.home", "a:0"); }, "key index out of bound"},
      {"index n+1", [&] { zone_->removeMapEntry("auto.home", "a:2"); }, "key index out of bound"},
      {"no index", [&] { zone_->removeMapEntry("auto.home", "a"); },
       "Bad indexed key format: no index"},
  };
  for (const auto& r : rows) {
    EXPECT_EQ(r.message, MessageOf<kesh::BadDataException>(r.call)) << r.what;
  }
  EXPECT_EQ("entry not found", MessageOf<kesh::NotFoundException>(
                                   [&] { zone_->removeMapEntry("auto.home", "zz:1"); }));
  // A map that does not exist fails in the search; no container or map appears.
  EXPECT_ANY_THROW(zone_->addMapEntry("nomap", "a", "v", ""));
  EXPECT_FALSE(Exists("CN=nomap,CN=NisMaps," + ZoneDn("Nis")));
  EXPECT_EQ((Entries{{"a:1", {"va", ""}}}), EntriesOf());
  EXPECT_EQ(2u, Children().size());
  EXPECT_TRUE(kesh::DN::equal(spare, zone_->findSpareMapEntry("auto.home").dn()));
}

TEST_F(NisMapTest, RepeatedKeysOfOtherWritersAreToldApartByIndex) {
  WriteEntry("k_1", "k", "first");
  WriteEntry("k_2", "k", "second");
  WriteEntry("other", "x", "vx");
  EXPECT_EQ((Entries{{"k:1", {"first", ""}}, {"k:2", {"second", ""}}, {"x:1", {"vx", ""}}}),
            EntriesOf());
  EXPECT_EQ("Map entry already exists", MessageOf<kesh::BadDataException>([&] {
              zone_->addMapEntry("auto.home", "k", "v", "");
            }));
  zone_->removeMapEntry("auto.home", "k:2");
  EXPECT_EQ((Entries{{"k:1", {"first", ""}}, {"x:1", {"vx", ""}}}), EntriesOf());
  EXPECT_TRUE(Exists("CN=k_1," + mapDn_));
  EXPECT_FALSE(Exists("CN=k_2," + mapDn_));
}

TEST_F(NisMapTest, KeysWithFilterAndDnCharacters) {
  for (const char* key : {"*(", "a*", "x)(cn=*", "a,b", "#h", "a:b", "back\\slash"}) {
    zone_->addMapEntry("auto.home", key, std::string("v") + key, "");
  }
  Entries entries = EntriesOf();
  EXPECT_EQ(7u, entries.size());
  EXPECT_EQ("v*(", entries["*(:1"].first);
  EXPECT_EQ("va:b", entries["a:b:1"].first);
  // The search by key matches the key alone, not a pattern.
  EXPECT_EQ(1u, zone_->findMapEntry("auto.home", "a*").size());
  EXPECT_TRUE(zone_->findMapEntry("auto.home", "*").empty());
  zone_->removeMapEntry("auto.home", "a:b:1");
  zone_->removeMapEntry("auto.home", "*(:1");
  entries = EntriesOf();
  EXPECT_EQ(0u, entries.count("a:b:1"));
  EXPECT_EQ(0u, entries.count("*(:1"));
  EXPECT_EQ(5u, entries.size());
}

TEST_F(NisMapTest, MapIsDeletedWithItsEntriesAndSpares) {
  zone_->addMapEntry("auto.home", "a", "va", "");
  zone_->addMapEntry("auto.home", "b", "vb", "");
  zone_->removeMapEntry("auto.home", "b:1");
  zone_->deleteMap("auto.home");
  EXPECT_FALSE(Exists(mapDn_));
  std::list<std::string> maps;
  zone_->getMaps(maps);
  EXPECT_TRUE(maps.empty());
}

}  // namespace
