#include "FpmPeer.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace KorTest {

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point after(double seconds) {
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

int remainingMs(Clock::time_point end) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

}  // namespace

FpmPeer::FpmPeer(uint16_t port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) < 0) {
    pollfd p{fd, POLLOUT, 0};
    int err = 0;
    socklen_t len = sizeof err;
    if (errno != EINPROGRESS || ::poll(&p, 1, 5000) != 1 ||
        ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) < 0 || err) {
      ::close(fd);
      return;
    }
  }
  fd_ = fd;
}

FpmPeer::~FpmPeer() { close(); }

void FpmPeer::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

bool FpmPeer::send(std::vector<uint8_t> const& bytes, double seconds) {
  auto end = after(seconds);
  size_t off = 0;
  while (fd_ >= 0 && off < bytes.size()) {
    ssize_t n = ::send(fd_, bytes.data() + off, bytes.size() - off, MSG_NOSIGNAL);
    if (n > 0) {
      off += size_t(n);
      continue;
    }
    if (n < 0 && errno != EAGAIN && errno != EINTR) return false;
    pollfd p{fd_, POLLOUT, 0};
    if (::poll(&p, 1, remainingMs(end)) == 0) return false;
  }
  return fd_ >= 0;
}

bool FpmPeer::closedByAgent(double seconds) {
  if (fd_ < 0) return false;
  auto end = after(seconds);
  for (;;) {
    char buf[4096];
    ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) return true;
    if (n > 0) continue;
    pollfd p{fd_, POLLIN, 0};
    if (::poll(&p, 1, remainingMs(end)) == 0) return false;
  }
}

bool FpmPeer::open() {
  if (fd_ < 0) return false;
  char c;
  ssize_t n = ::recv(fd_, &c, 1, MSG_DONTWAIT | MSG_PEEK);
  return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

}  // namespace KorTest
