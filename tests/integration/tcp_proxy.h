// TcpProxy: a small TCP relay for tests that need to cut a connection without stopping
// the server behind it.
#ifndef ZONESMITH_TESTS_INTEGRATION_TCP_PROXY_H_
#define ZONESMITH_TESTS_INTEGRATION_TCP_PROXY_H_

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace testing_support {

class TcpProxy {
 public:
  // Listens on `listenAddress` (an ephemeral port) and relays every connection to
  // `targetAddress`:`targetPort`. Throws std::runtime_error when it cannot listen.
  TcpProxy(const std::string& listenAddress, const std::string& targetAddress, int targetPort);
  ~TcpProxy();
  TcpProxy(const TcpProxy&) = delete;
  TcpProxy& operator=(const TcpProxy&) = delete;

  int port() const { return port_; }
  // Closes both sides of every relayed connection; returns once they are closed. New
  // connections are still accepted.
  void cutAll();
  // While frozen the relay forwards nothing in either direction, as a server that has
  // stopped answering; connections stay open and new ones are accepted. Thawing forwards
  // what was held back.
  void setFrozen(bool frozen);
  // Connections accepted so far.
  int accepted() const { return accepted_; }

 private:
  void run();
  void closeAll();

  int listen_ = -1;
  int port_ = 0;
  int wake_[2] = {-1, -1};
  const std::string targetAddress_;
  const int targetPort_;
  std::vector<std::pair<int, int>> pairs_;
  std::atomic<int> accepted_{0};
  std::atomic<bool> stop_{false};
  std::atomic<bool> frozen_{false};
  std::mutex mutex_;
  std::condition_variable cutDone_;
  bool cutRequested_ = false;
  std::thread thread_;
};

}  // namespace testing_support

#endif  // ZONESMITH_TESTS_INTEGRATION_TCP_PROXY_H_
