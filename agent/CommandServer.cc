#include "agent/CommandServer.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace KorAgent {

namespace {

void setNonBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL, 0) | O_NONBLOCK); }

// A command longer than this is cut off and answered as it stands.
constexpr size_t kMaxCommand = 4096;

}  // namespace

CommandServer::CommandServer(Vix::ActivityLoop* loop, Handler handler) : loop_(loop), handler_(std::move(handler)) {}

CommandServer::~CommandServer() {
  while (!pending_.empty()) doClose(pending_.begin()->first);
  if (listenFd_ >= 0) {
    loop_->fdDel(listenFd_);
    ::close(listenFd_);
    ::unlink(path_.c_str());
  }
}

bool CommandServer::listenIs(std::string const& path) {
  sockaddr_un addr{};
  if (path.size() >= sizeof addr.sun_path) {
    error_ = "socket path too long: " + path;
    return false;
  }
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    error_ = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  ::unlink(path.c_str());
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0 || ::listen(fd, 16) < 0) {
    error_ = path + ": " + std::strerror(errno);
    ::close(fd);
    return false;
  }
  setNonBlocking(fd);
  listenFd_ = fd;
  path_ = path;
  loop_->fdIs(fd, [this] { handleAccept(); });
  return true;
}

void CommandServer::handleAccept() {
  for (;;) {
    int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    pending_[fd];
    loop_->fdIs(fd, [this, fd] { handleReadable(fd); });
  }
}

void CommandServer::handleReadable(int fd) {
  std::string& buf = pending_[fd];
  char chunk[512];
  for (;;) {
    ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n > 0) {
      buf.append(chunk, static_cast<size_t>(n));
      if (buf.find('\n') != std::string::npos || buf.size() >= kMaxCommand) return doAnswer(fd);
      continue;
    }
    if (n == 0) return doAnswer(fd);  // the client closed its side: the command is complete
    if (errno == EAGAIN || errno == EWOULDBLOCK) return;
    if (errno == EINTR) continue;
    return doClose(fd);
  }
}

void CommandServer::doAnswer(int fd) {
  std::string command = pending_[fd];
  if (auto nl = command.find('\n'); nl != std::string::npos) command.resize(nl);
  if (!command.empty() && command.back() == '\r') command.pop_back();
  std::string answer = handler_(fd, command);
  ++served_;
  // The answer is written blocking: dumps are small, and the client reads
  // until we close.
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL, 0) & ~O_NONBLOCK);
  size_t off = 0;
  while (off < answer.size()) {
    ssize_t n = ::send(fd, answer.data() + off, answer.size() - off, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    off += static_cast<size_t>(n);
  }
  doClose(fd);
}

void CommandServer::doClose(int fd) {
  loop_->fdDel(fd);
  pending_.erase(fd);
  ::close(fd);
}

}  // namespace KorAgent
