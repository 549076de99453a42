#include "tcp_proxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace testing_support {

namespace {

sockaddr_in Address(const std::string& ip, int port) {
  sockaddr_in a;
  memset(&a, 0, sizeof(a));
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  if (inet_pton(AF_INET, ip.c_str(), &a.sin_addr) != 1) {
    throw std::runtime_error("not an IPv4 address: " + ip);
  }
  return a;
}

// Writes all of `data`; false when the peer is gone.
bool WriteAll(int fd, const char* data, ssize_t length) {
  while (length > 0) {
    ssize_t n = send(fd, data, static_cast<size_t>(length), MSG_NOSIGNAL);
    if (n <= 0) return false;
    data += n;
    length -= n;
  }
  return true;
}

}  // namespace

TcpProxy::TcpProxy(const std::string& listenAddress, const std::string& targetAddress,
                   int targetPort)
    : targetAddress_(targetAddress), targetPort_(targetPort) {
  listen_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a = Address(listenAddress, 0);
  if (listen_ < 0 || bind(listen_, reinterpret_cast<sockaddr*>(&a), sizeof(a)) != 0 ||
      listen(listen_, 8) != 0 || pipe(wake_) != 0) {
    std::string why = strerror(errno);
    if (listen_ >= 0) close(listen_);
    throw std::runtime_error("proxy cannot listen on " + listenAddress + ": " + why);
  }
  socklen_t length = sizeof(a);
  getsockname(listen_, reinterpret_cast<sockaddr*>(&a), &length);
  port_ = ntohs(a.sin_port);
  thread_ = std::thread([this] { run(); });
}

TcpProxy::~TcpProxy() {
  stop_ = true;
  char c = 's';
  if (write(wake_[1], &c, 1) < 0) {
    // The thread also ends on the next event.
  }
  thread_.join();
  close(listen_);
  close(wake_[0]);
  close(wake_[1]);
}

void TcpProxy::cutAll() {
  std::unique_lock<std::mutex> lock(mutex_);
  cutRequested_ = true;
  char c = 'c';
  if (write(wake_[1], &c, 1) < 0) return;
  cutDone_.wait(lock, [this] { return !cutRequested_; });
}

void TcpProxy::setFrozen(bool frozen) {
  frozen_ = frozen;
  char c = 'f';
  if (write(wake_[1], &c, 1) < 0) {
    // The thread sees the new state at its next event.
  }
}

void TcpProxy::closeAll() {
  for (auto& p : pairs_) {
    shutdown(p.first, SHUT_RDWR);
    shutdown(p.second, SHUT_RDWR);
    close(p.first);
    close(p.second);
  }
  pairs_.clear();
}

void TcpProxy::run() {
  char buffer[65536];
  while (!stop_) {
    std::vector<pollfd> fds = {{listen_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    // Frozen: the pairs are not watched, so nothing is read or forwarded.
    const bool frozen = frozen_;
    for (auto& p : pairs_) {
      if (frozen) break;
      fds.push_back({p.first, POLLIN, 0});
      fds.push_back({p.second, POLLIN, 0});
    }
    if (poll(fds.data(), fds.size(), -1) < 0) continue;

    if (fds[1].revents & POLLIN) {
      ssize_t drained = read(wake_[0], buffer, sizeof(buffer));
      (void)drained;
      std::lock_guard<std::mutex> lock(mutex_);
      if (cutRequested_) {
        closeAll();
        cutRequested_ = false;
        cutDone_.notify_all();
      }
      continue;  // the pair list may have changed
    }
    if (fds[0].revents & POLLIN) {
      int client = accept(listen_, nullptr, nullptr);
      if (client >= 0) {
        int server = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a = Address(targetAddress_, targetPort_);
        if (server >= 0 && connect(server, reinterpret_cast<sockaddr*>(&a), sizeof(a)) == 0) {
          pairs_.emplace_back(client, server);
          ++accepted_;
        } else {
          if (server >= 0) close(server);
          close(client);
        }
      }
    }
    // Only the pairs that were polled: one accepted just now waits for the next round.
    std::vector<size_t> dead;
    const size_t polled = (fds.size() - 2) / 2;
    for (size_t i = 0; i < polled; ++i) {
      const pollfd& from = fds[2 + 2 * i];
      const pollfd& to = fds[3 + 2 * i];
      bool alive = true;
      if (from.revents & (POLLIN | POLLHUP | POLLERR)) {
        ssize_t n = recv(pairs_[i].first, buffer, sizeof(buffer), 0);
        alive = n > 0 && WriteAll(pairs_[i].second, buffer, n);
      }
      if (alive && (to.revents & (POLLIN | POLLHUP | POLLERR))) {
        ssize_t n = recv(pairs_[i].second, buffer, sizeof(buffer), 0);
        alive = n > 0 && WriteAll(pairs_[i].first, buffer, n);
      }
      if (!alive) dead.push_back(i);
    }
    for (auto it = dead.rbegin(); it != dead.rend(); ++it) {
      close(pairs_[*it].first);
      close(pairs_[*it].second);
      pairs_.erase(pairs_.begin() + static_cast<long>(*it));
    }
  }
  closeAll();
}

}  // namespace testing_support
