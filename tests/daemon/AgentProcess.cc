#include "AgentProcess.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

#include "agent/CommandClient.h"

namespace KorTest {

namespace {

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string replaceDir(std::string a, std::string const& dir) {
  for (size_t at; (at = a.find("{dir}")) != std::string::npos;) a.replace(at, 5, dir);
  return a;
}

}  // namespace

AgentProcess::AgentProcess(std::vector<std::string> const& args, std::string const& ready)
    : AgentProcess(args, Spawn{ready, std::nullopt, std::nullopt, ""}) {}

AgentProcess::AgentProcess(std::vector<std::string> const& args, Spawn const& spawn) {
  std::string const& ready = spawn.ready;
  char tmpl[] = "/tmp/kor-daemon-XXXXXX";
  char* d = ::mkdtemp(tmpl);
  if (!d) {
    agentProcessFailure(std::string("mkdtemp: ") + std::strerror(errno));
    return;
  }
  dir_ = d;
  // KOR_AGENT_BIN in the environment judges another build of the agent.
  char const* bin = std::getenv("KOR_AGENT_BIN");
  std::vector<std::string> argv{bin && *bin ? bin : KOR_AGENT_BIN};
  for (auto const& a : args) argv.push_back(replaceDir(a, dir_));
  std::string errPath = dir_ + "/stderr";
  std::string outPath = dir_ + "/stdout";
  std::string inPath = dir_ + "/stdin";
  {
    std::ofstream in(inPath, std::ios::binary);
    in << spawn.stdinText;
  }
  pid_ = ::fork();
  if (pid_ == 0) {
    int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int out = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int in = ::open(inPath.c_str(), O_RDONLY);
    ::dup2(in, 0);
    ::dup2(out, 1);
    ::dup2(err, 2);
    ::close(in);
    ::close(out);
    ::close(err);
    if (spawn.umask) ::umask(static_cast<mode_t>(*spawn.umask));
    if (spawn.maxFds) {
      rlimit lim{*spawn.maxFds, *spawn.maxFds};
      ::setrlimit(RLIMIT_NOFILE, &lim);
    }
    std::vector<char*> cargv;
    for (auto& a : argv) cargv.push_back(a.data());
    cargv.push_back(nullptr);
    ::execv(cargv[0], cargv.data());
    ::_exit(127);
  }
  if (!ready.empty() && !waitForStderr(ready))
    agentProcessFailure("kor-agent did not print '" + ready + "'; stderr:\n" + stderrText());
}

AgentProcess::~AgentProcess() {
  if (pid_ > 0 && !status_) {
    if (!terminate(10.0)) {
      ::kill(pid_, SIGKILL);
      int st = 0;
      ::waitpid(pid_, &st, 0);
    }
  }
  if (!dir_.empty()) std::system(("rm -rf '" + dir_ + "'").c_str());
}

bool AgentProcess::alive() {
  if (status_ || pid_ <= 0) return false;
  int st = 0;
  pid_t r = ::waitpid(pid_, &st, WNOHANG);
  if (r == pid_) {
    status_ = st;
    return false;
  }
  return true;
}

bool AgentProcess::terminate(double seconds) {
  if (!alive()) return true;
  ::kill(pid_, SIGTERM);
  auto start = std::chrono::steady_clock::now();
  while (secondsSince(start) < seconds) {
    if (!alive()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

bool AgentProcess::waitForExit(double seconds) {
  auto start = std::chrono::steady_clock::now();
  while (secondsSince(start) < seconds) {
    if (!alive()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return !alive();
}

namespace {

std::string fileText(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

}  // namespace

std::string AgentProcess::stderrText() const { return fileText(dir_ + "/stderr"); }
std::string AgentProcess::stdoutText() const { return fileText(dir_ + "/stdout"); }

double AgentProcess::cpuSeconds() const {
  // Fields 14 and 15 of /proc/PID/stat, after the command name in parentheses.
  std::string stat = fileText("/proc/" + std::to_string(pid_) + "/stat");
  size_t close = stat.rfind(')');
  if (close == std::string::npos) return 0;
  std::istringstream in(stat.substr(close + 2));
  std::string field;
  unsigned long long utime = 0, stime = 0;
  for (int i = 3; i <= 15 && in >> field; ++i) {
    if (i == 14) utime = std::stoull(field);
    if (i == 15) stime = std::stoull(field);
  }
  return double(utime + stime) / double(::sysconf(_SC_CLK_TCK));
}

bool AgentProcess::waitForStderr(std::string const& text, double seconds) {
  auto start = std::chrono::steady_clock::now();
  while (secondsSince(start) < seconds) {
    if (stderrText().find(text) != std::string::npos) return true;
    if (!alive()) return stderrText().find(text) != std::string::npos;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

size_t AgentProcess::rssKib() const {
  std::ifstream in("/proc/" + std::to_string(pid_) + "/status");
  std::string line;
  while (std::getline(in, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::strtoul(line.c_str() + 6, nullptr, 10);
  return 0;
}

size_t AgentProcess::openFds() const {
  size_t n = 0;
  DIR* d = ::opendir(("/proc/" + std::to_string(pid_) + "/fd").c_str());
  if (!d) return 0;
  while (dirent* e = ::readdir(d))
    if (e->d_name[0] != '.') ++n;
  ::closedir(d);
  return n;
}

int AgentProcess::connectSocket(double seconds) const {
  sockaddr_un addr{};
  std::string path = socketPath();
  if (path.size() >= sizeof addr.sun_path) return -1;
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return -1;
  auto start = std::chrono::steady_clock::now();
  while (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0) {
    // A full backlog answers EAGAIN at once: the agent is not accepting.
    if ((errno != EAGAIN && errno != EINTR) || secondsSince(start) >= seconds) {
      ::close(fd);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL, 0) & ~O_NONBLOCK);
  return fd;
}

uint16_t AgentProcess::fpmPort(double seconds) {
  static std::string const kListening = "kor-agent: fpm listening on ";
  auto start = std::chrono::steady_clock::now();
  do {
    std::string err = stderrText();
    auto at = err.find(kListening);
    auto eol = at == std::string::npos ? at : err.find('\n', at);
    if (eol != std::string::npos) {
      auto colon = err.rfind(':', eol);
      return static_cast<uint16_t>(std::strtoul(err.c_str() + colon + 1, nullptr, 10));
    }
    if (!alive()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  } while (secondsSince(start) < seconds);
  return 0;
}

size_t count(std::string const& text, std::string const& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) ++n;
  return n;
}

std::optional<double> jsonNumber(std::string const& text, std::string const& path) {
  size_t at = 0;
  for (size_t from = 0; from <= path.size();) {
    size_t dot = path.find('.', from);
    if (dot == std::string::npos) dot = path.size();
    at = text.find('"' + path.substr(from, dot - from) + "\": ", at);
    if (at == std::string::npos) return std::nullopt;
    at = text.find(':', at) + 2;
    from = dot + 1;
  }
  char* end = nullptr;
  double v = std::strtod(text.c_str() + at, &end);
  if (end == text.c_str() + at) return std::nullopt;
  return v;
}

std::optional<std::string> readAll(int fd, double seconds) {
  std::string out;
  auto start = std::chrono::steady_clock::now();
  char buf[65536];
  for (;;) {
    double left = seconds - secondsSince(start);
    if (left <= 0) return std::nullopt;
    pollfd p{fd, POLLIN, 0};
    int r = ::poll(&p, 1, static_cast<int>(left * 1000) + 1);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return std::nullopt;
    ssize_t n = ::read(fd, buf, sizeof buf);
    if (n > 0) {
      out.append(buf, static_cast<size_t>(n));
    } else if (n == 0) {
      return out;
    } else if (errno != EINTR && errno != EAGAIN) {
      return std::nullopt;
    }
  }
}

std::optional<std::string> AgentProcess::ask(std::string const& text, double seconds) const {
  auto answer = askRaw(text, seconds);
  if (!answer || !KorAgent::CommandClient::answerComplete(&*answer)) return std::nullopt;
  return answer;
}

std::optional<std::string> AgentProcess::askRaw(std::string const& text, double seconds) const {
  auto start = std::chrono::steady_clock::now();
  int fd = connectSocket(seconds);
  if (fd < 0) return std::nullopt;
  // The request is sent while the answer is read: the agent answers a long
  // request line by line and reads on only while its answers are taken.
  std::string const line = text + "\n";
  size_t off = 0;
  std::string out;
  char buf[65536];
  std::optional<std::string> answer;
  for (;;) {
    if (off == line.size()) {
      ::shutdown(fd, SHUT_WR);
      off = line.size() + 1;
    }
    double left = seconds - secondsSince(start);
    if (left <= 0) break;
    bool const sending = off < line.size();
    pollfd p{fd, static_cast<short>(POLLIN | (sending ? POLLOUT : 0)), 0};
    int r = ::poll(&p, 1, static_cast<int>(left * 1000) + 1);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) break;
    if (p.revents & (POLLIN | POLLHUP | POLLERR)) {
      ssize_t n = ::read(fd, buf, sizeof buf);
      if (n > 0) {
        out.append(buf, static_cast<size_t>(n));
        continue;
      }
      if (n == 0) answer = out;
      if (n == 0 || (errno != EINTR && errno != EAGAIN)) break;
    }
    if (sending && (p.revents & POLLOUT)) {
      ssize_t n = ::send(fd, line.data() + off, line.size() - off, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n > 0) off += static_cast<size_t>(n);
      else if (n < 0 && errno != EINTR && errno != EAGAIN) break;
    }
  }
  ::close(fd);
  return answer;
}

}  // namespace KorTest
