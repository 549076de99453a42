// ldap_ops: directory operations through one binding of the LDAP backend, for the
// benchmark script bench/ldap_ops (which compares them with ldapadd and ldapsearch).
//
//   ldap_ops add COUNT PARENT_DN        adds COUNT containers CN=c<i> below PARENT_DN
//   ldap_ops search BASE FILTER ATTR... paged subtree search, prints the number of objects
//   ldap_ops remove-tree DN             removes DN with everything below it
//
// The domain is $ZS_DC_DOMAIN and the credentials those of $KRB5CCNAME (as exported by
// scripts/local-dc env).
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"

namespace {

int Usage() {
  fprintf(stderr,
          "usage: ldap_ops add COUNT PARENT_DN\n"
          "       ldap_ops search BASE FILTER [ATTR...]\n"
          "       ldap_ops remove-tree DN\n");
  return 2;
}

std::shared_ptr<kesh::ADBinding> Bind() {
  const char* domain = getenv("ZS_DC_DOMAIN");
  const char* cache = getenv("KRB5CCNAME");
  auto binding =
      kesh::NewADBinding(domain ? domain : "", cache ? cache : "", false, "", "", nullptr);
  binding->connect("", "", 0);
  return binding;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return Usage();
  std::string command = argv[1];
  try {
    if (command == "add" && argc == 4) {
      int count = atoi(argv[2]);
      std::string parent = argv[3];
      auto binding = Bind();
      for (int i = 0; i < count; ++i) {
        kesh::ADObject o = kesh::LDAPBinding::createChild(parent, "c" + std::to_string(i), "CN");
        o[AD_OBJECT_CLASS] = "container";
        o[AD_DESCRIPTION] = "item " + std::to_string(i);
        binding->add(o);
      }
      printf("%d\n", count);
    } else if (command == "search" && argc >= 4) {
      std::vector<const char*> attrs(argv + 4, argv + argc);
      attrs.push_back(nullptr);
      auto binding = Bind();
      kesh::PagedObjectList list = binding->search(
          100, argv[3], argv[2], argc > 4 ? attrs.data() : nullptr, kesh::SCOPE_SUB, 0, 0);
      size_t count = 0;
      for (;;) {
        count += list.page().size();
        if (list.lastPage()) break;
        list.nextPage();
      }
      printf("%zu\n", count);
    } else if (command == "remove-tree" && argc == 3) {
      auto binding = Bind();
      kesh::ADObject o{std::string(argv[2])};
      binding->remove(o, true);
    } else {
      return Usage();
    }
  } catch (const KESHException& e) {
    fprintf(stderr, "ldap_ops: %s (%d)\n", e.what(), e.rc());
    return 1;
  }
  return 0;
}
