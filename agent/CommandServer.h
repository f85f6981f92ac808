#pragma once
// Serves the agent's command channel on a Unix stream socket, on the agent's
// activity loop (no thread). A client connects, writes one command line and
// reads the answer until the server closes the connection. Connections are
// non-blocking and read through the loop's descriptor watcher, so a slow
// client never stalls the state machines.
#include <functional>
#include <map>
#include <string>

#include "vix/ActivityLoop.h"

namespace KorAgent {

class CommandServer {
 public:
  // Answers one command; fd is the client's connection.
  using Handler = std::function<std::string(int fd, std::string const& command)>;

  CommandServer(Vix::ActivityLoop* loop, Handler handler);
  CommandServer(CommandServer const&) = delete;
  CommandServer& operator=(CommandServer const&) = delete;
  ~CommandServer();

  // Binds and listens at path (an old socket file there is replaced).
  // Returns false with errorText() set when it cannot.
  bool listenIs(std::string const& path);
  std::string const& errorText() const { return error_; }
  std::string const& path() const { return path_; }
  size_t commandsServed() const { return served_; }

 private:
  void handleAccept();
  void handleReadable(int fd);
  void doAnswer(int fd);
  void doClose(int fd);

  Vix::ActivityLoop* loop_;
  Handler handler_;
  int listenFd_ = -1;
  std::string path_;
  std::string error_;
  std::map<int, std::string> pending_;
  size_t served_ = 0;
};

}  // namespace KorAgent
