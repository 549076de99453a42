// The local agent's settings over the in-memory directory: a table that tests fill
// (memdir::SetSetting, memdir::set_setting).
#include "directory/library/settings.h"

#include "directory/library/memory/directory.h"

namespace kesh {

const char* const SETTING_DOMAIN_NAME = "domain.name";
const char* const SETTING_HOST_NAME = "host.name";
const char* const SETTING_ZONE_REALNAME = "zone.realname";

std::string loadSetting(const std::string& key, bool, bool) {
  memdir::Directory& d = memdir::Directory::instance();
  auto lock = d.lock();
  auto it = d.settings.find(key);
  return it == d.settings.end() ? std::string() : it->second;
}

std::string GetSetting(const std::string& key, const std::string& defaultValue, bool reload) {
  std::string value = loadSetting(key, reload, true);
  return value.empty() ? defaultValue : value;
}

}  // namespace kesh
