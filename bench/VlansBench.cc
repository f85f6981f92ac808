// kor-bench vlans: every VLAN trunked on every switch port, through the
// real agent path - VLAN and switchport configuration, SwitchIntfSm, the
// VLAN helper's handshake and the software chip's "vlan" table - on the
// real clock, the chip answering each VLAN update 1 ms after it is asked.
//
// Setup: 64 trunk ports (Ethernet1-64) and 16 port channels of 4 members
// (Ethernet65-128), all trunks allowing every VLAN; then 4,094 VLANs are
// configured, 64 per pass of the loop, as a configuration agent's
// notifications arrive. That is 80 trunks x 4,094 VLANs = 327,520 configured
// memberships (524,032 chip members: a port channel's members are
// programmed, not the channel). It reports the time from the first VLAN
// written to the chip holding every member, the CPU time, the longest
// pass holding the loop, the most updates the chip was asked for one VLAN
// at once (counted by the chip's helper; the handshake promises 1), and
// peak RSS growth per configured membership.
//
// Then a port flap: one trunk port stops forwarding in each of its VLANs
// (what the spanning-tree side asks when its link goes down) and starts
// again; each transition must write each of the port's VLANs exactly once
// (chip rows written per VLAN, counted by the chip's helper).
//
// `--json` prints one JSON object; KOR_BENCH_VLANS_COUNT (1..4094) shrinks
// the VLAN count for quick runs and profiles.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchRegistry.h"
#include "BenchLoop.h"
#include "ProcessUsage.h"
#include "agent/Agent.h"
#include "agent/intf/IntfModule.h"
#include "agent/lag/LagModule.h"
#include "agent/vlan/VlanModule.h"
#include "softchip/SoftChip.h"
#include "softchip/l2/SoftVlanHelper.h"
#include "vix/Clock.h"
#include "vix/MonotonicTimeSource.h"

namespace {

using SteadyClock = KorBench::ProcessUsage::SteadyClock;
using KorBench::ProcessUsage;




constexpr int kTrunks = 64;
constexpr int kLags = 16;
constexpr int kLagMembers = 4;

Nollo::IntfId port(int i) { return Nollo::IntfId::ethernet(1 + i); }
Nollo::IntfId lag(int i) { return Nollo::IntfId("Port-Channel" + std::to_string(1 + i)); }

using KorBench::BenchLoop;

size_t chipMembers(KorAgent::Agent& agent) {
  size_t n = 0;
  for (auto const& [vlan, row] : agent.chip()->vlan().vlanTable().entries()) n += row.members.size();
  return n;
}

struct Figures {
  size_t vlans = 0, memberships = 0, chipMembers = 0;
  double seconds = 0, cpuSeconds = 0, maxPassMs = 0, bytesPerMembership = 0;
  uint32_t maxInFlight = 0;
  uint64_t flapMinWrites = 0, flapMaxWrites = 0;
  double flapDownMs = 0, flapUpMs = 0;
};

// The port's VLANs stop (forwarding false) or start forwarding again; the
// chip's rows written per VLAN while that converges: min and max.
std::pair<uint64_t, uint64_t> flap(KorAgent::Agent& agent, SoftChip::SoftVlanHelper& vh, Nollo::IntfId const& p,
                                   size_t vlans, bool forwarding, double& ms) {
  std::vector<uint64_t> before(vlans + 1);
  for (size_t v = 1; v <= vlans; ++v) before[v] = vh.vlanWrites(Kor::VlanId(uint16_t(v)));
  auto t0 = SteadyClock::now();
  for (size_t v = 1; v <= vlans; ++v) vh.doHandlePortState(p, Kor::VlanId(uint16_t(v)), forwarding);
  BenchLoop::runUntil(agent, [&] { return agent.runUntilIdle(); }, 60);
  ms = ProcessUsage::secondsSince(t0) * 1e3;
  uint64_t lo = UINT64_MAX, hi = 0;
  for (size_t v = 1; v <= vlans; ++v) {
    uint64_t w = vh.vlanWrites(Kor::VlanId(uint16_t(v))) - before[v];
    lo = std::min(lo, w);
    hi = std::max(hi, w);
  }
  return {lo, hi};
}

int runVlans(bool json) {
  size_t vlans = 4094;
  if (char const* s = std::getenv("KOR_BENCH_VLANS_COUNT")) vlans = size_t(std::clamp(std::atoi(s), 1, 4094));
  Figures fig;
  fig.vlans = vlans;
  fig.memberships = vlans * (kTrunks + kLags);
  size_t wantMembers = vlans * (kTrunks + kLags * kLagMembers);

  KorAgent::Agent agent(Vix::makePtr<Vix::MonotonicTimeSource>());
  auto& intfs = agent.module<KorAgent::IntfModule>();
  auto& vlanModule = agent.module<KorAgent::VlanModule>();
  for (int i = 0; i < kTrunks + kLags * kLagMembers; ++i) intfs.intfAdd(port(i), std::nullopt, std::nullopt);
  for (int l = 0; l < kLags; ++l) {
    std::vector<Nollo::IntfId> members;
    for (int m = 0; m < kLagMembers; ++m) members.push_back(port(kTrunks + l * kLagMembers + m));
    agent.module<KorAgent::LagModule>().lagAdd(lag(l), members);
  }
  Bridging::SwitchportConfig trunk;
  trunk.mode = Bridging::SwitchportConfig::Mode::trunk;
  trunk.allowedAll = true;
  for (int i = 0; i < kTrunks; ++i) vlanModule.switchportIs(port(i), trunk);
  for (int l = 0; l < kLags; ++l) vlanModule.switchportIs(lag(l), trunk);
  agent.chip()->vlan().updateDelayIs(0.001);
  agent.init();
  if (!BenchLoop::runUntil(agent, [&] { return agent.runUntilIdle(); }, 60)) std::fprintf(stderr, "setup did not settle\n");
  long rssBefore = ProcessUsage::peakRssKb();
  agent.loop()->longestHandlerTimeReset();

  auto start = SteadyClock::now();
  double cpuStart = ProcessUsage::cpuSeconds();
  // The configuration arrives as the loop runs: each pass of the writer
  // takes a chunk of VLANs (and the library's reaction to them), so the
  // longest pass includes the configuration's own cascade.
  constexpr size_t kChunk = 64;
  size_t next = 1;
  Vix::Clock writer(agent.loop(), [&] {
    for (size_t k = 0; k < kChunk && next <= vlans; ++k) vlanModule.vlanAdd(Kor::VlanId(uint16_t(next++)));
    if (next <= vlans) writer.timeMinIs(writer.now());
  });
  writer.timeMinIs(writer.now());
  bool ok = BenchLoop::runUntil(agent, [&] { return chipMembers(agent) >= wantMembers && agent.runUntilIdle(); }, 600);
  fig.seconds = ProcessUsage::secondsSince(start);
  fig.cpuSeconds = ProcessUsage::cpuSeconds() - cpuStart;
  fig.maxPassMs = agent.loop()->longestHandlerTime() * 1e3;
  fig.bytesPerMembership = double(ProcessUsage::peakRssKb() - rssBefore) * 1024.0 / double(fig.memberships);
  fig.chipMembers = chipMembers(agent);
  if (!ok) {
    std::fprintf(stderr, "only %zu of %zu VLAN members programmed\n", fig.chipMembers, wantMembers);
    return 1;
  }
  auto& vh = *vlanModule.vlanHelper();
  fig.maxInFlight = vh.maxInFlightPerVlan();

  // The flap: Ethernet1 down in each VLAN, then up again.
  auto [downLo, downHi] = flap(agent, vh, port(0), vlans, false, fig.flapDownMs);
  size_t down = chipMembers(agent);
  auto [upLo, upHi] = flap(agent, vh, port(0), vlans, true, fig.flapUpMs);
  fig.flapMinWrites = std::min(downLo, upLo);
  fig.flapMaxWrites = std::max(downHi, upHi);
  if (down != wantMembers - vlans || chipMembers(agent) != wantMembers) {
    std::fprintf(stderr, "flap: %zu members while down (want %zu), %zu after (want %zu)\n", down,
                 wantMembers - vlans, chipMembers(agent), wantMembers);
    return 1;
  }
  fig.maxInFlight = std::max(fig.maxInFlight, vh.maxInFlightPerVlan());

  if (json) {
    std::printf(
        "{\"vlans\": %zu, \"memberships\": %zu, \"chip_members\": %zu, \"seconds\": %.3f, \"cpu_seconds\": %.3f, "
        "\"max_pass_ms\": %.2f, \"max_updates_in_flight_per_vlan\": %u, \"bytes_per_membership\": %.1f, "
        "\"flap_writes_per_vlan\": %llu, \"flap_min_writes_per_vlan\": %llu, \"flap_down_ms\": %.1f, "
        "\"flap_up_ms\": %.1f}\n",
        fig.vlans, fig.memberships, fig.chipMembers, fig.seconds, fig.cpuSeconds, fig.maxPassMs, fig.maxInFlight,
        fig.bytesPerMembership, (unsigned long long)fig.flapMaxWrites, (unsigned long long)fig.flapMinWrites,
        fig.flapDownMs, fig.flapUpMs);
  } else {
    std::printf("vlans: %zu VLANs trunked on %d ports and %d port channels of %d, chip answers after 1 ms\n", vlans,
                kTrunks, kLags, kLagMembers);
    std::printf("  %-34s %10zu (%zu chip members)\n", "memberships", fig.memberships, fig.chipMembers);
    std::printf("  %-34s %10.3f s\n", "first VLAN written -> converged", fig.seconds);
    std::printf("  %-34s %10.3f s\n", "  of which on the CPU", fig.cpuSeconds);
    std::printf("  %-34s %10.2f ms\n", "longest pass", fig.maxPassMs);
    std::printf("  %-34s %10u\n", "most updates in flight per VLAN", fig.maxInFlight);
    std::printf("  %-34s %10.1f\n", "bytes per membership", fig.bytesPerMembership);
    std::printf("  %-34s %10llu..%llu writes per VLAN (down %.1f ms, up %.1f ms)\n", "port flap",
                (unsigned long long)fig.flapMinWrites, (unsigned long long)fig.flapMaxWrites, fig.flapDownMs,
                fig.flapUpMs);
  }
  return 0;
}

}  // namespace

KOR_BENCH(vlans, "4,094 VLANs trunked on 64 ports and 16 LAGs; a port flap") {
  return runVlans(KorBench::jsonOutput());
}
