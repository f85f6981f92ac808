// The statement table the scenario language runs through: it chooses a
// statement by its words, reads the whole line before applying anything,
// names what it expected, and is what `help` and docs/scenario.md list.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "agent/StatementTable.h"
#include "agent/life/LifeModule.h"
#include "vix/Time.h"

namespace {

using KorAgent::Statement;
using KorAgent::StatementArgs;
using KorAgent::StatementTable;

class StatementTableTest : public ::testing::Test {
 protected:
  StatementTableTest() : agent_(Vix::makePtr<Vix::ManualTimeSource>(0.0)), runner_(&agent_, &out_) {}

  // What one line answers (its output or its error), the output emptied.
  std::string line(std::string const& text) {
    out_.str("");
    runner_.runLine(text, 1);
    return out_.str();
  }

  KorAgent::Agent agent_;
  std::ostringstream out_;
  KorAgent::ScenarioRunner runner_;
};

// A table of two statements under one verb and one alone, recording what
// was applied.
struct Recorder {
  std::vector<std::string> applied;
  StatementTable table;
  Recorder() {
    auto rec = [this](std::string what) {
      return [this, what](StatementArgs& a) -> Statement::Apply {
        std::string arg = a.next("argument");
        return [this, what, arg](std::ostream&) { applied.push_back(what + " " + arg); };
      };
    };
    table.statementAdd({{"pet", "add"}, "NAME", "a pet", true, rec("add")});
    table.statementAdd({{"pet", "del"}, "NAME", "no pet", true, rec("del")});
    table.statementAdd({{"feed"}, "NAME", "feed one", false, rec("feed")});
    table.statementAdd({{"feed", "all"}, "NAME", "feed all", false, rec("feed all")});
  }
  std::string error(std::vector<std::string> const& w) {
    std::ostringstream out;
    try {
      table.run(w, out);
    } catch (std::invalid_argument const& e) {
      return e.what();
    }
    return "";
  }
};

TEST(StatementTable, ChoosesTheLongestMatchAndNamesWhatItExpected) {
  Recorder r;
  std::ostringstream out;
  r.table.run({"feed", "all", "x"}, out);
  r.table.run({"feed", "alli"}, out);
  r.table.run({"pet", "del", "rex"}, out);
  EXPECT_EQ(r.applied, (std::vector<std::string>{"feed all x", "feed alli", "del rex"}));
  EXPECT_EQ(r.error({"pet"}), "expected add or del");
  EXPECT_EQ(r.error({"pet", "sell", "rex"}), "expected add or del, got 'sell'");
  EXPECT_EQ(r.error({"walk"}), "unknown statement 'walk'");
  // A word too many is found before anything is applied.
  EXPECT_EQ(r.error({"pet", "add", "rex", "now"}), "unexpected 'now'");
  EXPECT_EQ(r.error({"pet", "add"}), "expected argument");
  EXPECT_EQ(r.applied.size(), 3u);
  EXPECT_EQ(r.table.inputVerbs(), std::vector<std::string>{"pet"});
  EXPECT_THROW(r.table.statementAdd({{"pet", "add"}, "", "again", false, nullptr}), std::logic_error);
}

TEST_F(StatementTableTest, EveryStatementHasHelpAndHelpListsThemAll) {
  std::string const help = line("help");
  for (auto const& st : agent_.statements().statements()) {
    EXPECT_FALSE(st.help.empty()) << st.words[0];
    std::string head;
    for (auto const& w : st.words) head += (head.empty() ? "" : " ") + w;
    EXPECT_NE(help.find(head), std::string::npos) << head;
  }
  for (auto const& s : agent_.showNames()) EXPECT_NE(help.find(s), std::string::npos) << s;
  EXPECT_EQ(help, agent_.module<KorAgent::LifeModule>().helpText());
}

// docs/scenario.md lists the statements between two markers; it must be what
// the table lists, so the manual cannot drift from what the agent accepts.
TEST_F(StatementTableTest, TheManualListsExactlyTheTable) {
  std::ifstream in(std::string(KOR_DOCS_DIR) + "/scenario.md");
  ASSERT_TRUE(in) << "cannot read docs/scenario.md";
  std::stringstream ss;
  ss << in.rdbuf();
  std::string const doc = ss.str();
  std::string const begin = "<!-- statements: begin (kor-agent help) -->\n```text\n";
  std::string const end = "```\n<!-- statements: end -->";
  auto b = doc.find(begin);
  auto e = doc.find(end);
  ASSERT_NE(b, std::string::npos) << "docs/scenario.md lost its statement list's begin marker";
  ASSERT_NE(e, std::string::npos) << "docs/scenario.md lost its statement list's end marker";
  std::string const listed = doc.substr(b + begin.size(), e - b - begin.size());
  EXPECT_EQ(listed, agent_.module<KorAgent::LifeModule>().helpText())
      << "docs/scenario.md's statement list differs from the agent's statement table: regenerate it with "
         "`build/test/agent/kor-agent help` and paste the output between the markers";
}

// `restart with` reads its statement whole before the library goes down: a
// malformed one is a bad line that restarts nothing; a well-formed one the
// inputs refuse still restarts and says so.
TEST_F(StatementTableTest, RestartWithAMalformedStatementRestartsNothing) {
  line("init");
  uint32_t const before = agent_.restarts();
  EXPECT_EQ(line("restart with fec del notanumber"), "line 1: bad FEC id 'notanumber'\n");
  EXPECT_EQ(line("restart with vrf add"), "line 1: expected VRF name\n");
  EXPECT_EQ(line("restart with route add default 10.0.0.0/8 fec 1 extra"), "line 1: unexpected 'extra'\n");
  EXPECT_EQ(agent_.restarts(), before);
  EXPECT_EQ(line("restart with fec del 7"), "line 1: restart with: the library restarted, the statement was refused: no FEC 7\n");
  EXPECT_EQ(agent_.restarts(), before + 1);
  EXPECT_EQ(line("restart with init"), "line 1: restart with: 'init' is not an input statement (intf, lag, mac, arp, fec, route, nhg, router, urpf, mlag, mpls, deferred, resilient, vrf, routing, tunnel, nexthop, vlan, switchport, stp, mode)\n");
  EXPECT_EQ(agent_.restarts(), before + 1);
}

}  // namespace
