#include "feeds/NetlinkDecoder.h"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstring>

namespace KorFeeds {

namespace {

constexpr size_t kNlHdr = sizeof(nlmsghdr);

uint16_t u16At(uint8_t const* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

uint32_t u32At(uint8_t const* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

size_t align4(size_t n) { return (n + 3) & ~size_t(3); }

// Bytes of an address of the family; 0 for a family without IP addresses.
size_t addrSize(unsigned family) { return family == AF_INET ? 4 : family == AF_INET6 ? 16 : 0; }

Nollo::IpAddr4 ip4At(uint8_t const* p) {
  return Nollo::IpAddr4(uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]);
}

Nollo::IpAddr6 ip6At(uint8_t const* p) {
  Nollo::IpAddr6::Bytes b;
  std::memcpy(b.data(), p, b.size());
  return Nollo::IpAddr6(b);
}

Nollo::IpGenAddr addrAt(unsigned family, uint8_t const* p) {
  return family == AF_INET ? Nollo::IpGenAddr(ip4At(p)) : Nollo::IpGenAddr(ip6At(p));
}

template <class T>
T* reuse(NetlinkDecoder::Message* out) {
  if (T* t = std::get_if<T>(out)) return t;
  return &out->emplace<T>();
}

std::string num(uint64_t v) { return std::to_string(v); }

}  // namespace

std::string NetlinkDecoder::typeName(uint16_t type) {
  switch (type) {
    case NLMSG_NOOP: return "NLMSG_NOOP";
    case NLMSG_ERROR: return "NLMSG_ERROR";
    case NLMSG_DONE: return "NLMSG_DONE";
    case NLMSG_OVERRUN: return "NLMSG_OVERRUN";
    case RTM_NEWLINK: return "RTM_NEWLINK";
    case RTM_DELLINK: return "RTM_DELLINK";
    case RTM_NEWADDR: return "RTM_NEWADDR";
    case RTM_DELADDR: return "RTM_DELADDR";
    case RTM_NEWROUTE: return "RTM_NEWROUTE";
    case RTM_DELROUTE: return "RTM_DELROUTE";
    case RTM_NEWNEIGH: return "RTM_NEWNEIGH";
    case RTM_DELNEIGH: return "RTM_DELNEIGH";
    case RTM_NEWNEXTHOP: return "RTM_NEWNEXTHOP";
    case RTM_DELNEXTHOP: return "RTM_DELNEXTHOP";
    default: return "message type " + num(type);
  }
}

bool NetlinkDecoder::doFail(uint64_t* counter, size_t off, std::string const& what) {
  ++*counter;
  error_ = typeName(type_) + " at byte " + num(base_ + off) + ": " + what;
  return false;
}

bool NetlinkDecoder::doFailSize(size_t off, char const* attr, size_t size) {
  return doFail(&counters_.badAttrSize, off, std::string(attr) + " of " + num(size) + " bytes");
}

size_t NetlinkDecoder::messageLength(std::span<uint8_t const> buf, size_t off) {
  size_t const left = buf.size() - off;
  base_ = off;
  if (left < kNlHdr) {
    ++counters_.messages;
    type_ = left >= 6 ? u16At(buf.data() + off + 4) : 0;
    doFail(&counters_.badLength, 0, num(left) + " bytes left, below the 16-byte message header");
    return 0;
  }
  uint32_t const len = u32At(buf.data() + off);
  type_ = u16At(buf.data() + off + 4);
  if (len < kNlHdr || len > left) {
    ++counters_.messages;
    doFail(&counters_.badLength, 0,
           "nlmsg_len " + num(len) + (len < kNlHdr ? " below the 16-byte message header"
                                                   : " runs past the buffer (" + num(left) + " bytes left)"));
    return 0;
  }
  return len;
}

bool NetlinkDecoder::decodeAt(std::span<uint8_t const> msg, size_t base, Message* out) {
  ++counters_.messages;
  base_ = base;
  type_ = msg.size() >= 6 ? u16At(msg.data() + 4) : 0;
  if (msg.size() < kNlHdr)
    return doFail(&counters_.badLength, 0, num(msg.size()) + " bytes, below the 16-byte message header");
  uint32_t const len = u32At(msg.data());
  if (len < kNlHdr || len > msg.size() || msg.size() - len > 3)
    return doFail(&counters_.badLength, 0, "nlmsg_len " + num(len) + " for a message of " + num(msg.size()) + " bytes");
  bool ok = false;
  uint8_t const* m = msg.data();
  switch (type_) {
    case NLMSG_NOOP:
    case NLMSG_ERROR:
    case NLMSG_DONE:
    case NLMSG_OVERRUN: ++counters_.ignored; return false;
    case RTM_NEWROUTE:
    case RTM_DELROUTE: ok = decodeRoute(m, len, type_ == RTM_NEWROUTE, out); break;
    case RTM_NEWNEXTHOP:
    case RTM_DELNEXTHOP: ok = decodeNexthopObject(m, len, type_ == RTM_NEWNEXTHOP, out); break;
    case RTM_NEWLINK:
    case RTM_DELLINK: ok = decodeLink(m, len, type_ == RTM_NEWLINK, out); break;
    case RTM_NEWADDR:
    case RTM_DELADDR: ok = decodeAddr(m, len, type_ == RTM_NEWADDR, out); break;
    case RTM_NEWNEIGH:
    case RTM_DELNEIGH: ok = decodeNeigh(m, len, type_ == RTM_NEWNEIGH, out); break;
    default:
      if (type_ >= RTM_BASE && type_ <= RTM_MAX)
        ++counters_.ignored;
      else
        ++counters_.unknownType;
      return false;
  }
  if (ok) ++counters_.decoded;
  return ok;
}

template <class F>
bool NetlinkDecoder::walkAttrs(uint8_t const* p, size_t n, size_t off, char const* container, F&& f) {
  while (n) {
    if (n < sizeof(nlattr))
      return doFail(&counters_.badAttrSize, off,
                    num(n) + " trailing bytes in the " + container + ", below a 4-byte attribute header");
    size_t const len = u16At(p);
    uint16_t const type = u16At(p + 2) & NLA_TYPE_MASK;
    if (len < sizeof(nlattr))
      return doFail(&counters_.badAttrSize, off,
                    "attribute " + num(type) + " of length " + num(len) + ", below its 4-byte header");
    if (len > n)
      return doFail(&counters_.badAttrSize, off,
                    "attribute " + num(type) + " of length " + num(len) + " runs past the " + container + " (" +
                        num(n) + " bytes left)");
    if (!f(type, p + sizeof(nlattr), len - sizeof(nlattr), off)) return false;
    size_t const adv = std::min(align4(len), n);
    p += adv;
    n -= adv;
    off += adv;
  }
  return true;
}

// An RTA_VIA payload: a 16-bit family, then an address of that family.
bool NetlinkDecoder::doReadVia(uint8_t const* p, size_t n, size_t off, std::optional<Nollo::IpGenAddr>* gw) {
  if (n < 2) return doFailSize(off, "RTA_VIA", n);
  unsigned const family = u16At(p);
  size_t const asz = addrSize(family);
  if (!asz) return doFail(&counters_.badValue, off, "RTA_VIA of family " + num(family));
  if (n != 2 + asz) return doFailSize(off, "RTA_VIA", n);
  *gw = addrAt(family, p + 2);
  return true;
}

bool NetlinkDecoder::decodeRoute(uint8_t const* m, size_t len, bool add, Message* out) {
  constexpr size_t kAttrs = kNlHdr + NLMSG_ALIGN(sizeof(rtmsg));
  if (len < kAttrs) return doFail(&counters_.badLength, 0, "nlmsg_len " + num(len) + " leaves no room for its rtmsg");
  rtmsg rtm;
  std::memcpy(&rtm, m + kNlHdr, sizeof rtm);
  size_t const asz = addrSize(rtm.rtm_family);
  if (!asz) {
    ++counters_.ignored;  // MPLS and multicast routes
    return false;
  }
  unsigned const bits = unsigned(asz * 8);
  if (rtm.rtm_dst_len > bits)
    return doFail(&counters_.badValue, kNlHdr + 1,
                  "prefix length " + num(rtm.rtm_dst_len) + " above " + num(bits));
  NlRoute* r = reuse<NlRoute>(out);
  r->add = add;
  r->table = rtm.rtm_table;
  r->type = rtm.rtm_type;
  r->protocol = rtm.rtm_protocol;
  r->priority = 0;
  r->nhId = 0;
  r->nexthops.clear();
  uint8_t const* dst = nullptr;
  std::optional<Nollo::IpGenAddr> gw;
  uint32_t oif = 0;
  bool haveOif = false;
  uint8_t const* mp = nullptr;
  size_t mpLen = 0, mpOff = 0;
  auto u32Attr = [&](uint8_t const* p, size_t n, size_t off, char const* name, uint32_t* v) {
    if (n != 4) return doFailSize(off, name, n);
    *v = u32At(p);
    return true;
  };
  bool const ok = walkAttrs(m + kAttrs, len - kAttrs, kAttrs, "message", [&](uint16_t type, uint8_t const* p, size_t n, size_t off) {
    switch (type) {
      case RTA_DST:
        if (n != asz) return doFailSize(off, "RTA_DST", n);
        dst = p;
        return true;
      case RTA_GATEWAY:
        if (n != asz) return doFailSize(off, "RTA_GATEWAY", n);
        gw = addrAt(rtm.rtm_family, p);
        return true;
      case RTA_VIA: return doReadVia(p, n, off, &gw);
      case RTA_OIF: haveOif = true; return u32Attr(p, n, off, "RTA_OIF", &oif);
      case RTA_PRIORITY: return u32Attr(p, n, off, "RTA_PRIORITY", &r->priority);
      case RTA_TABLE: return u32Attr(p, n, off, "RTA_TABLE", &r->table);
      case RTA_NH_ID: return u32Attr(p, n, off, "RTA_NH_ID", &r->nhId);
      case RTA_MULTIPATH:
        mp = p;
        mpLen = n;
        mpOff = off + sizeof(nlattr);
        return true;
      default:
        if (type > RTA_MAX) ++counters_.unknownAttr;
        return true;
    }
  });
  if (!ok) return false;
  if (!dst && rtm.rtm_dst_len)
    return doFail(&counters_.badValue, kNlHdr + 1, "prefix length " + num(rtm.rtm_dst_len) + " without RTA_DST");
  if (asz == 4)
    r->prefix = Nollo::IpPrefix(dst ? ip4At(dst) : Nollo::IpAddr4(), rtm.rtm_dst_len);
  else
    r->prefix = Nollo::Ip6Prefix(dst ? ip6At(dst) : Nollo::IpAddr6(), rtm.rtm_dst_len);
  if (mp) {
    if (!decodeMultipath(mp, mpLen, mpOff, rtm.rtm_family, r)) return false;
  } else if (gw || haveOif) {
    r->nexthops.push_back(NlNexthop{gw, oif, 1});
  }
  // A route naming a next-hop object, or a blackhole, has no inline next
  // hops even where the kernel repeats them for older readers.
  if (r->nhId || r->blackhole()) r->nexthops.clear();
  return true;
}

bool NetlinkDecoder::decodeMultipath(uint8_t const* p, size_t n, size_t off, uint8_t family, NlRoute* r) {
  size_t const asz = addrSize(family);
  while (n) {
    if (n < sizeof(rtnexthop))
      return doFail(&counters_.badAttrSize, off,
                    "RTA_MULTIPATH entry header of 8 bytes runs past its attribute (" + num(n) + " bytes left)");
    rtnexthop nh;
    std::memcpy(&nh, p, sizeof nh);
    if (nh.rtnh_len < sizeof(rtnexthop)) return doFailSize(off, "RTA_MULTIPATH entry", nh.rtnh_len);
    if (nh.rtnh_len > n)
      return doFail(&counters_.badAttrSize, off,
                    "RTA_MULTIPATH entry of length " + num(nh.rtnh_len) + " runs past its attribute (" + num(n) +
                        " bytes left)");
    NlNexthop hop;
    hop.oif = uint32_t(nh.rtnh_ifindex);
    hop.weight = uint32_t(nh.rtnh_hops) + 1;
    bool const ok = walkAttrs(p + sizeof nh, nh.rtnh_len - sizeof nh, off + sizeof nh, "RTA_MULTIPATH entry",
                              [&](uint16_t type, uint8_t const* q, size_t qn, size_t qoff) {
                                switch (type) {
                                  case RTA_GATEWAY:
                                    if (qn != asz) return doFailSize(qoff, "RTA_GATEWAY", qn);
                                    hop.gateway = addrAt(family, q);
                                    return true;
                                  case RTA_VIA: return doReadVia(q, qn, qoff, &hop.gateway);
                                  default:
                                    if (type > RTA_MAX) ++counters_.unknownAttr;
                                    return true;
                                }
                              });
    if (!ok) return false;
    r->nexthops.push_back(hop);
    size_t const adv = std::min(align4(nh.rtnh_len), n);
    p += adv;
    n -= adv;
    off += adv;
  }
  return true;
}

bool NetlinkDecoder::decodeNexthopObject(uint8_t const* m, size_t len, bool add, Message* out) {
  constexpr size_t kAttrs = kNlHdr + NLMSG_ALIGN(sizeof(nhmsg));
  if (len < kAttrs) return doFail(&counters_.badLength, 0, "nlmsg_len " + num(len) + " leaves no room for its nhmsg");
  nhmsg nhm;
  std::memcpy(&nhm, m + kNlHdr, sizeof nhm);
  if (nhm.nh_family != AF_UNSPEC && !addrSize(nhm.nh_family)) {
    ++counters_.ignored;
    return false;
  }
  size_t const asz = addrSize(nhm.nh_family);
  NlNexthopObject* o = reuse<NlNexthopObject>(out);
  o->add = add;
  o->id = 0;
  o->family = nhm.nh_family;
  o->blackhole = false;
  o->nexthop = NlNexthop();
  o->group.clear();
  bool haveOif = false;
  bool const ok = walkAttrs(m + kAttrs, len - kAttrs, kAttrs, "message", [&](uint16_t type, uint8_t const* p, size_t n, size_t off) {
    switch (type) {
      case NHA_ID:
        if (n != 4) return doFailSize(off, "NHA_ID", n);
        o->id = u32At(p);
        return true;
      case NHA_GROUP:
        if (!n || n % sizeof(nexthop_grp)) return doFailSize(off, "NHA_GROUP", n);
        for (size_t i = 0; i < n; i += sizeof(nexthop_grp)) {
          nexthop_grp g;
          std::memcpy(&g, p + i, sizeof g);
          if (!g.id) return doFail(&counters_.badValue, off + sizeof(nlattr) + i, "NHA_GROUP member of id 0");
          o->group.push_back({g.id, uint32_t(g.weight) + 1});
        }
        return true;
      case NHA_BLACKHOLE:
        if (n) return doFailSize(off, "NHA_BLACKHOLE", n);
        o->blackhole = true;
        return true;
      case NHA_OIF:
        if (n != 4) return doFailSize(off, "NHA_OIF", n);
        o->nexthop.oif = u32At(p);
        haveOif = true;
        return true;
      case NHA_GATEWAY:
        if (!asz) return doFail(&counters_.badValue, off, "NHA_GATEWAY in a next hop of family 0");
        if (n != asz) return doFailSize(off, "NHA_GATEWAY", n);
        o->nexthop.gateway = addrAt(nhm.nh_family, p);
        return true;
      default:
        if (type > NHA_MAX) ++counters_.unknownAttr;
        return true;
    }
  });
  if (!ok) return false;
  if (!o->id) return doFail(&counters_.badValue, 0, "no NHA_ID");
  bool const single = o->nexthop.gateway || haveOif;
  if (!o->group.empty() && (single || o->blackhole))
    return doFail(&counters_.badValue, 0, "NHA_GROUP together with a next hop of its own");
  if (o->blackhole && single) return doFail(&counters_.badValue, 0, "NHA_BLACKHOLE together with a gateway or interface");
  return true;
}

bool NetlinkDecoder::decodeLink(uint8_t const* m, size_t len, bool add, Message* out) {
  constexpr size_t kAttrs = kNlHdr + NLMSG_ALIGN(sizeof(ifinfomsg));
  if (len < kAttrs) return doFail(&counters_.badLength, 0, "nlmsg_len " + num(len) + " leaves no room for its ifinfomsg");
  ifinfomsg ifi;
  std::memcpy(&ifi, m + kNlHdr, sizeof ifi);
  // Bridge-port and per-family (IPv6) link messages repeat a link's state
  // for another purpose; a bridge-port "delete" is not the link going away.
  if (ifi.ifi_family != AF_UNSPEC) {
    ++counters_.ignored;
    return false;
  }
  if (ifi.ifi_index <= 0) return doFail(&counters_.badValue, kNlHdr + 4, "ifindex " + std::to_string(ifi.ifi_index));
  NlLink* l = reuse<NlLink>(out);
  l->add = add;
  l->ifindex = uint32_t(ifi.ifi_index);
  l->name.clear();
  l->up = (ifi.ifi_flags & IFF_UP) && (ifi.ifi_flags & (IFF_LOWER_UP | IFF_RUNNING));
  l->master = 0;
  l->parent = 0;
  l->kind.clear();
  l->vlanId = 0;
  l->vrfTable = 0;
  l->mac.reset();
  bool const ok = walkAttrs(m + kAttrs, len - kAttrs, kAttrs, "message", [&](uint16_t type, uint8_t const* p, size_t n, size_t off) {
    switch (type) {
      case IFLA_IFNAME: {
        size_t const nameLen = strnlen(reinterpret_cast<char const*>(p), n);
        if (n > IFNAMSIZ || nameLen == 0 || nameLen >= IFNAMSIZ) return doFailSize(off, "IFLA_IFNAME", n);
        l->name.assign(reinterpret_cast<char const*>(p), nameLen);
        return true;
      }
      case IFLA_ADDRESS:
        if (n == 6) {
          Nollo::EthAddr::Bytes b;
          std::memcpy(b.data(), p, b.size());
          l->mac = Nollo::EthAddr(b);
        }
        return true;
      case IFLA_MASTER:
        if (n != 4) return doFailSize(off, "IFLA_MASTER", n);
        l->master = u32At(p);
        return true;
      case IFLA_LINK:
        if (n != 4) return doFailSize(off, "IFLA_LINK", n);
        l->parent = u32At(p);
        return true;
      case IFLA_LINKINFO: return decodeLinkInfo(p, n, off + sizeof(nlattr), l);
      default:
        if (type > IFLA_MAX) ++counters_.unknownAttr;
        return true;
    }
  });
  return ok;
}

bool NetlinkDecoder::decodeLinkInfo(uint8_t const* p, size_t n, size_t off, NlLink* l) {
  // IFLA_INFO_DATA means what IFLA_INFO_KIND says, wherever the kind comes.
  uint8_t const* data = nullptr;
  size_t dataLen = 0, dataOff = 0;
  bool const ok = walkAttrs(p, n, off, "IFLA_LINKINFO", [&](uint16_t type, uint8_t const* q, size_t qn, size_t qoff) {
    switch (type) {
      case IFLA_INFO_KIND:
        l->kind.assign(reinterpret_cast<char const*>(q), strnlen(reinterpret_cast<char const*>(q), qn));
        return true;
      case IFLA_INFO_DATA:
        data = q;
        dataLen = qn;
        dataOff = qoff + sizeof(nlattr);
        return true;
      default:
        if (type > IFLA_INFO_MAX) ++counters_.unknownAttr;
        return true;
    }
  });
  if (!ok) return false;
  if (!data) return true;
  if (l->kind == "vlan") {
    return walkAttrs(data, dataLen, dataOff, "IFLA_INFO_DATA", [&](uint16_t type, uint8_t const* q, size_t qn, size_t qoff) {
      if (type == IFLA_VLAN_ID) {
        if (qn != 2) return doFailSize(qoff, "IFLA_VLAN_ID", qn);
        l->vlanId = u16At(q);
      } else if (type > IFLA_VLAN_MAX) {
        ++counters_.unknownAttr;
      }
      return true;
    });
  }
  if (l->kind == "vrf") {
    return walkAttrs(data, dataLen, dataOff, "IFLA_INFO_DATA", [&](uint16_t type, uint8_t const* q, size_t qn, size_t qoff) {
      if (type == IFLA_VRF_TABLE) {
        if (qn != 4) return doFailSize(qoff, "IFLA_VRF_TABLE", qn);
        l->vrfTable = u32At(q);
      } else if (type > IFLA_VRF_MAX) {
        ++counters_.unknownAttr;
      }
      return true;
    });
  }
  return true;
}

bool NetlinkDecoder::decodeAddr(uint8_t const* m, size_t len, bool add, Message* out) {
  constexpr size_t kAttrs = kNlHdr + NLMSG_ALIGN(sizeof(ifaddrmsg));
  if (len < kAttrs) return doFail(&counters_.badLength, 0, "nlmsg_len " + num(len) + " leaves no room for its ifaddrmsg");
  ifaddrmsg ifa;
  std::memcpy(&ifa, m + kNlHdr, sizeof ifa);
  size_t const asz = addrSize(ifa.ifa_family);
  if (!asz) {
    ++counters_.ignored;
    return false;
  }
  if (ifa.ifa_prefixlen > asz * 8)
    return doFail(&counters_.badValue, kNlHdr + 1,
                  "prefix length " + num(ifa.ifa_prefixlen) + " above " + num(asz * 8));
  if (!ifa.ifa_index) return doFail(&counters_.badValue, kNlHdr + 4, "ifindex 0");
  uint8_t const* local = nullptr;
  uint8_t const* address = nullptr;
  bool const ok = walkAttrs(m + kAttrs, len - kAttrs, kAttrs, "message", [&](uint16_t type, uint8_t const* p, size_t n, size_t off) {
    switch (type) {
      case IFA_LOCAL:
        if (n != asz) return doFailSize(off, "IFA_LOCAL", n);
        local = p;
        return true;
      case IFA_ADDRESS:
        if (n != asz) return doFailSize(off, "IFA_ADDRESS", n);
        address = p;
        return true;
      default:
        if (type > IFA_MAX) ++counters_.unknownAttr;
        return true;
    }
  });
  if (!ok) return false;
  if (!local && !address) return doFail(&counters_.badValue, 0, "no IFA_LOCAL or IFA_ADDRESS");
  NlAddr* a = reuse<NlAddr>(out);
  a->add = add;
  a->ifindex = ifa.ifa_index;
  a->addr = addrAt(ifa.ifa_family, local ? local : address);
  a->prefixLen = ifa.ifa_prefixlen;
  return true;
}

bool NetlinkDecoder::decodeNeigh(uint8_t const* m, size_t len, bool add, Message* out) {
  constexpr size_t kAttrs = kNlHdr + NLMSG_ALIGN(sizeof(ndmsg));
  if (len < kAttrs) return doFail(&counters_.badLength, 0, "nlmsg_len " + num(len) + " leaves no room for its ndmsg");
  ndmsg nd;
  std::memcpy(&nd, m + kNlHdr, sizeof nd);
  size_t const asz = addrSize(nd.ndm_family);
  if (!asz) {
    ++counters_.ignored;  // bridge FDB entries
    return false;
  }
  if (nd.ndm_ifindex <= 0) return doFail(&counters_.badValue, kNlHdr + 4, "ifindex " + std::to_string(nd.ndm_ifindex));
  uint8_t const* dst = nullptr;
  std::optional<Nollo::EthAddr> mac;
  bool const ok = walkAttrs(m + kAttrs, len - kAttrs, kAttrs, "message", [&](uint16_t type, uint8_t const* p, size_t n, size_t off) {
    switch (type) {
      case NDA_DST:
        if (n != asz) return doFailSize(off, "NDA_DST", n);
        dst = p;
        return true;
      case NDA_LLADDR:
        if (n == 6) {
          Nollo::EthAddr::Bytes b;
          std::memcpy(b.data(), p, b.size());
          mac = Nollo::EthAddr(b);
        }
        return true;
      default:
        if (type > NDA_MAX) ++counters_.unknownAttr;
        return true;
    }
  });
  if (!ok) return false;
  if (!dst) return doFail(&counters_.badValue, 0, "no NDA_DST");
  NlNeigh* nb = reuse<NlNeigh>(out);
  nb->add = add;
  nb->ifindex = uint32_t(nd.ndm_ifindex);
  nb->addr = addrAt(nd.ndm_family, dst);
  nb->mac = mac;
  nb->state = nd.ndm_state;
  return true;
}

}  // namespace KorFeeds
