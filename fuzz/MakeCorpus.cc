// Writes the seed corpus of the FPM fuzz target: one file per record kind as
// zebra or the kernel sends it, each as an FPM frame and as a bare netlink
// message, a stream of several frames, and the broken shapes the decoder
// must survive (truncated, over-long, wrong lengths, unknown types and
// attributes, attributes of the wrong size).
//   kor-fuzz-corpus DIR
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "feeds/NetlinkEncoder.h"

namespace {

using namespace KorFeeds;
using Bytes = std::vector<uint8_t>;

std::string dir;
int written = 0;

void write(std::string const& name, Bytes const& b) {
  std::ofstream(dir + "/" + name, std::ios::binary).write(reinterpret_cast<char const*>(b.data()), std::streamsize(b.size()));
  ++written;
}

Bytes frame(Bytes const& msg) {
  Bytes f;
  NetlinkEncoder::fpmFrame(msg, &f);
  return f;
}

void both(std::string const& name, Bytes const& msg) {
  write(name + ".nl", msg);
  write(name + ".fpm", frame(msg));
}

template <class M>
Bytes enc(M const& m) {
  static NetlinkEncoder e;
  Bytes b;
  e.encode(m, &b);
  return b;
}

NlNexthop hop(char const* gw, uint32_t oif, uint32_t weight = 1) {
  return NlNexthop{gw ? std::optional(Nollo::IpGenAddr(gw)) : std::nullopt, oif, weight};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kor-fuzz-corpus DIR\n");
    return 2;
  }
  dir = argv[1];
  std::vector<std::pair<std::string, Bytes>> good;
  NlRoute r;
  r.prefix = Nollo::IpPrefix("10.1.0.0/16");
  r.protocol = 186;
  r.priority = 20;
  r.nhId = 7;
  good.emplace_back("route4-nhid", enc(r));
  r.prefix = Nollo::Ip6Prefix("2001:db8:1::/48");
  good.emplace_back("route6-nhid", enc(r));
  r.nhId = 0;
  r.nexthops = {hop("fe80::1", 2)};
  good.emplace_back("route6-gateway", enc(r));
  r.nexthops = {hop("fe80::1", 2), hop("fe80::2", 3, 3)};
  good.emplace_back("route6-multipath", enc(r));
  r.prefix = Nollo::IpPrefix("10.2.0.0/24");
  r.nexthops = {hop("10.0.0.1", 2)};
  good.emplace_back("route4-gateway", enc(r));
  r.nexthops = {hop("10.0.0.1", 2), hop("10.0.0.2", 3, 2), hop(nullptr, 4)};
  good.emplace_back("route4-multipath", enc(r));
  r.nexthops = {hop("fe80::9", 2), hop("fe80::a", 3)};
  good.emplace_back("route4-via6", enc(r));
  r.nexthops.clear();
  r.type = 6;
  r.table = 1001;
  r.prefix = Nollo::IpPrefix("0.0.0.0/0");
  good.emplace_back("route4-blackhole-table", enc(r));
  r.type = 1;
  r.add = false;
  r.table = 254;
  r.prefix = Nollo::IpPrefix("10.3.0.1/32");
  good.emplace_back("route4-del", enc(r));

  NlNexthopObject o;
  o.id = 1;
  o.family = 2;
  o.nexthop = hop("10.0.0.1", 2);
  good.emplace_back("nexthop4", enc(o));
  o.family = 10;
  o.nexthop = hop("fe80::1", 2);
  good.emplace_back("nexthop6", enc(o));
  o = NlNexthopObject();
  o.id = 9;
  o.group = {{1, 1}, {2, 4}};
  good.emplace_back("nexthop-group", enc(o));
  o = NlNexthopObject();
  o.id = 3;
  o.blackhole = true;
  good.emplace_back("nexthop-blackhole", enc(o));

  good.emplace_back("link-vlan", enc(NlLink{true, 12, "vlan10", true, 0, 3, "vlan", 10, 0, Nollo::EthAddr("00:11:22:33:44:55")}));
  good.emplace_back("link-vrf", enc(NlLink{true, 13, "red", true, 0, 0, "vrf", 0, 1001, std::nullopt}));
  good.emplace_back("link-port", enc(NlLink{true, 3, "eth0", false, 13, 0, "", 0, 0, Nollo::EthAddr("00:11:22:33:44:66")}));
  good.emplace_back("addr4", enc(NlAddr{true, 3, Nollo::IpGenAddr("10.0.0.1"), 24}));
  good.emplace_back("addr6", enc(NlAddr{false, 3, Nollo::IpGenAddr("2001:db8::1"), 64}));
  good.emplace_back("neigh4", enc(NlNeigh{true, 3, Nollo::IpGenAddr("10.0.0.2"), Nollo::EthAddr("00:11:22:33:44:77"), 2}));
  good.emplace_back("neigh6", enc(NlNeigh{true, 3, Nollo::IpGenAddr("fe80::2"), std::nullopt, 1}));

  Bytes stream, datagram;
  for (auto const& [name, msg] : good) {
    both(name, msg);
    Bytes const f = frame(msg);
    stream.insert(stream.end(), f.begin(), f.end());
    datagram.insert(datagram.end(), msg.begin(), msg.end());
  }
  write("stream-all.fpm", stream);
  write("datagram-all.nl", datagram);

  // Broken shapes.
  Bytes const route = good[4].second;  // route4-gateway: RTA_DST, RTA_PRIORITY, RTA_GATEWAY, RTA_OIF
  Bytes f = frame(route);
  write("bad-truncated-frame.fpm", Bytes(f.begin(), f.end() - 5));
  Bytes over = route;
  over.resize(route.size() + 8);
  write("bad-overlong-frame.fpm", frame(over));
  Bytes wrongLen = route;
  wrongLen[0] = uint8_t(route.size() + 4);
  both("bad-nlmsg-len", wrongLen);
  Bytes unknownType = route;
  unknownType[4] = 0xfe;
  unknownType[5] = 0x7f;
  both("bad-unknown-type", unknownType);
  Bytes unknownAttr = route;
  unknownAttr.insert(unknownAttr.end(), {8, 0, 200, 0, 1, 0, 0, 0});
  unknownAttr[0] = uint8_t(unknownAttr.size());
  both("bad-unknown-attr", unknownAttr);
  // RTA_GATEWAY's length byte sits after RTA_DST and RTA_PRIORITY.
  size_t const gwAt = 16 + 12 + 8 + 8;
  Bytes shortAttr = route;
  shortAttr[gwAt] = 7;  // three-byte gateway
  both("bad-attr-size", shortAttr);
  Bytes pastAttr = route;
  pastAttr[gwAt] = 200;
  both("bad-attr-past-message", pastAttr);
  Bytes const mp = good[5].second;  // route4-multipath
  Bytes pastEntry = mp;
  pastEntry[16 + 12 + 8 + 8 + 4] = 200;  // first rtnexthop's length
  both("bad-multipath-entry", pastEntry);
  Bytes badFraming = f;
  badFraming[0] = 2;
  write("bad-version.fpm", badFraming);
  std::printf("%d files in %s\n", written, dir.c_str());
  return 0;
}
