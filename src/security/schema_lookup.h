// Look-ups in the schema of the forest: names of schema objects and their schemaIDGUIDs.
// Both use the first domain binding of the session.
#ifndef ZONESMITH_SECURITY_SCHEMA_LOOKUP_H_
#define ZONESMITH_SECURITY_SCHEMA_LOOKUP_H_

#include <memory>
#include <string>

#include "directory/library/guid.h"

class MyBinding;

// The session's first binding, which look-ups in the forest's schema and configuration
// start from. Throws kesh::BadDataException "Need at least one binding to perform schema
// lookup" when the session holds none.
std::shared_ptr<MyBinding> LookupBinding();

// The schemaIDGUID of the schema object named `name` ("Service-Connection-Point"), as
// "xxxxxxxx-xxxx-..." text. Throws kesh::BadDataException "Need at least one binding to
// perform schema lookup" without a binding, and the directory's exception when there is
// no such schema object.
std::string SchemaStringToGuid(const std::string& name);
// The cn of the schema object whose schemaIDGUID is `guid`; the GUID's text when the
// directory does not know it or cannot be asked. Throws kesh::BadDataException like
// SchemaStringToGuid without a binding.
std::string SchemaGuidToName(kesh::Guid guid);

#endif  // ZONESMITH_SECURITY_SCHEMA_LOOKUP_H_
