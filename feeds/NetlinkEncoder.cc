#include "feeds/NetlinkEncoder.h"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace KorFeeds {

namespace {

constexpr uint8_t kProtoZebra = 11;  // RTPROT_ZEBRA

void put(std::vector<uint8_t>* out, void const* p, size_t n) {
  auto const* b = static_cast<uint8_t const*>(p);
  out->insert(out->end(), b, b + n);
}

void pad(std::vector<uint8_t>* out) { out->resize((out->size() + 3) & ~size_t(3)); }

void patch16(std::vector<uint8_t>* out, size_t at, size_t v) {
  uint16_t const x = uint16_t(v);
  std::memcpy(out->data() + at, &x, sizeof x);
}

void attr(std::vector<uint8_t>* out, uint16_t type, void const* p, size_t n) {
  nlattr const a{uint16_t(sizeof(nlattr) + n), type};
  put(out, &a, sizeof a);
  put(out, p, n);
  pad(out);
}

void attr32(std::vector<uint8_t>* out, uint16_t type, uint32_t v) { attr(out, type, &v, sizeof v); }

size_t nestBegin(std::vector<uint8_t>* out, uint16_t type) {
  size_t const at = out->size();
  nlattr const a{0, type};
  put(out, &a, sizeof a);
  return at;
}

void nestEnd(std::vector<uint8_t>* out, size_t at) { patch16(out, at, out->size() - at); }

// Network-order bytes of an address; returns their count.
size_t addrBytes(Nollo::IpGenAddr const& a, uint8_t* b) {
  if (a.isV4()) {
    uint32_t const v = a.v4().value();
    b[0] = uint8_t(v >> 24);
    b[1] = uint8_t(v >> 16);
    b[2] = uint8_t(v >> 8);
    b[3] = uint8_t(v);
    return 4;
  }
  std::memcpy(b, a.v6().bytes().data(), 16);
  return 16;
}

uint8_t familyOf(Nollo::IpGenAddr const& a) { return a.isV4() ? AF_INET : AF_INET6; }

// A gateway of the route's family as RTA_GATEWAY, of the other as RTA_VIA.
void gatewayAttr(std::vector<uint8_t>* out, uint8_t family, Nollo::IpGenAddr const& gw) {
  uint8_t b[2 + 16];
  if (familyOf(gw) == family) {
    attr(out, RTA_GATEWAY, b, addrBytes(gw, b));
    return;
  }
  uint16_t const f = familyOf(gw);
  std::memcpy(b, &f, 2);
  attr(out, RTA_VIA, b, 2 + addrBytes(gw, b + 2));
}

uint8_t weightByte(uint32_t weight) { return uint8_t(std::clamp<uint32_t>(weight, 1, 256) - 1); }

size_t begin(std::vector<uint8_t>* out, uint16_t type, uint16_t flags, uint32_t seq) {
  size_t const start = out->size();
  nlmsghdr const h{0, type, flags, seq, 0};
  put(out, &h, sizeof h);
  return start;
}

void end(std::vector<uint8_t>* out, size_t start) {
  pad(out);
  uint32_t const len = uint32_t(out->size() - start);
  std::memcpy(out->data() + start, &len, sizeof len);
}

}  // namespace

void NetlinkEncoder::encode(NlRoute const& r, std::vector<uint8_t>* out) {
  bool const v4 = r.prefix.index() == 0;
  uint8_t const family = v4 ? AF_INET : AF_INET6;
  // Zebra replaces IPv4 routes in place; IPv6 adds (the kernel's IPv6
  // replace semantics differ) and deletes carry NLM_F_CREATE all the same.
  uint16_t const flags = NLM_F_REQUEST | NLM_F_CREATE | (r.add && v4 ? NLM_F_REPLACE : 0);
  size_t const start = begin(out, r.add ? RTM_NEWROUTE : RTM_DELROUTE, flags, ++seq_);
  rtmsg rtm{};
  rtm.rtm_family = family;
  uint8_t dst[16];
  size_t dstLen;
  if (v4) {
    auto const& p = std::get<Nollo::IpPrefix>(r.prefix);
    rtm.rtm_dst_len = uint8_t(p.len());
    dstLen = addrBytes(p.addr(), dst);
  } else {
    auto const& p = std::get<Nollo::Ip6Prefix>(r.prefix);
    rtm.rtm_dst_len = uint8_t(p.len());
    dstLen = addrBytes(p.addr(), dst);
  }
  rtm.rtm_table = r.table < 256 ? uint8_t(r.table) : uint8_t(RT_TABLE_UNSPEC);
  rtm.rtm_protocol = r.protocol;
  rtm.rtm_scope = RT_SCOPE_UNIVERSE;
  rtm.rtm_type = r.type;
  put(out, &rtm, sizeof rtm);
  pad(out);
  attr(out, RTA_DST, dst, dstLen);
  attr32(out, RTA_PRIORITY, r.priority);
  if (r.table >= 256) attr32(out, RTA_TABLE, r.table);
  if (r.nhId) {
    attr32(out, RTA_NH_ID, r.nhId);
  } else if (!r.blackhole() && !r.nexthops.empty()) {
    NlNexthop const& only = r.nexthops.front();
    if (r.nexthops.size() == 1 && only.weight == 1 && (only.gateway || only.oif)) {
      if (only.gateway) gatewayAttr(out, family, *only.gateway);
      if (only.oif) attr32(out, RTA_OIF, only.oif);
    } else {
      size_t const mp = nestBegin(out, RTA_MULTIPATH | NLA_F_NESTED);
      for (NlNexthop const& h : r.nexthops) {
        size_t const at = out->size();
        rtnexthop const nh{0, 0, weightByte(h.weight), int(h.oif)};
        put(out, &nh, sizeof nh);
        if (h.gateway) gatewayAttr(out, family, *h.gateway);
        patch16(out, at, out->size() - at);
      }
      nestEnd(out, mp);
    }
  }
  end(out, start);
}

void NetlinkEncoder::encode(NlNexthopObject const& o, std::vector<uint8_t>* out) {
  uint16_t const flags = NLM_F_REQUEST | NLM_F_CREATE | (o.add ? NLM_F_REPLACE : 0);
  size_t const start = begin(out, o.add ? RTM_NEWNEXTHOP : RTM_DELNEXTHOP, flags, ++seq_);
  nhmsg nhm{};
  nhm.nh_family = o.family;
  nhm.nh_protocol = o.add ? kProtoZebra : 0;
  put(out, &nhm, sizeof nhm);
  pad(out);
  attr32(out, NHA_ID, o.id);
  if (!o.group.empty()) {
    std::vector<nexthop_grp> g;
    g.reserve(o.group.size());
    for (auto const& m : o.group) g.push_back(nexthop_grp{m.id, weightByte(m.weight), 0, 0});
    attr(out, NHA_GROUP, g.data(), g.size() * sizeof(nexthop_grp));
  }
  if (o.blackhole) attr(out, NHA_BLACKHOLE, nullptr, 0);
  if (o.nexthop.gateway) {
    uint8_t b[16];
    attr(out, NHA_GATEWAY, b, addrBytes(*o.nexthop.gateway, b));
  }
  if (o.nexthop.oif) attr32(out, NHA_OIF, o.nexthop.oif);
  end(out, start);
}

void NetlinkEncoder::encode(NlLink const& l, std::vector<uint8_t>* out) {
  size_t const start = begin(out, l.add ? RTM_NEWLINK : RTM_DELLINK, 0, ++seq_);
  ifinfomsg ifi{};
  ifi.ifi_family = AF_UNSPEC;
  ifi.ifi_type = ARPHRD_ETHER;
  ifi.ifi_index = int(l.ifindex);
  ifi.ifi_flags = l.up ? IFF_UP | IFF_RUNNING | IFF_LOWER_UP : 0;
  put(out, &ifi, sizeof ifi);
  pad(out);
  if (!l.name.empty()) attr(out, IFLA_IFNAME, l.name.c_str(), l.name.size() + 1);
  attr32(out, IFLA_MTU, 1500);
  if (l.mac) attr(out, IFLA_ADDRESS, l.mac->bytes().data(), 6);
  if (l.master) attr32(out, IFLA_MASTER, l.master);
  if (l.parent) attr32(out, IFLA_LINK, l.parent);
  if (!l.kind.empty()) {
    size_t const info = nestBegin(out, IFLA_LINKINFO);
    attr(out, IFLA_INFO_KIND, l.kind.c_str(), l.kind.size() + 1);
    if (l.kind == "vlan") {
      size_t const data = nestBegin(out, IFLA_INFO_DATA);
      attr(out, IFLA_VLAN_ID, &l.vlanId, sizeof l.vlanId);
      nestEnd(out, data);
    } else if (l.kind == "vrf") {
      size_t const data = nestBegin(out, IFLA_INFO_DATA);
      attr32(out, IFLA_VRF_TABLE, l.vrfTable);
      nestEnd(out, data);
    }
    nestEnd(out, info);
  }
  end(out, start);
}

void NetlinkEncoder::encode(NlAddr const& a, std::vector<uint8_t>* out) {
  size_t const start = begin(out, a.add ? RTM_NEWADDR : RTM_DELADDR, 0, ++seq_);
  ifaddrmsg ifa{};
  ifa.ifa_family = familyOf(a.addr);
  ifa.ifa_prefixlen = a.prefixLen;
  ifa.ifa_flags = IFA_F_PERMANENT;
  ifa.ifa_scope = RT_SCOPE_UNIVERSE;
  ifa.ifa_index = a.ifindex;
  put(out, &ifa, sizeof ifa);
  pad(out);
  uint8_t b[16];
  size_t const n = addrBytes(a.addr, b);
  attr(out, IFA_ADDRESS, b, n);
  if (a.addr.isV4()) attr(out, IFA_LOCAL, b, n);
  attr32(out, IFA_FLAGS, IFA_F_PERMANENT);
  end(out, start);
}

void NetlinkEncoder::encode(NlNeigh const& nb, std::vector<uint8_t>* out) {
  size_t const start = begin(out, nb.add ? RTM_NEWNEIGH : RTM_DELNEIGH, 0, ++seq_);
  ndmsg nd{};
  nd.ndm_family = familyOf(nb.addr);
  nd.ndm_ifindex = int(nb.ifindex);
  nd.ndm_state = nb.state;
  nd.ndm_type = RTN_UNICAST;
  put(out, &nd, sizeof nd);
  pad(out);
  uint8_t b[16];
  attr(out, NDA_DST, b, addrBytes(nb.addr, b));
  if (nb.mac) attr(out, NDA_LLADDR, nb.mac->bytes().data(), 6);
  attr32(out, NDA_PROBES, 0);
  end(out, start);
}

void NetlinkEncoder::fpmFrame(std::span<uint8_t const> msg, std::vector<uint8_t>* out) {
  size_t const start = out->size();
  out->insert(out->end(), {1, 1, 0, 0});
  out->insert(out->end(), msg.begin(), msg.end());
  doPatchFrameLength(out, start);
}

void NetlinkEncoder::doPatchFrameLength(std::vector<uint8_t>* out, size_t start) {
  size_t const len = out->size() - start;
  if (len > 0xffff) throw std::length_error("FPM frame of " + std::to_string(len) + " bytes, above 65535");
  (*out)[start + 2] = uint8_t(len >> 8);
  (*out)[start + 3] = uint8_t(len);
}

}  // namespace KorFeeds
