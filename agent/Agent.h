#pragma once
// The host agent: owns the activity loop, the software chip, every input
// entity the library watches (the models of the other agents and the Quill
// tables), and the library's objects, which it creates through the exported
// factories in the documented order (common data first, then the VRF root).
//
// Invariants: inputs and the chip outlive the library objects; restart()
// destroys only the library objects and creates them again over the same
// inputs and chip. The chip's route resolver lives exactly as long as one
// run of the library: detached before the library goes, created again
// before the new one starts, so what a restart empties in the L3 status
// never reaches the chip. Every input operation is all-or-nothing: it
// checks first and throws std::invalid_argument without changing anything,
// so the scenario runner can report a bad line and go on.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "kor/common/KorPortList.h"
#include "kor/common/VlanId.h"
#include "kor/common/VrfName.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"
#include "models/routing/hardware/AdjSharing.h"
#include "nollo/IpPrefix.h"
#include "quill/FecType.h"
#include "quill/RouteStatus.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "agent/TraceTee.h"
#include "vix/Trace.h"

namespace Kor {
class KorCommonSmData;
class L2AdjHelper;
class L3Status;
class VrfRoot;
class VrfRootSm;
}  // namespace Kor

namespace KorAgent {

class AgentInputs;
class AgentShows;

class Agent {
 public:
  using Prefix = std::variant<Nollo::IpPrefix, Nollo::Ip6Prefix>;
  struct Via {
    Nollo::IpGenAddr hop;
    Nollo::IntfId intf;
    uint16_t vlan = 0;  // 0: none
    std::vector<uint32_t> labels;
    bool backup = false;
    uint32_t weight = 1;  // ECMP weight, at least 1
    bool operator==(Via const&) const = default;
  };
  static constexpr uint32_t kMaxMplsLabel = 1048575;
  // FEC ids the route sources (FPM) hand out start here; scenario FEC ids
  // stay below it, so the two never collide.
  static constexpr uint64_t kRouteSourceFecBase = uint64_t(1) << 48;

  explicit Agent(Vix::Ptr<Vix::TimeSource> ts);
  Agent(Agent const&) = delete;
  Agent& operator=(Agent const&) = delete;
  ~Agent();

  Vix::ActivityLoop* loop() const { return loop_.ptr(); }
  SoftChip::SoftChip* chip() const { return chip_.ptr(); }
  bool initialized() const { return initialized_; }
  Kor::L3Status const* l3Status() const;
  Kor::VrfRootSm* vrfRootSm() const { return vrfRootSm_.ptr(); }
  Kor::L2AdjHelper* l2AdjHelper() const { return l2AdjHelper_.ptr(); }
  // How the agent ends when the library asks it to (a change of the
  // adjacency sharing mode): std::exit by default.
  void exitFnIs(std::function<void(int)> fn) { exitFn_ = std::move(fn); }
  // The agent is a daemon: its loop runs on real time by itself and it is
  // asked over the command channel. Then `run` statements are refused (the
  // handler of a request must never run the loop it is called from), the
  // traces and log records kept for the next answer are bounded
  // (kDaemonKept each, the rest counted as dropped), and when the library
  // asks to exit it is restarted in process instead, from the loop once its
  // callback has returned (this replaces the exit function).
  void daemonIs(bool on);
  bool daemon() const { return daemon_; }
  static constexpr size_t kDaemonKept = 10000;

  // Inputs.
  void vrfAdd(Kor::VrfName const& name);
  void vrfDel(Kor::VrfName const& name);
  void vrfReplace(Kor::VrfName const& name);
  void maxVrfsIs(uint32_t n);
  // IPv4 / IPv6 routing of a VRF (announced VRFs start with both on, the
  // default VRF with both off).
  void routingIs(Kor::VrfName const& name, bool v4, bool v6, bool on);
  static bool knobKnown(std::string const& name);
  static bool knobIsInteger(std::string const& name);
  // A knob's value before any `set` (0 for an unknown one).
  static double knobDefault(std::string const& name);
  void knobIs(std::string const& name, double value);
  void fastBootIs(bool on);
  // The configuration file (kor-agent --config): fn re-reads it, applies
  // what changed and answers what it did; reload() runs it (the `reload`
  // statement), and is refused without one.
  void reloadFnIs(std::function<std::string()> fn) { reloadFn_ = std::move(fn); }
  std::string reload();
  // A new interface is up; `routed` marks a routed port.
  void intfAdd(Nollo::IntfId const& intf, std::optional<Kor::VrfName> const& vrf,
               std::optional<Kor::VlanId> const& vlan, bool routed = false, bool up = true);
  void intfDel(Nollo::IntfId const& intf);
  void intfLinkIs(Nollo::IntfId const& intf, bool up);
  void intfVlanIs(Nollo::IntfId const& intf, std::optional<Kor::VlanId> const& vlan);
  // LAG membership: ports join or leave a port channel.
  void lagAdd(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports);
  void lagDel(Nollo::IntfId const& lag, std::vector<Nollo::IntfId> const& ports);
  // The MAC table: add needs a new MAC, move and del an existing one.
  void macAdd(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf);
  void macMove(Kor::VlanId vlan, Nollo::EthAddr const& mac, Nollo::IntfId const& intf);
  void macDel(Kor::VlanId vlan, Nollo::EthAddr const& mac);
  // The hardware: its ECMP limit and the configured sharing mode.
  void maxEcmpIs(uint32_t n);
  void adjSharingIs(Routing::Hardware::AdjSharing mode);
  // The IPv6 prefix lengths (in bits: multiples of 4 in 48..112) the
  // hardware keeps in its exact-match route table; empty: none.
  void exactMatchLengthsIs(std::vector<uint32_t> const& bits);
  // An environment variable of the agent process (none: unset).
  static void envIs(std::string const& name, std::optional<std::string> const& value);
  // After a change of the chip's fault rules or capacities: the platform
  // re-reads whether it can take adjacencies again.
  void chipRulesChanged();
  void arpAdd(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::EthAddr const& mac,
              Nollo::IntfId const& intf);
  void arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip);
  // The entry of the address on one interface only, found by its key (the
  // kernel source deletes its neighbours so, one lookup each).
  void arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::IntfId const& intf);
  // A FEC in the FIB FEC table of a VRF (IPv4 or IPv6 by its next hops).
  // forward: one via or more; attached (a connected subnet): one via, the
  // interface, with a zero address; drop: no via, the family from `v6`.
  void fecAdd(uint64_t id, std::vector<Via> const& vias, Kor::VrfName const& vrf = Kor::VrfName("default"),
              Quill::Fib::FecType type = Quill::Fib::FecType::forward, bool v6 = false);
  // New vias (and type) for an existing FEC (same VRF and address family).
  void fecUpdate(uint64_t id, std::vector<Via> const& vias,
                 Quill::Fib::FecType type = Quill::Fib::FecType::forward);
  void fecDel(uint64_t id);
  void routeAdd(Kor::VrfName const& vrf, Prefix const& prefix, uint64_t fecId);
  void routeDel(Kor::VrfName const& vrf, Prefix const& prefix);
  // The VRF's route table of the shared-memory FIB, for a routing agent that
  // writes it directly (benchmarks): no checks, as the routing agent's own
  // writes have none.
  Vix::Ptr<Quill::Fib::RouteStatus> fibRoutes4(Kor::VrfName const& vrf);
  Vix::Ptr<Quill::Fib6::RouteStatus> fibRoutes6(Kor::VrfName const& vrf);
  // Trace levels of one main state machine (a TractoLevels field such as
  // korVrfRootSm); from then on the library's traces appear in the output.
  void traceIs(std::string const& field, std::string const& levels);

  // Life.
  void init();
  // Destroys the library and creates it again over the same inputs and chip;
  // whileDown changes inputs in between (as other agents may while this one
  // is down).
  void restart(std::function<void()> const& whileDown = {});
  // Both refuse (std::invalid_argument) to carry the clock past
  // kClockHorizon; runUntilIdle stops after kIdleLimit of loop time.
  static constexpr Vix::Seconds kClockHorizon = 1e9;
  static constexpr Vix::Seconds kIdleLimit = 3600.0;
  void runFor(Vix::Seconds d);
  bool runUntilIdle();

  // Output.
  static bool showKnown(std::string const& what);
  std::string show(std::string const& what, bool json) const;
  // A show answered by a route source main wired in ("fpm"); a null fn
  // removes it. Without one, the show says the source is not running.
  void showSourceIs(std::string const& what, std::function<std::string(bool json)> fn);
  // The chip route a packet to `addr` in the VRF takes.
  std::string showRouteLookup(Kor::VrfName const& vrf, Nollo::IpGenAddr const& addr, bool json) const;
  // The VRF root's command channel ("FR4 a", "SR4u a", ...); fd is the
  // client's socket, -1 for a scenario.
  std::string command(int fd, std::string const& text);
  // Line lineNo of a request from the socket: a command code goes to the
  // command channel, anything else runs as a scenario statement. A bad line
  // is answered "line N: <message>".
  std::string channel(int fd, std::string const& line, size_t lineNo = 1);
  // Log events and traces captured since the last call, one per line.
  void drainEvents(std::ostream& out);

  // Library traces also to standard error (kor-agent --trace).
  static void traceToStderrIs(bool on);

 private:
  // Renders the shows from the inputs, the library's objects and the chip.
  friend class AgentShows;
  void doCreateLibrary();
  void doDestroyLibrary();
  void doStartLibrary();
  void doCreateVrfRoot();
  void doDropRunOutputs();
  void doRestartForLibrary();
  void doApplyLags();
  template <class AF>
  void doWriteFec(Kor::VrfName const& vrf, uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type);
  void doCheckVias(uint64_t id, std::vector<Via> const& vias, Quill::Fib::FecType type);
  void doDestroyVrfRoot();
  void doCheckHorizon(Vix::Seconds d) const;
  void doApplyKnobs();
  void doAnnounce(Kor::VrfName const& name);
  uint32_t arpVrfId(Kor::VrfName const& name);

  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  AgentInputs* in_;
  Vix::Ptr<Vix::MemoryLogSink> logs_;
  Vix::Ptr<TraceTee> traces_;
  size_t logsShown_ = 0;

  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Kor::L2AdjHelper> l2AdjHelper_;
  Vix::Ptr<Kor::VrfRootSm> vrfRootSm_;
  std::function<void(int)> exitFn_;
  bool initialized_ = false;
  uint32_t restarts_ = 0;
  std::map<std::string, std::function<std::string(bool)>> showSources_;
  std::function<std::string()> reloadFn_;
  bool daemon_ = false;
  // The restart a daemon owes the library that asked to exit.
  Vix::Clock libraryRestart_;
};

}  // namespace KorAgent
