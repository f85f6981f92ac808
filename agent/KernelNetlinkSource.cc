#include "agent/intf/IntfModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/source/RouteSourceModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/KernelNetlinkSource.h"

#include <linux/if_addr.h>
#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <variant>

#include "agent/JsonString.h"
#include "vix/Log.h"

namespace KorAgent {

VIX_LOG_EVENT(KERNEL_OBJECT_REFUSED, 4, "%s",
              "A kernel link, address or neighbour could not be applied to the agent. It is left out and tried "
              "again when the kernel changes it; everything else goes on.",
              "Check the kernel object the message names.", 0);
VIX_LOG_EVENT(KERNEL_EVENTS_LOST, 4, "Kernel netlink events lost (%s): dumping links, addresses and neighbours again",
              "The kernel dropped link, address or neighbour events for the agent's socket. The agent dumps the "
              "kernel's tables again and reconciles its interfaces and neighbours with them.",
              "None, unless it recurs: then look for a long stall of the agent.", 0);
VIX_LOG_EVENT(KERNEL_DUMP_FAILED, 4, "Kernel %s dump failed: %s",
              "The kernel refused or could not send a dump the agent asked for. The agent asks again shortly.",
              "None, unless it recurs.", 0);

namespace {

std::string js(std::string const& s) { return jsonString(s); }

bool isMulticast(Nollo::IpGenAddr const& a) { return a.isV4() ? a.v4().isMulticast() : a.v6().isMulticast(); }

// An address that makes its link a routed interface: IPv6 link-local
// addresses come with every link that is up, so they do not count.
bool routable(Nollo::IpGenAddr const& a) { return a.isV4() || !a.v6().isLinkLocal(); }

Kor::VrfName const& defaultVrf() {
  static Kor::VrfName const v(Kor::VrfName::defaultVrfName);
  return v;
}

template <class T>
void append(std::vector<uint8_t>* out, T const& v) {
  auto const* p = reinterpret_cast<uint8_t const*>(&v);
  out->insert(out->end(), p, p + sizeof v);
}

constexpr size_t kErrorsKept = 16;
constexpr int kReadsPerWakeup = 64;

}  // namespace

char const* KernelNetlinkSource::phaseName(Phase p) {
  switch (p) {
    case Phase::live: return "live";
    case Phase::links: return "links";
    case Phase::addrs: return "addresses";
    case Phase::neighs: return "neighbours";
  }
  return "?";
}

KernelNetlinkSource::KernelNetlinkSource(Agent* agent, KernelIntfMap* map)
    : agent_(agent), map_(map), retry_(agent->loop(), [this] { doRequestDump(); }) {
  agent_->module<RouteSourceModule>().showSourceIs("kernel", [this](bool json) { return show(json); });
}

KernelNetlinkSource::~KernelNetlinkSource() {
  agent_->module<RouteSourceModule>().showSourceIs("kernel", nullptr);
  if (fd_ >= 0) {
    agent_->loop()->fdDel(fd_);
    ::close(fd_);
  }
}

// ---------------------------------------------------------------------------
// The socket.

bool KernelNetlinkSource::open() {
  int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  if (fd < 0) {
    errorText_ = std::string("netlink socket: ") + std::strerror(errno);
    return false;
  }
  sockaddr_nl local{};
  local.nl_family = AF_NETLINK;
  socklen_t len = sizeof local;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) < 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) < 0) {
    errorText_ = std::string("netlink bind: ") + std::strerror(errno);
    ::close(fd);
    return false;
  }
  for (int group : {RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR, RTNLGRP_NEIGH}) {
    if (::setsockopt(fd, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) < 0) {
      errorText_ = "netlink group " + std::to_string(group) + ": " + std::strerror(errno);
      ::close(fd);
      return false;
    }
  }
  fd_ = fd;
  portId_ = local.nl_pid;
  receiveBufferIs(rcvBuf_);
  rxBuf_.resize(64 << 10);
  if (!sink_) {
    sink_ = [this](std::span<uint8_t const> req) {
      sockaddr_nl kernel{};
      kernel.nl_family = AF_NETLINK;
      return ::sendto(fd_, req.data(), req.size(), 0, reinterpret_cast<sockaddr*>(&kernel), sizeof kernel) ==
             ssize_t(req.size());
    };
  }
  agent_->loop()->fdIs(fd_, [this] { handleReadable(); });
  doSync();
  return true;
}

void KernelNetlinkSource::receiveBufferIs(int bytes) {
  rcvBuf_ = bytes;
  if (fd_ < 0) return;
  // Beyond the system's limit only with the privilege to force it.
  if (::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) < 0)
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

void KernelNetlinkSource::handleReadable() {
  // A bounded number of datagrams per wakeup: a flood of events must not hold
  // the loop; the descriptor stays readable and the loop comes back.
  for (int i = 0; i < kReadsPerWakeup; ++i) {
    sockaddr_nl src{};
    iovec iov{rxBuf_.data(), rxBuf_.size()};
    msghdr mh{};
    mh.msg_name = &src;
    mh.msg_namelen = sizeof src;
    mh.msg_iov = &iov;
    mh.msg_iovlen = 1;
    ssize_t n = ::recvmsg(fd_, &mh, MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == ENOBUFS) {
        handleOverrun();
        continue;
      }
      if (errno != EAGAIN && errno != EWOULDBLOCK) doRefuse(std::string("netlink receive: ") + std::strerror(errno));
      return;
    }
    if (mh.msg_flags & MSG_TRUNC) {
      handleOverrun();
      continue;
    }
    if (src.nl_pid != 0) {
      ++counters_.foreign;
      continue;
    }
    handleDatagram({rxBuf_.data(), size_t(n)});
  }
}

// ---------------------------------------------------------------------------
// Sync.

void KernelNetlinkSource::doSync() {
  overrunPending_ = false;
  phase_ = Phase::links;
  doRequestDump();
}

void KernelNetlinkSource::doRequestDump() {
  if (phase_ == Phase::live) return;
  ++dumpSeq_;
  dumpInterrupted_ = false;
  // Whatever the dump (or an event meanwhile) shows is marked with the new
  // generation; the rest is gone when it ends.
  if (phase_ == Phase::links) ++linkGen_;
  else if (phase_ == Phase::addrs) ++addrGen_;
  else ++neighGen_;
  nlmsghdr h{};
  h.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  h.nlmsg_seq = dumpSeq_;
  request_.clear();
  if (phase_ == Phase::links) {
    h.nlmsg_type = RTM_GETLINK;
    h.nlmsg_len = NLMSG_LENGTH(sizeof(ifinfomsg));
    append(&request_, h);
    append(&request_, ifinfomsg{});
  } else if (phase_ == Phase::addrs) {
    h.nlmsg_type = RTM_GETADDR;
    h.nlmsg_len = NLMSG_LENGTH(sizeof(ifaddrmsg));
    append(&request_, h);
    append(&request_, ifaddrmsg{});
  } else {
    h.nlmsg_type = RTM_GETNEIGH;
    h.nlmsg_len = NLMSG_LENGTH(sizeof(ndmsg));
    append(&request_, h);
    append(&request_, ndmsg{});
  }
  ++counters_.dumps;
  if (!sink_ || !sink_(request_)) {
    ++counters_.dumpErrors;
    KERNEL_DUMP_FAILED.raise(agent_->loop()->now(), phaseName(phase_), "request not sent");
    retry_.timeMinIs(agent_->loop()->now() + kDumpRetry);
  }
}

void KernelNetlinkSource::handleOverrun() {
  ++counters_.overruns;
  KERNEL_EVENTS_LOST.raise(agent_->loop()->now(), phase_ == Phase::live ? "live" : "during a dump");
  // A dump under way runs to its end first: the kernel takes no second one.
  if (phase_ == Phase::live) doSync();
  else overrunPending_ = true;
}

void KernelNetlinkSource::handleDatagram(std::span<uint8_t const> buf) {
  ++counters_.datagrams;
  // The dump's own messages: the interrupted flag and its end.
  bool done = false;
  int dumpError = 0;
  for (size_t off = 0; off + sizeof(nlmsghdr) <= buf.size();) {
    nlmsghdr h;
    std::memcpy(&h, buf.data() + off, sizeof h);
    if (h.nlmsg_len < sizeof h || h.nlmsg_len > buf.size() - off) break;
    if (phase_ != Phase::live && h.nlmsg_seq == dumpSeq_ && (!portId_ || h.nlmsg_pid == portId_)) {
      if (h.nlmsg_flags & NLM_F_DUMP_INTR) dumpInterrupted_ = true;
      if (h.nlmsg_type == NLMSG_DONE) done = true;
      if (h.nlmsg_type == NLMSG_ERROR && h.nlmsg_len >= NLMSG_LENGTH(sizeof(int))) {
        int e;
        std::memcpy(&e, buf.data() + off + NLMSG_HDRLEN, sizeof e);
        if (e != 0) dumpError = e;
      }
    }
    off += NLMSG_ALIGN(h.nlmsg_len);
  }
  auto const before = decoder_.counters();
  bool whole = decoder_.decodeAll(buf, [this](KorFeeds::NetlinkDecoder::Message const& m) {
    std::visit(
        [this](auto const& r) {
          using T = std::decay_t<decltype(r)>;
          if constexpr (std::is_same_v<T, KorFeeds::NlLink>) doLink(r);
          else if constexpr (std::is_same_v<T, KorFeeds::NlAddr>) doAddr(r);
          else if constexpr (std::is_same_v<T, KorFeeds::NlNeigh>) doNeigh(r);
        },
        m);
  });
  auto const& after = decoder_.counters();
  uint64_t skipped = (after.badAttrSize - before.badAttrSize) + (after.badLength - before.badLength) +
                     (after.badValue - before.badValue);
  if (skipped || !whole) {
    counters_.decodeErrors += skipped ? skipped : 1;
    doRefuse("kernel message skipped: " + decoder_.error());
  }
  if (done) {
    doDumpDone();
  } else if (dumpError) {
    ++counters_.dumpErrors;
    KERNEL_DUMP_FAILED.raise(agent_->loop()->now(), phaseName(phase_), std::strerror(-dumpError));
    retry_.timeMinIs(agent_->loop()->now() + kDumpRetry);
  }
  doFlush();
}

void KernelNetlinkSource::doDumpDone() {
  if (overrunPending_) {
    doSync();
    return;
  }
  if (dumpInterrupted_) {
    ++counters_.dumpsInterrupted;
    doRequestDump();
    return;
  }
  doDropUnseen();
  if (phase_ == Phase::links) {
    phase_ = Phase::addrs;
    doRequestDump();
  } else if (phase_ == Phase::addrs) {
    phase_ = Phase::neighs;
    doRequestDump();
  } else {
    phase_ = Phase::live;
    ++counters_.syncs;
    doReconcileAll();
  }
}

void KernelNetlinkSource::doDropUnseen() {
  if (phase_ == Phase::links) {
    std::vector<uint32_t> gone;
    for (uint32_t ifindex : map_->ifindexes()) {
      auto it = linkState_.find(ifindex);
      if (it == linkState_.end() || it->second.gen != linkGen_) gone.push_back(ifindex);
    }
    for (uint32_t ifindex : gone) map_->linkDel(ifindex);
    if (!gone.empty()) namesDirty_ = true;
  } else if (phase_ == Phase::addrs) {
    for (auto& [ifindex, st] : linkState_)
      std::erase_if(st.addrs, [this](Addr const& a) { return a.gen != addrGen_; });
  } else {
    std::vector<NeighKey> gone;
    for (auto const& [k, n] : neighs_)
      if (n.gen != neighGen_) gone.push_back(k);
    for (auto const& k : gone) {
      auto& n = neighs_.find(k)->second;
      if (auto const* a = appliedOf(k.ifindex); a && n.inAgent) doArpDel(k, n, *a);
      neighs_.erase(k);
    }
  }
}

// ---------------------------------------------------------------------------
// Records.

void KernelNetlinkSource::handleLink(KorFeeds::NlLink const& l) {
  doLink(l);
  doFlush();
}

void KernelNetlinkSource::handleAddr(KorFeeds::NlAddr const& a) {
  doAddr(a);
  doFlush();
}

void KernelNetlinkSource::handleNeigh(KorFeeds::NlNeigh const& n) {
  doNeigh(n);
  doFlush();
}

void KernelNetlinkSource::doLink(KorFeeds::NlLink const& l) {
  ++counters_.links;
  if (!l.add) {
    if (map_->linkDel(l.ifindex)) namesDirty_ = true;
    return;
  }
  KernelIntfMap::Change change;
  try {
    change = map_->linkIs(l);
  } catch (std::invalid_argument const& e) {
    return doRefuse(e.what());
  }
  linkState_[l.ifindex].gen = linkGen_;
  if (change == KernelIntfMap::Change::naming) namesDirty_ = true;
  else if (change == KernelIntfMap::Change::state && phase_ == Phase::live && !namesDirty_) doReconcileLink(l.ifindex);
}

void KernelNetlinkSource::doAddr(KorFeeds::NlAddr const& a) {
  ++counters_.addrs;
  auto& addrs = linkState_[a.ifindex].addrs;
  auto countRoutable = [&] {
    size_t n = 0;
    for (auto const& x : addrs) n += routable(x.addr);
    return n;
  };
  size_t before = countRoutable();
  auto it = std::find_if(addrs.begin(), addrs.end(), [&](Addr const& x) { return x.addr == a.addr; });
  if (a.add) {
    if (it == addrs.end()) addrs.push_back({a.addr, a.prefixLen, addrGen_});
    else *it = {a.addr, a.prefixLen, addrGen_};
  } else if (it != addrs.end()) {
    addrs.erase(it);
  }
  if (phase_ == Phase::live && (before == 0) != (countRoutable() == 0)) doReconcileLink(a.ifindex);
}

void KernelNetlinkSource::doNeigh(KorFeeds::NlNeigh const& n) {
  ++counters_.neighs;
  if (isMulticast(n.addr)) return;
  NeighKey k{n.ifindex, n.addr};
  if (!n.add || !n.resolved() || n.mac->isMulticast()) {
    auto it = neighs_.find(k);
    if (it == neighs_.end()) return;
    if (auto const* a = appliedOf(n.ifindex); a && it->second.inAgent) doArpDel(k, it->second, *a);
    neighs_.erase(k);
    return;
  }
  Neigh& e = neighs_[k];
  e.mac = *n.mac;
  e.gen = neighGen_;
  if (phase_ != Phase::live) return;
  if (auto const* a = appliedOf(n.ifindex); a && (!e.inAgent || e.agentMac != e.mac)) doArpAdd(k, e, *a);
}

void KernelNetlinkSource::doFlush() {
  if (phase_ == Phase::live && namesDirty_) doReconcileAll();
}

// ---------------------------------------------------------------------------
// The agent.

KernelNetlinkSource::Applied const* KernelNetlinkSource::appliedOf(uint32_t ifindex) const {
  auto it = linkState_.find(ifindex);
  if (it == linkState_.end() || it->second.applied.intf.isNone()) return nullptr;
  return &it->second.applied;
}

void KernelNetlinkSource::doReconcileAll() {
  namesDirty_ = false;
  auto tables = map_->tableVrfs();
  map_->doName();
  if (tablesChanged_ && map_->tableVrfs() != tables) tablesChanged_();
  vlanIntfs_.reset();
  for (uint32_t ifindex : map_->ifindexes()) {
    auto const* l = map_->link(ifindex);
    if (l->role == KernelIntfMap::Role::interface && l->intf.isVlan()) vlanIntfs_.set(l->intf.vlanId());
  }
  if (!defaultRouting_)
    defaultRouting_ = doCall([&] { agent_->module<VrfModule>().routingIs(defaultVrf(), true, true, true); },
                             [] { return std::string("VRF default"); });
  // VRFs before the interfaces that go in them.
  for (auto& [name, v] : vrfs_) v.seen = false;
  for (uint32_t ifindex : map_->ifindexes()) {
    auto const* l = map_->link(ifindex);
    if (l->role != KernelIntfMap::Role::vrf) continue;
    auto [it, added] = vrfs_.try_emplace(l->name);
    it->second.seen = true;
    if (!added) continue;
    Kor::VrfName vrf(l->name);
    auto what = [&] { return "VRF device " + linkText(ifindex); };
    it->second.announced = doCall([&] { agent_->module<VrfModule>().vrfAdd(vrf); }, what) &&
                           doCall([&] { agent_->module<VrfModule>().routingIs(vrf, true, true, true); }, what);
  }
  // Interfaces that go or change their id, VRF or routed flag leave first,
  // so an id another link takes over is free in the agent.
  std::vector<uint32_t> known;
  known.reserve(linkState_.size());
  for (auto const& [ifindex, st] : linkState_) known.push_back(ifindex);
  std::sort(known.begin(), known.end());
  for (uint32_t ifindex : known) {
    auto& st = linkState_.find(ifindex)->second;
    doRemoveIfChanged(ifindex, st, desired(ifindex, st));
  }
  for (uint32_t ifindex : map_->ifindexes()) doReconcileLink(ifindex);
  // Links the kernel no longer has: their addresses and neighbours go too.
  bool gone = false;
  for (uint32_t ifindex : known) {
    if (map_->link(ifindex)) continue;
    auto& st = linkState_.find(ifindex)->second;
    doReleaseVlan(st);
    linkState_.erase(ifindex);
    gone = true;
  }
  if (gone) {
    std::vector<NeighKey> orphans;
    for (auto const& [k, n] : neighs_)
      if (!map_->link(k.ifindex)) orphans.push_back(k);
    for (auto const& k : orphans) neighs_.erase(k);
  }
  for (auto it = vrfs_.begin(); it != vrfs_.end();) {
    if (it->second.seen) {
      ++it;
      continue;
    }
    Kor::VrfName vrf(it->first);
    if (it->second.announced) doCall([&] { agent_->module<VrfModule>().vrfDel(vrf); }, [&] { return "VRF " + vrf.str(); });
    it = vrfs_.erase(it);
  }
  // Neighbours seen while the agent was not told (a sync).
  for (auto& [k, n] : neighs_) {
    auto const* a = appliedOf(k.ifindex);
    if (a && (!n.inAgent || n.agentMac != n.mac)) doArpAdd(k, n, *a);
  }
}

KernelNetlinkSource::Applied KernelNetlinkSource::desired(uint32_t ifindex, LinkState& st) {
  Applied d;
  auto const* l = map_->link(ifindex);
  if (!l || l->role != KernelIntfMap::Role::interface) return d;
  d.intf = l->intf;
  d.vrf = map_->vrfOf(ifindex);
  d.up = l->up;
  bool addressed = std::any_of(st.addrs.begin(), st.addrs.end(), [](Addr const& a) { return routable(a.addr); });
  d.routed = addressed && !d.intf.isVlan() && !map_->isPortOfMaster(ifindex);
  if (d.intf.isVlan()) {
    d.vlan = d.intf.vlanId();
  } else if (d.routed) {
    if (st.internalVlan && vlanIntfs_.test(st.internalVlan)) doReleaseVlan(st);
    if (!st.internalVlan) st.internalVlan = doAllocVlan();
    d.vlan = st.internalVlan;
    if (!d.vlan) {
      // Routed again once a VLAN is free (the next reconcile).
      d.routed = false;
      doRefuse(linkText(ifindex) + ": no internal VLAN left for a routed interface");
    }
  }
  if (!d.routed) doReleaseVlan(st);
  return d;
}

void KernelNetlinkSource::doRemoveIfChanged(uint32_t ifindex, LinkState& st, Applied const& d) {
  Applied& a = st.applied;
  if (a.intf.isNone()) return;
  if (!d.intf.isNone() && a.intf == d.intf && a.vrf == d.vrf && a.routed == d.routed) return;
  doWithdrawNeighs(ifindex, a);
  Nollo::IntfId intf = a.intf;
  // Gone from the agent either way: a refusal means it was not there.
  a = Applied();
  doCall([&] { agent_->module<IntfModule>().intfDel(intf); }, [&] { return linkText(ifindex); });
}

void KernelNetlinkSource::doReconcileLink(uint32_t ifindex) {
  auto& st = linkState_[ifindex];
  Applied d = desired(ifindex, st);
  doRemoveIfChanged(ifindex, st, d);
  if (d.intf.isNone()) return;
  Applied& a = st.applied;
  if (a.intf.isNone()) {
    if (st.refused == d) return;
    std::optional<Kor::VlanId> vlan;
    if (d.vlan) vlan = Kor::VlanId(d.vlan);
    if (!doCall([&] { agent_->module<IntfModule>().intfAdd(d.intf, d.vrf, vlan, d.routed, d.up); }, [&] { return linkText(ifindex); })) {
      st.refused = d;
      return;
    }
    st.refused.reset();
    a = d;
    doApplyNeighs(ifindex, a);
    return;
  }
  if (a.vlan != d.vlan) {
    std::optional<Kor::VlanId> vlan;
    if (d.vlan) vlan = Kor::VlanId(d.vlan);
    if (doCall([&] { agent_->module<IntfModule>().intfVlanIs(a.intf, vlan); }, [&] { return linkText(ifindex); })) a.vlan = d.vlan;
  }
  if (a.up != d.up && doCall([&] { agent_->module<IntfModule>().intfLinkIs(a.intf, d.up); }, [&] { return linkText(ifindex); }))
    a.up = d.up;
}

uint16_t KernelNetlinkSource::doAllocVlan() {
  for (uint16_t v = kInternalVlanFirst; v <= kInternalVlanLast; ++v) {
    if (internalVlans_.test(v) || vlanIntfs_.test(v)) continue;
    internalVlans_.set(v);
    return v;
  }
  return 0;
}

void KernelNetlinkSource::doReleaseVlan(LinkState& st) {
  if (!st.internalVlan) return;
  internalVlans_.reset(st.internalVlan);
  st.internalVlan = 0;
}

void KernelNetlinkSource::doWithdrawNeighs(uint32_t ifindex, Applied const& a) {
  for (auto& [k, n] : neighs_)
    if (k.ifindex == ifindex && n.inAgent) doArpDel(k, n, a);
}

void KernelNetlinkSource::doApplyNeighs(uint32_t ifindex, Applied const& a) {
  for (auto& [k, n] : neighs_)
    if (k.ifindex == ifindex && (!n.inAgent || n.agentMac != n.mac)) doArpAdd(k, n, a);
}

void KernelNetlinkSource::doArpAdd(NeighKey const& k, Neigh& n, Applied const& a) {
  Kor::VrfName const& vrf = a.vrf ? *a.vrf : defaultVrf();
  if (!doCall([&] { agent_->module<NeighbourModule>().arpAdd(vrf, k.addr, n.mac, a.intf); },
              [&] { return "neighbour " + k.addr.str() + " on " + linkText(k.ifindex); }))
    return;
  n.inAgent = true;
  n.agentMac = n.mac;
}

void KernelNetlinkSource::doArpDel(NeighKey const& k, Neigh& n, Applied const& a) {
  Kor::VrfName const& vrf = a.vrf ? *a.vrf : defaultVrf();
  n.inAgent = false;
  doCall([&] { agent_->module<NeighbourModule>().arpDel(vrf, k.addr, a.intf); },
         [&] { return "neighbour " + k.addr.str() + " on " + linkText(k.ifindex); });
}

template <class Call, class What>
bool KernelNetlinkSource::doCall(Call&& call, What&& what) {
  try {
    call();
  } catch (std::exception const& e) {
    doRefuse(what() + ": " + e.what());
    return false;
  }
  ++counters_.agentCalls;
  return true;
}

void KernelNetlinkSource::doRefuse(std::string text) {
  ++counters_.refused;
  KERNEL_OBJECT_REFUSED.raise(agent_->loop()->now(), text.c_str());
  errors_.push_back(std::move(text));
  if (errors_.size() > kErrorsKept) errors_.pop_front();
}

std::string KernelNetlinkSource::linkText(uint32_t ifindex) const {
  auto const* name = map_->nameOf(ifindex);
  return "link '" + (name ? *name : std::string("?")) + "' (ifindex " + std::to_string(ifindex) + ")";
}

size_t KernelNetlinkSource::neighsInAgent() const {
  size_t n = 0;
  for (auto const& [k, e] : neighs_) n += e.inAgent;
  return n;
}

// ---------------------------------------------------------------------------
// Output.

std::string KernelNetlinkSource::show(bool json) const {
  std::ostringstream os;
  auto const& c = counters_;
  std::pair<char const*, uint64_t> const counters[] = {
      {"datagrams", c.datagrams},   {"links", c.links},
      {"addresses", c.addrs},       {"neighbours", c.neighs},
      {"decodeErrors", c.decodeErrors}, {"refused", c.refused},
      {"agentCalls", c.agentCalls}, {"dumps", c.dumps},
      {"dumpsInterrupted", c.dumpsInterrupted}, {"dumpErrors", c.dumpErrors},
      {"overruns", c.overruns},     {"syncs", c.syncs},
      {"foreign", c.foreign}};
  std::string state = synced() ? "synced" : phase_ == Phase::live ? "live" : std::string("dumping ") + phaseName(phase_);
  auto linkRow = [&](uint32_t ifindex, bool asJson) {
    auto const* l = map_->link(ifindex);
    auto it = linkState_.find(ifindex);
    LinkState const* st = it == linkState_.end() ? nullptr : &it->second;
    size_t addrs = st ? st->addrs.size() : 0;
    Applied const* a = st && !st->applied.intf.isNone() ? &st->applied : nullptr;
    std::ostringstream r;
    if (asJson) {
      r << "{\"ifindex\": " << ifindex << ", \"name\": " << js(l->name) << ", \"kind\": " << js(l->kind)
        << ", \"role\": " << js(KernelIntfMap::roleName(l->role));
      if (l->role == KernelIntfMap::Role::interface) r << ", \"intf\": " << js(l->intf.str());
      if (l->role == KernelIntfMap::Role::vrf) r << ", \"table\": " << l->vrfTable;
      if (l->other) r << ", \"other\": " << l->other;
      r << ", \"up\": " << (l->up ? "true" : "false") << ", \"addresses\": " << addrs
        << ", \"inAgent\": " << (a ? "true" : "false");
      if (a) {
        r << ", \"vrf\": " << js(a->vrf ? a->vrf->str() : std::string("default")) << ", \"vlan\": " << a->vlan
          << ", \"routed\": " << (a->routed ? "true" : "false");
      }
      r << "}";
      return r.str();
    }
    r << "    " << ifindex << " " << l->name;
    if (!l->kind.empty()) r << " (" << l->kind << ")";
    switch (l->role) {
      case KernelIntfMap::Role::interface: r << ": " << l->intf.str(); break;
      case KernelIntfMap::Role::vrf: r << ": vrf " << l->name << " table " << l->vrfTable; break;
      case KernelIntfMap::Role::clash: r << ": clash, id held by ifindex " << l->other; break;
      case KernelIntfMap::Role::waiting: r << ": waiting for ifindex " << l->other; break;
      default: r << ": " << KernelIntfMap::roleName(l->role); break;
    }
    if (a) {
      r << " vrf " << (a->vrf ? a->vrf->str() : std::string("default"));
      if (a->vlan) r << " vlan " << a->vlan;
      if (a->routed) r << " routed";
    } else if (l->role == KernelIntfMap::Role::interface) {
      r << " not in agent";
    }
    if (l->role == KernelIntfMap::Role::interface) r << (l->up ? " up" : " down");
    if (addrs) r << " addresses " << addrs;
    r << "\n";
    return r.str();
  };
  if (json) {
    os << "{\"state\": " << js(state) << ", \"links\": [";
    bool first = true;
    for (uint32_t ifindex : map_->ifindexes()) {
      os << (first ? "" : ", ") << linkRow(ifindex, true);
      first = false;
    }
    os << "], \"vrfs\": [";
    first = true;
    for (auto const& [name, v] : vrfs_) {
      if (!v.announced) continue;
      os << (first ? "" : ", ") << js(name);
      first = false;
    }
    os << "], \"neighbours\": " << neighs_.size() << ", \"neighboursInAgent\": " << neighsInAgent()
       << ", \"counters\": {";
    first = true;
    for (auto const& [name, v] : counters) {
      os << (first ? "" : ", ") << js(name) << ": " << v;
      first = false;
    }
    os << "}, \"errors\": [";
    first = true;
    for (auto const& e : errors_) {
      os << (first ? "" : ", ") << js(e);
      first = false;
    }
    os << "]}\n";
    return os.str();
  }
  os << "kernel: " << state << ", " << map_->ifindexes().size() << " links, " << neighs_.size() << " neighbours ("
     << neighsInAgent() << " in the agent)\n";
  os << "  links:" << (map_->ifindexes().empty() ? " none" : "") << "\n";
  for (uint32_t ifindex : map_->ifindexes()) os << linkRow(ifindex, false);
  os << "  vrfs:";
  if (vrfs_.empty()) os << " none";
  for (auto const& [name, v] : vrfs_) os << " " << name << (v.announced ? "" : " (refused)");
  os << "\n  counters:";
  for (auto const& [name, v] : counters) os << " " << name << " " << v;
  os << "\n  errors:" << (errors_.empty() ? " none" : "") << "\n";
  for (auto const& e : errors_) os << "    " << e << "\n";
  return os.str();
}

}  // namespace KorAgent
