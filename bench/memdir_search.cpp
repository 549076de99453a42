// How fast the in-memory directory answers a subtree search with a substring filter over
// 100,000 objects. Prints the figures; exits non-zero when the search takes a second or more.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/memory/memdir.h"

namespace {

constexpr int kObjects = 100000;

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Runs the search through every page; returns the number of objects and the time taken.
size_t Search(kesh::ADBinding& b, const std::string& filter, double& seconds, double& cpu) {
  auto start = std::chrono::steady_clock::now();
  std::clock_t cpuStart = std::clock();
  kesh::PagedObjectList list =
      b.search(100, filter, "DC=example,DC=test", nullptr, kesh::SCOPE_SUB, 0, 0);
  size_t n = 0;
  for (;;) {
    n += list.page().size();
    if (list.lastPage()) break;
    list.nextPage();
  }
  seconds = Seconds(start);
  cpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  return n;
}

}  // namespace

int main() {
  auto start = std::chrono::steady_clock::now();
  kesh::memdir::Reset();
  kesh::memdir::LoadLdif(
      "dn: DC=example,DC=test\nobjectClass: domainDNS\n"
      "objectSid: S-1-5-21-3623811015-3361044348-30300820\n\n"
      "dn: OU=Bench,DC=example,DC=test\nobjectClass: organizationalUnit\n");
  std::string ldif;
  for (int i = 0; i < kObjects; ++i) {
    std::string n = std::to_string(i);
    ldif += "dn: CN=User " + n +
            ",OU=Bench,DC=example,DC=test\nobjectClass: user\n"
            "sAMAccountName: user" +
            n + "\ndescription: bench user number " + n + "\n\n";
  }
  kesh::memdir::LoadLdif(ldif);
  printf("memdir: loaded %d objects in %.2f s\n", kObjects, Seconds(start));

  kesh::memdir::SetCCache("MEMORY:bench", "Administrator@EXAMPLE.TEST");
  auto b = kesh::NewADBinding("example.test", "MEMORY:bench", false, "", "", nullptr);
  b->connect("", "", 0);

  double few, fewCpu, many, manyCpu;
  const char* fewFilter = "(&(objectCategory=Person)(sAMAccountName=*4242*))";
  size_t found = Search(*b, fewFilter, few, fewCpu);
  printf("memdir: subtree search %s over %d objects: %zu found in %.3f s (%.3f s CPU)\n", fewFilter,
         kObjects, found, few, fewCpu);
  const char* manyFilter = "(description=bench*number*)";
  size_t all = Search(*b, manyFilter, many, manyCpu);
  printf("memdir: subtree search %s over %d objects: %zu found in %.3f s (%.3f s CPU)\n",
         manyFilter, kObjects, all, many, manyCpu);
  if (found != 20 || all != static_cast<size_t>(kObjects)) {
    printf("memdir: wrong result counts\n");
    return 1;
  }
  return few < 1.0 ? 0 : 1;
}
