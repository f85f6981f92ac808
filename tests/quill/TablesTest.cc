// The FIB FEC and route tables, ARP tables and the VRF-id map: per-key
// notifications, record values and what a deleted key reads back as.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "quill/ArpTable.h"
#include "quill/ForwardingStatus.h"
#include "quill/RouteStatus.h"
#include "quill/VrfIdMap.h"

namespace {

using Nollo::IntfId;
using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Nollo::IpPrefix;
using Quill::Fib::FecId;
using Quill::Fib::FecType;

static_assert(sizeof(Quill::Fib::Route) <= 24);

class FecWatcher : public Quill::Fib::ForwardingStatus::Notifiee {
 public:
  using Notifiee::Notifiee;
  void handleFec(FecId const& id) override {
    auto f = notifier()->fec(id);
    log.push_back(id.str() + (f ? " " + Quill::Fib::str(f->type()) + " vias=" + std::to_string(f->viaCount()) : " gone"));
  }
  std::vector<std::string> log;
};

TEST(ForwardingStatusTest, NotifiesPerFecAndSharesRecords) {
  auto fs = Vix::makePtr<Quill::Fib::ForwardingStatus>("fib");
  FecWatcher w(fs);
  Quill::Fib::Fec fec(FecId(10), FecType::forward);
  Quill::Fib::Via via(IpAddr4("10.0.0.2"), IntfId("Ethernet1"), 2);
  via.mplsLabelsIs({100, 200});
  fec.viaAdd(via);
  fs->fecIs(fec);
  auto stored = fs->fec(FecId(10));
  ASSERT_TRUE(stored);
  EXPECT_EQ(*stored, fec);
  EXPECT_EQ(stored->via(0).str(), "10.0.0.2 Ethernet1 weight 2 labels 100,200");
  fs->fecIs(FecId(10), stored);  // the same record again: no notification
  fs->fecIs(Quill::Fib::Fec(FecId(11), FecType::drop));
  fs->fecDel(FecId(10));
  fs->fecDel(FecId(12));  // absent: no notification
  EXPECT_EQ(w.log, (std::vector<std::string>{"10 forward vias=1", "11 drop vias=0", "10 gone"}));
  EXPECT_EQ(stored->viaCount(), 1u);  // a reader's pointer outlives the entry
}

class RouteWatcher : public Quill::Fib::RouteStatus::Notifiee {
 public:
  using Notifiee::Notifiee;
  void handleRoute(IpPrefix const& p) override { log.push_back(p.str() + " " + notifier()->route(p).fecId().str()); }
  void handleFrozen() override { log.push_back(notifier()->frozen() ? "frozen" : "thawed"); }
  std::vector<std::string> log;
};

TEST(RouteStatusTest, NotifiesPerPrefix) {
  auto rs = Vix::makePtr<Quill::Fib::RouteStatus>("default");
  EXPECT_EQ(rs->name(), "default");
  RouteWatcher w(rs);
  rs->routeIs(Quill::Fib::Route(IpPrefix("10.0.0.0/8"), FecId(5), 1));
  rs->routeIs(Quill::Fib::Route(IpPrefix("10.0.0.0/8"), FecId(5), 1));  // unchanged
  rs->routeIs(Quill::Fib::Route(IpPrefix("10.0.0.0/8"), FecId(6), 2));
  rs->frozenIs(true);
  rs->routeDel(IpPrefix("10.0.0.0/8"));
  EXPECT_EQ(w.log, (std::vector<std::string>{"10.0.0.0/8 5", "10.0.0.0/8 6", "frozen",
                                             "10.0.0.0/8 none"}));
  EXPECT_FALSE(rs->route(IpPrefix("10.0.0.0/8")).fecId().isValid());
}

class ArpWatcher : public Quill::Arp::ArpTable::Notifiee {
 public:
  using Notifiee::Notifiee;
  void handleArpEntry(Quill::Arp::ArpKey const& k) override {
    log.push_back(k.str() + " " + notifier()->arpEntry(k).str());
  }
  std::vector<std::string> log;
};

TEST(ArpTableTest, KeyedByVrfAddressAndInterface) {
  auto t = Vix::makePtr<Quill::Arp::ArpTable>("arp");
  ArpWatcher w(t);
  Quill::Arp::ArpKey k1(1, IpAddr4("10.0.0.1"), IntfId("Vlan10"));
  Quill::Arp::ArpKey k2(2, IpAddr4("10.0.0.1"), IntfId("Vlan10"));  // same address, other VRF
  t->arpEntryIs(k1, Quill::Arp::ArpEntry(Nollo::EthAddr("00:00:00:00:00:01"), Quill::Arp::ArpState::reachable));
  t->arpEntryIs(k2, Quill::Arp::ArpEntry(Nollo::EthAddr("00:00:00:00:00:02"), Quill::Arp::ArpState::stale));
  EXPECT_EQ(t->arpEntrySize(), 2u);
  t->arpEntryDel(k1);
  EXPECT_EQ(w.log, (std::vector<std::string>{"vrf 1 10.0.0.1 Vlan10 00:00:00:00:00:01 reachable",
                                             "vrf 2 10.0.0.1 Vlan10 00:00:00:00:00:02 stale",
                                             "vrf 1 10.0.0.1 Vlan10 00:00:00:00:00:00 incomplete"}));
  EXPECT_TRUE(t->arpEntry(k2).resolved());
  EXPECT_FALSE(t->arpEntry(k1).resolved());
  EXPECT_LT(k1, k2);
  auto n = Vix::makePtr<Quill::Arp::NeighTable>("neigh");
  n->arpEntryIs(Quill::Arp::NeighKey(1, IpAddr6("fe80::1"), IntfId("Ethernet1")),
                Quill::Arp::ArpEntry(Nollo::EthAddr("00:00:00:00:00:03"), Quill::Arp::ArpState::permanent));
  EXPECT_EQ(n->arpEntrySize(), 1u);
}

TEST(VrfIdMapTest, MapsIdsToNames) {
  auto m = Vix::makePtr<Quill::Arp::VrfIdMap>("vrfIds");
  struct W : Quill::Arp::VrfIdMap::Notifiee {
    using Notifiee::Notifiee;
    void handleVrfName(uint32_t const& id) override { ids.push_back(id); }
    std::vector<uint32_t> ids;
  } w(m);
  m->vrfNameIs(1, "red");
  m->vrfNameIs(0, "default");
  EXPECT_EQ(m->vrfId("red"), 1u);
  EXPECT_EQ(m->vrfId("blue"), ~0u);
  m->vrfNameDel(1);
  EXPECT_EQ(w.ids, (std::vector<uint32_t>{1, 0, 1}));
  EXPECT_EQ(m->vrfNameMap().begin()->second, "default");
}

}  // namespace
