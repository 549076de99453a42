// libFuzzer target for the in-memory directory's LDAP filter parser. Text either parses or
// throws LDAPException. A parsed filter is evaluated against a small entry, then
// written back as filter text (values escaped by kesh::DN::escapeLDAPFilter) that must parse
// to the same tree.
#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/filter.h"
#include "directory/library/sid.h"
#include "require.h"

namespace {

using kesh::memdir::AttributeKind;
using kesh::memdir::AttributeSource;
using kesh::memdir::Filter;

// An entry with a value of each syntax the evaluator tells apart.
class SampleEntry : public AttributeSource {
 public:
  SampleEntry() {
    attrs_["cn"] = {"Joe Smith", "joe"};
    attrs_["objectClass"] = {"top", "person", "user"};
    attrs_["objectSid"] = {kesh::SID("S-1-5-21-1-2-3-1105").toBytes()};
    attrs_["objectGUID"] = {
        std::string("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c"
                    "\x0d\x0e\x0f\x10",
                    16)};
    attrs_["objectCategory"] = {"CN=Person,CN=Schema,CN=Configuration,DC=example,DC=test"};
    attrs_["memberOf"] = {"CN=Admins,CN=Users,DC=example,DC=test"};
    attrs_["userAccountControl"] = {"66048"};
    attrs_["uidNumber"] = {"-10000"};
    attrs_["description"] = {std::string("caf\xc3\xa9 \0 (x)*", 12)};
  }
  const std::vector<std::string>* values(const std::string& name,
                                         AttributeKind /*kind*/) const override {
    auto it = attrs_.find(name);
    return it == attrs_.end() ? nullptr : &it->second;
  }
  const std::string& dn() const override { return dn_; }

 private:
  std::map<std::string, std::vector<std::string>, kesh::CaseInsensitiveLess> attrs_;
  std::string dn_ = "CN=Joe Smith,CN=Users,DC=example,DC=test";
};

std::string Escape(const std::string& value) { return kesh::DN::escapeLDAPFilter(value); }

// The filter as RFC 4515 text.
std::string Write(const Filter& f) {
  switch (f.kind) {
    case Filter::AND:
    case Filter::OR:
    case Filter::NOT: {
      std::string out = f.kind == Filter::AND ? "(&" : f.kind == Filter::OR ? "(|" : "(!";
      for (const Filter& c : f.children) out += Write(c);
      return out + ")";
    }
    case Filter::PRESENT:
      return "(" + f.attribute + "=*)";
    case Filter::SUBSTRING: {
      std::string out = "(" + f.attribute + "=" + Escape(f.initial) + "*";
      for (const std::string& piece : f.any) out += Escape(piece) + "*";
      return out + Escape(f.final) + ")";
    }
    case Filter::GREATER:
      return "(" + f.attribute + ">=" + Escape(f.value) + ")";
    case Filter::LESS:
      return "(" + f.attribute + "<=" + Escape(f.value) + ")";
    case Filter::APPROX:
      return "(" + f.attribute + "~=" + Escape(f.value) + ")";
    case Filter::EXTENSIBLE:
      return "(" + f.attribute + ":" + f.rule + ":=" + Escape(f.value) + ")";
    case Filter::EQUAL:
      break;
  }
  return "(" + f.attribute + "=" + Escape(f.value) + ")";
}

// A substring item without pieces ("cn=**") means the same as a presence item.
Filter::Kind KindOf(const Filter& f) {
  if (f.kind == Filter::SUBSTRING && f.initial.empty() && f.any.empty() && f.final.empty()) {
    return Filter::PRESENT;
  }
  return f.kind;
}

bool Same(const Filter& a, const Filter& b) {
  if (KindOf(a) != KindOf(b) || a.children.size() != b.children.size()) return false;
  if (strcasecmp(a.attribute.c_str(), b.attribute.c_str()) != 0) return false;
  if (a.value != b.value || a.initial != b.initial || a.any != b.any || a.final != b.final ||
      a.rule != b.rule) {
    return false;
  }
  for (size_t i = 0; i < a.children.size(); ++i) {
    if (!Same(a.children[i], b.children[i])) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Filter filter;
  try {
    filter = Filter::parse(text);
  } catch (const LDAPException&) {
    return 0;
  }
  static const SampleEntry entry;
  filter.matches(entry);

  std::string written = Write(filter);
  Filter again;
  try {
    again = Filter::parse(written);
  } catch (const LDAPException&) {
    __builtin_trap();  // the written text of a parsed filter must parse
  }
  Require(Same(again, filter));
  Require(again.matches(entry) == filter.matches(entry));
  return 0;
}
