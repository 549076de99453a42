#include "security/schema_lookup.h"

#include <memory>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/principal.h"

namespace {

// The first domain binding and the DN of its forest's schema container.
std::shared_ptr<MyBinding> SchemaBinding(std::string& schemaDn) {
  std::shared_ptr<MyBinding> binding = LookupBinding();
  schemaDn = "cn=schema,cn=configuration," + kesh::DN::dnFromDomain(binding->getForest());
  return binding;
}

}  // namespace

std::shared_ptr<MyBinding> LookupBinding() {
  std::vector<std::shared_ptr<MyBinding>> bindings;
  GetBindings(bindings);
  if (bindings.empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Need at least one binding to perform schema lookup");
  }
  return bindings[0];
}

std::string SchemaStringToGuid(const std::string& name) {
  std::string schemaDn;
  std::shared_ptr<MyBinding> binding = SchemaBinding(schemaDn);
  kesh::ADObject object = binding->fetch("cn=" + kesh::DN::escapeRDNValue(name) + "," + schemaDn,
                                         nullptr, AD_ALL_OBJECTS);
  const std::string value = object.firstValue("schemaIDGUID");
  // The directory hands schemaIDGUID over as its 16 bytes; a text form is read as hex.
  kesh::Guid guid =
      value.size() == 16 ? kesh::Guid::fromBytes(value) : kesh::Guid::fromHexValue(value);
  return guid.toRealMSString();
}

std::string SchemaGuidToName(kesh::Guid guid) {
  std::string result = guid.toRealMSString();
  std::string schemaDn;
  std::shared_ptr<MyBinding> binding = SchemaBinding(schemaDn);
  try {
    kesh::ADObjectList list = binding->search("(schemaIDGUID=" + guid.toEscapedString() + ")",
                                              schemaDn, nullptr, kesh::SCOPE_SUB, 0);
    if (!list.empty()) {
      const kesh::ADAttribute* cn = list.front().find("cn");
      if (cn != nullptr) result = *cn;
    }
  } catch (const std::exception&) {
    // The GUID's own text stands.
  }
  return result;
}
