// The kernel source: links, addresses and neighbours reach the agent as
// interfaces, VRFs and ARP/neighbour entries, only changes are applied, the
// dump order and its redo after interruptions and lost events, bad objects
// are skipped; and the same against the real kernel in a namespace of its own.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/fpm/FpmRouteSource.h"
#include "agent/fib/FibModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/KernelIntfMap.h"
#include "agent/KernelNetlinkSource.h"
#include "feeds/NetlinkEncoder.h"
#include "vix/Time.h"

namespace {

using KorAgent::Agent;
using KorAgent::KernelIntfMap;
using KorAgent::KernelNetlinkSource;
using KorFeeds::NlAddr;
using KorFeeds::NlLink;
using KorFeeds::NlNeigh;

NlLink link(uint32_t ifindex, std::string name, std::string kind = "", uint32_t master = 0) {
  NlLink l;
  l.ifindex = ifindex;
  l.name = std::move(name);
  l.kind = std::move(kind);
  l.master = master;
  l.up = true;
  return l;
}

NlAddr addr(uint32_t ifindex, char const* ip, uint8_t len, bool add = true) {
  NlAddr a;
  a.add = add;
  a.ifindex = ifindex;
  a.addr = Nollo::IpGenAddr(ip);
  a.prefixLen = len;
  return a;
}

NlNeigh neigh(uint32_t ifindex, char const* ip, char const* mac, uint16_t state, bool add = true) {
  NlNeigh n;
  n.add = add;
  n.ifindex = ifindex;
  n.addr = Nollo::IpGenAddr(ip);
  if (mac) n.mac = Nollo::EthAddr(mac);
  n.state = state;
  return n;
}

// The lines of one group ("interfaces:", "arp:") of `show inputs`.
std::string group(std::string const& inputs, std::string const& name) {
  auto b = inputs.find("  " + name + ":");
  if (b == std::string::npos) return "?";
  b = inputs.find('\n', b) + 1;
  auto e = inputs.find("\n  ", b - 1);
  while (e != std::string::npos && inputs.compare(e + 1, 4, "    ") == 0) e = inputs.find("\n  ", e + 1);
  return inputs.substr(b, e == std::string::npos ? std::string::npos : e + 1 - b);
}

class KernelNetlinkSourceTest : public ::testing::Test {
 protected:
  KernelNetlinkSourceTest() : agent_(Vix::makePtr<Vix::ManualTimeSource>(0.0)), source_(&agent_, &map_) {}

  // A VRF with a routed port, a port without address, a bridge with a VLAN
  // interface and a bridge port with an address, the loopback.
  void feedNetwork() {
    NlLink red = link(10, "red", "vrf");
    red.vrfTable = 1001;
    NlLink vl = link(5, "br0.10", "vlan");
    vl.parent = 4;
    vl.vlanId = 10;
    for (auto const& l : {link(1, "lo"), link(2, "ve0", "veth", 10), link(3, "ve1", "veth"),
                          link(4, "br0", "bridge"), vl, link(6, "ve2", "veth", 4), red})
      source_.handleLink(l);
    for (auto const& a : {addr(1, "127.0.0.1", 8), addr(2, "10.1.0.1", 24), addr(2, "fe80::1", 64),
                          addr(3, "fe80::3", 64), addr(6, "10.3.0.1", 24)})
      source_.handleAddr(a);
    for (auto const& n : {neigh(2, "10.1.0.2", "00:1c:73:00:00:02", NUD_REACHABLE),
                          neigh(5, "2001:db8::2", "00:1c:73:00:00:06", NUD_STALE),
                          neigh(2, "10.1.0.9", nullptr, NUD_INCOMPLETE),
                          neigh(2, "224.0.0.5", "01:00:5e:00:00:05", NUD_NOARP)})
      source_.handleNeigh(n);
  }
  std::string inputs() const { return agent_.show("inputs", false); }

  Agent agent_;
  KernelIntfMap map_;
  KernelNetlinkSource source_;
};

TEST_F(KernelNetlinkSourceTest, AppliesLinksAddressesAndNeighbours) {
  feedNetwork();
  std::string in = inputs();
  EXPECT_EQ(group(in, "vrfs"), "    default\n    red\n");
  EXPECT_EQ(group(in, "interfaces"),
            "    Ethernet2 vrf red vlan 1006 routed\n"
            "    Ethernet3\n"
            "    Ethernet4\n"
            "    Ethernet6\n"
            "    Vlan10 vlan 10\n");
  EXPECT_EQ(group(in, "arp"),
            "    default 2001:db8::2 Vlan10 00:1c:73:00:00:06\n"
            "    red 10.1.0.2 Ethernet2 00:1c:73:00:00:02\n");
  EXPECT_EQ(source_.neighCount(), 2u);
  EXPECT_EQ(source_.counters().refused, 0u);
  std::string shown = agent_.show("kernel", false);
  EXPECT_NE(shown.find("2 ve0 (veth): Ethernet2 vrf red vlan 1006 routed up addresses 2"), std::string::npos) << shown;
  EXPECT_NE(shown.find("10 red (vrf): vrf red table 1001"), std::string::npos) << shown;
  // The lookups a route source uses.
  EXPECT_EQ(map_.vrfOfTable(1001), Kor::VrfName("red"));
  EXPECT_EQ(map_.intfOf(5), Nollo::IntfId("Vlan10"));
}

// A table the kernel gives to another VRF device is told to the route
// source, which looks it up again: zebra's next route of that table lands in
// the VRF that owns it now. Links that leave the tables alone tell nothing.
TEST_F(KernelNetlinkSourceTest, TableMovesReachTheRouteSource) {
  KorAgent::FpmRouteSource fpm(&agent_, [&](uint32_t ifindex) { return map_.intfOf(ifindex); },
                               [&](uint32_t table) { return map_.vrfOfTable(table); });
  int told = 0;
  source_.tablesChangedHandlerIs([&] {
    ++told;
    fpm.handleTablesChanged();
  });
  NlLink red = link(10, "red", "vrf"), blue = link(11, "blue", "vrf");
  red.vrfTable = 1001;
  blue.vrfTable = 1002;
  source_.handleLink(red);
  source_.handleLink(blue);
  EXPECT_EQ(told, 2);
  agent_.init();
  auto zebra = [&](char const* prefix, uint32_t table) {
    KorFeeds::NlRoute r;
    r.prefix = Nollo::IpPrefix(prefix);
    r.table = table;
    r.type = 6;  // a blackhole: no next hop to resolve
    fpm.handle(r);
    agent_.runUntilIdle();
  };
  auto fib = [&](char const* vrf, char const* prefix) {
    return agent_.module<KorAgent::FibModule>().fibRoutes4(vrf)->routeHas(Nollo::IpPrefix(prefix));
  };
  fpm.handleConnectionUp();
  zebra("10.1.0.0/16", 1001);
  EXPECT_TRUE(fib("red", "10.1.0.0/16"));
  source_.handleLink(link(3, "ve1", "veth"));
  EXPECT_EQ(told, 2);
  // The kernel swaps the two VRFs' tables.
  red.vrfTable = 1003;
  blue.vrfTable = 1001;
  source_.handleLink(red);
  source_.handleLink(blue);
  EXPECT_EQ(told, 4);
  zebra("10.2.0.0/16", 1001);
  EXPECT_TRUE(fib("blue", "10.2.0.0/16"));
  EXPECT_FALSE(fib("red", "10.2.0.0/16"));
}

TEST_F(KernelNetlinkSourceTest, OnlyChangesReachTheAgent) {
  feedNetwork();
  std::string before = inputs();
  uint64_t calls = source_.counters().agentCalls;
  // The kernel repeats links, addresses and neighbours (a neighbour ageing
  // from reachable to stale keeps its MAC).
  feedNetwork();
  source_.handleNeigh(neigh(2, "10.1.0.2", "00:1c:73:00:00:02", NUD_STALE));
  EXPECT_EQ(source_.counters().agentCalls, calls);
  EXPECT_EQ(inputs(), before);

  NlLink down = link(2, "ve0", "veth", 10);
  down.up = false;
  source_.handleLink(down);
  source_.handleLink(down);
  EXPECT_EQ(source_.counters().agentCalls, calls + 1);
  EXPECT_NE(group(inputs(), "interfaces").find("Ethernet2 vrf red vlan 1006 routed down"), std::string::npos);
  source_.handleNeigh(neigh(2, "10.1.0.2", "00:1c:73:00:00:99", NUD_REACHABLE));
  EXPECT_EQ(source_.counters().agentCalls, calls + 2);
  EXPECT_NE(group(inputs(), "arp").find("red 10.1.0.2 Ethernet2 00:1c:73:00:00:99"), std::string::npos);
}

TEST_F(KernelNetlinkSourceTest, NeighboursFailingOrDeletedLeave) {
  feedNetwork();
  source_.handleNeigh(neigh(2, "10.1.0.2", "00:1c:73:00:00:02", NUD_FAILED));
  EXPECT_EQ(group(inputs(), "arp"), "    default 2001:db8::2 Vlan10 00:1c:73:00:00:06\n");
  source_.handleNeigh(neigh(5, "2001:db8::2", nullptr, 0, false));
  EXPECT_EQ(group(inputs(), "arp"), "");
  EXPECT_EQ(source_.neighCount(), 0u);
  // The same address on two interfaces of a VRF: one leaving keeps the other.
  source_.handleNeigh(neigh(3, "10.5.0.1", "00:1c:73:00:00:03", NUD_REACHABLE));
  source_.handleNeigh(neigh(4, "10.5.0.1", "00:1c:73:00:00:04", NUD_REACHABLE));
  source_.handleNeigh(neigh(3, "10.5.0.1", nullptr, NUD_FAILED));
  EXPECT_EQ(group(inputs(), "arp"), "    default 10.5.0.1 Ethernet4 00:1c:73:00:00:04\n");
  EXPECT_EQ(source_.neighsInAgent(), 1u);
}

TEST_F(KernelNetlinkSourceTest, InterfacesFollowTheirMasterAddressAndLink) {
  feedNetwork();
  // Out of the VRF: the interface and its neighbour move to default.
  source_.handleLink(link(2, "ve0", "veth"));
  std::string in = inputs();
  EXPECT_NE(group(in, "interfaces").find("    Ethernet2 vlan 1006 routed\n"), std::string::npos) << in;
  EXPECT_NE(group(in, "arp").find("default 10.1.0.2 Ethernet2"), std::string::npos) << in;
  // Its last routable address goes: no longer routed, the VLAN is free again.
  source_.handleAddr(addr(2, "10.1.0.1", 24, false));
  EXPECT_NE(group(inputs(), "interfaces").find("    Ethernet2\n"), std::string::npos);
  source_.handleAddr(addr(3, "10.2.0.1", 24));
  EXPECT_NE(group(inputs(), "interfaces").find("    Ethernet3 vlan 1006 routed\n"), std::string::npos);
  // A VLAN interface on an internal VLAN's id moves the routed port off it.
  NlLink vl = link(7, "br0.1006", "vlan");
  vl.parent = 4;
  vl.vlanId = 1006;
  source_.handleLink(vl);
  in = group(inputs(), "interfaces");
  EXPECT_NE(in.find("    Ethernet3 vlan 1007 routed\n"), std::string::npos) << in;
  EXPECT_NE(in.find("    Vlan1006 vlan 1006\n"), std::string::npos) << in;
  // The VRF device goes: so does the VRF.
  NlLink red = link(10, "red", "vrf");
  red.add = false;
  source_.handleLink(red);
  EXPECT_EQ(group(inputs(), "vrfs"), "    default\n");
  // A link goes with its neighbours.
  source_.handleLink([] {
    NlLink l = link(2, "ve0");
    l.add = false;
    return l;
  }());
  in = inputs();
  EXPECT_EQ(group(in, "interfaces").find("Ethernet2"), std::string::npos) << in;
  EXPECT_EQ(group(in, "arp"), "    default 2001:db8::2 Vlan10 00:1c:73:00:00:06\n");
  EXPECT_EQ(source_.counters().refused, 0u) << source_.errors().back();
}

TEST_F(KernelNetlinkSourceTest, BadObjectsAreCountedAndSkipped) {
  feedNetwork();
  std::string before = inputs();
  NlLink bad = link(8, "ve0.4095", "vlan");
  bad.parent = 2;
  bad.vlanId = 4095;
  source_.handleLink(bad);
  EXPECT_EQ(source_.counters().refused, 1u);
  EXPECT_NE(source_.errors().back().find("'ve0.4095' (ifindex 8): VLAN id 4095"), std::string::npos);
  EXPECT_EQ(inputs(), before);
  EXPECT_EQ(map_.link(8), nullptr);

  // The agent refuses an interface it already has: counted, the others go on.
  agent_.module<KorAgent::IntfModule>().intfAdd(Nollo::IntfId("Ethernet7"), std::nullopt, std::nullopt);
  source_.handleLink(link(9, "Ethernet7"));
  source_.handleLink(link(11, "ve11"));
  EXPECT_EQ(source_.counters().refused, 2u);
  EXPECT_NE(source_.errors().back().find("'Ethernet7' (ifindex 9): interface Ethernet7 already added"),
            std::string::npos)
      << source_.errors().back();
  EXPECT_NE(group(inputs(), "interfaces").find("Ethernet11"), std::string::npos);
  // ... and applies it once the agent lets it (the next change of the link).
  agent_.module<KorAgent::IntfModule>().intfDel(Nollo::IntfId("Ethernet7"));
  NlLink again = link(9, "Ethernet7");
  again.up = false;
  source_.handleLink(again);
  EXPECT_NE(group(inputs(), "interfaces").find("Ethernet7 down"), std::string::npos);

  // A malformed message in a datagram is skipped whole; the next one applies.
  KorFeeds::NetlinkEncoder enc;
  std::vector<uint8_t> buf;
  enc.encode(link(12, "ve12"), &buf);
  buf[sizeof(nlmsghdr) + sizeof(ifinfomsg)] = 3;  // first attribute's length below its header
  enc.encode(link(13, "ve13"), &buf);
  source_.handleDatagram(buf);
  EXPECT_EQ(source_.counters().decodeErrors, 1u);
  EXPECT_EQ(map_.link(12), nullptr);
  EXPECT_NE(group(inputs(), "interfaces").find("Ethernet13"), std::string::npos);
}

// Stands in for the kernel: answers the source's dump requests from its
// tables, with the dump's sequence number.
class FakeKernel {
 public:
  struct Request {
    uint16_t type;
    uint32_t seq;
  };
  std::vector<Request> requests;
  std::vector<NlLink> links;
  std::vector<NlAddr> addrs;
  std::vector<NlNeigh> neighs;

  KernelNetlinkSource::RequestSink sink() {
    return [this](std::span<uint8_t const> req) {
      nlmsghdr h;
      std::memcpy(&h, req.data(), sizeof h);
      EXPECT_EQ(h.nlmsg_len, req.size());
      EXPECT_EQ(h.nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
      requests.push_back({h.nlmsg_type, h.nlmsg_seq});
      return true;
    };
  }
  uint16_t lastType() const { return requests.empty() ? 0 : requests.back().type; }
  // The answer to the last request, flagged interrupted when asked.
  std::vector<uint8_t> answer(uint16_t flags = 0) {
    std::vector<uint8_t> buf;
    uint16_t t = lastType();
    if (t == RTM_GETLINK)
      for (auto const& l : links) enc_.encode(l, &buf);
    if (t == RTM_GETADDR)
      for (auto const& a : addrs) enc_.encode(a, &buf);
    if (t == RTM_GETNEIGH)
      for (auto const& n : neighs) enc_.encode(n, &buf);
    nlmsghdr done{NLMSG_LENGTH(sizeof(int)), NLMSG_DONE, 0, 0, 0};
    int zero = 0;
    buf.insert(buf.end(), reinterpret_cast<uint8_t*>(&done), reinterpret_cast<uint8_t*>(&done + 1));
    buf.insert(buf.end(), reinterpret_cast<uint8_t*>(&zero), reinterpret_cast<uint8_t*>(&zero + 1));
    for (size_t off = 0; off < buf.size();) {
      nlmsghdr h;
      std::memcpy(&h, buf.data() + off, sizeof h);
      h.nlmsg_seq = requests.back().seq;
      h.nlmsg_flags |= NLM_F_MULTI | flags;
      std::memcpy(buf.data() + off, &h, sizeof h);
      off += NLMSG_ALIGN(h.nlmsg_len);
    }
    return buf;
  }
  std::vector<uint8_t> refusal(int error) {
    nlmsghdr h{NLMSG_LENGTH(sizeof(nlmsgerr)), NLMSG_ERROR, 0, requests.back().seq, 0};
    nlmsgerr e{};
    e.error = -error;
    std::vector<uint8_t> buf(reinterpret_cast<uint8_t*>(&h), reinterpret_cast<uint8_t*>(&h + 1));
    buf.insert(buf.end(), reinterpret_cast<uint8_t*>(&e), reinterpret_cast<uint8_t*>(&e + 1));
    return buf;
  }

 private:
  KorFeeds::NetlinkEncoder enc_;
};

TEST_F(KernelNetlinkSourceTest, DumpsInOrderRedoneWhenInterruptedOrEventsLost) {
  FakeKernel k;
  source_.requestSinkIs(k.sink());
  k.links = {link(2, "ve0"), link(3, "ve1")};
  k.addrs = {addr(2, "10.1.0.1", 24)};
  k.neighs = {neigh(2, "10.1.0.2", "00:1c:73:00:00:02", NUD_REACHABLE),
              neigh(3, "10.2.0.2", "00:1c:73:00:00:03", NUD_PERMANENT)};
  source_.doSync();
  EXPECT_EQ(k.lastType(), RTM_GETLINK);
  source_.handleDatagram(k.answer(NLM_F_DUMP_INTR));
  EXPECT_EQ(k.lastType(), RTM_GETLINK);
  EXPECT_EQ(source_.counters().dumpsInterrupted, 1u);
  source_.handleDatagram(k.answer());
  EXPECT_EQ(k.lastType(), RTM_GETADDR);
  // The kernel refuses a dump: asked again after a while.
  source_.handleDatagram(k.refusal(EBUSY));
  EXPECT_EQ(k.requests.size(), 3u);
  agent_.runFor(KernelNetlinkSource::kDumpRetry);
  EXPECT_EQ(k.requests.size(), 4u);
  EXPECT_EQ(k.lastType(), RTM_GETADDR);
  // An event between dumps is taken in; the agent hears of nothing yet.
  source_.handleNeigh(neigh(3, "10.2.0.3", "00:1c:73:00:00:04", NUD_REACHABLE));
  source_.handleDatagram(k.answer());
  EXPECT_EQ(k.lastType(), RTM_GETNEIGH);
  EXPECT_EQ(source_.counters().agentCalls, 0u);
  EXPECT_FALSE(source_.synced());
  source_.handleDatagram(k.answer());
  EXPECT_TRUE(source_.synced());
  EXPECT_EQ(k.requests.size(), 5u);
  std::string in = inputs();
  EXPECT_EQ(group(in, "interfaces"), "    Ethernet2 vlan 1006 routed\n    Ethernet3\n");
  // The neighbour of the event was not in the neighbour dump: gone.
  EXPECT_EQ(group(in, "arp"),
            "    default 10.1.0.2 Ethernet2 00:1c:73:00:00:02\n    default 10.2.0.2 Ethernet3 00:1c:73:00:00:03\n");

  // Events lost: after the dumps, what the kernel no longer has leaves.
  k.links = {link(2, "ve0")};
  k.neighs = {neigh(2, "10.1.0.2", "00:1c:73:00:00:02", NUD_REACHABLE)};
  source_.handleOverrun();
  EXPECT_EQ(k.lastType(), RTM_GETLINK);
  // Lost again during the dump: the dumps start over once it ends.
  source_.handleOverrun();
  source_.handleDatagram(k.answer());
  EXPECT_EQ(k.lastType(), RTM_GETLINK);
  for (uint16_t t : {RTM_GETLINK, RTM_GETADDR, RTM_GETNEIGH}) {
    EXPECT_EQ(k.lastType(), t);
    source_.handleDatagram(k.answer());
  }
  EXPECT_TRUE(source_.synced());
  EXPECT_EQ(source_.counters().syncs, 2u);
  in = inputs();
  EXPECT_EQ(group(in, "interfaces"), "    Ethernet2 vlan 1006 routed\n");
  EXPECT_EQ(group(in, "arp"), "    default 10.1.0.2 Ethernet2 00:1c:73:00:00:02\n");
}

// Runs a shell command quietly; false when it fails.
bool sh(std::string const& cmd) { return std::system((cmd + " >/dev/null 2>&1").c_str()) == 0; }

// The test thread in a network namespace of its own, back in the old one at
// the end.
class OwnNetns {
 public:
  OwnNetns() {
    old_ = ::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    if (old_ < 0) {
      why_ = std::string("/proc/self/ns/net: ") + std::strerror(errno);
    } else if (::unshare(CLONE_NEWNET) < 0) {
      why_ = std::string("unshare(CLONE_NEWNET): ") + std::strerror(errno);
      ::close(old_);
      old_ = -1;
    }
  }
  ~OwnNetns() {
    if (old_ < 0) return;
    EXPECT_EQ(::setns(old_, CLONE_NEWNET), 0);
    ::close(old_);
  }
  bool entered() const { return old_ >= 0; }
  std::string const& why() const { return why_; }

 private:
  int old_ = -1;
  std::string why_;
};

TEST(KernelNetlinkSourceKernelTest, FollowsTheRealKernel) {
  if (!sh("ip -V")) GTEST_SKIP() << "the ip command is not installed";
  OwnNetns ns;
  if (!ns.entered()) GTEST_SKIP() << "no network namespace: " << ns.why();
  if (!sh("ip link add ve0 type veth peer name ve1")) GTEST_SKIP() << "no veth links in this kernel";
  ASSERT_TRUE(sh("ip link set ve0 up && ip link set ve1 up"));
  ASSERT_TRUE(sh("ip addr add 10.77.0.1/24 dev ve0 && ip addr add 2001:db8:77::1/64 dev ve0"));
  ASSERT_TRUE(sh("ip neigh add 10.77.0.2 lladdr 02:00:00:00:77:02 dev ve0 nud permanent"));
  ASSERT_TRUE(sh("ip -6 neigh add 2001:db8:77::2 lladdr 02:00:00:00:77:06 dev ve0 nud reachable"));
  std::string ve0 = "Ethernet" + std::to_string(::if_nametoindex("ve0"));
  std::string ve1 = "Ethernet" + std::to_string(::if_nametoindex("ve1"));

  Agent agent(Vix::makePtr<Vix::MonotonicTimeSource>());
  KernelIntfMap map;
  KernelNetlinkSource source(&agent, &map);
  ASSERT_TRUE(source.open()) << source.errorText();
  auto runUntil = [&](auto done) {
    for (int i = 0; i < 100 && !done(); ++i) agent.runFor(0.05);
    return done();
  };
  ASSERT_TRUE(runUntil([&] { return source.synced(); }));
  std::string in = agent.show("inputs", false);
  EXPECT_NE(group(in, "interfaces").find("    " + ve0 + " vlan 1006 routed\n"), std::string::npos) << in;
  EXPECT_NE(group(in, "interfaces").find("    " + ve1 + "\n"), std::string::npos) << in;
  EXPECT_NE(group(in, "arp").find("default 10.77.0.2 " + ve0 + " 02:00:00:00:77:02"), std::string::npos) << in;
  EXPECT_NE(group(in, "arp").find("default 2001:db8:77::2 " + ve0 + " 02:00:00:00:77:06"), std::string::npos) << in;

  // Events: a neighbour goes, the peer's link goes down.
  ASSERT_TRUE(sh("ip neigh del 10.77.0.2 dev ve0"));
  ASSERT_TRUE(sh("ip link set ve1 down"));
  EXPECT_TRUE(runUntil([&] {
    std::string now = agent.show("inputs", false);
    return group(now, "arp").find("10.77.0.2") == std::string::npos &&
           group(now, "interfaces").find(ve0 + " vlan 1006 routed down") != std::string::npos;
  })) << agent.show("inputs", false);

  // A receive buffer too small for a burst of events: the kernel drops some,
  // the source dumps again and ends with every neighbour.
  source.receiveBufferIs(4096);
  std::string batch;
  for (int i = 1; i <= 400; ++i)
    batch += "neigh add 10.77." + std::to_string(1 + i / 200) + "." + std::to_string(i % 200 + 10) +
             " lladdr 02:00:00:00:" + std::to_string(10 + i / 100) + ":" + std::to_string(10 + i % 90) +
             " dev ve0 nud permanent\n";
  ASSERT_TRUE(sh("printf '" + batch + "' | ip -batch -"));
  source.receiveBufferIs(KernelNetlinkSource::kReceiveBuffer);
  EXPECT_TRUE(runUntil([&] { return source.synced() && source.neighsInAgent() == 400; }))
      << source.neighsInAgent() << "\n" << agent.show("kernel", false);
  EXPECT_GT(source.counters().overruns, 0u);
  EXPECT_EQ(source.counters().refused, 0u) << agent.show("kernel", false);
}

}  // namespace
