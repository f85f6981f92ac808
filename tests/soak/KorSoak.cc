// kor-soak: a real kor-agent (--socket, --fpm on 127.0.0.1) under mixed load
// for a set time, run on demand (`make soak`), not in CI.
//
//   kor-soak [--seconds N] [--seed S] [--warmup N] [--p99-ms N] [--rss-growth-mib N]
//            [--silent N] [--never-read N] [--slow-read N] [--progress N]
//
// Load, each on a thread of its own and each from its own generator seeded
// from --seed (default 1), so a seed gives the same inputs in the same order:
//  - statements: random scenario statements, shows and command codes over
//    the command socket, one connection each as `kor-agent --ask` makes
//    them, valid and invalid (SoakStatements);
//  - zebra: a 7,000-route table over FPM with a burst of changes every
//    50 ms, a reconnect with a full replay every 15 s (old connection
//    closed, left open, or routes lost meanwhile), and strangers on the FPM
//    port every 7 s, silent or sending garbage (SoakZebra);
//  - held clients on the command socket: connections that never send,
//    clients that send `show routes json` and never read, and clients that
//    read it 4 KiB every 100 ms (at most --silent, --never-read, --slow-read
//    of each at once: 3, 2, 2).
// Measured meanwhile: the time `show vrfs` takes, four times a second, on a
// connection of its own (no answer within 5 s counts as 5 s), and the
// agent's RSS every second. At the end zebra reconnects once more and the
// agent's FPM table must equal zebra's within 60 s.
//
// Exit 0 when all held: the agent ran to the end and stopped cleanly on
// SIGTERM, p99 of the latency at most --p99-ms (100), the RSS at the end at
// most --rss-growth-mib (default: 10% of the RSS after warm-up, at least
// 8 MiB) above the RSS after warm-up (--warmup seconds, default a fifth of
// the run, 10 to 120 s), and the FPM table equal; 1 otherwise, with the
// reasons.
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "AgentProcess.h"
#include "SoakStatements.h"
#include "SoakZebra.h"

namespace KorTest {

void agentProcessFailure(std::string const& what) { std::fprintf(stderr, "kor-soak: %s\n", what.c_str()); }

}  // namespace KorTest

namespace {

using KorSoak::SoakStatements;
using KorSoak::SoakZebra;
using KorTest::AgentProcess;

struct Options {
  double seconds = 600, warmup = -1, p99Ms = 100, rssGrowthMib = -1, progress = 30;
  uint64_t seed = 1;
  size_t silent = 3, neverRead = 2, slowRead = 2;
};

// What the load threads did, for the report.
struct Load {
  std::atomic<uint64_t> statements{0}, answered{0}, refused{0}, unanswered{0}, unansweredLong{0};
  std::atomic<uint64_t> silentOpened{0}, silentClosedByAgent{0};
  std::atomic<uint64_t> neverReadOpened{0}, slowReadOpened{0}, slowReadWhole{0}, slowReadCut{0};
};

std::atomic<bool> stopping{false};

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

// Sleeps up to `seconds`, in short steps so a stop is seen at once.
void nap(double seconds) {
  for (double end = now() + seconds; !stopping && now() < end;)
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(50, int((end - now()) * 1000) + 1)));
}

void driveStatements(AgentProcess const* agent, uint64_t seed, Load* load) {
  SoakStatements lines(seed);
  while (!stopping) {
    std::string line = lines.next();
    ++load->statements;
    auto answer = agent->ask(line, 10.0);
    if (!answer) ++(line.size() >= 4096 ? load->unansweredLong : load->unanswered);
    else if (++load->answered, answer->rfind("line 1:", 0) == 0) ++load->refused;
    nap(0.02);
  }
}

void driveZebra(SoakZebra* zebra, uint64_t seed) {
  std::mt19937_64 rng(seed);
  double nextReconnect = now() + 15, nextStranger = now() + 7;
  SoakZebra::Reconnect const modes[] = {SoakZebra::Reconnect::closeFirst, SoakZebra::Reconnect::keepOld,
                                        SoakZebra::Reconnect::lostRoutes};
  size_t mode = 0;
  while (!stopping) {
    bool ok = true;
    if (now() >= nextReconnect) {
      ok = zebra->reconnect(modes[mode++ % 3]);
      nextReconnect = now() + 15;
    } else {
      ok = zebra->churn(10);
    }
    if (!ok) nap(1.0);  // as zebra does: try again a little later
    if (now() >= nextStranger) {
      zebra->stranger(rng() % 2);
      nextStranger = now() + 7;
    }
    // The agent closes a silent stranger after its proof timeout (10 s).
    zebra->reapStrangers(15);
    nap(0.05);
  }
}

// Command-socket connections held open: silent, never reading a big
// answer, or reading it slowly.
void driveHeldClients(AgentProcess const* agent, Options const& o, uint64_t seed, Load* load) {
  enum Kind { silent, neverRead, slowRead };
  struct Held {
    int fd;
    Kind kind;
    double until;
  };
  std::mt19937_64 rng(seed);
  std::vector<Held> held;
  auto count = [&](Kind k) { return size_t(std::count_if(held.begin(), held.end(), [k](Held const& h) { return h.kind == k; })); };
  auto open = [&](Kind k, double hold) {
    int fd = agent->connectSocket(0.2);  // never long: held ones must be let go on time
    if (fd < 0) return;
    if (k != silent) {
      std::string ask = "show routes json\n";
      ::send(fd, ask.data(), ask.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      ::shutdown(fd, SHUT_WR);
    }
    held.push_back({fd, k, now() + hold});
    ++(k == silent ? load->silentOpened : k == neverRead ? load->neverReadOpened : load->slowReadOpened);
  };
  while (!stopping) {
    if (count(silent) < o.silent) open(silent, 5 + double(rng() % 15));
    if (count(neverRead) < o.neverRead) open(neverRead, 5 + double(rng() % 15));
    if (count(slowRead) < o.slowRead) open(slowRead, 30);
    double const t = now();
    for (auto it = held.begin(); it != held.end();) {
      bool done = t >= it->until;
      if (it->kind == slowRead) {
        char buf[4096];
        ssize_t n = ::recv(it->fd, buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0) {
          ++load->slowReadWhole;
          done = true;
        } else if (done) {
          ++load->slowReadCut;
        }
      } else if (done && it->kind == silent) {
        char c;
        if (::recv(it->fd, &c, 1, MSG_DONTWAIT) == 0) ++load->silentClosedByAgent;
      }
      if (!done) {
        ++it;
        continue;
      }
      ::close(it->fd);
      it = held.erase(it);
    }
    nap(0.1);
  }
  for (auto const& h : held) ::close(h.fd);
}

double percentile(std::vector<double> v, double q) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  return v[std::min(v.size() - 1, size_t(q * double(v.size())))];
}

double mib(size_t kib) { return double(kib) / 1024.0; }

int usage() {
  std::fprintf(stderr,
               "usage: kor-soak [--seconds N] [--seed S] [--warmup N] [--p99-ms N] [--rss-growth-mib N]\n"
               "                [--silent N] [--never-read N] [--slow-read N] [--progress N]\n");
  return 2;
}

bool parse(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (i + 1 >= argc) return false;
    char* end = nullptr;
    double v = std::strtod(argv[++i], &end);
    if (*end || v < 0) return false;
    if (a == "--seconds") o->seconds = v;
    else if (a == "--seed") o->seed = uint64_t(v);
    else if (a == "--warmup") o->warmup = v;
    else if (a == "--p99-ms") o->p99Ms = v;
    else if (a == "--rss-growth-mib") o->rssGrowthMib = v;
    else if (a == "--silent") o->silent = size_t(v);
    else if (a == "--never-read") o->neverRead = size_t(v);
    else if (a == "--slow-read") o->slowRead = size_t(v);
    else if (a == "--progress") o->progress = v;
    else return false;
  }
  if (o->warmup < 0) o->warmup = std::clamp(o->seconds / 5, 10.0, 120.0);
  return o->seconds > o->warmup;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  if (!parse(argc, argv, &o)) return usage();
  std::printf("kor-soak: %.0f s, seed %llu, warm-up %.0f s\n", o.seconds, static_cast<unsigned long long>(o.seed),
              o.warmup);
  std::fflush(stdout);
  AgentProcess agent({"--socket", "{dir}/kor.sock", "--fpm", "0"}, "kor-agent: fpm listening on");
  uint16_t const port = agent.fpmPort();
  if (!port || !agent.alive()) {
    std::printf("FAIL: kor-agent did not start:\n%s", agent.stderrText().c_str());
    return 1;
  }
  // The interfaces zebra's next hops name (ifindex 1 and 2).
  for (char const* line : {"intf add Ethernet1", "intf add Ethernet2"}) agent.ask(line);

  Load load;
  SoakZebra zebra(port, o.seed * 4 + 1);
  std::vector<double> latencyMs;
  std::vector<std::pair<double, size_t>> rss;  // (seconds since start, KiB)
  double const start = now();
  rss.push_back({0, agent.rssKib()});
  if (!zebra.start()) std::printf("zebra: %s\n", zebra.error().c_str());
  std::thread statements(driveStatements, &agent, o.seed * 4 + 2, &load);
  std::thread zebraThread(driveZebra, &zebra, o.seed * 4 + 3);
  std::thread held(driveHeldClients, &agent, std::cref(o), o.seed * 4 + 4, &load);

  std::optional<size_t> rssWarm;
  uint64_t probeFailures = 0;
  double nextProbe = start, nextRss = start + 1, nextProgress = start + o.progress;
  bool died = false;
  while (now() - start < o.seconds) {
    double const t = now();
    if (t >= nextProbe) {
      nextProbe += 0.25;
      auto answer = agent.ask("show vrfs", 5.0);
      double ms = (now() - t) * 1000;
      if (!answer || answer->find("default") == std::string::npos) {
        ++probeFailures;
        ms = std::max(ms, 5000.0);
      }
      latencyMs.push_back(ms);
    }
    if (t >= nextRss) {
      nextRss += 1;
      if (!agent.alive()) {
        died = true;
        break;
      }
      rss.push_back({t - start, agent.rssKib()});
      if (!rssWarm && t - start >= o.warmup) rssWarm = rss.back().second;
    }
    if (o.progress > 0 && t >= nextProgress) {
      nextProgress += o.progress;
      std::printf("  [%4.0f s] probes %zu, p50 %.1f ms, p99 %.1f ms, max %.1f ms; rss %.1f MiB; statements %llu\n",
                  t - start, latencyMs.size(), percentile(latencyMs, 0.5), percentile(latencyMs, 0.99),
                  percentile(latencyMs, 1.0), mib(rss.back().second),
                  static_cast<unsigned long long>(load.statements.load()));
      std::fflush(stdout);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  double const ran = now() - start;
  stopping = true;
  held.join();
  statements.join();
  zebraThread.join();
  size_t const rssEnd = rss.back().second;

  std::vector<std::string> failures;
  if (died || !agent.alive()) {
    died = true;
    failures.push_back("the agent died after " + std::to_string(int(ran)) + " s");
  }
  // zebra reconnects once more: the agent must end with zebra's table.
  size_t agentRoutes = 0;
  bool settled = false;
  if (!died && zebra.reconnect(SoakZebra::Reconnect::closeFirst)) {
    for (double end = now() + 60; !settled && now() < end;) {
      std::string fpm = agent.ask("show fpm json", 10.0).value_or("");
      agentRoutes = size_t(KorTest::jsonNumber(fpm, "routes.ipv4Routes").value_or(0) +
                           KorTest::jsonNumber(fpm, "routes.ipv6Routes").value_or(0));
      settled = fpm.find("\"sweepPending\": false") != std::string::npos && agentRoutes == zebra.routes();
      if (!settled) std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
  }
  if (!died && !settled)
    failures.push_back("the agent's FPM table holds " + std::to_string(agentRoutes) + " routes, zebra's " +
                       std::to_string(zebra.routes()));
  std::string fpmText = died ? "" : agent.ask("show fpm", 10.0).value_or("(no answer)\n");
  std::string stderrTail = agent.stderrText();
  bool const stopped = !died && agent.terminate(10.0);
  int const status = agent.exitStatus().value_or(-1);
  if (!died && !(stopped && WIFEXITED(status) && WEXITSTATUS(status) == 0))
    failures.push_back("the agent did not stop cleanly on SIGTERM");

  double const p50 = percentile(latencyMs, 0.5), p99 = percentile(latencyMs, 0.99), max = percentile(latencyMs, 1.0);
  if (p99 > o.p99Ms) failures.push_back("p99 latency " + std::to_string(p99) + " ms above " + std::to_string(o.p99Ms));
  size_t const warm = rssWarm.value_or(rssEnd);
  double const tolerance = o.rssGrowthMib >= 0 ? o.rssGrowthMib : std::max(8.0, mib(warm) * 0.1);
  if (mib(rssEnd) - mib(warm) > tolerance)
    failures.push_back("RSS grew " + std::to_string(mib(rssEnd) - mib(warm)) + " MiB after warm-up");

  auto const& z = zebra.counters();
  std::printf("ran %.0f s\n", ran);
  std::printf("latency of 'show vrfs': %zu probes, %llu without an answer in 5 s; p50 %.2f ms, p99 %.2f ms, max %.2f ms "
              "(limit p99 %.0f ms)\n",
              latencyMs.size(), static_cast<unsigned long long>(probeFailures), p50, p99, max, o.p99Ms);
  std::printf("rss: start %.1f MiB, after warm-up %.1f MiB, end %.1f MiB (growth %.1f MiB, tolerance %.1f MiB)\n",
              mib(rss.front().second), mib(warm), mib(rssEnd), mib(rssEnd) - mib(warm), tolerance);
  std::printf("statements: %llu sent, %llu answered (%llu refused as bad lines), %llu without an answer "
              "(and %llu longer than a command)\n",
              static_cast<unsigned long long>(load.statements.load()),
              static_cast<unsigned long long>(load.answered.load()), static_cast<unsigned long long>(load.refused.load()),
              static_cast<unsigned long long>(load.unanswered.load()),
              static_cast<unsigned long long>(load.unansweredLong.load()));
  std::printf("held clients: silent %llu (closed by the agent %llu), never reading %llu, slow readers %llu "
              "(whole answer %llu, cut off %llu)\n",
              static_cast<unsigned long long>(load.silentOpened.load()),
              static_cast<unsigned long long>(load.silentClosedByAgent.load()),
              static_cast<unsigned long long>(load.neverReadOpened.load()),
              static_cast<unsigned long long>(load.slowReadOpened.load()),
              static_cast<unsigned long long>(load.slowReadWhole.load()),
              static_cast<unsigned long long>(load.slowReadCut.load()));
  std::printf("zebra: %llu connections, %llu replays (%llu routes lost meanwhile), takeovers %llu (failed %llu), "
              "%llu frames of changes (%llu route adds, %llu deletes, %llu object moves), %.1f MiB sent, %llu failures%s%s\n",
              static_cast<unsigned long long>(z.connections), static_cast<unsigned long long>(z.replays),
              static_cast<unsigned long long>(z.lost), static_cast<unsigned long long>(z.takeovers),
              static_cast<unsigned long long>(z.takeoverFailures), static_cast<unsigned long long>(z.frames),
              static_cast<unsigned long long>(z.routeAdds), static_cast<unsigned long long>(z.routeDels),
              static_cast<unsigned long long>(z.objectUpdates), double(z.bytes) / 1048576.0,
              static_cast<unsigned long long>(z.sendFailures), z.sendFailures ? ": " : "", zebra.error().c_str());
  std::printf("strangers on the FPM port: %llu silent, %llu garbage; closed by the agent %llu, kept %llu\n",
              static_cast<unsigned long long>(z.silentStrangers), static_cast<unsigned long long>(z.garbageStrangers),
              static_cast<unsigned long long>(z.strangersClosed), static_cast<unsigned long long>(z.strangersKept));
  std::printf("fpm table at the end: agent %zu routes, zebra %zu\n", agentRoutes, zebra.routes());
  if (!fpmText.empty()) std::printf("%s", fpmText.c_str());
  if (failures.empty()) {
    std::printf("PASS\n");
    return 0;
  }
  for (auto const& f : failures) std::printf("FAIL: %s\n", f.c_str());
  if (died) {
    std::string tail = stderrTail.size() > 3000 ? stderrTail.substr(stderrTail.size() - 3000) : stderrTail;
    std::printf("--- the agent's last standard error:\n%s\n", tail.c_str());
  }
  return 1;
}
