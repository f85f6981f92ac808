#pragma once
// A real kor-agent process for tests that judge the daemon from outside: it
// is started with the given options in a fresh temporary directory (its
// socket lives there), its standard error is kept in a file, and it is
// stopped with SIGTERM (then SIGKILL) when the object goes. The tests talk
// to it only as a user would: over its Unix command socket and TCP ports.
// No test framework here (the soak program uses it too): a failure to start
// is reported through agentProcessFailure(), which each program defines.
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KorTest {

class AgentProcess {
 public:
  // How the process is started besides its arguments.
  struct Spawn {
    std::string ready = "kor-agent: serving";
    std::optional<unsigned> umask;    // the process's umask
    std::optional<unsigned> maxFds;   // its RLIMIT_NOFILE
    std::string stdinText;            // what it reads on standard input
  };
  // Starts KOR_AGENT_BIN (the build's, or the environment's) with `args`; "{dir}" in an argument is replaced by
  // the process's temporary directory. Returns once the agent has printed
  // `ready` on standard error (empty: at once), or fails the test.
  AgentProcess(std::vector<std::string> const& args, std::string const& ready = "kor-agent: serving");
  AgentProcess(std::vector<std::string> const& args, Spawn const& spawn);
  AgentProcess(AgentProcess const&) = delete;
  AgentProcess& operator=(AgentProcess const&) = delete;
  ~AgentProcess();

  // The temporary directory, and the default command socket path in it.
  std::string const& dir() const { return dir_; }
  std::string socketPath() const { return dir_ + "/kor.sock"; }
  pid_t pid() const { return pid_; }

  // True while the process runs; once it has ended, exitStatus() tells how
  // (the raw wait status).
  bool alive();
  std::optional<int> exitStatus() const { return status_; }
  // Sends SIGTERM and waits up to `seconds` for the end; true when it ended.
  bool terminate(double seconds = 10.0);
  // Waits up to `seconds` for the end, without a signal; true when it ended.
  bool waitForExit(double seconds = 10.0);
  // Everything the agent wrote to standard error (standard output) so far.
  std::string stderrText() const;
  std::string stdoutText() const;
  // User plus system CPU time the process has used, from /proc.
  double cpuSeconds() const;
  // Waits until standard error contains `text` (false after `seconds`).
  bool waitForStderr(std::string const& text, double seconds = 10.0);
  // Resident set size in KiB, from /proc.
  size_t rssKib() const;
  // Open descriptors of the process, from /proc.
  size_t openFds() const;
  // The FPM port from the agent's "kor-agent: fpm listening on ADDR:PORT"
  // line, waiting up to `seconds` for it; 0 when it did not come.
  uint16_t fpmPort(double seconds = 10.0);

  // One request on the command socket as `kor-agent --ask` sends it: the
  // text and a newline, then the write side shut; the answer is read until
  // the agent closes and handed back without its end line ("#end BYTES").
  // nullopt when the connection failed, was reset, did not close within
  // `seconds` (the connection included), or the answer had no valid end line.
  std::optional<std::string> ask(std::string const& text, double seconds = 10.0) const;
  // The same, with the bytes as the agent sent them (end line included).
  std::optional<std::string> askRaw(std::string const& text, double seconds = 10.0) const;
  // Connects to the command socket within `seconds` (its backlog is full
  // while the agent does not accept) and returns the descriptor, blocking
  // (-1 on failure); the caller owns it.
  int connectSocket(double seconds = 10.0) const;

 private:
  std::string dir_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

// Reads from fd until end of file or `seconds`; nullopt on a timeout or an
// error other than end of file.
std::optional<std::string> readAll(int fd, double seconds);

// How many times `what` stands in `text` (not overlapping).
size_t count(std::string const& text, std::string const& what);

// The number after the key path "a.b.c" in an agent's JSON answer: each key
// is looked for after the one before it, so "routes.stale" is the "stale" of
// the "routes" object. nullopt when a key is missing or holds no number.
std::optional<double> jsonNumber(std::string const& text, std::string const& path);

// Defined by each program that links AgentProcess: how a process that did
// not start is reported (a test failure, a message and a failed exit).
void agentProcessFailure(std::string const& what);

}  // namespace KorTest
