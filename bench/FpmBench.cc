// kor-bench fpm: routes streamed over a real TCP FPM connection into the
// agent's FpmServer, in zebra's own next-hop-object format (NetlinkEncoder
// output, byte for byte what zebra's dplane_fpm_nl writes: the next-hop
// objects first, then one RTM_NEWROUTE per frame naming one), against the
// kernel installing the same routes with `ip -batch`.
//
// For 100,000 and 1,000,000 routes (a tenth IPv6 /48, the rest IPv4 /24; a
// tenth over a two-way ECMP group; every next hop resolved): the agent's
// time from the first byte written on the connection to the last route in
// the chip, and, in the same run, the time `ip -batch` takes to put the same
// routes in the kernel's main table in a fresh network namespace (a dummy
// device, or a veth pair where dummy is missing, with the next hops'
// subnets). The kernel figure is reported unavailable when no namespace can
// be made (not root, no CAP_SYS_ADMIN, no `ip`). Target: at least 3x the
// kernel's rate. KOR_BENCH_FPM_SCALE (0 < s <= 1) shrinks both sizes.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "BenchRegistry.h"
#include "agent/Agent.h"
#include "agent/intf/IntfModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/fpm/FpmRouteSource.h"
#include "agent/fpm/FpmServer.h"
#include "feeds/NetlinkEncoder.h"
#include "nollo/IpPrefix.h"
#include "softchip/common/ChipTableBase.h"
#include "softchip/SoftChip.h"
#include "vix/MonotonicTimeSource.h"

namespace {

using KorFeeds::NlNexthop;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;
using SteadyClock = std::chrono::steady_clock;

double secondsBetween(SteadyClock::time_point a, SteadyClock::time_point b) {
  return std::chrono::duration<double>(b - a).count();
}

// The namespace both sides see: one port, ifindex 2, with 10.0.0.1/24 and
// 2001:db8::1/64; gateways .2/.3 and ::2/::3 behind it.
constexpr uint32_t kIfindex = 2;
constexpr uint8_t kProtoBgp = 186;
constexpr uint32_t kMetric = 20;
char const* const kGw4[] = {"10.0.0.2", "10.0.0.3"};
char const* const kGw6[] = {"2001:db8::2", "2001:db8::3"};
// Next-hop object ids as zebra hands them out: singles, then the group.
constexpr uint32_t kNh4 = 1, kNh4b = 2, kGroup4 = 3, kNh6 = 4;

bool routeIsV6(size_t i) { return i % 10 == 9; }
bool routeIsEcmp(size_t i) { return i % 10 == 4; }

Nollo::IpPrefix prefix4(size_t i) { return Nollo::IpPrefix(Nollo::IpAddr4(0x0b000000u + uint32_t(i << 8)), 24); }
Nollo::Ip6Prefix prefix6(size_t i) {
  std::array<uint8_t, 16> b{0x24, 0x00, uint8_t(i >> 16), uint8_t(i >> 8), uint8_t(i)};
  return Nollo::Ip6Prefix(Nollo::IpAddr6(b), 48);
}

// The FPM byte stream zebra would write for the table.
std::vector<uint8_t> zebraStream(size_t n) {
  KorFeeds::NetlinkEncoder enc;
  std::vector<uint8_t> out;
  out.reserve(n * 64 + 4096);
  auto single = [&](uint32_t id, char const* gw) {
    NlNexthopObject o;
    o.id = id;
    Nollo::IpGenAddr a(gw);
    o.family = a.isV4() ? AF_INET : AF_INET6;
    o.nexthop.gateway = a;
    o.nexthop.oif = kIfindex;
    enc.encodeFrame(o, &out);
  };
  single(kNh4, kGw4[0]);
  single(kNh4b, kGw4[1]);
  NlNexthopObject group;
  group.id = kGroup4;
  group.group = {{kNh4, 1}, {kNh4b, 1}};
  enc.encodeFrame(group, &out);
  single(kNh6, kGw6[0]);
  NlRoute r;
  r.protocol = kProtoBgp;
  r.priority = kMetric;
  for (size_t i = 0; i < n; ++i) {
    if (routeIsV6(i)) {
      r.prefix = prefix6(i);
      r.nhId = kNh6;
    } else {
      r.prefix = prefix4(i);
      r.nhId = routeIsEcmp(i) ? kGroup4 : kNh4;
    }
    enc.encodeFrame(r, &out);
  }
  return out;
}

size_t chipRoutes(SoftChip::SoftChip const* chip) {
  size_t n = 0;
  for (char const* name : {"route4", "route6", "route6em"})
    if (auto* table = chip->table(name)) n += table->size();
  return n;
}

struct AgentFigure {
  double seconds = 0;      // first byte written -> last route in the chip
  double sendSeconds = 0;  // first byte -> last byte written
  size_t bytes = 0;
  bool ok = false;
  std::string why;
};

AgentFigure agentRun(size_t n) {
  AgentFigure fig;
  std::vector<uint8_t> stream = zebraStream(n);
  fig.bytes = stream.size();

  KorAgent::Agent agent(Vix::makePtr<Vix::MonotonicTimeSource>());
  Kor::VrfName def("default");
  Nollo::IntfId port = Nollo::IntfId::ethernet(1);
  agent.module<KorAgent::VrfModule>().routingIs(def, true, true, true);
  agent.module<KorAgent::IntfModule>().intfAdd(port, def, Kor::VlanId(1000), true);
  for (int k = 0; k < 2; ++k) {
    auto mac = Nollo::EthAddr::fromUint64(0x020000000002ull + uint64_t(k));
    agent.module<KorAgent::NeighbourModule>().arpAdd(def, Nollo::IpGenAddr(kGw4[k]), mac, port);
    agent.module<KorAgent::NeighbourModule>().arpAdd(def, Nollo::IpGenAddr(kGw6[k]), mac, port);
  }
  agent.init();
  agent.runUntilIdle();
  KorAgent::FpmRouteSource source(
      &agent,
      [&](uint32_t ifindex) -> std::optional<Nollo::IntfId> {
        if (ifindex == kIfindex) return port;
        return std::nullopt;
      },
      [&](uint32_t table) -> std::optional<Kor::VrfName> {
        if (table == KorAgent::FpmRouteSource::kMainTable) return def;
        return std::nullopt;
      });
  KorAgent::FpmServer server(&agent, &source);
  if (!server.listenIs("127.0.0.1:0")) {
    fig.why = server.errorText();
    return fig;
  }
  uint16_t listenPort = server.port();

  std::atomic<int64_t> firstByte{0}, lastByte{0};
  std::atomic<bool> sendFailed{false}, finished{false};
  std::thread zebra([&] {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(listenPort);
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) < 0) {
      sendFailed = true;
      if (fd >= 0) ::close(fd);
      return;
    }
    firstByte = SteadyClock::now().time_since_epoch().count();
    size_t off = 0;
    while (off < stream.size()) {
      ssize_t w = ::send(fd, stream.data() + off, std::min<size_t>(stream.size() - off, 1 << 16), MSG_NOSIGNAL);
      if (w < 0 && errno == EINTR) continue;
      if (w <= 0) {
        sendFailed = true;
        break;
      }
      off += size_t(w);
    }
    lastByte = SteadyClock::now().time_since_epoch().count();
    // Zebra keeps the connection open; so does this sender until the end.
    while (!finished) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ::close(fd);
  });

  auto start = SteadyClock::now();
  while (chipRoutes(agent.chip()) < n && !sendFailed) {
    agent.runFor(0.001);
    if (secondsBetween(start, SteadyClock::now()) > 600) break;
  }
  auto done = SteadyClock::now();
  size_t held = chipRoutes(agent.chip());
  finished = true;
  zebra.join();
  if (held < n || sendFailed || !firstByte) {
    fig.why = "the chip holds " + std::to_string(held) + " of " + std::to_string(n) + " routes" +
              (sendFailed ? " (the sender failed)" : "");
    return fig;
  }
  auto first = SteadyClock::time_point(SteadyClock::duration(firstByte.load()));
  auto last = SteadyClock::time_point(SteadyClock::duration(lastByte.load()));
  fig.seconds = secondsBetween(first, done);
  fig.sendSeconds = secondsBetween(first, last);
  fig.ok = true;
  return fig;
}

struct KernelFigure {
  double seconds = 0;
  bool ok = false;
  std::string why;
};

// `ip -batch` of the same routes in a network namespace of a child process
// of its own: the namespace, and the routes, go when the child exits.
KernelFigure kernelRun(size_t n) {
  KernelFigure fig;
  char path[] = "/tmp/kor-bench-fpm-XXXXXX";
  int tfd = ::mkstemp(path);
  if (tfd < 0) {
    fig.why = std::string("mkstemp: ") + std::strerror(errno);
    return fig;
  }
  {
    std::string batch;
    batch.reserve(n * 48);
    char line[128];
    for (size_t i = 0; i < n; ++i) {
      if (routeIsV6(i)) {
        std::snprintf(line, sizeof line, "route add %s via %s\n", prefix6(i).str().c_str(), kGw6[0]);
      } else if (routeIsEcmp(i)) {
        std::snprintf(line, sizeof line, "route add %s nexthop via %s nexthop via %s\n", prefix4(i).str().c_str(),
                      kGw4[0], kGw4[1]);
      } else {
        std::snprintf(line, sizeof line, "route add %s via %s\n", prefix4(i).str().c_str(), kGw4[0]);
      }
      batch += line;
    }
    if (::write(tfd, batch.data(), batch.size()) != ssize_t(batch.size())) fig.why = "cannot write the batch file";
    ::close(tfd);
  }
  int fds[2];
  if (!fig.why.empty() || ::pipe(fds) < 0) {
    ::unlink(path);
    if (fig.why.empty()) fig.why = "pipe failed";
    return fig;
  }
  std::fflush(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    auto reply = [&](std::string const& s) {
      (void)!::write(fds[1], s.data(), s.size());
      ::_exit(0);
    };
    if (::unshare(CLONE_NEWNET) < 0) reply(std::string("E no network namespace: unshare: ") + std::strerror(errno));
    char const* setup =
        "exec >/dev/null 2>&1; ip link set lo up && "
        "{ ip link add d0 type dummy || ip link add d0 type veth peer name d1 && ip link set d1 up; } && "
        "ip link set d0 up && ip addr add 10.0.0.1/24 dev d0 && ip -6 addr add 2001:db8::1/64 dev d0 nodad";
    if (std::system(setup) != 0) reply("E cannot set up the namespace's device with ip");
    std::string cmd = std::string("ip -batch ") + path + " >/dev/null";
    auto t0 = SteadyClock::now();
    int rc = std::system(cmd.c_str());
    double s = secondsBetween(t0, SteadyClock::now());
    if (rc != 0) reply("E ip -batch failed");
    FILE* count = ::popen("ip -4 route show table main | wc -l; ip -6 route show table main | wc -l", "r");
    size_t a = 0, b = 0;
    if (!count || std::fscanf(count, "%zu %zu", &a, &b) != 2) reply("E cannot count the kernel's routes");
    ::pclose(count);
    if (a + b < n) reply("E the kernel holds " + std::to_string(a + b) + " routes");
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.6f", s);
    reply(buf);
  }
  ::close(fds[1]);
  std::string answer;
  char buf[256];
  ssize_t r;
  while ((r = ::read(fds[0], buf, sizeof buf)) > 0) answer.append(buf, size_t(r));
  ::close(fds[0]);
  int status = 0;
  if (pid > 0) ::waitpid(pid, &status, 0);
  ::unlink(path);
  if (pid < 0) fig.why = "fork failed";
  else if (answer.empty()) fig.why = "the namespace child died";
  else if (answer[0] == 'E') fig.why = answer.substr(2);
  else {
    fig.seconds = std::atof(answer.c_str());
    fig.ok = true;
  }
  return fig;
}

int runFpm(bool json) {
  double scale = 1.0;
  if (char const* s = std::getenv("KOR_BENCH_FPM_SCALE")) scale = std::clamp(std::atof(s), 0.001, 1.0);
  int rc = 0;
  if (json) std::printf("{\"fpm\": [");
  else
    std::printf("fpm: zebra's format (next-hop objects, a tenth IPv6, a tenth ECMP) over TCP into FpmServer,\n"
                "     first byte -> last route in the chip; kernel: ip -batch of the same routes\n"
                "  %9s %10s %12s %10s %10s %12s %7s\n",
                "routes", "stream MB", "agent s", "routes/s", "kernel s", "routes/s", "ratio");
  bool first = true;
  for (size_t base : {size_t(100000), size_t(1000000)}) {
    size_t n = std::max<size_t>(1000, size_t(double(base) * scale));
    AgentFigure a = agentRun(n);
    KernelFigure k = kernelRun(n);
    if (!a.ok) rc = 1;
    double aRate = a.ok ? double(n) / a.seconds : 0, kRate = k.ok ? double(n) / k.seconds : 0;
    if (json) {
      std::printf("%s{\"routes\": %zu, \"stream_bytes\": %zu, ", first ? "" : ", ", n, a.bytes);
      if (a.ok)
        std::printf("\"agent_seconds\": %.3f, \"agent_routes_per_s\": %.0f, \"send_seconds\": %.3f, ", a.seconds,
                    aRate, a.sendSeconds);
      else
        std::printf("\"agent_error\": \"%s\", ", a.why.c_str());
      if (k.ok)
        std::printf("\"kernel_seconds\": %.3f, \"kernel_routes_per_s\": %.0f, \"ratio\": %s}", k.seconds, kRate,
                    a.ok ? std::to_string(aRate / kRate).c_str() : "null");
      else
        std::printf("\"kernel_seconds\": null, \"kernel_unavailable\": \"%s\"}", k.why.c_str());
    } else {
      std::printf("  %9zu %10.1f", n, double(a.bytes) / 1e6);
      if (a.ok) std::printf(" %12.3f %10.0f", a.seconds, aRate);
      else std::printf(" %23s", "failed");
      if (k.ok) std::printf(" %10.3f %12.0f", k.seconds, kRate);
      else std::printf(" %23s", "unavailable");
      if (a.ok && k.ok) std::printf(" %6.1fx", aRate / kRate);
      std::printf("\n");
      if (!a.ok) std::printf("    agent: %s\n", a.why.c_str());
      if (!k.ok) std::printf("    kernel figure unavailable: %s\n", k.why.c_str());
    }
    std::fflush(stdout);
    first = false;
  }
  if (json) std::printf("], \"target_ratio\": 3}\n");
  return rc;
}

}  // namespace

KOR_BENCH(fpm, "zebra's FPM stream over TCP into the agent vs ip -batch into the kernel") {
  return runFpm(KorBench::jsonOutput());
}
