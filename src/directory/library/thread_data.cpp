#include "directory/library/thread_data.h"

namespace kesh {

ThreadData& ThreadData::get() {
  thread_local ThreadData data;
  return data;
}

}  // namespace kesh
