#include "directory/library/memory/memdir.h"

#include <atomic>
#include <fstream>
#include <sstream>

#include "directory/library/exceptions.h"
#include "directory/library/memory/directory.h"
#include "directory/library/strings.h"

namespace kesh {
namespace memdir {

namespace {
std::atomic<bool> agentRunning{false};
}  // namespace

void Reset() {
  agentRunning = false;
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.reset();
}

void LoadLdif(const std::string& text) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.loadLdif(text);
}

void LoadLdifFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) KESH_THROW(BadDataException, 0, "cannot read %s", path.c_str());
  std::ostringstream text;
  text << in.rdbuf();
  LoadLdif(text.str());
}

std::string DumpLdif(const std::string& dn, bool subtree) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  return d.dump(dn, subtree);
}

void DropAfter(long n, const std::string& domain, bool reconnect) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.fault.countdown = n > 0 ? n : 0;
  d.fault.domain = kesh::lower(domain);
  d.fault.reconnect = reconnect;
}

void Stall(bool on, const std::string& domain) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.stall.on = on;
  d.stall.domain = kesh::lower(domain);
}

uint64_t OperationCount() {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  return d.operations;
}

void SetRangeThreshold(size_t n) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.rangeThreshold = n > 0 ? n : 1;
}

size_t RangeThreshold() {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  return d.rangeThreshold;
}

void SetPassword(const std::string& principal, const std::string& password) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.passwords[Directory::PasswordKey(principal)] = password;
}

void SetSetting(const std::string& key, const std::string& value) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  if (value.empty()) {
    d.settings.erase(key);
  } else {
    d.settings[key] = value;
  }
}

void SetAgent(bool running) { agentRunning = running; }

bool AgentRunning() { return agentRunning; }

void SetCCache(const std::string& name, const std::string& principal) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  if (principal.empty()) {
    d.ccaches.erase(name);
  } else {
    d.ccaches[name] = principal;
  }
}

void SetDefaultCCache(const std::string& name) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.defaultCCache = name;
}

void SetMachineCCache(const std::string& name) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.machineCCache = name;
}

void QueuePasswordAnswer(const std::string& answer) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.passwordAnswers.push_back(answer);
}

}  // namespace memdir
}  // namespace kesh
