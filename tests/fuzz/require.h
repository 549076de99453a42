// The check of the fuzz targets' properties.
#ifndef ZONESMITH_TESTS_FUZZ_REQUIRE_H_
#define ZONESMITH_TESTS_FUZZ_REQUIRE_H_

#include <cstdio>

// Stops the run when `condition` is false, naming the file and line of the broken property.
inline void Require(bool condition, const char* file = __builtin_FILE(),
                    int line = __builtin_LINE()) {
  if (condition) return;
  fprintf(stderr, "%s:%d: property broken\n", file, line);
  __builtin_trap();
}

#endif  // ZONESMITH_TESTS_FUZZ_REQUIRE_H_
