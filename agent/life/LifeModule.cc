#include "agent/life/LifeModule.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/ShowRenderer.h"
#include "agent/StatementTable.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

std::string joined(std::vector<std::string> const& v, char const* sep) {
  std::string s;
  for (auto const& x : v) s += (s.empty() ? "" : sep) + x;
  return s;
}

}  // namespace

void LifeModule::envIs(std::string const& name, std::optional<std::string> const& value) {
  if (name.empty() || name.find('=') != std::string::npos) fail("bad environment variable name '" + name + "'");
  if (value) ::setenv(name.c_str(), value->c_str(), 1);
  else ::unsetenv(name.c_str());
}

std::string LifeModule::helpText() const {
  return agent_->statements().listing() + "shows: " + joined(agent_->showNames(), ", ") + "\n";
}

void LifeModule::statementsAdd(StatementTable& t) {
  using A = StatementArgs;
  using Apply = Statement::Apply;
  t.statementAdd({{"init"}, "", "the inputs are in: set initialized on the common data (every machine's first pass)",
                  false, [this](A&) -> Apply { return [this](std::ostream&) { agent_->init(); }; }});
  t.statementAdd({{"run"}, "DURATION", "advance time, firing every timer due on the way", false, [this](A& a) -> Apply {
                    double d = A::parseDuration(a.next("duration"));
                    return [=, this](std::ostream&) { agent_->runFor(d); };
                  }});
  t.statementAdd({{"run", "until"}, "idle",
                  "advance until no timer is armed; or say what still waits: \"run until idle: gave up: ...\"", false,
                  [this](A& a) -> Apply {
                    a.keyword("idle");
                    return [this](std::ostream& out) {
                      std::vector<std::string> waiting;
                      switch (agent_->runUntilSettled(&waiting)) {
                        case Agent::IdleOutcome::idle: return;
                        case Agent::IdleOutcome::settled:
                          out << "run until idle: gave up: nothing to do but retries that cannot succeed until "
                                 "something changes\n";
                          break;
                        case Agent::IdleOutcome::busy:
                          out << "run until idle: gave up: still busy after 3600s\n";
                          break;
                      }
                      for (auto const& w : waiting) out << "  " << w << "\n";
                    };
                  }});
  t.statementAdd({{"restart"}, "[with STATEMENT]",
                  "destroy the library and create it again over the same chip and inputs (with: an input statement "
                  "applied while it is down)",
                  false, [this](A& a) -> Apply {
                    if (!a.more()) return [this](std::ostream&) { agent_->restart(); };
                    a.keyword("with");
                    std::vector<std::string> inner = a.rest();
                    if (inner.empty()) fail("restart with: missing statement");
                    // Only input statements: the rest need the library or its loop.
                    auto const inputs = agent_->statements().inputVerbs();
                    if (std::find(inputs.begin(), inputs.end(), inner[0]) == inputs.end())
                      fail("restart with: '" + inner[0] + "' is not an input statement (" + joined(inputs, ", ") + ")");
                    // The inner statement is read whole first: a malformed one
                    // is a bad line and nothing restarts.
                    Statement const& st = agent_->statements().find(inner);
                    StatementArgs innerArgs(inner, st.words.size());
                    Apply apply = st.parse(innerArgs);
                    innerArgs.end();
                    return [this, apply](std::ostream& out) {
                      // Input changes are all-or-nothing: a refused one leaves the
                      // inputs as they were, and the restart over unchanged inputs
                      // claims the chip back without a write.
                      std::string refused;
                      agent_->restart([&] {
                        try {
                          apply(out);
                        } catch (std::exception const& e) {
                          refused = e.what();
                        }
                      });
                      if (!refused.empty())
                        fail("restart with: the library restarted, the statement was refused: " + refused);
                    };
                  }});
  t.statementAdd({{"show"}, "WHAT [json]", "the state as text (json: as one JSON object); WHAT is one of the shows below",
                  false, [this](A& a) -> Apply {
                    std::string what = a.next("what to show");
                    bool json = a.accept("json");
                    a.end();
                    if (!agent_->showKnown(what)) fail("unknown show '" + what + "'");
                    return [=, this](std::ostream& out) {
                      std::string shown = agent_->show(what, json);
                      agent_->drainEvents(out);  // what the statement traced comes before its answer
                      out << shown;
                    };
                  }});
  t.statementAdd({{"cmd"}, "CODE [ARG] [vrf NAME]",
                  "the VRF root's command channel (FR4, FF6, AA3, SR4u...); ARG a: all; vrf: that VRF's machines "
                  "(default unless named)",
                  false, [this](A& a) -> Apply {
                    // A command code, at most one argument (a key, or 'a' for
                    // all) and the VRF the dump is of.
                    std::string text = a.next("command code");
                    bool vrf = a.accept("vrf");
                    if (!vrf && a.more()) {
                      text += " " + a.next("argument");
                      vrf = a.accept("vrf");
                    }
                    if (vrf) text += " vrf " + a.next("vrf name");
                    return [=, this](std::ostream& out) {
                      std::string answer = agent_->command(-1, text);
                      agent_->drainEvents(out);
                      out << answer;
                    };
                  }});
  t.statementAdd({{"trace"}, "FIELD LEVELS", "trace levels of one main state machine (a TractoLevels field)", false,
                  [this](A& a) -> Apply {
                    std::string field = a.next("state machine (TractoLevels field)");
                    std::string levels = a.next("levels");
                    return [=, this](std::ostream&) { agent_->traceIs(field, levels); };
                  }});
  t.statementAdd({{"fastboot"}, "on|off", "whether the agent starts as part of a fast-boot upgrade", false,
                  [this](A& a) -> Apply {
                    bool on = A::parseOnOff(a.next("on or off"));
                    return [=, this](std::ostream&) { agent_->fastBootIs(on); };
                  }});
  t.statementAdd({{"env"}, "NAME VALUE|-", "set (-: unset) an environment variable of the agent", false,
                  [](A& a) -> Apply {
                    std::string name = a.next("variable name");
                    std::string value = a.next("value or -");
                    return [=](std::ostream&) {
                      envIs(name, value == "-" ? std::nullopt : std::optional<std::string>(value));
                    };
                  }});
  t.statementAdd({{"reload"}, "",
                  "read the configuration file (kor-agent --config) again and apply what changed since it was "
                  "applied last",
                  false, [this](A&) -> Apply { return [this](std::ostream& out) { out << agent_->reload(); }; }});
  t.statementAdd({{"echo"}, "TEXT", "print TEXT", false, [](A& a) -> Apply {
                    std::vector<std::string> words = a.rest();
                    return [words](std::ostream& out) { out << joined(words, " ") << "\n"; };
                  }});
  t.statementAdd({{"help"}, "", "list every statement and show", false,
                  [this](A&) -> Apply { return [this](std::ostream& out) { out << helpText(); }; }});
}

void LifeModule::showsAdd() {
  agent_->showAdd("inputs", [this](bool json) { return ShowRenderer::render(inputsShow(), json); });
}

ShowModel LifeModule::inputsShow() const {
  using M = ShowModel;
  std::vector<InputGroup> groups;
  for (auto const& m : agent_->modules())
    for (auto& g : m->inputGroups()) groups.push_back(std::move(g));
  std::stable_sort(groups.begin(), groups.end(), [](auto const& a, auto const& b) { return a.rank < b.rank; });
  M m;
  m.lineAdd("inputs:\n");
  for (auto const& g : groups) {
    m.lineAdd("  " + g.name + ":" + (g.lines.empty() ? " none" : "") + "\n");
    m.tableAdd(g.name, "    ", {M::col("line")}, M::Form::values);
    for (auto const& l : g.lines) m.rowAdd({M::str(l)});
  }
  return m;
}

}  // namespace KorAgent
