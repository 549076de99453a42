// kesh::ThreadData: the library's per-thread record.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_THREAD_DATA_H_
#define ZONESMITH_DIRECTORY_LIBRARY_THREAD_DATA_H_

namespace kesh {

class ThreadData {
 public:
  // The record of the calling thread, made on first use.
  static ThreadData& get();

  // Asks the next connections of this thread for a writable domain controller.
  bool writable = false;
};

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_THREAD_DATA_H_
