#include "agent/Agent.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "agent/ScenarioRunner.h"
#include "agent/config/ConfigSection.h"
#include "agent/chip/ChipModule.h"
#include "agent/fib/FibModule.h"
#include "agent/nhg/NhgModule.h"
#include "agent/intf/IntfModule.h"
#include "agent/lag/LagModule.h"
#include "agent/mac/MacModule.h"
#include "agent/life/IdleWatch.h"
#include "agent/life/LifeModule.h"
#include "agent/neigh/NeighbourModule.h"
#include "agent/resil/ResilientModule.h"
#include "agent/source/RouteSourceModule.h"
#include "agent/stp/StpModule.h"
#include "agent/routing/RoutingInputsModule.h"
#include "agent/verify/VerifyModule.h"
#include "agent/vlan/VlanModule.h"
#include "agent/tunnel/TunnelModule.h"
#include "agent/nexthop/NexthopModule.h"
#include "agent/packet/PacketModule.h"
#include "agent/vrf/VrfModule.h"
#include "agent/xlate/XlateModule.h"
#include "kor/adj/L2AdjHelper.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"
#include "kor/l3/VrfRootSm.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

bool traceToStderr = false;

// A daemon's request is answered from inside its loop: running the loop from
// there would answer the same client again and recurse.
constexpr char kRunRefused[] = "run refused: the daemon's time is real and its loop runs by itself (run is for scenario files)";

bool isCommandCode(std::string const& word) {
  static char const* const codes[] = {"FR4", "FR6", "FF4", "FF6", "AR4", "AR6", "AA3", "AA2", "SR4u", "SR6u", "VER"};
  return std::any_of(std::begin(codes), std::end(codes), [&](char const* c) { return word == c; });
}

}  // namespace

Agent::Agent(Vix::Ptr<Vix::TimeSource> ts)
    : loop_(Vix::makePtr<Vix::ActivityLoop>(ts)),
      chip_(Vix::makePtr<SoftChip::SoftChip>()),
      l3Status_(Vix::makePtr<Kor::L3Status>("l3Status")),
      logs_(Vix::makePtr<Vix::MemoryLogSink>()),
      traces_(Vix::makePtr<TraceTee>()),
      exitFn_([](int status) {
        std::cout.flush();
        std::exit(status);
      }),
      libraryRestart_(loop_.ptr(), [this] { doRestartForLibrary(); }) {
  traces_->toStderrIs(traceToStderr);
  Vix::logSinkIs(logs_);
  Vix::traceSinkIs(traces_);
  // The chip's helpers read the L3 status the inputs keep across restarts.
  chip_->adj().softAdjSmHelper().l3StatusIs(l3Status_);
  chip_->l3().softVrfHelper().l3StatusIs(l3Status_);
  doListModules();
  for (auto const& m : modules_) {
    m->statementsAdd(statements_);
    m->showsAdd();
  }
  doCreateLibrary();
}

void Agent::doListModules() {
  // In the library's creation order: the LAG maps of the common data, the
  // L2 adjacency helper, the chip's route resolver, then the VRF root. The
  // statements and `help` follow this order too.
  modules_.push_back(std::make_unique<LifeModule>(this));
  modules_.push_back(std::make_unique<IntfModule>(this));
  modules_.push_back(std::make_unique<LagModule>(this));
  modules_.push_back(std::make_unique<NeighbourModule>(this));
  modules_.push_back(std::make_unique<ChipModule>(this));
  modules_.push_back(std::make_unique<FibModule>(this));
  modules_.push_back(std::make_unique<NhgModule>(this));
  modules_.push_back(std::make_unique<RoutingInputsModule>(this));
  modules_.push_back(std::make_unique<ResilientModule>(this));
  modules_.push_back(std::make_unique<VrfModule>(this));
  modules_.push_back(std::make_unique<RouteSourceModule>(this));
  modules_.push_back(std::make_unique<VerifyModule>(this));
  modules_.push_back(std::make_unique<TunnelModule>(this));
  modules_.push_back(std::make_unique<NexthopModule>(this));
  modules_.push_back(std::make_unique<VlanModule>(this));
  modules_.push_back(std::make_unique<XlateModule>(this));
  modules_.push_back(std::make_unique<StpModule>(this));
  modules_.push_back(std::make_unique<PacketModule>(this));
  modules_.push_back(std::make_unique<MacModule>(this));
}

Agent::~Agent() {
  doDestroyLibrary();
  modules_.clear();
  if (Vix::traceSink() == traces_.ptr()) Vix::traceSinkIs(nullptr);
  if (Vix::logSink() == logs_) Vix::logSinkIs(Vix::makePtr<Vix::StderrLogSink>());
}

void Agent::traceToStderrIs(bool on) { traceToStderr = on; }

// ---------------------------------------------------------------------------
// The library's objects.

Kor::L3Status const* Agent::l3Status() const { return l3Status_.ptr(); }
Kor::VrfRootSm* Agent::vrfRootSm() const { return module<VrfModule>().vrfRootSm(); }
Kor::L2AdjHelper* Agent::l2AdjHelper() const { return module<NeighbourModule>().l2AdjHelper(); }

void Agent::doCreateLibrary() {
  // The common data comes first: every other factory takes it.
  acsd_ = Kor::korCommonSmDataFactory("kor", loop_);
  acsd_->fbuFastBootIs(fastBoot_);
  if (tracto_) acsd_->tractoLevelsIs(*tracto_);
  for (auto const& m : modules_) m->doCreateHelpers();
  for (auto const& m : modules_) m->doCreateRoots();
}

void Agent::doDestroyLibrary() {
  // What must let go first (the chip's route resolver: whatever the dying
  // machines take out of the hand-over lists stays in the chip for the next
  // run to claim), then the modules in reverse order (the VRF root before
  // the adjacency helper its machines call), the common data last.
  for (auto const& m : modules_) m->doDetachLibrary();
  for (auto it = modules_.rbegin(); it != modules_.rend(); ++it) (*it)->doDestroyLibrary();
  if (acsd_) {
    acsd_->doCleanup();
    acsd_ = nullptr;
  }
}

void Agent::init() {
  if (initialized_) fail("already initialized");
  initialized_ = true;
  doStartLibrary();
}

void Agent::doStartLibrary() {
  // The modules' helpers first (the adjacency helper decides the sharing
  // mode and reads what the chip holds before any adjacency machine asks
  // it). The common data then runs its own first pass and tells every root
  // state machine, in creation order, to run its first full pass; the
  // library ends its own sync, whoever runs the loop.
  for (auto const& m : modules_) m->doStartLibrary();
  acsd_->initializedIs(true);
}

void Agent::doDropRunOutputs() {
  // What the old run kept in the L3 status about its own objects (adjacency
  // records, L2 adjacencies and the sharing index) goes with it; the new run
  // rebuilds them from the FEC tables and claims the chip's L2 adjacencies
  // back. VRF ids, next-hop lists and the rest stay, as in the state database.
  auto& l3 = *l3Status_;
  l3.initializedIs(false);
  for (auto const& [name, vs] : l3.vrfL3StatusMap()) {
    vs->adjEntryReviewListDelAll();
    vs->adjEntryListDelAll();
    vs->nextHopToAdjEntryDelAll();
    vs->nextHopToAdj6EntryDelAll();
  }
  l3.nextHopsToL2AdjDelAll();
  l3.l2AdjListDelAll();
  // The route hand-over lists and what the old resolver raised: the new run
  // hands every route over again and walks the chip for the rest.
  l3.adjInfoListDelAll();
  l3.adjInfo6ListDelAll();
  l3.ip6OverflowRouteDelAll();
  l3.routingResourceFullIs(false);
  l3.ip6RoutingResourceFullIs(false);
}

void Agent::restart(std::function<void()> const& whileDown) {
  doDestroyLibrary();
  doDropRunOutputs();
  if (whileDown) whileDown();
  ++restarts_;
  doCreateLibrary();
  // The inputs were all in before: the new objects start as the old ones did.
  if (initialized_) doStartLibrary();
}

void Agent::doCheckHorizon(Vix::Seconds d) const {
  if (daemon_) fail(kRunRefused);
  // Past the horizon a double no longer tells a timer due in a microsecond
  // from one due now, and a retry armed for "now + delay" fires forever.
  if (!(d >= 0) || !(loop_->now() + d <= kClockHorizon))
    fail("the loop's clock would pass its horizon of " + std::to_string(int64_t(kClockHorizon)) + "s");
}

void Agent::daemonIs(bool on) {
  daemon_ = on;
  traces_->limitIs(on ? kDaemonKept : 0);
  logs_->limitIs(on ? kDaemonKept : 0);
  if (on) exitFn_ = [this](int) { libraryRestart_.timeMinEarlierIs(loop_->now()); };
}

void Agent::doRestartForLibrary() {
  // On the loop, never inside the library's own callback: the objects that
  // asked are destroyed here.
  restart();
  std::fprintf(stderr, "kor-agent: the library restarted in process (its adjacency sharing mode changed)\n");
}

void Agent::runFor(Vix::Seconds d) {
  doCheckHorizon(d);
  loop_->runFor(d);
}

bool Agent::runUntilIdle() { return runUntilSettled() == IdleOutcome::idle; }

// The loop runs in windows of kSettleWindow. A retry lane re-arms forever
// under a fault that stays (a full table, a refusing rule), so "no timer
// armed" never comes: a window in which the chip took no change and the list
// of what waits stayed the same, with nothing waiting for its own time, ends
// the run as settled rather than spending the whole hour.
Agent::IdleOutcome Agent::runUntilSettled(std::vector<std::string>* waiting) {
  doCheckHorizon(kIdleLimit);
  IdleWatch watch(*this);
  Vix::Seconds const end = loop_->now() + kIdleLimit;
  IdleOutcome outcome = IdleOutcome::busy;
  while (loop_->now() < end) {
    uint64_t const changes = watch.chipChanges();
    std::vector<std::string> const before = watch.waiting();
    if (loop_->runUntilIdle(std::min(kSettleWindow, end - loop_->now()))) return IdleOutcome::idle;
    if (watch.chipChanges() == changes && watch.waiting() == before && !watch.timedWorkPending()) {
      outcome = IdleOutcome::settled;
      break;
    }
  }
  if (waiting) *waiting = watch.waiting();
  return outcome;
}

std::vector<std::unique_ptr<ConfigSection>> Agent::newConfigSections() const {
  std::vector<std::unique_ptr<ConfigSection>> s;
  for (auto const& m : modules_) m->configSectionsAdd(s);
  return s;
}

std::string Agent::reload() {
  if (!reloadFn_) fail("no configuration file to reload (kor-agent --config FILE)");
  return reloadFn_();
}

void Agent::fastBootIs(bool on) {
  fastBoot_ = on;
  acsd_->fbuFastBootIs(on);
}

void Agent::traceIs(std::string const& field, std::string const& levels) {
  auto i = Kor::TractoLevels::fieldIndex(field);
  if (!i) fail("unknown trace field '" + field + "'");
  uint32_t mask;
  if (!Vix::TraceFacility::parseLevels(levels, &mask)) fail("bad trace levels '" + levels + "'");
  Kor::TractoLevels t = tracto_ ? *tracto_ : acsd_->tractoLevels();
  t.fieldIs(*i, levels);
  tracto_ = t;
  acsd_->tractoLevelsIs(t);
  traces_->keepIs(Kor::TractoLevels::facilityName(*i));
}

// ---------------------------------------------------------------------------
// Output.

void Agent::showAdd(std::string const& what, ShowFn fn) {
  if (showKnown(what)) throw std::logic_error("show '" + what + "' registered twice");
  shows_.emplace_back(what, std::move(fn));
}

bool Agent::showKnown(std::string const& what) const {
  return std::any_of(shows_.begin(), shows_.end(), [&](auto const& s) { return s.first == what; });
}

std::vector<std::string> Agent::showNames() const {
  std::vector<std::string> names;
  for (auto const& s : shows_) names.push_back(s.first);
  return names;
}

std::string Agent::show(std::string const& what, bool json) const {
  for (auto const& s : shows_)
    if (s.first == what) return s.second(json);
  fail("unknown show '" + what + "'");
}

std::string Agent::command(int fd, std::string const& text) {
  auto w = ScenarioRunner::words(text);
  if (w.empty() || !isCommandCode(w[0])) fail("unknown command '" + (w.empty() ? std::string() : w[0]) + "'");
  if (!initialized_) fail("command channel not started: run init first");
  return vrfRootSm()->doCommand(fd, text);
}

std::string Agent::channel(int fd, std::string const& line, size_t lineNo) {
  bool const restartOwed = libraryRestart_.armed();
  std::ostringstream out;
  auto w = ScenarioRunner::words(line);
  if (!w.empty() && isCommandCode(w[0])) {
    try {
      out << command(fd, line);
    } catch (std::exception const& e) {
      out << "line " << lineNo << ": " << e.what() << "\n";
    }
  } else {
    ScenarioRunner runner(this, &out);
    runner.runLine(line, lineNo);
  }
  if (!restartOwed && libraryRestart_.armed())
    out << "the library asked to exit (its adjacency sharing mode changed): the daemon restarts it in process, "
           "before the next line runs\n";
  return out.str();
}

void Agent::drainEvents(std::ostream& out) {
  auto const& recs = logs_->records();
  for (; logsShown_ < recs.size(); ++logsShown_) out << "log: " << recs[logsShown_].name << ": " << recs[logsShown_].text << "\n";
  if (size_t dropped = logs_->dropped())
    out << "log: " << dropped << " more log events dropped: at most " << logs_->limit() << " are kept between answers\n";
  // The daemon keeps only what the next answer has not shown yet.
  if (recs.size() > 10000 || daemon_) {
    logs_->clear();
    logsShown_ = 0;
  }
  for (auto const& l : traces_->linesTaken()) out << "trace: " << l << "\n";
  if (size_t dropped = traces_->droppedTaken())
    out << "trace: " << dropped << " more trace lines dropped: at most " << traces_->limit()
        << " are kept between answers\n";
}

}  // namespace KorAgent
