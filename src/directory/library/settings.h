// Settings of the local agent: what the machine's join tells (domain, host, zone).
//
// The LDAP backend asks the agent that runs on a joined Linux machine; the in-memory
// directory keeps a table that tests fill.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_SETTINGS_H_
#define ZONESMITH_DIRECTORY_LIBRARY_SETTINGS_H_

#include <string>

namespace kesh {

extern const char* const SETTING_DOMAIN_NAME;
extern const char* const SETTING_HOST_NAME;
extern const char* const SETTING_ZONE_REALNAME;

// The setting, or `defaultValue` when it is unknown or empty.
std::string GetSetting(const std::string& key, const std::string& defaultValue, bool reload);
// The setting, or an empty string.
std::string loadSetting(const std::string& key, bool reload, bool quiet);

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_SETTINGS_H_
