// The local agent's settings over winbind, the agent that a Linux machine joined to AD
// runs: the domain comes from winbind's interface details, the host name is the machine's
// fully qualified name. There is no zone-aware agent, so the zone setting is always empty.
#include "directory/library/settings.h"

#include <netdb.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <string>

// libwbclient's header declares C functions without saying so.
extern "C" {
#include <wbclient.h>
}

namespace kesh {

const char* const SETTING_DOMAIN_NAME = "domain.name";
const char* const SETTING_HOST_NAME = "host.name";
const char* const SETTING_ZONE_REALNAME = "zone.realname";

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return text;
}

// The DNS domain winbind serves, lower-cased; empty when winbind does not answer (the
// machine is not joined, or winbind does not run).
std::string JoinedDomain() {
  // A context per question: winbind may have come up or gone away since the last one.
  struct wbcContext* context = wbcCtxCreate();
  if (context == nullptr) return std::string();
  std::string domain;
  struct wbcInterfaceDetails* details = nullptr;
  if (WBC_ERROR_IS_OK(wbcCtxInterfaceDetails(context, &details)) && details != nullptr) {
    if (details->dns_domain != nullptr) domain = Lower(details->dns_domain);
    wbcFreeMemory(details);
  }
  wbcCtxFree(context);
  return domain;
}

// The machine's fully qualified name: the canonical name of its host name, or the host
// name completed with the joined domain.
std::string HostName() {
  char name[256] = {0};
  if (gethostname(name, sizeof(name) - 1) != 0) return std::string();
  std::string host = name;
  addrinfo hints = {};
  hints.ai_flags = AI_CANONNAME;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* info = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &info) == 0 && info != nullptr) {
    if (info->ai_canonname != nullptr && strchr(info->ai_canonname, '.') != nullptr) {
      host = info->ai_canonname;
    }
    freeaddrinfo(info);
  }
  if (host.find('.') == std::string::npos) {
    std::string domain = JoinedDomain();
    if (!domain.empty()) host += "." + domain;
  }
  return Lower(host);
}

}  // namespace

std::string loadSetting(const std::string& key, bool, bool) {
  if (key == SETTING_DOMAIN_NAME) return JoinedDomain();
  if (key == SETTING_HOST_NAME) return HostName();
  return std::string();
}

std::string GetSetting(const std::string& key, const std::string& defaultValue, bool reload) {
  std::string value = loadSetting(key, reload, true);
  return value.empty() ? defaultValue : value;
}

}  // namespace kesh
