// libFuzzer target for stored profile data. Profile objects are written by other programs
// too, so a load takes whatever an object holds: keywords in any form, numbers that are
// no numbers, attributes missing or repeated. The input is one attribute value per line,
// "<attribute>:<value>". Each line-set is loaded as a zone user, a local user, a zone group
// and a local group by the adapters of every zone version of the RFC and Dynamic layouts,
// with a session that has no binding (so no directory user can be found). Properties:
//   - no load throws;
//   - a zone user is named "*" and its parentLink, or "*<unknown user>" without one, and
//     its upn is that name;
//   - a local user always has a unix name, and a local group too.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "directory/session.h"
#include "require.h"
#include "schema/user.h"
#include "schema/zschema.h"

namespace {

const char kZoneDn[] = "CN=zone,DC=example,DC=test";

// The loaders of an adapter, opened up for the target.
template <class Layout>
class Loader : public Layout {
 public:
  Loader(int version) : Layout(kesh::ADObject(kZoneDn), nullptr, version) {}
  using Layout::loadGroupData;
  using Layout::loadLocalUserData;
  using Layout::loadZUserData;
};

template <class Layout>
void LoadAll(int version, const kesh::ADObject& stored) {
  Loader<Layout> loader(version);
  try {
    kesh::ADObject scp = stored.clone();
    auto user = std::make_shared<NssZoneUser>();
    loader.loadZUserData(scp, user);
    Require(user->accountName ==
            (user->parentLink.empty() ? "*<unknown user>" : "*" + user->parentLink));
    Require(user->upn == user->accountName);

    scp = stored.clone();
    auto local = std::make_shared<NssLocalUser>();
    loader.loadLocalUserData(scp, local);
    Require(local->unixName.isSet);

    for (NssGroup* (*factory)() : {MakeZGroup, MakeLocalGroup}) {
      scp = stored.clone();
      std::shared_ptr<NssGroup> group(factory());
      loader.loadGroupData(scp, group);
      if (group->type == GROUP_TYPE_LOCAL) Require(group->unixName.isSet);
    }
  } catch (...) {
    Require(false);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ContextTab* tab = new ContextTab();  // a session without bindings, for all runs
  SessionScope scope(tab);

  const std::string text(reinterpret_cast<const char*>(data), size);
  kesh::ADObject stored(std::string("CN=profile,CN=Users,") + kZoneDn);
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    const size_t colon = line.find(':');
    if (colon != std::string::npos && colon > 0) {
      stored[line.substr(0, colon)].addVal(line.substr(colon + 1), false);
    }
    start = end + 1;
  }

  for (int version : {2, 4, 6, 8}) LoadAll<SchemaScpDynamic>(version, stored);
  for (int version : {3, 5, 7, 8}) LoadAll<SchemaScpRfc>(version, stored);
  return 0;
}
