#pragma once
// The Linux kernel's links, addresses and neighbours, read over rtnetlink and
// applied to the agent: VRF devices become VRFs, links interfaces, resolved
// neighbours ARP (IPv4) and neighbour (IPv6) entries.
//
// Owns the NETLINK_ROUTE socket (non-blocking, on the activity loop's
// descriptor watcher, joined to the link, IPv4/IPv6 address and neighbour
// groups), the sync state machine, and what it told the agent: per link the
// interface as added (id, VRF, VLAN, routed, up) and its addresses, every
// usable neighbour, the VRFs it announced, the internal VLANs of routed
// interfaces. Names come from the KernelIntfMap it feeds.
//
// Sync: links are dumped, then addresses, then neighbours, one dump at a
// time; NLMSG_DONE ends each, a dump flagged NLM_F_DUMP_INTR is done again,
// one the kernel refuses is retried after kDumpRetry. Events that arrive
// meanwhile update the state too. Nothing reaches the agent until the three
// dumps are done; then whatever the dumps did not show is dropped and the
// agent is reconciled with the state. Lost events (ENOBUFS, a truncated
// datagram) start the dumps again, after the one under way.
//
// Invariants: the agent sees only changes (a repeated NEWLINK or NEWNEIGH
// calls nothing); an interface whose id, VRF or routed flag changes is
// deleted and added again, its neighbours withdrawn before and applied after;
// a neighbour is in the agent only while its link's interface is. A link
// with a (non link-local) address that is no VLAN interface and not enslaved
// to a bridge or bond is a routed interface and gets an internal VLAN from
// kInternalVlanFirst up, skipping the VLANs of VLAN interfaces. The default
// VRF is the kernel's main table: its routing is switched on at the first
// reconcile, as a VRF device's is when it is announced. An object the
// map or the agent refuses is logged with the kernel object named, counted,
// and tried again when the kernel changes it; it never stops the rest.
//
// Fed by the kernel (datagrams through handleDatagram) or by tests (decoded
// records through handleLink/handleAddr/handleNeigh, the same path).
#include <bitset>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/Agent.h"
#include "agent/KernelIntfMap.h"
#include "feeds/NetlinkDecoder.h"
#include "feeds/NlAddr.h"
#include "feeds/NlLink.h"
#include "feeds/NlNeigh.h"
#include "vix/Clock.h"
#include "vix/HashMap.h"

namespace KorAgent {

class KernelNetlinkSource {
 public:
  // Where dump requests go: the socket, or a test standing in for the kernel.
  using RequestSink = std::function<bool(std::span<uint8_t const> request)>;
  enum class Phase : uint8_t { live, links, addrs, neighs };
  static char const* phaseName(Phase p);

  static constexpr uint16_t kInternalVlanFirst = 1006;
  static constexpr uint16_t kInternalVlanLast = 4094;
  static constexpr Vix::Seconds kDumpRetry = 1.0;
  static constexpr int kReceiveBuffer = 8 << 20;

  struct Counters {
    uint64_t datagrams = 0;
    uint64_t links = 0, addrs = 0, neighs = 0;  // decoded records applied to the state
    uint64_t decodeErrors = 0;  // messages the decoder skipped
    uint64_t refused = 0;       // objects the map or the agent refused
    uint64_t agentCalls = 0;    // changes the agent accepted
    uint64_t dumps = 0, dumpsInterrupted = 0, dumpErrors = 0;
    uint64_t overruns = 0;  // events lost: ENOBUFS or a truncated datagram
    uint64_t syncs = 0;     // dump rounds completed
    uint64_t foreign = 0;   // datagrams not from the kernel, dropped
  };

  KernelNetlinkSource(Agent* agent, KernelIntfMap* map);
  KernelNetlinkSource(KernelNetlinkSource const&) = delete;
  KernelNetlinkSource& operator=(KernelNetlinkSource const&) = delete;
  ~KernelNetlinkSource();

  // Opens the socket in the calling thread's network namespace and starts
  // the dumps. False with errorText() set when it cannot.
  bool open();
  std::string const& errorText() const { return errorText_; }
  // The socket's receive buffer (before or after open()).
  void receiveBufferIs(int bytes);
  void requestSinkIs(RequestSink sink) { sink_ = std::move(sink); }
  // Told when the kernel's table -> VRF map changed (a VRF device took,
  // left or moved a table): a route source that caches its table lookups
  // (FpmRouteSource::handleTablesChanged) asks again.
  void tablesChangedHandlerIs(std::function<void()> fn) { tablesChanged_ = std::move(fn); }

  // Starts the dumps again from links.
  void doSync();
  // Whole netlink messages from the kernel, as one datagram.
  void handleDatagram(std::span<uint8_t const> buf);
  // The kernel dropped events for this socket.
  void handleOverrun();
  void handleLink(KorFeeds::NlLink const& l);
  void handleAddr(KorFeeds::NlAddr const& a);
  void handleNeigh(KorFeeds::NlNeigh const& n);

  Phase phase() const { return phase_; }
  // The dumps completed at least once and none is under way.
  bool synced() const { return phase_ == Phase::live && counters_.syncs > 0; }
  Counters const& counters() const { return counters_; }
  size_t neighCount() const { return neighs_.size(); }
  size_t neighsInAgent() const;
  // The last refusals and failures, oldest first.
  std::deque<std::string> const& errors() const { return errors_; }
  std::string show(bool json) const;

 private:
  struct Applied {
    Nollo::IntfId intf;  // none: not in the agent
    std::optional<Kor::VrfName> vrf;
    uint16_t vlan = 0;
    bool routed = false;
    bool up = false;
    bool operator==(Applied const&) const = default;
  };
  struct Addr {
    Nollo::IpGenAddr addr;
    uint8_t prefixLen = 0;
    uint32_t gen = 0;
  };
  struct LinkState {
    std::vector<Addr> addrs;
    Applied applied;
    uint16_t internalVlan = 0;
    uint32_t gen = 0;
    // What the agent refused last; asked again only for something else.
    std::optional<Applied> refused;
  };
  struct NeighKey {
    uint32_t ifindex = 0;
    Nollo::IpGenAddr addr;
    bool operator==(NeighKey const&) const = default;
  };
  struct NeighKeyHash {
    size_t operator()(NeighKey const& k) const noexcept {
      return std::hash<Nollo::IpGenAddr>()(k.addr) * 31 + k.ifindex;
    }
  };
  struct Neigh {
    Nollo::EthAddr mac;
    Nollo::EthAddr agentMac;  // what the agent holds, when inAgent
    bool inAgent = false;
    uint32_t gen = 0;
  };

  void handleReadable();
  void doRequestDump();
  void doDumpDone();
  void doDropUnseen();
  void doLink(KorFeeds::NlLink const& l);
  void doAddr(KorFeeds::NlAddr const& a);
  void doNeigh(KorFeeds::NlNeigh const& n);
  void doFlush();
  void doReconcileAll();
  // The interface a link should be in the agent as (intf none: not at all).
  Applied desired(uint32_t ifindex, LinkState& st);
  // Deletes the link's interface from the agent when it should go or be
  // added again; then adds or updates it.
  void doRemoveIfChanged(uint32_t ifindex, LinkState& st, Applied const& d);
  void doReconcileLink(uint32_t ifindex);
  void doWithdrawNeighs(uint32_t ifindex, Applied const& a);
  void doApplyNeighs(uint32_t ifindex, Applied const& a);
  void doArpAdd(NeighKey const& k, Neigh& n, Applied const& a);
  void doArpDel(NeighKey const& k, Neigh& n, Applied const& a);
  uint16_t doAllocVlan();
  void doReleaseVlan(LinkState& st);
  // Runs one agent input; a refusal is logged naming `what()`, counted, false.
  template <class Call, class What>
  bool doCall(Call&& call, What&& what);
  void doRefuse(std::string text);
  std::string linkText(uint32_t ifindex) const;
  Applied const* appliedOf(uint32_t ifindex) const;

  Agent* agent_;
  KernelIntfMap* map_;
  KorFeeds::NetlinkDecoder decoder_;
  RequestSink sink_;
  std::function<void()> tablesChanged_;
  int fd_ = -1;
  uint32_t portId_ = 0;
  int rcvBuf_ = kReceiveBuffer;
  std::vector<uint8_t> rxBuf_;
  std::vector<uint8_t> request_;
  std::string errorText_;

  Phase phase_ = Phase::live;
  uint32_t dumpSeq_ = 0;
  bool dumpInterrupted_ = false;
  bool overrunPending_ = false;
  bool namesDirty_ = false;
  bool defaultRouting_ = false;
  uint32_t linkGen_ = 0, addrGen_ = 0, neighGen_ = 0;
  Vix::Clock retry_;

  Vix::HashMap<uint32_t, LinkState> linkState_;
  Vix::HashMap<NeighKey, Neigh, NeighKeyHash> neighs_;
  struct Vrf {
    bool announced = false;  // false: the agent refused it (asked again once the device is back)
    bool seen = false;       // in this reconcile
  };
  std::map<std::string, Vrf> vrfs_;  // by VRF device name
  std::bitset<4096> vlanIntfs_;       // VLANs of VLAN interfaces
  std::bitset<4096> internalVlans_;
  Counters counters_;
  std::deque<std::string> errors_;
};

}  // namespace KorAgent
