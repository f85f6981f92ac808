#pragma once
// Serves the agent's command channel on a Unix stream socket, on the agent's
// activity loop (no thread). The protocol, limits and options are in
// docs/daemon.md: a client writes request lines and ends its request by
// shutting its write side; every line is answered in order, and the answer
// ends with the line "#end BYTES" (BYTES: the answer's size before it), after
// which the server closes. A client that sees no such line knows its answer
// was cut.
//
// Nothing a client does blocks the loop. Connections are non-blocking; a
// request is read through CommandRequestReader and run one line per loop turn
// (the library, the feeds and the other clients run in between); answers are
// written as the client takes them, through the loop's write watcher.
// Invariants: at most limits.maxClients connections; the answer bytes kept
// for one client stay within limits.answerMax, its request lines waiting to
// run within two read chunks (128 KiB) plus one bounded line; a connection
// that makes no progress (no byte read, no line run, no byte taken) for
// limits.timeout is closed; the listener is never polled while it cannot be
// served (at the cap, or out of descriptors), so the loop never spins on it.
//
// The socket file: a path that exists and is not a socket, or a socket some
// process still serves, is refused; a stale socket is replaced. The socket is
// created owner-only (0600), or owner and group (0660) with a group given,
// and removed at the end only if it is still this server's.
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "vix/ActivityLoop.h"
#include "vix/Clock.h"

namespace KorAgent {

class CommandServer {
 public:
  // Answers one line of a request; fd is the client's connection, lineNo the
  // line's number in the request (from 1).
  using Handler = std::function<std::string(int fd, std::string const& line, size_t lineNo)>;

  struct Limits {
    size_t maxClients = 32;
    // A connection with no progress for this long is closed.
    Vix::Seconds timeout = 60.0;
    // The answer bytes one client may hold unread; a line whose answer would
    // go past it gets a "line N:" error instead of its answer.
    size_t answerMax = size_t(256) << 20;
  };
  // The last line of every complete answer starts with this.
  static constexpr char const* kEndMarker = "#end ";

  CommandServer(Vix::ActivityLoop* loop, Handler handler, Limits const& limits);
  CommandServer(Vix::ActivityLoop* loop, Handler handler);
  CommandServer(CommandServer const&) = delete;
  CommandServer& operator=(CommandServer const&) = delete;
  ~CommandServer();

  // Binds and listens at path, owner-only, or also for `group` when one is
  // named. Returns false with errorText() set when it cannot or must not.
  bool listenIs(std::string const& path, std::string const& group = "");
  std::string const& errorText() const { return error_; }
  std::string const& path() const { return path_; }
  Limits const& limits() const { return limits_; }
  size_t clients() const { return conns_.size(); }
  // Request lines answered.
  size_t commandsServed() const { return served_; }
  // Connections closed before their answer was complete: timed out, evicted
  // to make room, or failed.
  size_t connectionsDropped() const { return dropped_; }

 private:
  struct Connection;

  void handleAccept();
  void handleReadable(Connection* c);
  void handleWritable(Connection* c);
  void handleWork(Connection* c);
  void handleTimeout(Connection* c);
  void doSchedule(Connection* c);
  void doQueue(Connection* c, std::string const& text);
  void doWrite(Connection* c);
  void doProgress(Connection* c);
  void doClose(Connection* c, std::string const& why);
  Connection* idleLongest() const;
  void doPauseListener(Vix::Seconds retryAfter);
  void doResumeListener();
  void doReap();
  std::string doAnswer(Connection* c, size_t lineNo, std::string const& text);

  Vix::ActivityLoop* loop_;
  Handler handler_;
  Limits limits_;
  int listenFd_ = -1;
  bool listenWatched_ = false;
  Vix::Clock listenRetry_;
  std::string path_;
  dev_t pathDev_ = 0;
  ino_t pathIno_ = 0;
  std::string error_;
  std::map<int, std::unique_ptr<Connection>> conns_;
  // Closed connections, destroyed at the next entry into the server: one may
  // be closed from its own clock's handler.
  std::vector<std::unique_ptr<Connection>> dead_;
  size_t served_ = 0;
  size_t dropped_ = 0;
};

}  // namespace KorAgent
