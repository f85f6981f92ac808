// What zebra and the kernel send decodes to the records they meant: every
// record kind of both families encodes and decodes back to itself, several
// messages in one buffer come out in order, the kernel's own spellings (no
// RTA_DST for a default route, next hops repeated beside RTA_NH_ID) read
// as the same record, and a stream of next-hop-object routes decodes
// without touching the heap.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "feeds/NetlinkDecoder.h"
#include "feeds/NetlinkEncoder.h"

namespace {

std::atomic<bool> countingAllocs{false};
std::atomic<uint64_t> allocs{0};

}  // namespace

// Counts the binary's heap allocations while asked to (replaces the global
// allocation functions; malloc underneath, so sanitizers still see them).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(size_t n) {
  if (countingAllocs) ++allocs;
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace {

using namespace KorFeeds;
using Nollo::IpGenAddr;

NlRoute route4(char const* prefix) {
  NlRoute r;
  r.prefix = Nollo::IpPrefix(prefix);
  r.protocol = 186;  // bgp
  r.priority = 20;
  return r;
}

NlRoute route6(char const* prefix) {
  NlRoute r;
  r.prefix = Nollo::Ip6Prefix(prefix);
  r.protocol = 196;  // static
  r.priority = 1024;
  return r;
}

NlNexthop hop(char const* gw, uint32_t oif, uint32_t weight = 1) {
  NlNexthop h;
  if (gw) h.gateway = IpGenAddr(gw);
  h.oif = oif;
  h.weight = weight;
  return h;
}

template <class T>
T roundTrip(T const& in) {
  NetlinkEncoder enc;
  std::vector<uint8_t> bytes;
  enc.encode(in, &bytes);
  EXPECT_EQ(bytes.size() % 4, 0u);
  NetlinkDecoder dec;
  NetlinkDecoder::Message out;
  EXPECT_TRUE(dec.decode(bytes, &out)) << dec.error();
  EXPECT_EQ(dec.counters().unknownAttr, 0u);
  T const* t = std::get_if<T>(&out);
  return t ? *t : T();
}

TEST(NetlinkRoundTripTest, RoutesOfBothFamilies) {
  std::vector<NlRoute> routes;
  for (bool v4 : {true, false}) {
    auto mk = [&](char const* p4, char const* p6) { return v4 ? route4(p4) : route6(p6); };
    char const* g1 = v4 ? "10.0.0.1" : "fe80::1";
    char const* g2 = v4 ? "10.0.0.2" : "2001:db8::2";
    NlRoute r = mk("10.1.0.0/16", "2001:db8:1::/48");
    r.nhId = 77;
    routes.push_back(r);
    r = mk("10.2.0.0/24", "2001:db8:2::/64");
    r.nexthops = {hop(g1, 3)};
    routes.push_back(r);
    r = mk("10.3.0.0/24", "2001:db8:3::/64");
    r.nexthops = {hop(nullptr, 4)};  // connected
    routes.push_back(r);
    r = mk("10.4.0.0/24", "2001:db8:4::/64");
    r.nexthops = {hop(g1, 3, 1), hop(g2, 5, 4), hop(g2, 6, 256)};
    routes.push_back(r);
    r = mk("10.5.0.0/24", "2001:db8:5::/64");
    r.nexthops = {hop(g1, 3, 7)};  // one weighted hop travels as RTA_MULTIPATH
    routes.push_back(r);
    r = mk("0.0.0.0/0", "::/0");
    r.type = 6;
    r.table = 1001;  // beyond rtm_table's byte
    routes.push_back(r);
    r = mk("10.6.0.1/32", "2001:db8::6/128");
    r.add = false;
    routes.push_back(r);
  }
  // An IPv4 route over IPv6 next hops (RTA_VIA), alone and in a group.
  NlRoute r = route4("192.0.2.0/24");
  r.nexthops = {hop("fe80::9", 7)};
  routes.push_back(r);
  r.nexthops = {hop("fe80::9", 7), hop("10.0.0.9", 8)};
  routes.push_back(r);
  for (NlRoute const& in : routes) EXPECT_EQ(roundTrip(in), in) << std::visit([](auto const& p) { return p.str(); }, in.prefix);
}

TEST(NetlinkRoundTripTest, NexthopObjectsLinksAddressesNeighbours) {
  NlNexthopObject group;
  group.id = 10;
  group.group = {{1, 1}, {2, 3}, {3, 256}};
  NlNexthopObject single4;
  single4.id = 1;
  single4.family = 2;
  single4.nexthop = hop("10.0.0.1", 3);
  NlNexthopObject single6 = single4;
  single6.family = 10;
  single6.nexthop = hop("fe80::1", 3);
  NlNexthopObject black;
  black.id = 4;
  black.blackhole = true;
  NlNexthopObject gone;
  gone.add = false;
  gone.id = 10;
  for (auto const& o : {group, single4, single6, black, gone}) EXPECT_EQ(roundTrip(o), o) << o.id;

  NlLink vlan{true, 12, "vlan10", true, 0, 3, "vlan", 10, 0, Nollo::EthAddr("00:11:22:33:44:55")};
  NlLink vrf{true, 13, "red", true, 0, 0, "vrf", 0, 1001, std::nullopt};
  NlLink port{true, 3, "eth0", false, 13, 0, "", 0, 0, Nollo::EthAddr("00:11:22:33:44:66")};
  NlLink gone4{false, 3, "eth0", false, 0, 0, "veth", 0, 0, std::nullopt};
  for (auto const& l : {vlan, vrf, port, gone4}) EXPECT_EQ(roundTrip(l), l) << l.name;

  for (auto const& a : {NlAddr{true, 3, IpGenAddr("10.0.0.1"), 24}, NlAddr{false, 3, IpGenAddr("2001:db8::1"), 64}})
    EXPECT_EQ(roundTrip(a), a) << a.addr;
  for (auto const& n : {NlNeigh{true, 3, IpGenAddr("10.0.0.2"), Nollo::EthAddr("00:11:22:33:44:77"), 0x02},
                        NlNeigh{true, 3, IpGenAddr("fe80::2"), std::nullopt, 0x01},
                        NlNeigh{false, 3, IpGenAddr("2001:db8::2"), std::nullopt, 0}})
    EXPECT_EQ(roundTrip(n), n) << n.addr;
}

std::vector<uint16_t> attrTypes(std::vector<uint8_t> const& msg) {
  std::vector<uint16_t> types;
  for (size_t off = NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(rtmsg)); off < msg.size();) {
    nlattr a;
    std::memcpy(&a, msg.data() + off, sizeof a);
    types.push_back(a.nla_type);
    off += NLA_ALIGN(a.nla_len);
  }
  return types;
}

TEST(NetlinkRoundTripTest, NewRoutesAreWrittenAsZebraDoes) {
  NetlinkEncoder enc;
  std::vector<uint8_t> bytes;
  NlRoute r = route4("10.1.0.0/16");
  r.nhId = 5;
  enc.encode(r, &bytes);
  nlmsghdr h;
  std::memcpy(&h, bytes.data(), sizeof h);
  EXPECT_EQ(h.nlmsg_type, RTM_NEWROUTE);
  EXPECT_EQ(h.nlmsg_flags, NLM_F_REQUEST | NLM_F_CREATE | NLM_F_REPLACE);
  EXPECT_EQ(h.nlmsg_len, bytes.size());
  EXPECT_EQ(bytes[NLMSG_HDRLEN + offsetof(rtmsg, rtm_table)], RT_TABLE_MAIN);
  EXPECT_EQ(attrTypes(bytes), (std::vector<uint16_t>{RTA_DST, RTA_PRIORITY, RTA_NH_ID}));
  // A table beyond rtm_table's byte travels in RTA_TABLE.
  bytes.clear();
  r.table = 1001;
  enc.encode(r, &bytes);
  EXPECT_EQ(bytes[NLMSG_HDRLEN + offsetof(rtmsg, rtm_table)], RT_TABLE_UNSPEC);
  EXPECT_EQ(attrTypes(bytes), (std::vector<uint16_t>{RTA_DST, RTA_PRIORITY, RTA_TABLE, RTA_NH_ID}));
}

// Drops the first attribute of `type` from a message whose attributes start
// at `attrsAt`.
void dropAttr(std::vector<uint8_t>* msg, size_t attrsAt, uint16_t type) {
  for (size_t off = attrsAt; off < msg->size();) {
    nlattr a;
    std::memcpy(&a, msg->data() + off, sizeof a);
    size_t const n = NLA_ALIGN(a.nla_len);
    if (a.nla_type == type) {
      msg->erase(msg->begin() + ptrdiff_t(off), msg->begin() + ptrdiff_t(off + n));
      uint32_t const len = uint32_t(msg->size());
      std::memcpy(msg->data(), &len, sizeof len);
      return;
    }
    off += n;
  }
  FAIL() << "no attribute " << type;
}

TEST(NetlinkRoundTripTest, KernelSpellingsOfTheSameRoute) {
  NetlinkEncoder enc;
  NetlinkDecoder dec;
  NetlinkDecoder::Message out;
  size_t const attrs = NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(rtmsg));
  // The kernel leaves RTA_DST out of a default route.
  for (NlRoute r : {route4("0.0.0.0/0"), route6("::/0")}) {
    r.nexthops = {hop(r.prefix.index() ? "fe80::1" : "10.0.0.1", 2)};
    std::vector<uint8_t> bytes;
    enc.encode(r, &bytes);
    dropAttr(&bytes, attrs, RTA_DST);
    ASSERT_TRUE(dec.decode(bytes, &out)) << dec.error();
    EXPECT_EQ(std::get<NlRoute>(out), r);
  }
  // A route naming a next-hop object keeps no inline next hops, even where
  // the kernel repeats them beside RTA_NH_ID; so does a blackhole.
  NlRoute withHops = route4("10.7.0.0/16");
  withHops.nexthops = {hop("10.0.0.1", 2), hop("10.0.0.2", 3)};
  std::vector<uint8_t> bytes;
  enc.encode(withHops, &bytes);
  uint32_t const nhId = 42;
  nlattr const a{8, RTA_NH_ID};
  bytes.insert(bytes.end(), reinterpret_cast<uint8_t const*>(&a), reinterpret_cast<uint8_t const*>(&a) + 4);
  bytes.insert(bytes.end(), reinterpret_cast<uint8_t const*>(&nhId), reinterpret_cast<uint8_t const*>(&nhId) + 4);
  uint32_t len = uint32_t(bytes.size());
  std::memcpy(bytes.data(), &len, 4);
  ASSERT_TRUE(dec.decode(bytes, &out)) << dec.error();
  EXPECT_EQ(std::get<NlRoute>(out).nhId, 42u);
  EXPECT_TRUE(std::get<NlRoute>(out).nexthops.empty());
  bytes.clear();
  enc.encode(withHops, &bytes);
  bytes[NLMSG_HDRLEN + offsetof(rtmsg, rtm_type)] = RTN_BLACKHOLE;
  ASSERT_TRUE(dec.decode(bytes, &out)) << dec.error();
  EXPECT_TRUE(std::get<NlRoute>(out).blackhole());
  EXPECT_TRUE(std::get<NlRoute>(out).nexthops.empty());
  // Host bits beyond rtm_dst_len are masked off.
  bytes.clear();
  enc.encode(route4("10.8.0.0/16"), &bytes);
  bytes[attrs + NLA_HDRLEN + 3] = 9;  // 10.8.0.9 on the wire
  ASSERT_TRUE(dec.decode(bytes, &out)) << dec.error();
  EXPECT_EQ(std::get<NlRoute>(out).prefix, NlRoute::Prefix(Nollo::IpPrefix("10.8.0.0/16")));
}

TEST(NetlinkRoundTripTest, ManyMessagesInOneBufferComeOutInOrder) {
  NetlinkEncoder enc;
  std::vector<uint8_t> buf;
  NlRoute r = route6("2001:db8::/32");
  r.nexthops = {hop("fe80::1", 2), hop("fe80::2", 3)};
  NlLink l{true, 2, "eth1", true, 0, 0, "", 0, 0, std::nullopt};
  NlNeigh n{true, 2, IpGenAddr("fe80::1"), Nollo::EthAddr("00:11:22:33:44:55"), 0x02};
  enc.encode(l, &buf);
  enc.encode(r, &buf);
  enc.encode(n, &buf);
  std::vector<NetlinkDecoder::Message> got;
  NetlinkDecoder dec;
  EXPECT_TRUE(dec.decodeAll(buf, [&](NetlinkDecoder::Message const& m) { got.push_back(m); }));
  ASSERT_EQ(got.size(), 3u);
  EXPECT_EQ(std::get<NlLink>(got[0]), l);
  EXPECT_EQ(std::get<NlRoute>(got[1]), r);
  EXPECT_EQ(std::get<NlNeigh>(got[2]), n);
  EXPECT_EQ(dec.counters().messages, 3u);
  EXPECT_EQ(dec.counters().decoded, 3u);
}

TEST(NetlinkRoundTripTest, NexthopObjectRoutesDecodeWithoutAllocating) {
  NetlinkEncoder enc;
  std::vector<uint8_t> buf;
  for (uint32_t i = 0; i < 1000; ++i) {
    NlRoute r = i % 2 ? route4("10.0.0.0/8") : route6("2001:db8::/32");
    r.nhId = 1 + i % 7;
    enc.encode(r, &buf);
  }
  NetlinkDecoder dec;
  uint64_t routes = 0;
  dec.decodeAll(buf, [&](NetlinkDecoder::Message const&) {});  // warms the reused record
  countingAllocs = true;
  dec.decodeAll(buf, [&](NetlinkDecoder::Message const& m) { routes += std::get<NlRoute>(m).nhId != 0; });
  countingAllocs = false;
  EXPECT_EQ(routes, 1000u);
  EXPECT_EQ(allocs, 0u);
}

}  // namespace
