// Randomized test of layer 2 driven through the agent's statements: VLANs
// added and removed, switchports changing mode, access, allowed and native
// VLANs and TPID, ports joining, leaving and moving between LAGs, left to
// another agent or removed, VLAN translations (ingress, egress, with and
// without inner tag, native pairs), spanning-tree topologies with their
// VLANs and the protocol's port states, tap-aggregation mode and back -
// while the chip answers late, refuses (faults, small tables) or fails VLAN
// updates. Then every fault is cleared, the tables raised and the loop run
// idle past every retry.
//
// The end state is judged against the test's own model (L2Model.h), built
// from the configuration the test applied: the chip's tables (VLAN
// members, port rows, translations per port, LAG members, spanning-tree
// forwarding per port and VLAN), and for random frames on every port the
// packet path's VLAN, egress copies and their tags.
//
// Seeds: a fixed list by default; KOR_RANDOM_SEED=N runs that seed only and
// KOR_RANDOM_STEPS=N changes the number of random changes per run (1000), e.g.
//   KOR_RANDOM_SEED=77 KOR_RANDOM_STEPS=1000 ./l2rand_tests
// KOR_RANDOM_LOG=1 prints a failing run's statements (a scenario kor-agent
// replays) and the chip's tables.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/adj/RandomAgentHarness.h"
#include "tests/l2rand/L2Model.h"
#include "softchip/SoftChip.h"
#include "softchip/packet/PacketPath.h"

namespace {

using L2Rand::Mode;
using L2Rand::Tag;
using Nollo::IntfId;

class RandomL2Test : public RandomAgentHarness {
 protected:
  static constexpr uint16_t kPool[] = {1, 10, 20, 30, 40};
  static constexpr uint16_t kTpids[] = {0x8100, 0x88a8, 0x9100};
  static constexpr char const* kStates[] = {"forwarding", "forwarding", "discarding", "learning", "trapping"};
  static constexpr char const* kTables[] = {"vlan", "portvlan", "xlate-ingress", "xlate-egress", "topo", "stpstate", "lag"};

  void say(std::string const& line) {
    std::string answer = agent_->channel(-1, line);
    log_ += line;
    log_ += '\n';
    ASSERT_EQ(answer.rfind("line ", 0), std::string::npos) << line << ": " << answer;
  }

  // The loop runs; logged as the scenario statement that does the same,
  // so that a failing run's log replays in kor-agent.
  void runMs(size_t ms) {
    agent_->runFor(0.001 * double(ms));
    log_ += "run " + std::to_string(ms) + "ms\n";
  }

  uint16_t vlan() { return kPool[pick(std::size(kPool))]; }
  std::string topoName() { return "MST" + std::to_string(1 + pick(3)); }
  std::string lagName() { return "Port-Channel" + std::to_string(1 + pick(nLags_)); }
  std::string port() { return m_.ports[pick(m_.ports.size())]; }
  // An interface that carries configuration: a port or a port channel.
  std::string cfgIntf() { return coin(0.35) ? lagName() : port(); }
  static std::string hex(uint16_t v) {
    std::ostringstream os;
    os << "0x" << std::hex << v;
    return os.str();
  }

  void build() {
    m_ = {};
    log_.clear();
    size_t n = 8 + pick(5);
    nLags_ = 2 + pick(2);
    for (size_t i = 1; i <= n; ++i) {
      m_.ports.push_back("Ethernet" + std::to_string(i));
      say("intf add " + m_.ports.back());
    }
  }

  void vlanChange() {
    uint16_t v = vlan();
    bool add = !m_.vlans.count(v);
    if (!add && coin(0.6)) return;  // most of the pool stays configured
    say(std::string(add ? "vlan add " : "vlan del ") + std::to_string(v));
    if (add) m_.vlans.insert(v);
    else m_.vlans.erase(v);
  }

  void switchportChange() {
    std::string intf = cfgIntf();
    auto& c = m_.switchports[intf];
    switch (pick(7)) {
      case 0: {
        static char const* const modes[] = {"access", "trunk", "dot1q-tunnel"};
        size_t k = pick(3);
        say("switchport " + intf + " mode " + modes[k]);
        c.mode = Mode(k);
        break;
      }
      case 1:
        c.access = vlan();
        say("switchport " + intf + " access vlan " + std::to_string(c.access));
        break;
      case 2:
        if (coin(0.3)) {
          say("switchport " + intf + " trunk allowed vlan all");
          c.allowedAll = true;
          c.allowed.clear();
        } else {
          c.allowedAll = false;
          c.allowed.clear();
          std::string list;
          for (uint16_t v : kPool)
            if (coin(0.5)) {
              c.allowed.insert(v);
              if (!list.empty()) list += ',';
              list += std::to_string(v);
            }
          if (list.empty()) {
            c.allowed.insert(10);
            list = "10";
          }
          say("switchport " + intf + " trunk allowed vlan " + list);
        }
        break;
      case 3:
        c.native = vlan();
        say("switchport " + intf + " trunk native vlan " + std::to_string(c.native));
        break;
      case 4:
        c.tpid = kTpids[pick(3)];
        say("switchport " + intf + " tpid " + hex(c.tpid));
        break;
      default:
        if (m_.switchports.size() > 1 && coin(0.4)) {
          // Only a configured interface can be removed; `c` may be fresh.
          m_.switchports.erase(intf);
          if (!seenSwitchport_.count(intf)) return;
          say("switchport " + intf + " remove");
          seenSwitchport_.erase(intf);
          return;
        }
        c.mode = Mode::trunk;
        say("switchport " + intf + " mode trunk");
    }
    seenSwitchport_.insert(intf);
  }

  // The protocol stops reporting a port of its own once it joins a LAG.
  void dropOwnStates(std::string const& p) {
    for (auto it = m_.states.begin(); it != m_.states.end();) {
      if (it->first.first != p) {
        ++it;
        continue;
      }
      say("stp port " + p + " topology " + it->first.second + " state none");
      it = m_.states.erase(it);
    }
  }

  void lagChange() {
    std::string p = port();
    std::string lag = lagName();
    auto it = m_.lagOf.find(p);
    if (it == m_.lagOf.end()) {
      if (m_.gone.count(p)) return;
      dropOwnStates(p);
      say("lag add " + lag + " " + p);
      m_.lagOf[p] = lag;
    } else if (it->second == lag || coin(0.4)) {
      say("lag del " + it->second + " " + p);
      m_.lagOf.erase(it);
    } else {
      // Moved from one LAG to another in one turn of the loop.
      say("lag del " + it->second + " " + p);
      say("lag add " + lag + " " + p);
      it->second = lag;
      ++moves_;
    }
  }

  // Ports outside LAGs leave the agent's interfaces and come back; any port
  // is left to another agent or taken back.
  void intfChange() {
    std::string p = port();
    if (coin(0.5)) {
      bool off = !m_.unmanaged.count(p);
      say(std::string(off ? "lag unmanaged " : "lag managed ") + p);
      if (off) m_.unmanaged.insert(p);
      else m_.unmanaged.erase(p);
      return;
    }
    if (m_.lagOf.count(p)) return;
    bool del = !m_.gone.count(p);
    say(std::string(del ? "intf del " : "intf add ") + p);
    if (del) m_.gone.insert(p);
    else m_.gone.erase(p);
  }

  void xlateChange() {
    std::string intf = cfgIntf();
    auto& x = m_.xlates[intf];
    bool egress = coin(0.5);
    std::string dir = egress ? " egress " : " ingress ";
    if (coin(0.25)) {
      auto& pair = egress ? x.nativeEgress : x.nativeIngress;
      if (pair && coin(0.4)) {
        say("vlan translation del " + intf + " native" + dir.substr(0, dir.size() - 1));
        pair.reset();
      } else {
        pair = std::pair(vlan(), vlan());
        say("vlan translation " + intf + " native" + dir + std::to_string(pair->first) + " to " +
            std::to_string(pair->second));
      }
      return;
    }
    auto& map = egress ? x.egress : x.ingress;
    L2Rand::XlateKey key{vlan(), coin(0.3) ? vlan() : 0};
    std::string text = std::to_string(key.first);
    if (key.second) text += "." + std::to_string(key.second);
    if (map.count(key) && coin(0.4)) {
      say("vlan translation del " + intf + dir + text);
      map.erase(key);
      return;
    }
    map[key] = vlan();
    say("vlan translation " + intf + dir + text + " to " + std::to_string(map[key]));
  }

  void stpChange() {
    size_t k = pick(6);
    if (k == 0) {
      std::string t = topoName();
      if (m_.topologies.count(t) && coin(0.5)) {
        say("stp topology del " + t);
        m_.topologies.erase(t);
        for (auto it = m_.vlanTopo.begin(); it != m_.vlanTopo.end();)
          it = it->second == t ? m_.vlanTopo.erase(it) : std::next(it);
        return;
      }
      std::string list;
      for (uint16_t v : kPool)
        if (coin(0.3)) {
          m_.vlanTopo[v] = t;
          if (!list.empty()) list += ',';
          list += std::to_string(v);
        }
      say("stp topology add " + t + (list.empty() ? "" : " vlan " + list));
      m_.topologies.insert(t);
      return;
    }
    if (k == 1 && coin(0.3)) {
      m_.tapAgg = !m_.tapAgg;
      say(m_.tapAgg ? "mode tap-aggregation" : "mode regular");
      return;
    }
    // Reports of the protocol: for ports outside LAGs and for LAGs.
    std::string intf = coin(0.4) ? lagName() : port();
    if (m_.lagOf.count(intf)) return;
    std::string t = topoName();
    auto key = std::pair(intf, t);
    if (m_.states.count(key) && coin(0.2)) {
      say("stp port " + intf + " topology " + t + " state none");
      m_.states.erase(key);
      return;
    }
    m_.states[key] = kStates[pick(std::size(kStates))];
    say("stp port " + intf + " topology " + t + " state " + m_.states[key]);
  }

  void chipChange() {
    static char const* const answers[] = {"fail", "notready", "full"};
    size_t k = pick(6);
    if (k == 0) say("chip fault rate 0." + std::to_string(1 + pick(3)) + " seed " + std::to_string(pick(1000)) + " " + answers[pick(3)]);
    else if (k == 1 || k == 2) say(std::string("chip fault ") + kTables[pick(std::size(kTables))] + " " + answers[pick(3)]);
    else if (k == 3) say("chip fault clear");
    else if (k == 4) {
      std::string t = kTables[pick(std::size(kTables))];
      say("chip capacity " + t + " " + std::to_string(agent_->chip()->table(t)->size() + pick(3)));
    } else {
      say("chip delay vlan " + std::to_string(pick(3) * 5) + "ms");
    }
  }

  void run(uint64_t steps) {
    for (uint64_t s = 0; s < steps && !HasFatalFailure(); ++s) {
      size_t k = pick(21);
      if (k == 20) intfChange();
      else if (k < 2) vlanChange();
      else if (k < 8) switchportChange();
      else if (k < 10) lagChange();
      else if (k < 13) xlateChange();
      else if (k < 17) stpChange();
      else chipChange();
      if (coin(0.3)) runMs(pick(30));
      if (coin(0.02)) runMs(1000 * pick(3));
    }
    say("chip fault clear");
    say("chip delay vlan 0");
    for (char const* t : kTables) say(std::string("chip capacity ") + t + " 100000");
    // Past the VLAN retry delay, the translation review and the
    // verification retries of whatever a refusal left behind.
    for (int i = 0; i < 4; ++i) {
      runMs(i ? 11000 : 1000);
      agent_->runUntilIdle();
      log_ += "run until idle\n";
    }
    // The supervisor's verification passes are what retry a refused
    // spanning-tree write: asked again while a pass says retry.
    for (int i = 0; i < 5 && agent_->command(-1, "VER") != "verify: all agree\n"; ++i) agent_->runUntilIdle();
  }

  // The chip's tables against the model.
  void checkTables(uint64_t seed) {
    auto const* chip = agent_->chip();
    for (uint16_t v : kPool) {
      std::map<IntfId, bool> want;
      std::set<IntfId> ports;
      for (auto const& p : m_.ports) {
        auto m = m_.membership(p);
        if (m.count(v)) {
          want[IntfId(p)] = m[v];
          ports.insert(IntfId(p));
        }
      }
      auto const* row = chip->vlan().vlanTable().find(Kor::VlanId(v));
      SoftChip::ChipVlan got = row ? *row : SoftChip::ChipVlan{};
      EXPECT_EQ(got.members, want) << "seed " << seed << " vlan " << v << " members";
      EXPECT_EQ(got.ingress, ports) << "seed " << seed << " vlan " << v << " ingress";
      EXPECT_EQ(got.egress, ports) << "seed " << seed << " vlan " << v << " egress";
      // A removed port's spanning-tree state is nobody's concern.
      for (auto const& p : m_.ports) {
        if (m_.gone.count(p)) continue;
        EXPECT_EQ(chip->stp().forwarding(IntfId(p), Kor::VlanId(v)), m_.forwarding(p, v))
            << "seed " << seed << " " << p << " forwarding in vlan " << v;
      }
    }
    for (auto const& p : m_.ports) {
      auto const* row = chip->vlan().portVlanTable().find(IntfId(p));
      L2Rand::PortCfg const* c = m_.cfg(p);
      ASSERT_EQ(row != nullptr, c != nullptr) << "seed " << seed << " portvlan row of " << p;
      if (c) {
        EXPECT_EQ(row->defaultVlan, c->mode == Mode::trunk ? c->native : c->access) << "seed " << seed << " " << p;
        EXPECT_EQ(int(row->tagging), int(c->mode)) << "seed " << seed << " " << p;
        EXPECT_EQ(row->tpid.hwVlanTpid(), c->tpid) << "seed " << seed << " " << p;
      }
      // Translations of the port: exactly its (or its LAG's), one native
      // entry at most and none for a pair mapping a VLAN to itself.
      L2Rand::XlateCfg x = m_.xlate(p);
      for (bool egress : {false, true}) {
        auto const& table = egress ? chip->xlate().egressTable() : chip->xlate().ingressTable();
        std::map<L2Rand::XlateKey, uint16_t> keyed;
        std::map<uint16_t, uint16_t> native, wantNative;
        for (auto const& [k, to] : table.entries()) {
          if (k.port != IntfId(p)) continue;
          (k.native ? native[k.match.outerVlan()] : keyed[{k.match.outerVlan(), k.match.innerVlan()}]) = to;
        }
        auto pair = egress ? x.nativeEgress : x.nativeIngress;
        if (pair && pair->first != pair->second) wantNative[pair->first] = pair->second;
        EXPECT_EQ(keyed, egress ? x.egress : x.ingress) << "seed " << seed << " " << p << (egress ? " egress" : " ingress");
        EXPECT_EQ(native, wantNative) << "seed " << seed << " " << p << (egress ? " egress" : " ingress") << " native";
      }
    }
    for (int l = 1; l <= 3; ++l) {
      std::string lag = "Port-Channel" + std::to_string(l);
      std::set<IntfId> want;
      for (auto const& p : m_.members(lag)) want.insert(IntfId(p));
      auto const* row = chip->lag().lagTable().find(IntfId(lag));
      std::set<IntfId> got;
      if (row)
        for (auto const& p : *row) got.insert(p);
      EXPECT_EQ(got, want) << "seed " << seed << " " << lag << " members";
    }
  }

  // Random frames on every port: the packet path against the model.
  void checkFrames(uint64_t seed) {
    SoftChip::PacketPath path(*agent_->chip());
    for (auto const& in : m_.ports) {
      for (int f = 0; f < 12; ++f) {
        std::vector<Tag> tags(pick(3));
        // Mostly VLANs of the pool, a few unknown ones and priority tags.
        for (auto& t : tags) t = {kTpids[pick(3)], coin(0.9) ? vlan() : uint16_t(coin(0.5) ? 99 : 0)};
        SoftChip::Frame frame;
        frame.inPort = IntfId(in);
        for (auto const& t : tags) frame.tags.push_back({t.tpid, t.vid});
        frame.flowHash = rng_();
        L2Rand::Outcome want = m_.walk(in, tags);
        SoftChip::PacketResult got = path.walk(frame);
        std::map<std::string, std::vector<Tag>> copies;
        for (auto const& c : got.copies) {
          std::string key = c.lag.isNone() ? c.port.str() : c.lag.str();
          if (!c.lag.isNone()) {
            EXPECT_EQ(m_.source(c.port.str()), key) << "seed " << seed << ": " << c.port << " left for a LAG it is not in";
          }
          auto& out = copies[key];
          for (auto const& t : c.tags) out.push_back({t.tpid, t.vid});
        }
        std::ostringstream what;
        what << "seed " << seed << " frame on " << in << " tags";
        for (auto const& t : tags) what << ' ' << hex(t.tpid) << '/' << t.vid;
        what << " (walk: " << got.drop << ")";
        EXPECT_EQ(got.vlan, want.vlan) << what.str();
        EXPECT_EQ(copies, want.copies) << what.str();
        if (HasFailure()) return;
        ++frames_;
        if (want.vlan) ++bridged_;
        for (auto const& [k, c] : want.copies)
          if (k.rfind("Port-Channel", 0) == 0) ++lagCopies_;
      }
    }
  }

  L2Rand::L2Model m_;
  std::set<std::string> seenSwitchport_;
  size_t nLags_ = 2;
  std::string log_;
  uint64_t moves_ = 0, frames_ = 0, bridged_ = 0, lagCopies_ = 0, checkedSeeds_ = 0;
};

// Inputs change under chip faults; faults cleared and idle, the chip's
// tables and the packet path agree with the configuration. Besides the
// harness's seeds: 120 (a port added in tap-aggregation mode did not
// forward), 447 (a VLAN waiting to leave two topologies left only one).
TEST_F(RandomL2Test, ForwardingFollowsTheConfigurationUnderChipFaults) {
  forEachSeed(1000, {120, 447}, [&](uint64_t seed, uint64_t steps) {
    seenSwitchport_.clear();
    build();
    for (int i = 0; i < 10; ++i) {
      vlanChange();
      switchportChange();
    }
    agent_->init();
    log_ += "init\n";
    run(steps);
    if (HasFailure()) return;
    EXPECT_EQ(agent_->command(-1, "VER"), "verify: all agree\n") << "seed " << seed;
    checkTables(seed);
    if (!HasFailure()) checkFrames(seed);
    if (HasFailure() && std::getenv("KOR_RANDOM_LOG")) std::cerr << log_ << agent_->show("chip", false);
    ++checkedSeeds_;
  });
  if (HasFailure() || std::getenv("KOR_RANDOM_SEED")) return;
  // The fixed seeds reach what they are for.
  EXPECT_GT(moves_, 0u);
  EXPECT_GT(bridged_, frames_ / 10);
  EXPECT_GT(lagCopies_, 0u);
}

}  // namespace
