// kor-bench routes: a full dual-stack Internet table through the real agent
// path - FIB tables, route machines, adjacency machine, route resolver and
// the software chip - on the real clock with time slices and yields on and
// tracing at its default level.
//
// Table: 1,040,000 IPv4 prefixes (about 60% /24, the rest mostly /16-/23)
// and 225,000 IPv6 prefixes (about half /48, then /32-/44), over 4,096 FECs
// (3,072 IPv4, 1,024 IPv6) whose ECMP widths go up to 64, every next hop
// resolved. It reports the time from the first FIB write to the last route
// programmed in the chip, routes/s, peak RSS per route, the longest time one
// pass held the loop, and, in the same run, the bare cost: inserting the
// same prefixes into a plain open-addressing hash map with values of the
// hand-over record's size. Then churn: 100,000 updates on the full table
// (FEC changes, deletes followed by re-adds) written in bursts, with the
// delay of each from FIB write to chip programmed.
//
// `kor-bench routes_nhg` is the same run with every tenth FEC a next-hop
// group instead (the same members, published in the group status, the
// hardware announcing nexthopGroupSupported): the routes over those FECs
// are written over the group's FEC, in the full table and in the churn.
// It is a separate run so that its peak RSS is its own.
//
// `kor-bench routes --json` prints one JSON object instead of the table;
// KOR_BENCH_ROUTES_SCALE (0 < s <= 1) shrinks the table for quick runs.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "BenchRegistry.h"
#include "BenchLoop.h"
#include "ProcessUsage.h"
#include "PlainHashMap.h"
#include "agent/Agent.h"
#include "agent/fib/FibModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/nhg/NhgModule.h"
#include "agent/vrf/VrfModule.h"
#include "kor/records/AdjInfo.h"
#include "kor/records/L3Status.h"
#include "nollo/IpPrefix.h"
#include "quill/RouteStatus.h"
#include "softchip/common/ChipTableBase.h"
#include "softchip/SoftChip.h"
#include "vix/HashMap.h"
#include "vix/MonotonicTimeSource.h"

namespace {

using Nollo::Ip6Prefix;
using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Nollo::IpPrefix;
using SteadyClock = KorBench::ProcessUsage::SteadyClock;
using KorBench::ProcessUsage;




struct Table {
  std::vector<IpPrefix> v4;
  std::vector<Ip6Prefix> v6;
  std::vector<uint32_t> fec4;  // FEC index of each IPv4 route
  std::vector<uint32_t> fec6;
};

// Prefix lengths as they are spread in today's table (weights in permille).
int pickLen(std::mt19937_64& rng, std::vector<std::pair<int, int>> const& mix) {
  int r = int(rng() % 1000), acc = 0;
  for (auto [len, w] : mix) {
    acc += w;
    if (r < acc) return len;
  }
  return mix.back().first;
}

Table makeTable(size_t n4, size_t n6, uint32_t fecs4, uint32_t fecs6) {
  std::mt19937_64 rng(20261121);
  static const std::vector<std::pair<int, int>> mix4{{24, 600}, {23, 70}, {22, 110}, {21, 50}, {20, 50}, {19, 40},
                                                     {18, 25},  {17, 15}, {16, 25},  {15, 5},  {14, 5},  {13, 5}};
  static const std::vector<std::pair<int, int>> mix6{{48, 500}, {32, 120}, {44, 110}, {40, 90}, {36, 50},
                                                     {46, 40},  {47, 30},  {29, 30},  {56, 20}, {64, 10}};
  Table t;
  t.v4.reserve(n4);
  t.v6.reserve(n6);
  Vix::HashMap<IpPrefix, bool> seen4;
  seen4.reserve(n4);
  while (t.v4.size() < n4) {
    // Unicast space only, away from 0/8 and 127/8.
    uint32_t a = uint32_t(rng()) % 0xDF000000u + 0x01000000u;
    if ((a >> 24) == 127) continue;
    IpPrefix p(IpAddr4(a), pickLen(rng, mix4));
    if (seen4.try_emplace(p, true).second) t.v4.push_back(p);
  }
  Vix::HashMap<Ip6Prefix, bool> seen6;
  seen6.reserve(n6);
  while (t.v6.size() < n6) {
    std::array<uint8_t, 16> b{};
    b[0] = 0x20;
    b[1] = uint8_t(rng() % 4);  // 2000::/14
    for (int i = 2; i < 8; ++i) b[i] = uint8_t(rng());
    Ip6Prefix p(IpAddr6(b), pickLen(rng, mix6));
    if (seen6.try_emplace(p, true).second) t.v6.push_back(p);
  }
  // Routes over FECs: a few FECs carry many routes, as transit next hops do.
  std::geometric_distribution<uint32_t> skew(0.002);
  for (size_t i = 0; i < n4; ++i) t.fec4.push_back(1 + skew(rng) % fecs4);
  for (size_t i = 0; i < n6; ++i) t.fec6.push_back(fecs4 + 1 + skew(rng) % fecs6);
  return t;
}

// The bare cost: the same prefixes into plain open-addressing maps
// (PlainHashMap) whose values are the size of the hand-over record. The
// same insertions into the runtime's own map are timed too, for reference.
struct HandOverSized {
  uint64_t words[sizeof(Kor::AdjInfo) / 8];
};

template <class Map4, class Map6, class Put>
double insertSeconds(Table const& t, Put put) {
  auto start = SteadyClock::now();
  {
    Map4 m4;
    Map6 m6;
    for (auto const& p : t.v4) put(m4, p);
    for (auto const& p : t.v6) put(m6, p);
    if (m4.size() + m6.size() != t.v4.size() + t.v6.size()) std::abort();
  }
  return ProcessUsage::secondsSince(start);
}

double bareSeconds(Table const& t) {
  return insertSeconds<KorBench::PlainHashMap<IpPrefix, HandOverSized>, KorBench::PlainHashMap<Ip6Prefix, HandOverSized>>(
      t, [](auto& m, auto const& p) { m.insert(p, HandOverSized{}); });
}

double runtimeMapSeconds(Table const& t) {
  return insertSeconds<Vix::HashMap<IpPrefix, HandOverSized>, Vix::HashMap<Ip6Prefix, HandOverSized>>(
      t, [](auto& m, auto const& p) { m.try_emplace(p, HandOverSized{}); });
}

size_t chipRoutes(SoftChip::SoftChip const* chip) {
  size_t n = 0;
  for (char const* name : {"route4", "route6", "route6em"})
    if (auto* table = chip->table(name)) n += table->size();
  return n;
}

// Next hops: 256 IPv4 and 256 IPv6 neighbours on 16 routed ports.
constexpr int kPorts = 16;
constexpr int kHops = 256;

Nollo::IntfId port(int i) { return Nollo::IntfId::ethernet(1 + i); }
IpAddr4 hop4(int i) { return IpAddr4(0x0a000000u + uint32_t((i % kPorts) << 16) + uint32_t(i / kPorts) + 2); }
IpAddr6 hop6(int i) {
  std::array<uint8_t, 16> b{0x20, 0x01, 0x0d, 0xb8};
  b[5] = uint8_t(i % kPorts);
  b[15] = uint8_t(i / kPorts + 2);
  return IpAddr6(b);
}

// ECMP widths: most FECs one or two paths, a tail up to 64.
int ecmpWidth(uint32_t fec) {
  static const int widths[] = {1, 1, 1, 1, 2, 2, 2, 4, 4, 8, 16, 64};
  return widths[(fec * 2654435761u >> 7) % (sizeof(widths) / sizeof(widths[0]))];
}

// With groups, every tenth FEC is a next-hop group whose id is the FEC
// index; its routes use the group's FEC id.
bool isGroup(bool groups, uint32_t fec) { return groups && fec % 10 == 0; }

Quill::Fib::FecId fecIdOf(bool groups, uint32_t fec) {
  return isGroup(groups, fec) ? Quill::Fib::FecId::make(Quill::Fib::AdjType::nextHopGroupAdj, fec)
                              : Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), fec);
}

void setUp(KorAgent::Agent& agent, uint32_t fecs4, uint32_t fecs6, bool groups) {
  Kor::VrfName def("default");
  agent.module<KorAgent::VrfModule>().routingIs(def, true, true, true);
  for (int i = 0; i < kPorts; ++i) agent.module<KorAgent::IntfModule>().intfAdd(port(i), def, Kor::VlanId(1000 + i), true);
  for (int i = 0; i < kHops; ++i) {
    Nollo::EthAddr mac = Nollo::EthAddr::fromUint64(0x001c73000000ull + uint64_t(i));
    agent.module<KorAgent::NeighbourModule>().arpAdd(def, Nollo::IpGenAddr(hop4(i)), mac, port(i % kPorts));
    agent.module<KorAgent::NeighbourModule>().arpAdd(def, Nollo::IpGenAddr(hop6(i)), mac, port(i % kPorts));
  }
  auto& nhg = agent.module<KorAgent::NhgModule>();
  if (groups) nhg.nexthopGroupSupportedIs(true);
  auto* em = agent.module<KorAgent::FibModule>().entityManager().ptr();
  for (uint32_t f = 1; f <= fecs4 + fecs6; ++f) {
    bool v6 = f > fecs4;
    std::vector<KorAgent::FibModule::Via> vias;
    int w = ecmpWidth(f);
    for (int k = 0; k < w; ++k) {
      int h = int((f * 7 + uint32_t(k) * 37) % kHops);
      KorAgent::FibModule::Via v;
      v.hop = v6 ? Nollo::IpGenAddr(hop6(h)) : Nollo::IpGenAddr(hop4(h));
      v.intf = port(h % kPorts);
      vias.push_back(v);
    }
    if (!isGroup(groups, f)) {
      agent.module<KorAgent::FibModule>().fecAdd(f, vias);
      continue;
    }
    std::string name = "g";
    name += std::to_string(f);
    nhg.groupAdd(name, f, vias);
    if (v6) em->forwardingStatus<Nollo::Ipv6>(def.str())->fecIs(Quill::Fib6::Fec(fecIdOf(true, f), Quill::Fib::FecType::nexthopGroup));
    else em->forwardingStatus<Nollo::Ipv4>(def.str())->fecIs(Quill::Fib::Fec(fecIdOf(true, f), Quill::Fib::FecType::nexthopGroup));
  }
  agent.init();
}

struct Figures {
  size_t routes = 0;
  double seconds = 0, cpuSeconds = 0, bare = 0, runtimeMap = 0, maxPassMs = 0, bytesPerRoute = 0;
  double churnPerS = 0, churnP50Ms = 0, churnP99Ms = 0;
  size_t churnUpdates = 0;
};

using KorBench::BenchLoop;

int runRoutes(bool json, bool groups) {
  double scale = 1.0;
  if (char const* s = std::getenv("KOR_BENCH_ROUTES_SCALE")) scale = std::clamp(std::atof(s), 0.001, 1.0);
  size_t n4 = size_t(1040000 * scale), n6 = size_t(225000 * scale);
  uint32_t fecs4 = 3072, fecs6 = 1024;
  Table table = makeTable(n4, n6, fecs4, fecs6);
  Figures fig;
  fig.routes = n4 + n6;
  fig.bare = bareSeconds(table);
  fig.runtimeMap = runtimeMapSeconds(table);

  KorAgent::Agent agent(Vix::makePtr<Vix::MonotonicTimeSource>());
  setUp(agent, fecs4, fecs6, groups);
  if (!BenchLoop::runUntil(agent, [&] { return agent.runUntilIdle(); }, 60)) std::fprintf(stderr, "setup did not settle\n");
  long rssBefore = ProcessUsage::peakRssKb();
  (void)rssBefore;
  agent.loop()->longestHandlerTimeReset();

  Kor::VrfName def("default");
  auto start = SteadyClock::now();
  double cpuStart = ProcessUsage::cpuSeconds();
  // The routing agent writes while the forwarding agent runs: chunks of
  // writes with a turn of the loop between them.
  constexpr size_t kChunk = 10000;
  // A route source holds its module, as the FPM source holds its tables:
  // looking the module up per update is the agent's cost, not the path's.
  auto& fib = agent.module<KorAgent::FibModule>();
  auto fib4 = fib.fibRoutes4(def);
  auto fib6 = fib.fibRoutes6(def);
  auto fec = [groups](uint32_t i) { return fecIdOf(groups, i); };
  for (size_t i = 0; i < n4 + n6; ++i) {
    if (i < n4) fib4->routeIs(Quill::Fib::Route(table.v4[i], fec(table.fec4[i])));
    else fib6->routeIs(Quill::Fib6::Route(table.v6[i - n4], fec(table.fec6[i - n4])));
    if (i % kChunk == kChunk - 1) agent.loop()->runDue();
  }
  bool ok = BenchLoop::runUntil(agent, [&] { return chipRoutes(agent.chip()) >= fig.routes; }, 300);
  fig.seconds = ProcessUsage::secondsSince(start);
  fig.cpuSeconds = ProcessUsage::cpuSeconds() - cpuStart;
  fig.maxPassMs = agent.loop()->longestHandlerTime() * 1e3;
  fig.bytesPerRoute = double(ProcessUsage::peakRssKb()) * 1024.0 / double(fig.routes);
  if (!ok) {
    std::fprintf(stderr, "only %zu of %zu routes programmed\n", chipRoutes(agent.chip()), fig.routes);
    return 1;
  }

  // The group routes went over programmed groups, not deferred adjacencies.
  if (groups) {
    // Groups of the same members share one L2 adjacency, so one chip row:
    // a member set is its family, width and first next hop.
    std::set<std::tuple<bool, int, uint32_t>> memberSets;
    auto note = [&](uint32_t f) {
      if (isGroup(true, f)) memberSets.emplace(f > fecs4, ecmpWidth(f), f * 7 % kHops);
    };
    for (uint32_t f : table.fec4) note(f);
    for (uint32_t f : table.fec6) note(f);
    size_t want = memberSets.size(), have = agent.chip()->table("nhg") ? agent.chip()->table("nhg")->size() : 0;
    if (have < want) {
      std::fprintf(stderr, "only %zu of %zu next-hop group member sets programmed\n", have, want);
      return 1;
    }
  }

  // Churn: bursts of 1,000 updates, each burst programmed before the next.
  size_t updates = std::min<size_t>(100000, n4 + n6);
  std::vector<double> delays;
  delays.reserve(updates);
  std::mt19937_64 rng(7);
  auto churnStart = SteadyClock::now();
  size_t done = 0;
  while (done < updates) {
    size_t burst = std::min<size_t>(1000, updates - done);
    auto t0 = SteadyClock::now();
    uint64_t before = agent.l3Status()->unicastReviewPending() + agent.l3Status()->unicast6ReviewPending();
    for (size_t k = 0; k < burst; ++k) {
      size_t i = rng() % (n4 + n6);
      bool v4 = i < n4;
      bool readd = rng() % 2;
      if (v4) {
        if (readd) fib.routeDel(def, table.v4[i]);
        else table.fec4[i] = 1 + uint32_t(rng() % fecs4);
        if (isGroup(groups, table.fec4[i])) fib4->routeIs(Quill::Fib::Route(table.v4[i], fec(table.fec4[i])));
        else fib.routeAdd(def, table.v4[i], table.fec4[i]);
      } else {
        i -= n4;
        if (readd) fib.routeDel(def, table.v6[i]);
        else table.fec6[i] = fecs4 + 1 + uint32_t(rng() % fecs6);
        if (isGroup(groups, table.fec6[i])) fib6->routeIs(Quill::Fib6::Route(table.v6[i], fec(table.fec6[i])));
        else fib.routeAdd(def, table.v6[i], table.fec6[i]);
      }
    }
    // Programmed: the route machines have handed every change over and the
    // chip holds the whole table again.
    BenchLoop::runUntil(
        agent,
        [&] {
          uint64_t now = agent.l3Status()->unicastReviewPending() + agent.l3Status()->unicast6ReviewPending();
          return now != before && chipRoutes(agent.chip()) >= fig.routes && agent.runUntilIdle();
        },
        60);
    double d = ProcessUsage::secondsSince(t0);
    for (size_t k = 0; k < burst; ++k) delays.push_back(d);
    done += burst;
  }
  double churnSeconds = ProcessUsage::secondsSince(churnStart);
  fig.churnUpdates = updates;
  fig.churnPerS = double(updates) / churnSeconds;
  std::sort(delays.begin(), delays.end());
  fig.churnP50Ms = delays[delays.size() / 2] * 1e3;
  fig.churnP99Ms = delays[delays.size() * 99 / 100] * 1e3;

  double ratio = fig.seconds / fig.bare;
  if (json) {
    std::printf(
        "{\"routes\": %zu, \"seconds\": %.3f, \"cpu_seconds\": %.3f, \"routes_per_s\": %.0f, \"bytes_per_route\": %.1f, "
        "\"peak_rss_mb\": %.1f, \"bare_seconds\": %.3f, \"ratio_to_bare\": %.2f, \"runtime_map_seconds\": %.3f, \"max_pass_ms\": %.2f, "
        "\"churn_updates\": %zu, \"churn_updates_per_s\": %.0f, \"churn_p50_ms\": %.2f, \"churn_p99_ms\": %.2f}\n",
        fig.routes, fig.seconds, fig.cpuSeconds, double(fig.routes) / fig.seconds, fig.bytesPerRoute,
        double(ProcessUsage::peakRssKb()) / 1024.0, fig.bare, ratio, fig.runtimeMap, fig.maxPassMs, fig.churnUpdates, fig.churnPerS,
        fig.churnP50Ms, fig.churnP99Ms);
  } else {
    std::printf("routes: %zu IPv4 + %zu IPv6 over %u FECs%s, real clock, yields on\n", n4, n6, fecs4 + fecs6,
                groups ? " (every tenth a next-hop group)" : "");
    std::printf("  %-34s %10.3f s\n", "first FIB write -> last programmed", fig.seconds);
    std::printf("  %-34s %10.3f s\n", "  of which on the CPU", fig.cpuSeconds);
    std::printf("  %-34s %10.0f\n", "routes/s", double(fig.routes) / fig.seconds);
    std::printf("  %-34s %10.1f MB (%.1f bytes/route)\n", "peak RSS", double(ProcessUsage::peakRssKb()) / 1024.0,
                fig.bytesPerRoute);
    std::printf("  %-34s %10.2f ms\n", "longest pass", fig.maxPassMs);
    std::printf("  %-34s %10.3f s (ratio %.2fx)\n", "bare: plain hash-map insert", fig.bare, ratio);
    std::printf("  %-34s %10.3f s (ratio %.2fx)\n", "  the same into Vix::HashMap", fig.runtimeMap,
                fig.seconds / fig.runtimeMap);
    std::printf("  %-34s %10.0f updates/s (%zu updates)\n", "churn", fig.churnPerS, fig.churnUpdates);
    std::printf("  %-34s %10.2f ms p50, %.2f ms p99\n", "churn delay FIB write -> chip", fig.churnP50Ms,
                fig.churnP99Ms);
  }
  return 0;
}

}  // namespace

KOR_BENCH(routes, "full dual-stack table through the agent path; churn") {
  return runRoutes(KorBench::jsonOutput(), false);
}

KOR_BENCH(routes_nhg, "the same with every tenth FEC a next-hop group") {
  return runRoutes(KorBench::jsonOutput(), true);
}
