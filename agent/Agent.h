#pragma once
// The host agent: owns the activity loop, the software chip, every input
// entity the library watches (the models of the other agents and the Quill
// tables), and the library's objects, which it creates through the exported
// factories in the documented order (common data first, then the VRF root).
//
// Invariants: inputs and the chip outlive the library objects; restart()
// destroys only the library objects and creates them again over the same
// inputs and chip. Every input operation is all-or-nothing: it checks first
// and throws std::invalid_argument without changing anything, so the
// scenario runner can report a bad line and go on.
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "kor/common/VlanId.h"
#include "kor/common/VrfName.h"
#include "nollo/EthAddr.h"
#include "nollo/IntfId.h"
#include "nollo/IpGenAddr.h"
#include "nollo/IpPrefix.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "agent/TraceTee.h"
#include "vix/Trace.h"

namespace Kor {
class KorCommonSmData;
class L3Status;
class VrfRootSm;
}  // namespace Kor

namespace KorAgent {

class AgentInputs;

class Agent {
 public:
  using Prefix = std::variant<Nollo::IpPrefix, Nollo::Ip6Prefix>;
  struct Via {
    Nollo::IpGenAddr hop;
    Nollo::IntfId intf;
  };

  explicit Agent(Vix::Ptr<Vix::TimeSource> ts);
  Agent(Agent const&) = delete;
  Agent& operator=(Agent const&) = delete;
  ~Agent();

  Vix::ActivityLoop* loop() const { return loop_.ptr(); }
  SoftChip::SoftChip* chip() const { return chip_.ptr(); }
  bool initialized() const { return initialized_; }

  // Inputs.
  void vrfAdd(Kor::VrfName const& name);
  void vrfDel(Kor::VrfName const& name);
  void vrfReplace(Kor::VrfName const& name);
  void maxVrfsIs(uint32_t n);
  static bool knobKnown(std::string const& name);
  static bool knobIsInteger(std::string const& name);
  void knobIs(std::string const& name, double value);
  void fastBootIs(bool on);
  void intfAdd(Nollo::IntfId const& intf, std::optional<Kor::VrfName> const& vrf,
               std::optional<Kor::VlanId> const& vlan);
  void intfDel(Nollo::IntfId const& intf);
  void arpAdd(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip, Nollo::EthAddr const& mac,
              Nollo::IntfId const& intf);
  void arpDel(Kor::VrfName const& vrf, Nollo::IpGenAddr const& ip);
  void fecAdd(uint64_t id, std::vector<Via> const& vias);
  void fecDel(uint64_t id);
  void routeAdd(Kor::VrfName const& vrf, Prefix const& prefix, uint64_t fecId);
  void routeDel(Kor::VrfName const& vrf, Prefix const& prefix);
  // Trace levels of one main state machine (a TractoLevels field such as
  // korVrfRootSm); from then on the library's traces appear in the output.
  void traceIs(std::string const& field, std::string const& levels);

  // Life.
  void init();
  void restart();
  void runFor(Vix::Seconds d);
  bool runUntilIdle();

  // Output.
  static bool showKnown(std::string const& what);
  std::string show(std::string const& what, bool json) const;
  // The VRF root's command channel ("FR4 a", "SR4u a", ...); fd is the
  // client's socket, -1 for a scenario.
  std::string command(int fd, std::string const& text);
  // A line from the socket: a command code goes to the command channel,
  // anything else runs as a scenario statement.
  std::string channel(int fd, std::string const& line);
  // Log events and traces captured since the last call, one per line.
  void drainEvents(std::ostream& out);

  // Library traces also to standard error (kor-agent --trace).
  static void traceToStderrIs(bool on);

 private:
  void doCreateLibrary();
  void doDestroyLibrary();
  void doStartLibrary();
  void doCreateVrfRoot();
  void doDestroyVrfRoot();
  void doApplyKnobs();
  void doAnnounce(Kor::VrfName const& name);
  uint32_t arpVrfId(Kor::VrfName const& name);

  std::string showVrfs(bool json) const;
  std::string showL3(bool json) const;
  std::string showChip(bool json) const;
  std::string showInputs(bool json) const;

  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  AgentInputs* in_;
  Vix::Ptr<Vix::MemoryLogSink> logs_;
  Vix::Ptr<TraceTee> traces_;
  size_t logsShown_ = 0;

  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  Vix::Ptr<Kor::VrfRootSm> vrfRootSm_;
  bool initialized_ = false;
  uint32_t restarts_ = 0;
};

}  // namespace KorAgent
