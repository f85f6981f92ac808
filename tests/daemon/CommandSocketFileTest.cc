// The command socket's file: whatever else is at the path is left alone, a
// socket another agent serves is not taken over, a stale one is replaced,
// and the socket is for its owner (and a named group) only, whatever the
// umask.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;

// A directory of the test's own, removed at the end.
class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/kor-sockfile-XXXXXX";
    path_ = ::mkdtemp(tmpl);
  }
  ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  std::string const& path() const { return path_; }

 private:
  std::string path_;
};

AgentProcess::Spawn notServing() {
  AgentProcess::Spawn s;
  s.ready = "";
  return s;
}

void expectRefused(AgentProcess& agent, std::string const& why) {
  ASSERT_TRUE(agent.waitForExit(10.0)) << "the agent serves a path it must refuse";
  ASSERT_TRUE(WIFEXITED(*agent.exitStatus()));
  EXPECT_NE(WEXITSTATUS(*agent.exitStatus()), 0);
  EXPECT_NE(agent.stderrText().find(why), std::string::npos) << agent.stderrText();
}

TEST(CommandSocketFileTest, AFileThatIsNotASocketIsLeftAlone) {
  TempDir dir;
  std::string const path = dir.path() + "/kor.sock";
  std::ofstream(path) << "precious\n";
  AgentProcess agent({"--socket", path}, notServing());
  expectRefused(agent, path + ": exists and is not a socket; not replaced");
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str(), "precious\n");
}

TEST(CommandSocketFileTest, ASocketInUseIsNotTakenOverAndAStaleOneIsReplaced) {
  AgentProcess first({"--socket", "{dir}/kor.sock"});
  {
    AgentProcess second({"--socket", first.socketPath()}, notServing());
    expectRefused(second, "another process serves this socket; not replaced");
  }
  struct stat st;
  ASSERT_EQ(::lstat(first.socketPath().c_str(), &st), 0) << "the second agent removed the first one's socket";
  auto answer = first.ask("show vrfs");
  ASSERT_TRUE(answer.has_value()) << "the first agent is unreachable";

  // A socket file nobody serves any more (an agent killed) is replaced.
  TempDir dir;
  std::string const path = dir.path() + "/kor.sock";
  int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ::close(fd);
  AgentProcess::Spawn spawn;
  spawn.ready = "kor-agent: serving";
  AgentProcess third({"--socket", path}, spawn);
  EXPECT_TRUE(third.alive()) << third.stderrText();
}

TEST(CommandSocketFileTest, TheSocketIsOwnerOnlyWhateverTheUmask) {
  AgentProcess::Spawn spawn;
  spawn.umask = 0;
  AgentProcess agent({"--socket", "{dir}/kor.sock"}, spawn);
  struct stat st;
  ASSERT_EQ(::stat(agent.socketPath().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(CommandSocketFileTest, ASocketGroupWidensItToTheGroup) {
  struct group const* g = ::getgrgid(::getegid());
  ASSERT_NE(g, nullptr);
  std::string const name = g->gr_name;
  AgentProcess::Spawn spawn;
  spawn.umask = 0;
  AgentProcess agent({"--socket", "{dir}/kor.sock", "--socket-group", name}, spawn);
  struct stat st;
  ASSERT_EQ(::stat(agent.socketPath().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0660u);
  EXPECT_EQ(st.st_gid, ::getegid());
  EXPECT_TRUE(agent.ask("show vrfs").has_value());

  AgentProcess unknown({"--socket", "{dir}/kor.sock", "--socket-group", "no-such-group-kor"}, notServing());
  expectRefused(unknown, "--socket-group: unknown group 'no-such-group-kor'");
}

}  // namespace
