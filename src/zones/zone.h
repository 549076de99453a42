// IZone: the root interface of every zone, and the enumerations that name zone kinds and
// storage layouts.
//
// A zone is a directory container that holds UNIX profiles, NIS maps and authorization
// data. Commands take the current zone from the session as an IZone and ask it for the
// capability they need by dynamic cast; a failed cast rejects the command.
#ifndef ZONESMITH_ZONES_ZONE_H_
#define ZONESMITH_ZONES_ZONE_H_

#include <string>

class IZoneSchema;

// The kind of a zone, as stored and as `get_zone_field type` reports it.
enum ZoneType {
  ZONE_TYPE_CLASSIC3 = 0,
  ZONE_TYPE_CLASSIC4 = 1,
  ZONE_TYPE_TREE = 2,
  ZONE_TYPE_ACCESS = 3,
  ZONE_TYPE_COMPUTER = 4,
  ZONE_TYPE_CLASSIC_COMPUTER = 5,
};

// The storage layout of a zone's profiles; 0 when the zone has no layout of its own.
enum SchemaType {
  SCHEMA_TYPE_NONE = 0,
  SCHEMA_TYPE_SFU = 1,
  SCHEMA_TYPE_RFC = 2,
  SCHEMA_TYPE_DYNAMIC = 3,
};

class IZone {
 public:
  // Deletes the zone from the directory.
  virtual void remove() = 0;
  // The zone path that OpenZone accepts back.
  virtual std::string getPath() = 0;
  // Writes pending changes of the zone object.
  virtual void saveZone() = 0;
  virtual SchemaType getSchemaType() = 0;
  // The adapter that stores the zone's data, or null for a zone without one.
  virtual IZoneSchema* getSchema() { return nullptr; }
  virtual ZoneType getZoneType() = 0;
  virtual std::string getZoneName() = 0;
  // Gives `principal` the zone right `right`.
  virtual void delegateRight(const std::string& right, std::string principal) = 0;
  virtual ~IZone() = default;
};

#endif  // ZONESMITH_ZONES_ZONE_H_
