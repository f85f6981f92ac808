#include "agent/CommandServer.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "agent/CommandRequestReader.h"
#include "vix/Log.h"

VIX_LOG_EVENT(COMMAND_CONNECTION_CLOSED, 4, "command channel connection closed: %s",
              "The agent closed a command channel connection before its answer was complete.",
              "A client that holds a connection must send its request and read its answer in time "
              "(kor-agent --socket-timeout).",
              1.0);
VIX_LOG_EVENT(COMMAND_ACCEPT_FAILED, 3, "command channel cannot accept connections: %s",
              "The agent could not take a new command channel connection; it waits and tries again.",
              "Check the agent's descriptor limit (ulimit -n) and what holds its descriptors.", 10.0);

namespace KorAgent {

namespace {

// Request bytes read at once; reading stops while this much of the request
// waits to be run.
constexpr size_t kReadChunk = 65536;
// Lines are run while less than this waits to be taken by the client.
constexpr size_t kOutHigh = size_t(1) << 20;
// Connections taken in one turn of the loop.
constexpr int kAcceptsPerTurn = 16;
// Out of descriptors and no idle connection to close: the listener rests
// this long (or until a connection closes) before it tries again.
constexpr Vix::Seconds kAcceptRetry = 1.0;

std::string secondsText(Vix::Seconds s) {
  char text[32];
  std::snprintf(text, sizeof text, "%gs", s);
  return text;
}

void setNonBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL, 0) | O_NONBLOCK); }

bool socketAddress(std::string const& path, sockaddr_un* addr) {
  if (path.empty() || path.size() >= sizeof addr->sun_path) return false;
  *addr = sockaddr_un{};
  addr->sun_family = AF_UNIX;
  std::memcpy(addr->sun_path, path.c_str(), path.size() + 1);
  return true;
}

}  // namespace

// One client: its request being read, the answer bytes it has not taken, and
// its two clocks (the next line to run; the end of its patience).
struct CommandServer::Connection {
  Connection(CommandServer* server, int fd)
      : fd(fd),
        work(server->loop_, [server, this] { server->handleWork(this); }),
        timeout(server->loop_, [server, this] { server->handleTimeout(this); }) {}
  int fd;
  CommandRequestReader reader;
  std::string out;  // out[outOff..] is still to be written
  size_t outOff = 0;
  uint64_t answered = 0;  // answer bytes queued, the end line excluded
  bool readWatched = false;
  bool writeWatched = false;
  bool finished = false;  // the end line is queued: close once written
  bool closed = false;    // waits in dead_ to be destroyed
  Vix::Seconds lastProgress = 0;
  Vix::Clock work;
  Vix::Clock timeout;
  size_t pending() const { return out.size() - outOff; }
};

CommandServer::CommandServer(Vix::ActivityLoop* loop, Handler handler, Limits const& limits)
    : loop_(loop), handler_(std::move(handler)), limits_(limits), listenRetry_(loop, [this] { doResumeListener(); }) {}

CommandServer::CommandServer(Vix::ActivityLoop* loop, Handler handler)
    : CommandServer(loop, std::move(handler), Limits()) {}

CommandServer::~CommandServer() {
  while (!conns_.empty()) doClose(conns_.begin()->second.get(), "");
  dead_.clear();
  if (listenFd_ >= 0) {
    loop_->fdDel(listenFd_);
    ::close(listenFd_);
    // Only our own socket: another may have taken the path since.
    struct stat st;
    if (::lstat(path_.c_str(), &st) == 0 && st.st_dev == pathDev_ && st.st_ino == pathIno_) ::unlink(path_.c_str());
  }
}

bool CommandServer::listenIs(std::string const& path, std::string const& group) {
  sockaddr_un addr;
  if (!socketAddress(path, &addr)) {
    error_ = "socket path empty or too long: '" + path + "'";
    return false;
  }
  gid_t gid = 0;
  if (!group.empty()) {
    struct group const* g = ::getgrnam(group.c_str());
    if (!g) {
      error_ = "--socket-group: unknown group '" + group + "'";
      return false;
    }
    gid = g->gr_gid;
  }
  struct stat st;
  if (::lstat(path.c_str(), &st) == 0) {
    if (!S_ISSOCK(st.st_mode)) {
      error_ = path + ": exists and is not a socket; not replaced";
      return false;
    }
    // A socket file: in use while a process accepts on it, stale otherwise.
    int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (probe < 0) {
      error_ = std::string("socket: ") + std::strerror(errno);
      return false;
    }
    int const r = ::connect(probe, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    int const err = errno;
    ::close(probe);
    if (r == 0 || err == EAGAIN || err == EINPROGRESS) {
      error_ = path + ": another process serves this socket; not replaced";
      return false;
    }
    if (err != ECONNREFUSED) {
      error_ = path + ": cannot tell whether the socket is in use: " + std::strerror(err);
      return false;
    }
    ::unlink(path.c_str());
  } else if (errno != ENOENT) {
    error_ = path + ": " + std::strerror(errno);
    return false;
  }
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    error_ = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  // Created owner-only, whatever the umask: no moment where others may
  // connect and configure the switch.
  mode_t const oldMask = ::umask(0177);
  int const bound = ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  int const bindErr = errno;
  ::umask(oldMask);
  if (bound < 0) {
    error_ = path + ": " + std::strerror(bindErr);
    ::close(fd);
    return false;
  }
  auto fail = [&](std::string const& what) {
    error_ = path + ": " + what + ": " + std::strerror(errno);
    ::close(fd);
    ::unlink(path.c_str());
    return false;
  };
  if (!group.empty()) {
    if (::chown(path.c_str(), static_cast<uid_t>(-1), gid) < 0) return fail("group " + group);
    if (::chmod(path.c_str(), 0660) < 0) return fail("mode");
  }
  if (::lstat(path.c_str(), &st) < 0) return fail("stat");
  if (::listen(fd, 16) < 0) return fail("listen");
  pathDev_ = st.st_dev;
  pathIno_ = st.st_ino;
  setNonBlocking(fd);
  listenFd_ = fd;
  path_ = path;
  doResumeListener();
  return true;
}

void CommandServer::doPauseListener(Vix::Seconds retryAfter) {
  if (listenWatched_) loop_->fdDel(listenFd_);
  listenWatched_ = false;
  if (retryAfter > 0) listenRetry_.timeMinIs(loop_->now() + retryAfter);
}

void CommandServer::doResumeListener() {
  listenRetry_.timeMinIs(Vix::kNever);
  if (listenWatched_ || listenFd_ < 0) return;
  listenWatched_ = true;
  loop_->fdIs(listenFd_, [this] { handleAccept(); });
}

void CommandServer::doReap() { dead_.clear(); }

CommandServer::Connection* CommandServer::idleLongest() const {
  // Idle: waits for its request and has nothing to run or write. A client
  // busy with its answer is never closed to make room.
  Connection* oldest = nullptr;
  for (auto const& [fd, c] : conns_) {
    if (c->reader.ended() || c->reader.lineReady() || c->pending() || c->work.armed()) continue;
    if (!oldest || c->lastProgress < oldest->lastProgress) oldest = c.get();
  }
  return oldest;
}

void CommandServer::handleAccept() {
  doReap();
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    bool const full = conns_.size() >= limits_.maxClients;
    if (full && !idleLongest()) {
      // Every client is busy with its answer: new ones wait in the backlog
      // until one closes.
      doPauseListener(0);
      return;
    }
    int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      int const err = errno;
      if (err == EINTR || err == ECONNABORTED) continue;
      if (err == EAGAIN || err == EWOULDBLOCK) return;
      if (Connection* idle = idleLongest()) {
        // Out of descriptors (or memory): an idle connection makes room.
        doClose(idle, std::string("closed to make room (") + std::strerror(err) + ")");
        continue;
      }
      COMMAND_ACCEPT_FAILED.raise(loop_->now(), std::strerror(err));
      doPauseListener(kAcceptRetry);
      return;
    }
    if (full) doClose(idleLongest(), "idle the longest at the connection limit of " + std::to_string(limits_.maxClients));
    auto owned = std::make_unique<Connection>(this, fd);
    Connection* c = owned.get();
    conns_[fd] = std::move(owned);
    doProgress(c);
    doSchedule(c);
  }
}

void CommandServer::doProgress(Connection* c) {
  c->lastProgress = loop_->now();
  c->timeout.timeMinIs(c->lastProgress + limits_.timeout);
}

void CommandServer::handleTimeout(Connection* c) {
  doReap();
  doClose(c, "no progress for " + secondsText(limits_.timeout));
}

void CommandServer::handleReadable(Connection* c) {
  doReap();
  char chunk[kReadChunk];
  ssize_t n = ::read(c->fd, chunk, sizeof chunk);
  if (n > 0) {
    c->reader.bytesAdd(chunk, static_cast<size_t>(n));
    doProgress(c);
  } else if (n == 0) {
    c->reader.endIs();  // the client shut its write side: the request is complete
    doProgress(c);
  } else if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) {
    return;
  } else {
    return doClose(c, std::string("read: ") + std::strerror(errno));
  }
  doSchedule(c);
}

void CommandServer::doSchedule(Connection* c) {
  // Read while the request's waiting lines and the unread answer are small.
  bool const wantRead = !c->reader.ended() && c->reader.bytesReady() < kReadChunk && c->pending() < kOutHigh;
  if (wantRead != c->readWatched) {
    if (wantRead) loop_->fdIs(c->fd, [this, c] { handleReadable(c); });
    else loop_->fdDel(c->fd);
    c->readWatched = wantRead;
  }
  if (c->reader.lineReady()) {
    if (c->pending() < kOutHigh) c->work.timeMinEarlierIs(loop_->now());
    return;
  }
  if (c->reader.done() && !c->finished) {
    c->finished = true;
    doQueue(c, std::string(kEndMarker) + std::to_string(c->answered) + "\n");
    doWrite(c);
  }
}

void CommandServer::handleWork(Connection* c) {
  doReap();
  auto line = c->reader.lineTaken();
  if (!line) return doSchedule(c);
  std::string answer = line->error.empty() ? doAnswer(c, line->number, line->text)
                                           : "line " + std::to_string(line->number) + ": " + line->error + "\n";
  ++served_;
  if (c->pending() + answer.size() > limits_.answerMax) {
    answer = "line " + std::to_string(line->number) + ": answer of " + std::to_string(answer.size()) +
             " bytes not sent: over the " + std::to_string(limits_.answerMax) +
             " bytes one client may hold unread (--socket-answer-max)\n";
  }
  c->answered += answer.size();
  doQueue(c, answer);
  doProgress(c);
  doWrite(c);
  // One line per turn of the loop: what the line armed (the library's
  // reviews, a restart) runs before the next one.
  if (!c->closed) doSchedule(c);
}

std::string CommandServer::doAnswer(Connection* c, size_t lineNo, std::string const& text) {
  try {
    return handler_(c->fd, text, lineNo);
  } catch (std::exception const& e) {
    return "line " + std::to_string(lineNo) + ": " + e.what() + "\n";
  }
}

void CommandServer::doQueue(Connection* c, std::string const& text) {
  if (c->outOff > 0 && c->outOff >= c->out.size() / 2) {
    c->out.erase(0, c->outOff);
    c->outOff = 0;
  }
  c->out += text;
}

void CommandServer::doWrite(Connection* c) {
  while (c->pending()) {
    ssize_t n = ::send(c->fd, c->out.data() + c->outOff, c->pending(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      c->outOff += static_cast<size_t>(n);
      doProgress(c);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      if (!c->writeWatched) loop_->fdWriteIs(c->fd, [this, c] { handleWritable(c); });
      c->writeWatched = true;
      return;
    }
    return doClose(c, std::string("write: ") + std::strerror(errno));
  }
  c->out.clear();
  c->outOff = 0;
  if (c->writeWatched) loop_->fdWriteDel(c->fd);
  c->writeWatched = false;
  if (c->finished) doClose(c, "");
}

void CommandServer::handleWritable(Connection* c) {
  doReap();
  doWrite(c);
  if (!c->closed) doSchedule(c);
}

void CommandServer::doClose(Connection* c, std::string const& why) {
  auto it = conns_.find(c->fd);
  if (c->closed || it == conns_.end() || it->second.get() != c) return;
  c->closed = true;
  if (!why.empty()) {
    ++dropped_;
    COMMAND_CONNECTION_CLOSED.raise(loop_->now(), why.c_str());
  }
  loop_->fdDel(c->fd);
  loop_->fdWriteDel(c->fd);
  ::close(c->fd);
  c->work.timeMinIs(Vix::kNever);
  c->timeout.timeMinIs(Vix::kNever);
  dead_.push_back(std::move(it->second));
  conns_.erase(it);
  doResumeListener();
}

}  // namespace KorAgent
