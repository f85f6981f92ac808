#pragma once
// The host agent: owns the activity loop, the software chip, the L3 status
// (the library's shared record, kept across restarts), the common data the
// library's factories all take, and the list of its subsystem modules
// (AgentModule), which own the rest: their input entities and operations,
// their part of the library's creation, their statements and shows.
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
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/AgentModule.h"
#include "agent/StatementTable.h"
#include "agent/TraceTee.h"
#include "kor/common/TractoLevels.h"
#include "softchip/SoftChip.h"
#include "vix/ActivityLoop.h"
#include "vix/Log.h"
#include "vix/Trace.h"

namespace Kor {
class KorCommonSmData;
class L2AdjHelper;
class L3Status;
class VrfRootSm;
}  // namespace Kor

namespace KorAgent {

class ConfigSection;

class Agent {
 public:
  explicit Agent(Vix::Ptr<Vix::TimeSource> ts);
  Agent(Agent const&) = delete;
  Agent& operator=(Agent const&) = delete;
  ~Agent();

  Vix::ActivityLoop* loop() const { return loop_.ptr(); }
  SoftChip::SoftChip* chip() const { return chip_.ptr(); }
  // Written by the library; kept across restarts like the state database.
  Vix::Ptr<Kor::L3Status> const& l3StatusPtr() const { return l3Status_; }
  // The common data of the current run of the library.
  Kor::KorCommonSmData* commonData() const { return acsd_.ptr(); }
  Vix::Ptr<Kor::KorCommonSmData> const& commonDataPtr() const { return acsd_; }
  bool initialized() const { return initialized_; }
  uint32_t restarts() const { return restarts_; }
  Kor::L3Status const* l3Status() const;
  Kor::VrfRootSm* vrfRootSm() const;
  Kor::L2AdjHelper* l2AdjHelper() const;

  // The module of type M (every agent has each listed module once).
  // Route sources and modules ask per input: a found module is remembered
  // under a key per type, so later lookups compare pointers only.
  template <class M>
  M& module() const {
    static char const key = 0;
    for (auto const& [k, m] : found_)
      if (k == &key) return *static_cast<M*>(m);
    for (auto const& m : modules_)
      if (auto* p = dynamic_cast<M*>(m.get())) {
        found_.emplace_back(&key, p);
        return *p;
      }
    throw std::logic_error("no such agent module");
  }
  std::vector<std::unique_ptr<AgentModule>> const& modules() const { return modules_; }
  StatementTable const& statements() const { return statements_; }

  // How the agent ends when the library asks it to (a change of the
  // adjacency sharing mode): std::exit by default.
  void exitFnIs(std::function<void(int)> fn) { exitFn_ = std::move(fn); }
  void doExit(int status) { exitFn_(status); }
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

  // Settings of the common data, kept across restarts.
  void fastBootIs(bool on);
  // The configuration file (kor-agent --config): its sections, new and
  // empty, from every module; fn re-reads the file, applies what changed
  // and answers what it did; reload() runs it (the `reload` statement), and
  // is refused without one.
  std::vector<std::unique_ptr<ConfigSection>> newConfigSections() const;
  void reloadFnIs(std::function<std::string()> fn) { reloadFn_ = std::move(fn); }
  std::string reload();
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
  // True when no timer is left armed (runUntilSettled said idle).
  bool runUntilIdle();
  // How a run until idle ended: idle (no timer armed); settled (what still
  // runs are retries that cannot succeed until something changes: for
  // kSettleWindow of loop time neither the chip nor what waits changed, see
  // IdleWatch); busy (kIdleLimit passed with work still going on).
  enum class IdleOutcome { idle, settled, busy };
  static constexpr Vix::Seconds kSettleWindow = 120.0;
  // waiting (when given) receives what still waits, one line each, unless idle.
  IdleOutcome runUntilSettled(std::vector<std::string>* waiting = nullptr);

  // Output. Every show is registered by a module under its name.
  using ShowFn = std::function<std::string(bool json)>;
  void showAdd(std::string const& what, ShowFn fn);
  bool showKnown(std::string const& what) const;
  std::vector<std::string> showNames() const;
  std::string show(std::string const& what, bool json) const;
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
  void doListModules();
  void doCreateLibrary();
  void doDestroyLibrary();
  void doStartLibrary();
  void doDropRunOutputs();
  void doRestartForLibrary();
  void doCheckHorizon(Vix::Seconds d) const;

  Vix::Ptr<Vix::ActivityLoop> loop_;
  Vix::Ptr<SoftChip::SoftChip> chip_;
  Vix::Ptr<Kor::L3Status> l3Status_;
  Vix::Ptr<Vix::MemoryLogSink> logs_;
  Vix::Ptr<TraceTee> traces_;
  size_t logsShown_ = 0;

  Vix::Ptr<Kor::KorCommonSmData> acsd_;
  bool fastBoot_ = false;
  // Trace levels the scenario set; applied again after a restart.
  std::optional<Kor::TractoLevels> tracto_;
  std::function<void(int)> exitFn_;
  bool initialized_ = false;
  uint32_t restarts_ = 0;
  std::vector<std::unique_ptr<AgentModule>> modules_;
  mutable std::vector<std::pair<void const*, AgentModule*>> found_;
  StatementTable statements_;
  std::function<std::string()> reloadFn_;
  std::vector<std::pair<std::string, ShowFn>> shows_;
  bool daemon_ = false;
  // The restart a daemon owes the library that asked to exit.
  Vix::Clock libraryRestart_;
};

}  // namespace KorAgent
