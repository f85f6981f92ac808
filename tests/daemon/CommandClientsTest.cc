// Clients that misbehave on the command socket, seen from outside: one that
// never reads its large answer, many that connect and say nothing, and
// connections past the descriptor limit. None of them may stall the other
// clients, grow the agent without bound or spin its loop.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "AgentProcess.h"

namespace {

using KorTest::AgentProcess;

// n routes over one FEC, one request each.
void addRoutes(AgentProcess const& agent, int n) {
  std::vector<std::string> lines{"intf add Ethernet1 routed", "fec add 1 via 10.1.0.2 Ethernet1"};
  for (int i = 0; i < n; ++i)
    lines.push_back("route add default 10." + std::to_string(2 + i / 256) + "." + std::to_string(i % 256) + ".0/24 fec 1");
  for (auto const& line : lines) {
    auto answer = agent.ask(line);
    ASSERT_TRUE(answer.has_value()) << line;
    ASSERT_EQ(*answer, "") << line;
  }
}

// A connection that sends `request` (if any) and then reads nothing.
int silentClient(AgentProcess const& agent, std::string const& request = "") {
  int fd = agent.connectSocket();
  if (fd >= 0 && !request.empty()) {
    EXPECT_EQ(::send(fd, request.data(), request.size(), MSG_NOSIGNAL), ssize_t(request.size()));
    ::shutdown(fd, SHUT_WR);
  }
  return fd;
}

// Non-blocking connect: a full backlog gives -1 instead of waiting.
int connectNoWait(std::string const& path) {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd >= 0 && ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// True when the agent closed fd (end of file after whatever it sent).
bool closedByAgent(int fd) {
  char buf[65536];
  for (;;) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 0) <= 0) return false;
    ssize_t n = ::read(fd, buf, sizeof buf);
    if (n == 0) return true;
    if (n < 0) return errno == ECONNRESET;
  }
}

// Waits up to `seconds` for at least `want` of fds to be closed by the agent.
size_t waitClosed(std::vector<int> const& fds, size_t want, double seconds) {
  auto const start = std::chrono::steady_clock::now();
  std::vector<bool> closed(fds.size());
  size_t n = 0;
  while (std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() < seconds) {
    for (size_t i = 0; i < fds.size(); ++i)
      if (!closed[i] && closedByAgent(fds[i])) closed[i] = true, ++n;
    if (n >= want) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return n;
}

void closeAll(std::vector<int> const& fds) {
  for (int fd : fds)
    if (fd >= 0) ::close(fd);
}

TEST(CommandClientsTest, AClientThatDoesNotReadStallsNobodyAndIsClosedAtTheTimeout) {
  AgentProcess agent({"--socket", "{dir}/kor.sock", "--socket-timeout", "2s"});
  addRoutes(agent, 10000);
  int stuck = silentClient(agent, "show inputs\n");
  ASSERT_GE(stuck, 0);
  // The answer (about 500 KB) is more than the socket takes: the agent must
  // keep it and go on serving.
  for (int i = 0; i < 3; ++i) {
    auto answer = agent.ask("show vrfs", 5.0);
    ASSERT_TRUE(answer.has_value()) << "a client that does not read stalls the others";
    EXPECT_NE(answer->find("default"), std::string::npos);
  }
  // After the timeout the agent gives up on it (the client sees the hang-up
  // without reading): what arrived has no end line.
  pollfd hangup{stuck, 0, 0};
  EXPECT_EQ(::poll(&hangup, 1, 10000), 1) << "the client that does not read is never closed";
  EXPECT_TRUE(hangup.revents & POLLHUP);
  auto got = KorTest::readAll(stuck, 10.0);
  ::close(stuck);
  ASSERT_TRUE(got.has_value()) << "the client that does not read is never closed";
  EXPECT_FALSE(got->empty());
  EXPECT_EQ(got->find("#end "), std::string::npos) << "a cut answer must not look complete";
  EXPECT_TRUE(agent.alive());
}

TEST(CommandClientsTest, AnswersPastTheBoundKeptForAClientAreRefusedByLine) {
  AgentProcess agent({"--socket", "{dir}/kor.sock", "--socket-answer-max", "100000"});
  addRoutes(agent, 10000);
  auto answer = agent.ask("show vrfs\nshow inputs\necho after");
  ASSERT_TRUE(answer.has_value());
  EXPECT_NE(answer->find("default"), std::string::npos) << *answer;
  EXPECT_NE(answer->find("line 2: answer of "), std::string::npos) << answer->substr(0, 300);
  EXPECT_NE(answer->find("bytes not sent: over the 100000 bytes one client may hold unread"), std::string::npos);
  EXPECT_LT(answer->size(), 1000u);
  EXPECT_EQ(answer->substr(answer->size() - 6), "after\n");
}

TEST(CommandClientsTest, HeldConnectionsAreCappedTimedOutAndNeverSpinTheLoop) {
  AgentProcess agent({"--socket", "{dir}/kor.sock", "--socket-timeout", "3s"});
  size_t const base = agent.openFds();
  std::vector<int> held;
  for (int i = 0; i < 40; ++i) held.push_back(silentClient(agent));
  for (int fd : held) ASSERT_GE(fd, 0);
  // At the cap of 32, each newcomer takes the place of the connection idle
  // the longest.
  EXPECT_GE(waitClosed(held, 8, 5.0), 8u) << "more than 32 idle connections kept";
  EXPECT_LE(agent.openFds(), base + 32);
  // Held at the cap, the agent sleeps.
  double const cpu = agent.cpuSeconds();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_LT(agent.cpuSeconds() - cpu, 0.5) << "the agent spins while connections are held";
  // A new client is served at once.
  auto answer = agent.ask("show vrfs", 5.0);
  ASSERT_TRUE(answer.has_value());
  EXPECT_NE(answer->find("default"), std::string::npos);
  // Idle ones are closed after the timeout.
  EXPECT_EQ(waitClosed(held, held.size(), 10.0), held.size()) << "idle connections outlive the timeout";
  closeAll(held);
  EXPECT_TRUE(agent.alive());
}

// The sanitizers' runtime checks whether memory is readable through a pipe of
// its own: in an agent out of descriptors that check fails and the runtime
// reports a bad object where there is none, so this case runs only in
// builds without them.
#if defined(__SANITIZE_ADDRESS__)
#define KOR_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KOR_SANITIZED 1
#endif
#endif

TEST(CommandClientsTest, OutOfDescriptorsTheAgentNeitherSpinsNorStopsServing) {
#ifdef KOR_SANITIZED
  GTEST_SKIP() << "the sanitizers' runtime needs descriptors of its own";
#endif
  AgentProcess::Spawn spawn;
  spawn.maxFds = 16;
  AgentProcess agent({"--socket", "{dir}/kor.sock", "--socket-timeout", "60s"}, spawn);
  ASSERT_LT(agent.openFds(), 10u) << "the descriptor limit leaves no room to test";
  std::vector<int> held;
  for (int i = 0; i < 30; ++i) held.push_back(connectNoWait(agent.socketPath()));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  double const cpu = agent.cpuSeconds();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_LT(agent.cpuSeconds() - cpu, 0.5) << "the agent spins when accept fails for want of descriptors";
  auto answer = agent.ask("show vrfs", 5.0);
  ASSERT_TRUE(answer.has_value()) << "no new client served at the descriptor limit";
  EXPECT_NE(answer->find("default"), std::string::npos);
  closeAll(held);
  EXPECT_TRUE(agent.alive());
}

}  // namespace
