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

AgentProcess::AgentProcess(std::vector<std::string> const& args, std::string const& ready) {
  char tmpl[] = "/tmp/kor-daemon-XXXXXX";
  char* d = ::mkdtemp(tmpl);
  if (!d) {
    agentProcessFailure(std::string("mkdtemp: ") + std::strerror(errno));
    return;
  }
  dir_ = d;
  std::vector<std::string> argv{KOR_AGENT_BIN};
  for (auto const& a : args) argv.push_back(replaceDir(a, dir_));
  std::string errPath = dir_ + "/stderr";
  pid_ = ::fork();
  if (pid_ == 0) {
    int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, 0);
    ::dup2(null, 1);
    ::dup2(err, 2);
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

std::string AgentProcess::stderrText() const {
  std::ifstream in(dir_ + "/stderr");
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
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
  auto start = std::chrono::steady_clock::now();
  int fd = connectSocket(seconds);
  if (fd < 0) return std::nullopt;
  std::string line = text + "\n";
  if (::send(fd, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
    ::close(fd);
    return std::nullopt;
  }
  ::shutdown(fd, SHUT_WR);
  auto answer = readAll(fd, seconds - secondsSince(start));
  ::close(fd);
  return answer;
}

}  // namespace KorTest
