#include "agent/CommandClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "agent/CommandServer.h"

namespace KorAgent {

bool CommandClient::answerComplete(std::string* received) {
  std::string const& r = *received;
  if (r.empty() || r.back() != '\n') return false;
  size_t const start = r.rfind('\n', r.size() - 2);
  size_t const lineStart = start == std::string::npos ? 0 : start + 1;
  std::string_view const line(r.data() + lineStart, r.size() - 1 - lineStart);
  std::string_view const marker(CommandServer::kEndMarker);
  if (line.substr(0, marker.size()) != marker) return false;
  uint64_t bytes = 0;
  auto const digits = line.substr(marker.size());
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), bytes);
  if (ec != std::errc() || end != digits.data() + digits.size() || digits.empty() || bytes != lineStart) return false;
  received->resize(lineStart);
  return true;
}

bool CommandClient::ask(std::string const& request, std::string* answer) {
  answer->clear();
  sockaddr_un addr{};
  if (path_.size() >= sizeof addr.sun_path) {
    error_ = "socket path too long: " + path_;
    return false;
  }
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path_.c_str(), path_.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0) {
    error_ = path_ + ": " + std::strerror(errno);
    if (fd >= 0) ::close(fd);
    return false;
  }
  // Sends and reads at once: the agent answers each line as it runs it, and
  // stops reading a long request while its answers wait to be taken.
  std::string text = request;
  if (text.empty() || text.back() != '\n') text += '\n';
  size_t off = 0;
  bool writeShut = false;
  int err = 0;
  char buf[65536];
  for (;;) {
    if (off == text.size() && !writeShut) {
      ::shutdown(fd, SHUT_WR);
      writeShut = true;
    }
    pollfd p{fd, static_cast<short>(POLLIN | (writeShut ? 0 : POLLOUT)), 0};
    if (::poll(&p, 1, -1) < 0) {
      if (errno == EINTR) continue;
      err = errno;
      break;
    }
    if (p.revents & POLLIN || (writeShut && p.revents & (POLLHUP | POLLERR))) {
      ssize_t n = ::read(fd, buf, sizeof buf);
      if (n > 0) {
        answer->append(buf, static_cast<size_t>(n));
        continue;
      }
      if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (n < 0) err = errno;
      break;
    }
    if (p.revents & (POLLOUT | POLLHUP | POLLERR)) {
      ssize_t n = ::send(fd, text.data() + off, text.size() - off, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n > 0) {
        off += static_cast<size_t>(n);
      } else if (n < 0 && errno != EINTR && errno != EAGAIN) {
        // The agent is gone or stopped reading: what it answered still counts.
        err = errno;
        writeShut = true;
      }
    }
  }
  ::close(fd);
  if (answerComplete(answer)) return true;
  error_ = path_ + ": the connection ended before the end of the answer (" + std::to_string(answer->size()) +
           " bytes received" + (err ? std::string(", ") + std::strerror(err) : std::string()) +
           "): the agent died or closed it";
  return false;
}

}  // namespace KorAgent
