// Hostile or broken netlink input: each class of fault skips exactly the
// message at fault, counts it where it belongs, names the message type and
// the byte in error(), and lets the rest of the buffer decode - except a
// wrong message length, after which nothing in the buffer can be trusted.
#include <gtest/gtest.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "feeds/NetlinkDecoder.h"
#include "feeds/NetlinkEncoder.h"

namespace {

using namespace KorFeeds;
using Bytes = std::vector<uint8_t>;
using Counters = NetlinkDecoder::Counters;

Bytes attr(uint16_t type, Bytes const& payload) {
  Bytes a(4);
  uint16_t const len = uint16_t(4 + payload.size());
  std::memcpy(a.data(), &len, 2);
  std::memcpy(a.data() + 2, &type, 2);
  a.insert(a.end(), payload.begin(), payload.end());
  a.resize((a.size() + 3) & ~size_t(3));
  return a;
}

Bytes u32(uint32_t v) { return Bytes{uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

template <class T>
Bytes raw(T const& t) {
  return Bytes(reinterpret_cast<uint8_t const*>(&t), reinterpret_cast<uint8_t const*>(&t) + sizeof t);
}

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes b;
  for (auto const& p : parts) b.insert(b.end(), p.begin(), p.end());
  return b;
}

Bytes msg(uint16_t type, Bytes const& body) {
  nlmsghdr h{uint32_t(NLMSG_HDRLEN + body.size()), type, 0, 1, 0};
  return cat({raw(h), body});
}

Bytes rtm(uint8_t family, uint8_t dstLen) {
  rtmsg r{};
  r.rtm_family = family;
  r.rtm_dst_len = dstLen;
  r.rtm_table = RT_TABLE_MAIN;
  r.rtm_type = RTN_UNICAST;
  return raw(r);
}

Bytes route4(std::initializer_list<Bytes> attrs, uint8_t dstLen = 24) {
  Bytes b = rtm(AF_INET, dstLen);
  for (auto const& a : attrs) b.insert(b.end(), a.begin(), a.end());
  return msg(RTM_NEWROUTE, b);
}

Bytes dst4() { return attr(RTA_DST, {10, 1, 2, 0}); }

Bytes rtnh(uint16_t len, uint8_t hops, int ifindex) { return raw(rtnexthop{len, 0, hops, ifindex}); }

Bytes goodRoute() {
  NetlinkEncoder enc;
  NlRoute r;
  r.prefix = Nollo::IpPrefix("10.9.0.0/16");
  r.nhId = 3;
  Bytes b;
  enc.encode(r, &b);
  return b;
}

struct Case {
  char const* what;
  Bytes bytes;
  uint64_t Counters::*counter;
  char const* error;  // must appear in error()
};

// Messages that are skipped whole while the buffer goes on.
std::vector<Case> skippedCases() {
  nhmsg const nh4{AF_INET, 0, 0, 0, 0};
  ifinfomsg link{};
  link.ifi_index = 4;
  ndmsg nd{};
  nd.ndm_family = AF_INET;
  nd.ndm_ifindex = 4;
  return {
      {"attribute of the wrong size", route4({dst4(), attr(RTA_GATEWAY, {10, 0, 0})}), &Counters::badAttrSize,
       "RTM_NEWROUTE at byte 36: RTA_GATEWAY of 3 bytes"},
      {"IPv6 destination in an IPv4 route", route4({attr(RTA_DST, Bytes(16, 0x20))}), &Counters::badAttrSize,
       "RTA_DST of 16 bytes"},
      {"u32 of two bytes", route4({dst4(), attr(RTA_OIF, {1, 0})}), &Counters::badAttrSize, "RTA_OIF of 2 bytes"},
      {"attribute shorter than its header", route4({dst4(), Bytes{2, 0, RTA_OIF, 0}}), &Counters::badAttrSize,
       "at byte 36: attribute 4 of length 2"},
      {"attribute running past its message", route4({dst4(), Bytes{12, 0, RTA_OIF, 0, 1, 0, 0, 0}}),
       &Counters::badAttrSize, "attribute 4 of length 12 runs past the message"},
      {"prefix length above the family's bits", route4({attr(RTA_DST, {10, 0, 0, 0})}, 33), &Counters::badValue,
       "prefix length 33 above 32"},
      {"prefix length without a destination", route4({}, 8), &Counters::badValue, "without RTA_DST"},
      {"multipath entry running past its attribute",
       route4({dst4(), attr(RTA_MULTIPATH, cat({rtnh(16, 0, 2), attr(RTA_GATEWAY, {10, 0, 0, 1}),
                                               rtnh(24, 0, 3), attr(RTA_GATEWAY, {10, 0, 0, 2})}))}),
       &Counters::badAttrSize, "RTA_MULTIPATH entry of length 24 runs past its attribute (16 bytes left)"},
      {"multipath entry shorter than its header", route4({dst4(), attr(RTA_MULTIPATH, rtnh(4, 0, 2))}),
       &Counters::badAttrSize, "RTA_MULTIPATH entry of 4 bytes"},
      {"multipath gateway of the wrong size",
       route4({dst4(), attr(RTA_MULTIPATH, cat({rtnh(20, 0, 2), attr(RTA_GATEWAY, {10, 0, 0, 1, 0, 0, 0, 0})}))}),
       &Counters::badAttrSize, "RTA_GATEWAY of 8 bytes"},
      {"nested attribute running past its multipath entry",
       route4({dst4(), attr(RTA_MULTIPATH, cat({rtnh(12, 0, 2), attr(RTA_GATEWAY, {10, 0, 0, 1})}))}),
       &Counters::badAttrSize, "runs past the RTA_MULTIPATH entry"},
      {"RTA_VIA of an unknown family", route4({dst4(), attr(RTA_VIA, {17, 0, 1, 2, 3, 4})}), &Counters::badValue,
       "RTA_VIA of family 17"},
      {"route body shorter than rtmsg", msg(RTM_NEWROUTE, Bytes(8, 0)), &Counters::badLength,
       "no room for its rtmsg"},
      {"next-hop group of a partial member",
       msg(RTM_NEWNEXTHOP, cat({raw(nh4), attr(NHA_ID, u32(5)), attr(NHA_GROUP, Bytes(9, 1))})),
       &Counters::badAttrSize, "NHA_GROUP of 9 bytes"},
      {"next-hop object without an id", msg(RTM_NEWNEXTHOP, cat({raw(nh4), attr(NHA_OIF, u32(2))})),
       &Counters::badValue, "no NHA_ID"},
      {"next-hop group with a gateway of its own",
       msg(RTM_NEWNEXTHOP, cat({raw(nh4), attr(NHA_ID, u32(5)), attr(NHA_GROUP, cat({u32(1), u32(0)})),
                                attr(NHA_GATEWAY, {10, 0, 0, 1})})),
       &Counters::badValue, "NHA_GROUP together"},
      {"interface name without room for its end",
       msg(RTM_NEWLINK, cat({raw(link), attr(IFLA_IFNAME, Bytes(16, 'e'))})), &Counters::badAttrSize,
       "IFLA_IFNAME of 16 bytes"},
      {"VLAN id of four bytes",
       msg(RTM_NEWLINK, cat({raw(link), attr(IFLA_LINKINFO, cat({attr(IFLA_INFO_KIND, {'v', 'l', 'a', 'n', 0}),
                                                                 attr(IFLA_INFO_DATA, attr(IFLA_VLAN_ID, u32(10)))}))})),
       &Counters::badAttrSize, "IFLA_VLAN_ID of 4 bytes"},
      {"neighbour without an address", msg(RTM_NEWNEIGH, cat({raw(nd), attr(NDA_LLADDR, Bytes(6, 1))})),
       &Counters::badValue, "RTM_NEWNEIGH at byte 0: no NDA_DST"},
  };
}

TEST(NetlinkBadInputTest, BadMessagesAreSkippedWholeAndTheBufferGoesOn) {
  Bytes const good = goodRoute();
  for (Case const& c : skippedCases()) {
    SCOPED_TRACE(c.what);
    NetlinkDecoder dec;
    std::vector<NlRoute> routes;
    int others = 0;
    Bytes const buf = cat({c.bytes, good});
    EXPECT_TRUE(dec.decodeAll(buf, [&](NetlinkDecoder::Message const& m) {
      if (auto r = std::get_if<NlRoute>(&m)) routes.push_back(*r);
      else ++others;
    }));
    ASSERT_EQ(routes.size(), 1u);  // the good route only: never a partial record
    EXPECT_EQ(routes[0].nhId, 3u);
    EXPECT_EQ(others, 0);
    EXPECT_EQ(dec.counters().*c.counter, 1u);
    EXPECT_EQ(dec.counters().messages, 2u);
    EXPECT_EQ(dec.counters().decoded, 1u);
    EXPECT_NE(dec.error().find(c.error), std::string::npos) << dec.error();
  }
}

TEST(NetlinkBadInputTest, WrongMessageLengthSkipsTheRestOfTheBuffer) {
  Bytes const good = goodRoute();
  struct LenCase {
    char const* what;
    Bytes buf;
    char const* error;
  };
  Bytes truncated = good;
  truncated.resize(good.size() - 4);
  Bytes tooShort = good;
  tooShort[0] = 12;
  Bytes overLong = good;
  overLong[0] = uint8_t(good.size() + 8);
  std::string const n = std::to_string(good.size());
  std::string const truncatedError =
      "RTM_NEWROUTE at byte " + n + ": nlmsg_len " + n + " runs past the buffer (" + std::to_string(good.size() - 4) + " bytes left)";
  std::string const strayError = "at byte " + n + ": 8 bytes left, below the 16-byte";
  std::vector<LenCase> const cases = {
      {"truncated message", cat({good, truncated}), truncatedError.c_str()},
      {"nlmsg_len below the header", cat({good, tooShort, good}), "nlmsg_len 12 below the 16-byte message header"},
      {"nlmsg_len beyond the buffer", cat({good, overLong}), "runs past the buffer"},
      {"stray bytes after the last message", cat({good, Bytes(8, 0)}), strayError.c_str()},
  };
  for (LenCase const& c : cases) {
    SCOPED_TRACE(c.what);
    NetlinkDecoder dec;
    int routes = 0;
    EXPECT_FALSE(dec.decodeAll(c.buf, [&](NetlinkDecoder::Message const&) { ++routes; }));
    EXPECT_EQ(routes, 1);
    EXPECT_EQ(dec.counters().badLength, 1u);
    EXPECT_NE(dec.error().find(c.error), std::string::npos) << dec.error();
  }
  // decode() of one message allows alignment padding only.
  NetlinkDecoder dec;
  NetlinkDecoder::Message out;
  EXPECT_TRUE(dec.decode(cat({good, Bytes(3, 0)}), &out)) << dec.error();
  EXPECT_FALSE(dec.decode(cat({good, Bytes(4, 0)}), &out));
  EXPECT_EQ(dec.counters().badLength, 1u);
}

TEST(NetlinkBadInputTest, UnknownAndUninterestingInputIsCountedNotAnError) {
  Bytes const good = goodRoute();
  NetlinkDecoder dec;
  int routes = 0;
  rtmsg mpls{};
  mpls.rtm_family = 28;  // AF_MPLS
  ndmsg fdb{};
  fdb.ndm_family = AF_BRIDGE;
  fdb.ndm_ifindex = 3;
  ifinfomsg bridgePort{};
  bridgePort.ifi_family = AF_BRIDGE;
  bridgePort.ifi_index = 3;
  Bytes const buf = cat({
      msg(0x7ffe, Bytes(4, 0)),                   // beyond rtnetlink
      msg(RTM_NEWRULE, Bytes(12, 0)),             // rtnetlink, not ours
      msg(NLMSG_DONE, u32(0)),                    // end of a dump
      msg(RTM_NEWROUTE, raw(mpls)),               // MPLS route
      msg(RTM_NEWNEIGH, raw(fdb)),                // bridge FDB entry
      msg(RTM_DELLINK, raw(bridgePort)),          // port leaving a bridge, not a link going
      route4({dst4(), attr(200, u32(1)), attr(RTA_OIF, u32(2))}),  // unknown attribute inside
      good,
  });
  EXPECT_TRUE(dec.decodeAll(buf, [&](NetlinkDecoder::Message const& m) { routes += std::holds_alternative<NlRoute>(m); }));
  EXPECT_EQ(routes, 2);
  EXPECT_EQ(dec.counters().unknownType, 1u);
  EXPECT_EQ(dec.counters().ignored, 5u);
  EXPECT_EQ(dec.counters().unknownAttr, 1u);
  EXPECT_EQ(dec.counters().decoded, 2u);
  EXPECT_EQ(dec.counters().badAttrSize + dec.counters().badLength + dec.counters().badValue, 0u);
  EXPECT_EQ(dec.error(), "");
}

}  // namespace
