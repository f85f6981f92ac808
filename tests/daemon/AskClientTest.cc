// `kor-agent --ask` tells a complete answer from a cut one: an empty answer
// is a success, a connection that ends before the answer's end line - the
// agent died or closed it - fails with a message.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;

AgentProcess::Spawn client() {
  AgentProcess::Spawn s;
  s.ready = "";
  return s;
}

int exitCode(AgentProcess& p) {
  EXPECT_TRUE(p.waitForExit(20.0));
  if (!p.exitStatus() || !WIFEXITED(*p.exitStatus())) return -1;
  return WEXITSTATUS(*p.exitStatus());
}

// A stand-in for an agent that dies mid-request: it takes one connection,
// reads the request, writes `partial` and closes.
class DyingServer {
 public:
  explicit DyingServer(std::string partial) : partial_(std::move(partial)) {
    char tmpl[] = "/tmp/kor-dying-XXXXXX";
    dir_ = ::mkdtemp(tmpl);
    path_ = dir_ + "/kor.sock";
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path_.c_str(), path_.size() + 1);
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    EXPECT_EQ(::listen(fd_, 1), 0);
    thread_ = std::thread([this] {
      int c = ::accept(fd_, nullptr, nullptr);
      if (c < 0) return;
      char buf[4096];
      while (::read(c, buf, sizeof buf) > 0) {
      }
      if (!partial_.empty()) (void)::send(c, partial_.data(), partial_.size(), MSG_NOSIGNAL);
      ::close(c);
    });
  }
  ~DyingServer() {
    thread_.join();
    ::close(fd_);
    std::system(("rm -rf '" + dir_ + "'").c_str());
  }
  std::string const& path() const { return path_; }

 private:
  std::string partial_;
  std::string dir_;
  std::string path_;
  int fd_ = -1;
  std::thread thread_;
};

TEST(AskClientTest, ACompleteAnswerIsPrintedWithoutItsEndLineEvenWhenEmpty) {
  AgentProcess agent({"--socket", "{dir}/kor.sock"});
  AgentProcess show({"--ask", agent.socketPath(), "show vrfs"}, client());
  EXPECT_EQ(exitCode(show), 0) << show.stderrText();
  EXPECT_EQ(show.stdoutText(), "vrfs:\n  default      id 0\n");
  AgentProcess add({"--ask", agent.socketPath(), "vrf add red"}, client());
  EXPECT_EQ(exitCode(add), 0) << add.stderrText();
  EXPECT_EQ(add.stdoutText(), "");
  AgentProcess::Spawn fromStdin = client();
  fromStdin.stdinText = "show vrfs\nbogus\n";
  AgentProcess two({"--ask", agent.socketPath(), "-"}, fromStdin);
  EXPECT_EQ(exitCode(two), 0) << two.stderrText();
  EXPECT_EQ(two.stdoutText(), "vrfs:\n  default      id 0\n  red          id 1\nline 2: unknown statement 'bogus'\n");
}

TEST(AskClientTest, AConnectionEndedMidAnswerFailsWithAMessage) {
  for (std::string const partial : {"", "vrfs:\n  default", "vrfs:\n#end 99\n"}) {
    DyingServer server(partial);
    AgentProcess ask({"--ask", server.path(), "show vrfs"}, client());
    EXPECT_EQ(exitCode(ask), 1) << "'" << partial << "' passed for a complete answer";
    EXPECT_NE(ask.stderrText().find("the connection ended before the end of the answer"), std::string::npos)
        << ask.stderrText();
    EXPECT_EQ(ask.stdoutText(), partial);
  }
}

}  // namespace
