// The cache's destructor, so that a session can own its (closed) cache before the cache
// itself is written; the full unit replaces this file.
#include "directory/cache.h"

Cache::~Cache() = default;
