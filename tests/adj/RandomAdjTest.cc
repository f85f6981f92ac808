// Randomized test of the adjacency layer driven through the agent: random
// sequences of FEC, via, ARP / neighbour, MAC table, link (routed interfaces
// and the ports MACs are learned on), port-channel membership and FEC id IP
// version changes with chip faults injected, then the faults cleared and the loop run until idle.
// The end state is checked against an expectation the test computes from its
// own copy of the inputs: every live FEC has an installed L2 adjacency whose
// paths are what its vias, the neighbour entries and the MAC table imply; the
// chip holds no L2 adjacency that nothing uses; the review queues are empty.
//
// Seeds: a fixed list by default; KOR_RANDOM_SEED=N runs that seed only and
// KOR_RANDOM_STEPS=N changes the number of random changes per run (200), e.g.
//   KOR_RANDOM_SEED=77 KOR_RANDOM_STEPS=1000 ./adj_tests --gtest_filter='RandomAdj*'
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/adj/RandomAgentHarness.h"
#include "agent/lag/LagModule.h"
#include "kor/records/AdjEntry.h"
#include "kor/adj/AdjSm.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"
#include "kor/l3/VrfRoot.h"
#include "kor/l3/VrfRootSm.h"
#include "softchip/SoftChip.h"
#include "vix/Time.h"

namespace {

using Nollo::IntfId;
using KorAgent::Agent;

// One routed interface of the test network and the hosts behind it.
struct L3Intf {
  IntfId intf;
  uint16_t vlan;
  bool routedPort;
};

// The inputs as the test wrote them, and what they imply.
struct Model {
  std::vector<L3Intf> intfs;
  std::map<IntfId, bool> up;
  // address -> (MAC, interface): one neighbour entry per address.
  std::map<std::string, std::pair<Nollo::EthAddr, IntfId>> neigh;
  // (vlan, MAC) -> port the MAC was learned on.
  std::map<std::pair<uint16_t, Nollo::EthAddr>, IntfId> macs;
  std::map<IntfId, IntfId> portToLag;
  // FEC id -> whether its vias are IPv6.
  std::map<uint64_t, bool> v6;
  // FEC id -> vias (next hop text, interface).
  std::map<uint64_t, std::vector<std::pair<std::string, IntfId>>> fecs;

  L3Intf const& l3(IntfId const& i) const {
    for (auto const& x : intfs)
      if (x.intf == i) return x;
    throw std::logic_error("unknown interface");
  }

  // The layer-2 egress of a resolved next hop (none when unresolved).
  std::optional<IntfId> egress(std::string const& nh, IntfId const& intf) const {
    L3Intf const& l = l3(intf);
    auto n = neigh.find(nh);
    if (n == neigh.end() || n->second.second != intf) return std::nullopt;
    if (l.routedPort) return intf;
    auto m = macs.find({l.vlan, n->second.first});
    if (m == macs.end()) return IntfId::vlan(l.vlan);
    auto lag = portToLag.find(m->second);
    return lag == portToLag.end() ? m->second : lag->second;
  }

  // A port channel forwards while one of its members does; a VLAN flood set
  // is never left out.
  bool egressUp(IntfId const& e) const {
    if (e.isVlan()) return true;
    if (e.isPortChannel()) {
      for (auto const& [port, lag] : portToLag)
        if (lag == e && up.at(port)) return true;
      return false;
    }
    return up.at(e);
  }

  // One path as "type mac egress vlan weight"; the drop path as "drop".
  std::string path(std::string const& nh, IntfId const& intf, uint32_t weight) const {
    L3Intf const& l = l3(intf);
    std::ostringstream os;
    if (auto e = egress(nh, intf)) os << "arpResolved " << neigh.at(nh).first << " " << *e << " " << l.vlan;
    else os << "arpRequired - " << intf << " " << l.vlan;
    os << " x" << weight;
    return os.str();
  }

  // next hop -> path, for the vias of one FEC.
  std::map<std::string, std::string> expected(uint64_t fecId) const {
    std::map<std::pair<std::string, IntfId>, uint32_t> weights;
    std::map<std::string, IntfId> first;
    for (auto const& [nh, intf] : fecs.at(fecId)) {
      if (!up.at(intf)) continue;
      auto e = egress(nh, intf);
      if (e && !egressUp(*e)) continue;
      // A second via to the same next hop over another interface is not
      // programmable beside the first: the first wins.
      auto f = first.emplace(nh, intf).first;
      if (f->second == intf) ++weights[{nh, intf}];
    }
    std::map<std::string, std::string> out;
    for (auto const& [k, w] : weights) out[k.first] = path(k.first, k.second, w);
    if (out.empty()) out["drop"] = "drop";
    return out;
  }
};

std::map<std::string, std::string> chipPaths(Kor::NextHopL2InfoCollection const& c) {
  std::map<std::string, std::string> out;
  for (auto const& [nh, info] : c.nextHop()) {
    std::ostringstream os;
    switch (info.type()) {
      case Kor::NextHopEntryType::nextHopDrop: out["drop"] = "drop"; continue;
      case Kor::NextHopEntryType::nextHopArpRequired: os << "arpRequired - " << info.l3IntfId(); break;
      case Kor::NextHopEntryType::nextHopArpResolved: os << "arpResolved " << info.macAddr() << " " << info.intfId(); break;
      default: os << "type " << int(info.type()); break;
    }
    os << " " << info.vlanId().value() << " x" << info.weight();
    out[nh.str()] = os.str();
  }
  return out;
}

class RandomAdjTest : public RandomAgentHarness {
 protected:
  void build() {
    m_ = Model();
    m_.intfs = {{IntfId::vlan(10), 10, false}, {IntfId::vlan(20), 20, false}, {IntfId::ethernet(5), 1006, true}};
    agent_->module<KorAgent::VrfModule>().routingIs(Kor::VrfName("default"), true, true, true);
    for (auto const& l : m_.intfs) {
      agent_->module<KorAgent::IntfModule>().intfAdd(l.intf, std::nullopt, Kor::VlanId(l.vlan), l.routedPort);
      m_.up[l.intf] = true;
    }
    for (uint32_t p = 1; p <= 4; ++p) {
      agent_->module<KorAgent::IntfModule>().intfAdd(IntfId::ethernet(p), std::nullopt, std::nullopt);
      m_.up[IntfId::ethernet(p)] = true;
    }
    agent_->module<KorAgent::LagModule>().lagAdd(IntfId::portChannel(1), {IntfId::ethernet(3), IntfId::ethernet(4)});
    m_.portToLag[IntfId::ethernet(3)] = IntfId::portChannel(1);
    m_.portToLag[IntfId::ethernet(4)] = IntfId::portChannel(1);
  }


  // A next hop of either family behind one of the routed interfaces.
  std::pair<std::string, IntfId> host(bool v6) {
    L3Intf const& l = m_.intfs[pick(m_.intfs.size())];
    std::string nh = v6 ? "2001:db8:" + std::to_string(l.vlan) + "::" + std::to_string(1 + pick(5))
                        : "10.0." + std::to_string(l.vlan % 256) + "." + std::to_string(1 + pick(5));
    return {nh, l.intf};
  }
  Nollo::EthAddr mac() { return Nollo::EthAddr::fromUint64(0x001c73000000ull + 1 + pick(6)); }

  void fecChange(bool allowDelete) {
    uint64_t id = 1 + pick(12);
    if (m_.fecs.count(id) && allowDelete && coin(0.3)) {
      agent_->module<KorAgent::FibModule>().fecDel(id);
      m_.fecs.erase(id);
      return;
    }
    // Now and then an id changes family: deleted and added again in the
    // other one before the adjacency machine reviews it.
    bool v6 = m_.v6.count(id) ? m_.v6[id] : id % 3 == 0;
    bool flip = m_.fecs.count(id) && coin(0.15);
    if (flip) {
      agent_->module<KorAgent::FibModule>().fecDel(id);
      m_.fecs.erase(id);
      v6 = !v6;
    }
    m_.v6[id] = v6;
    std::vector<KorAgent::FibModule::Via> vias;
    std::vector<std::pair<std::string, IntfId>> mv;
    size_t n = 1 + pick(3);
    for (size_t i = 0; i < n; ++i) {
      auto h = (i && coin(0.2)) ? mv[0] : host(v6);  // sometimes a repeated via
      KorAgent::FibModule::Via v;
      v.hop = Nollo::IpGenAddr(h.first);
      v.intf = h.second;
      vias.push_back(v);
      mv.push_back(h);
    }
    if (m_.fecs.count(id)) agent_->module<KorAgent::FibModule>().fecUpdate(id, vias);
    else agent_->module<KorAgent::FibModule>().fecAdd(id, vias);
    m_.fecs[id] = mv;
  }

  void neighChange() {
    auto h = host(coin(0.4));
    auto it = m_.neigh.find(h.first);
    if (it != m_.neigh.end() && coin(0.4)) {
      agent_->module<KorAgent::NeighbourModule>().arpDel(Kor::VrfName("default"), Nollo::IpGenAddr(h.first));
      m_.neigh.erase(it);
      return;
    }
    if (it != m_.neigh.end() && it->second.second != h.second) {
      agent_->module<KorAgent::NeighbourModule>().arpDel(Kor::VrfName("default"), Nollo::IpGenAddr(h.first));
      m_.neigh.erase(it);
    }
    Nollo::EthAddr m = mac();
    agent_->module<KorAgent::NeighbourModule>().arpAdd(Kor::VrfName("default"), Nollo::IpGenAddr(h.first), m, h.second);
    m_.neigh[h.first] = {m, h.second};
  }

  void macChange() {
    uint16_t vlan = coin(0.5) ? 10 : 20;
    Nollo::EthAddr m = mac();
    IntfId port = IntfId::ethernet(uint32_t(1 + pick(4)));
    auto it = m_.macs.find({vlan, m});
    if (it == m_.macs.end()) {
      agent_->module<KorAgent::NeighbourModule>().macAdd(Kor::VlanId(vlan), m, port);
      m_.macs[{vlan, m}] = port;
    } else if (coin(0.4)) {
      agent_->module<KorAgent::NeighbourModule>().macDel(Kor::VlanId(vlan), m);
      m_.macs.erase(it);
    } else {
      agent_->module<KorAgent::NeighbourModule>().macMove(Kor::VlanId(vlan), m, port);
      it->second = port;
    }
  }

  // A routed interface or a port MACs are learned on.
  void linkChange() {
    auto it = m_.up.begin();
    std::advance(it, pick(m_.up.size()));
    it->second = !it->second;
    agent_->module<KorAgent::IntfModule>().intfLinkIs(it->first, it->second);
  }

  // Ethernet4 leaves or joins Port-Channel1 (Ethernet3 stays its member).
  void lagChange() {
    IntfId p = IntfId::ethernet(4), lag = IntfId::portChannel(1);
    if (m_.portToLag.count(p)) {
      agent_->module<KorAgent::LagModule>().lagDel(lag, {p});
      m_.portToLag.erase(p);
    } else {
      agent_->module<KorAgent::LagModule>().lagAdd(lag, {p});
      m_.portToLag[p] = lag;
    }
  }

  void faultChange() {
    static SoftChip::ChipAnswer const answers[] = {SoftChip::ChipAnswer::fail, SoftChip::ChipAnswer::notReady,
                                                   SoftChip::ChipAnswer::resourceFull};
    auto& inj = agent_->chip()->injector();
    if (coin(0.5)) inj.randomFaultIs(0.1 + 0.4 * coin(0.5), rng_(), answers[pick(3)]);
    else if (coin(0.5)) inj.kindFaultIs("l2adj", answers[pick(3)]);
    else inj.faultsDelAll();
    agent_->module<KorAgent::ChipModule>().chipRulesChanged();
  }

  // Random changes of the given kinds, time advancing in between.
  void run(uint64_t steps, bool inputsToo) {
    for (uint64_t s = 0; s < steps; ++s) {
      size_t kind = pick(inputsToo ? 7 : 3);
      if (kind == 0 || kind == 1) fecChange(true);
      else if (kind == 2) faultChange();
      else if (kind == 3) neighChange();
      else if (kind == 4) macChange();
      else if (kind == 5) linkChange();
      else lagChange();
      if (coin(0.3)) agent_->runFor(0.001 * double(pick(300)));
    }
    agent_->chip()->injector().faultsDelAll();
    agent_->module<KorAgent::ChipModule>().chipRulesChanged();
    agent_->runFor(1.0);
    agent_->runUntilIdle();
  }

  void check(uint64_t seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    auto const* l3 = agent_->l3Status();
    auto vs = l3->vrfL3Status(Kor::VrfName("default"));
    ASSERT_TRUE(vs);
    std::set<uint64_t> used;
    for (auto const& [id, vias] : m_.fecs) {
      SCOPED_TRACE("fec " + std::to_string(id));
      auto e = vs->adjEntryList(Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), id));
      ASSERT_TRUE(e) << "no adjacency";
      ASSERT_TRUE(e->l2Adj()) << "no L2 adjacency";
      EXPECT_EQ(e->l2Adj()->state(), Kor::L2AdjState::installed);
      auto const* held = agent_->chip()->adj().l2AdjTable().find(e->l2Adj()->index());
      ASSERT_TRUE(held) << "L2 adjacency " << e->l2Adj()->index() << " not in the chip";
      EXPECT_EQ(chipPaths(*held), m_.expected(id));
      used.insert(e->l2Adj()->index());
    }
    for (auto const& [fecId, e] : vs->adjEntryListMap())
      if (e->l2Adj()) used.insert(e->l2Adj()->index());
    for (auto const& [index, coll] : agent_->chip()->adj().l2AdjTable().entries())
      EXPECT_TRUE(used.count(index)) << "chip L2 adjacency " << index << " is used by nothing";
    for (auto const& [name, root] : agent_->vrfRootSm()->vrfRootMap()) {
      EXPECT_EQ(root->korAdjSm()->adjsForReview(), 0u) << name;
      EXPECT_EQ(root->korAdjSm()->unprogrammedAdjList().size(), 0u) << name;
    }
  }

  Model m_;
};

// Neighbours, MACs and links first, then FEC and via changes under chip
// faults: every adjacency is first reviewed over inputs that stay put.
TEST_F(RandomAdjTest, FecChangesUnderChipFaults) {
  forEachSeed(200, [&](uint64_t seed, uint64_t steps) {
    build();
    for (int i = 0; i < 40; ++i) {
      neighChange();
      macChange();
      if (coin(0.1)) linkChange();
    }
    agent_->init();
    run(steps, false);
    check(seed);
  });
}

// Everything changes at random, neighbours, MACs and links included, while
// adjacencies exist.
TEST_F(RandomAdjTest, AllInputsChangeUnderChipFaults) {
  forEachSeed(200, [&](uint64_t seed, uint64_t steps) {
    build();
    agent_->init();
    run(steps, true);
    check(seed);
  });
}

}  // namespace
