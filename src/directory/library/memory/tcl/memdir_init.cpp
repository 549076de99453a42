// The init entry of the test library libzonesmith_memory.so: the package's own init, then
// the memdir:: commands that tests use to drive the in-memory directory.
//
//   memdir::load <ldif file>              add the file's entries
//   memdir::load_ldif <ldif text>         add the entries of the text
//   memdir::reset                         forget everything (domains, passwords, faults...)
//   memdir::dump ?-subtree? ?<dn>?        LDIF of an object (of everything without a DN)
//   memdir::drop_after <n> ?-domain <d>? ?-reconnect?
//                                         the n-th operation from now loses the connection
//   memdir::stall on|off ?-domain <d>?    operations time out as against a frozen DC
//   memdir::ops                           directory operations made so far
//   memdir::kerberos_requests             tickets asked for with a password so far
//   memdir::range_threshold ?<n>?         the ranged-value threshold, set or read
//   memdir::set_password <principal> <password>
//   memdir::kinit <principal> <password> ?<cache>?
//                                         checks the password, fills the cache (default
//                                         "MEMORY:<principal>") and makes it the default cache
//   memdir::set_ccache <cache> <principal> a cache holding a ticket ("" principal: remove)
//   memdir::set_default_ccache <cache>    the calling user's cache ("" for none)
//   memdir::set_machine_ccache <cache>    the joined machine's cache ("" for not joined)
//   memdir::set_setting <key> <value>     an agent setting; keys "domain", "host", "zone"
//                                         name SETTING_DOMAIN_NAME, ..._HOST_NAME,
//                                         ..._ZONE_REALNAME
//   memdir::answer_prompt <text>          the next answer of a password prompt
//   memdir::set_agent 0|1                 stops or starts the joined machine's agent
#include <tcl.h>

#include <exception>
#include <string>
#include <vector>

#include "directory/library/kerberos.h"
#include "directory/library/memory/directory.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/settings.h"
#include "script/cpptcl.h"
#include "script/zonesmithlib.h"

namespace {

using Words = std::vector<std::string>;

int Usage(Tcl_Interp* interp, const char* command, const char* args) {
  std::string text =
      std::string("wrong # args: should be \"") + command + (*args ? " " : "") + args + "\"";
  Tcl_SetObjResult(interp, Tcl_NewStringObj(text.c_str(), -1));
  return TCL_ERROR;
}

int Fail(Tcl_Interp* interp, const std::string& message) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj(message.c_str(), -1));
  return TCL_ERROR;
}

bool ToLong(Tcl_Interp* interp, const std::string& word, long& out) {
  Tcl_Obj* obj = Tcl_NewStringObj(word.c_str(), -1);
  Tcl_IncrRefCount(obj);
  int rc = Tcl_GetLongFromObj(interp, obj, &out);
  Tcl_DecrRefCount(obj);
  return rc == TCL_OK;
}

std::string SettingKey(const std::string& key) {
  if (key == "domain") return kesh::SETTING_DOMAIN_NAME;
  if (key == "host") return kesh::SETTING_HOST_NAME;
  if (key == "zone") return kesh::SETTING_ZONE_REALNAME;
  return key;
}

// One memdir:: command: its words without the command name; sets the result.
using Handler = int (*)(Tcl_Interp*, const Words&);

int Load(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 1) return Usage(interp, "memdir::load", "ldifFile");
  kesh::memdir::LoadLdifFile(w[0]);
  return TCL_OK;
}

int LoadText(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 1) return Usage(interp, "memdir::load_ldif", "ldifText");
  kesh::memdir::LoadLdif(w[0]);
  return TCL_OK;
}

int Reset(Tcl_Interp* interp, const Words& w) {
  if (!w.empty()) return Usage(interp, "memdir::reset", "");
  kesh::memdir::Reset();
  return TCL_OK;
}

int Dump(Tcl_Interp* interp, const Words& w) {
  bool subtree = !w.empty() && w[0] == "-subtree";
  size_t rest = w.size() - (subtree ? 1 : 0);
  if (rest > 1) return Usage(interp, "memdir::dump", "?-subtree? ?dn?");
  std::string dn = rest == 1 ? w.back() : std::string();
  std::string text = kesh::memdir::DumpLdif(dn, subtree);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(text.c_str(), static_cast<int>(text.size())));
  return TCL_OK;
}

int Stall(Tcl_Interp* interp, const Words& w) {
  const char* usage = "on|off ?-domain domain?";
  bool valid =
      (w.size() == 1 || (w.size() == 3 && w[1] == "-domain")) && (w[0] == "on" || w[0] == "off");
  if (!valid) return Usage(interp, "memdir::stall", usage);
  kesh::memdir::Stall(w[0] == "on", w.size() == 3 ? w[2] : std::string());
  return TCL_OK;
}

int DropAfter(Tcl_Interp* interp, const Words& w) {
  const char* usage = "n ?-domain domain? ?-reconnect?";
  if (w.empty()) return Usage(interp, "memdir::drop_after", usage);
  long n;
  if (!ToLong(interp, w[0], n)) return TCL_ERROR;
  std::string domain;
  bool reconnect = false;
  for (size_t i = 1; i < w.size(); ++i) {
    if (w[i] == "-reconnect") {
      reconnect = true;
    } else if (w[i] == "-domain" && i + 1 < w.size()) {
      domain = w[++i];
    } else {
      return Usage(interp, "memdir::drop_after", usage);
    }
  }
  kesh::memdir::DropAfter(n, domain, reconnect);
  return TCL_OK;
}

int Ops(Tcl_Interp* interp, const Words& w) {
  if (!w.empty()) return Usage(interp, "memdir::ops", "");
  Tcl_SetObjResult(interp,
                   Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(kesh::memdir::OperationCount())));
  return TCL_OK;
}

int KerberosRequests(Tcl_Interp* interp, const Words& w) {
  if (!w.empty()) return Usage(interp, "memdir::kerberos_requests", "");
  kesh::memdir::Directory& d = kesh::memdir::Directory::instance();
  auto lock = d.lock();
  Tcl_SetObjResult(interp, Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(d.kerberosRequests)));
  return TCL_OK;
}

int RangeThreshold(Tcl_Interp* interp, const Words& w) {
  if (w.size() > 1) return Usage(interp, "memdir::range_threshold", "?n?");
  if (w.size() == 1) {
    long n;
    if (!ToLong(interp, w[0], n)) return TCL_ERROR;
    if (n < 1) return Fail(interp, "the threshold must be at least 1");
    kesh::memdir::SetRangeThreshold(static_cast<size_t>(n));
  }
  Tcl_SetObjResult(interp,
                   Tcl_NewWideIntObj(static_cast<Tcl_WideInt>(kesh::memdir::RangeThreshold())));
  return TCL_OK;
}

int SetPassword(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 2) return Usage(interp, "memdir::set_password", "principal password");
  kesh::memdir::SetPassword(w[0], w[1]);
  return TCL_OK;
}

int Kinit(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 2 && w.size() != 3)
    return Usage(interp, "memdir::kinit", "principal password ?cache?");
  kesh::KerberosContext context;
  kesh::KerberosCreds creds;
  std::string error;
  int rc = kesh::getCredentials(context, w[0], Shredder(w[1]), creds, error,
                                kesh::DEFAULT_TICKET_LIFETIME, nullptr);
  if (rc != 0) return Fail(interp, "get user credentials:" + error);
  std::string cache = w.size() == 3 ? w[2] : "MEMORY:" + creds.principal;
  kesh::storeTGT(context, creds.principal, cache, creds, 0, 0);
  kesh::memdir::SetDefaultCCache(cache);
  Tcl_SetObjResult(interp, Tcl_NewStringObj(cache.c_str(), -1));
  return TCL_OK;
}

int SetCCache(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 2) return Usage(interp, "memdir::set_ccache", "cache principal");
  kesh::memdir::SetCCache(w[0], w[1]);
  return TCL_OK;
}

int SetDefaultCCache(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 1) return Usage(interp, "memdir::set_default_ccache", "cache");
  kesh::memdir::SetDefaultCCache(w[0]);
  return TCL_OK;
}

int SetMachineCCache(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 1) return Usage(interp, "memdir::set_machine_ccache", "cache");
  kesh::memdir::SetMachineCCache(w[0]);
  return TCL_OK;
}

int SetSetting(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 2) return Usage(interp, "memdir::set_setting", "key value");
  kesh::memdir::SetSetting(SettingKey(w[0]), w[1]);
  return TCL_OK;
}

int SetAgent(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 1 || (w[0] != "0" && w[0] != "1")) {
    return Usage(interp, "memdir::set_agent", "0|1");
  }
  kesh::memdir::SetAgent(w[0] == "1");
  return TCL_OK;
}

int AnswerPrompt(Tcl_Interp* interp, const Words& w) {
  if (w.size() != 1) return Usage(interp, "memdir::answer_prompt", "text");
  kesh::memdir::QueuePasswordAnswer(w[0]);
  return TCL_OK;
}

int Dispatch(ClientData data, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  Words words;
  for (int i = 1; i < objc; ++i) {
    int length = 0;
    const char* s = Tcl_GetStringFromObj(objv[i], &length);
    words.emplace_back(s, static_cast<size_t>(length));
  }
  Tcl_ResetResult(interp);
  try {
    return reinterpret_cast<Handler>(data)(interp, words);
  } catch (const std::exception& e) {
    return Fail(interp, e.what());
  }
}

const struct {
  const char* name;
  Handler handler;
} kCommands[] = {
    {"memdir::load", Load},
    {"memdir::load_ldif", LoadText},
    {"memdir::reset", Reset},
    {"memdir::dump", Dump},
    {"memdir::drop_after", DropAfter},
    {"memdir::stall", Stall},
    {"memdir::ops", Ops},
    {"memdir::kerberos_requests", KerberosRequests},
    {"memdir::range_threshold", RangeThreshold},
    {"memdir::set_password", SetPassword},
    {"memdir::kinit", Kinit},
    {"memdir::set_ccache", SetCCache},
    {"memdir::set_default_ccache", SetDefaultCCache},
    {"memdir::set_machine_ccache", SetMachineCCache},
    {"memdir::set_setting", SetSetting},
    {"memdir::answer_prompt", AnswerPrompt},
    {"memdir::set_agent", SetAgent},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int Zonesmith_Init(Tcl_Interp* interp) {
  Tcl::interpreter wrapper(interp, false);
  try {
    int rc = Zonesmith_cpptcl_Init(wrapper);
    if (rc != TCL_OK) return rc;
  } catch (const std::exception& e) {
    Tcl_SetObjResult(interp, Tcl_NewStringObj(e.what(), -1));
    return TCL_ERROR;
  }
  if (Tcl_InitStubs(interp, "8.5", 0) == nullptr) return TCL_ERROR;
  for (const auto& c : kCommands) {
    Tcl_CreateObjCommand(interp, c.name, Dispatch, reinterpret_cast<ClientData>(c.handler),
                         nullptr);
  }
  return TCL_OK;
}
