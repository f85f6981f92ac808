// The agent's route side: `chip em` is checked whole before it changes
// anything; a restart keeps the chip's routes while the new run starts with
// empty hand-over lists, and with no unprogrammed route counted for it by the
// old run; chip rules, capacities and shows reach every registered table;
// each hand-over is answered by its own write. Most tests write the
// hand-over lists and announce them themselves, as the route machines of a
// run would.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "agent/Agent.h"
#include "agent/ScenarioRunner.h"
#include "kor/records/L3Status.h"
#include "kor/records/VrfL3Status.h"
#include "softchip/SoftChip.h"
#include "vix/Time.h"

namespace {

using KorAgent::Agent;

class RouteStatementsTest : public ::testing::Test {
 protected:
  size_t run(std::string const& text) {
    out_.str("");
    KorAgent::ScenarioRunner r(&agent_, &out_);
    return r.runText(text);
  }
  // The route machines' side of the hand-over: the record, then its
  // announcement to the platform.
  Kor::L3Status& l3() { return const_cast<Kor::L3Status&>(*agent_.l3Status()); }
  void hand(char const* prefix, uint64_t fec, uint64_t l2) {
    Nollo::IpPrefix p(prefix);
    l3().adjInfoListIs({Kor::VrfId(0), p}, Vix::makePtr<Kor::AdjInfo>(Kor::RouteType::forwardRoute, fec, l2, true));
    agent_.chip()->l3().routeSmHelper()->handleRouteUpdate(Kor::VrfId(0), p, 0);
  }
  SoftChip::ChipRouteTable<Nollo::Ipv4>& route4() { return agent_.chip()->l3().route4Table(); }

  Agent agent_{Vix::makePtr<Vix::ManualTimeSource>(0.0)};
  std::ostringstream out_;
};

TEST_F(RouteStatementsTest, ExactMatchLengthsAreCheckedBeforeAnyChange) {
  ASSERT_EQ(run("chip em 64 48\n"), 0u) << out_.str();
  std::string const before = agent_.show("routes", false);
  EXPECT_NE(before.find("exact-match /48 /64;"), std::string::npos) << before;
  // Each bad line names the word at fault.
  for (auto [line, word] : {std::pair{"chip em 64 50", "50"}, {"chip em 44", "44"}, {"chip em 116", "116"},
                            {"chip em 64 x", "x"}, {"chip em", "none"}, {"chip em none 64", "64"}}) {
    EXPECT_EQ(run(line), 1u) << line;
    EXPECT_EQ(out_.str().rfind("line 1: ", 0), 0u) << line << ": " << out_.str();
    EXPECT_NE(out_.str().find(word), std::string::npos) << line << ": " << out_.str();
    EXPECT_EQ(agent_.show("routes", false), before) << line;
  }
  ASSERT_EQ(run("chip em none\n"), 0u);
  EXPECT_NE(agent_.show("routes", false).find("exact-match none;"), std::string::npos);
}

TEST_F(RouteStatementsTest, RestartKeepsChipRoutesAndEmptiesTheHandOverLists) {
  hand("10.1.0.0/16", 1, 3);
  ASSERT_EQ(run("chip fault route4 0:10.9.0.0/16 fail\n"), 0u) << out_.str();
  hand("10.9.0.0/16", 1, 3);
  ASSERT_TRUE(route4().has({Kor::VrfId(0), Nollo::IpPrefix("10.1.0.0/16")}));
  ASSERT_FALSE(route4().has({Kor::VrfId(0), Nollo::IpPrefix("10.9.0.0/16")}));

  ASSERT_EQ(run("restart\n"), 0u);
  EXPECT_EQ(l3().adjInfoListSize(), 0u);
  EXPECT_EQ(route4().size(), 1u);
  EXPECT_EQ(route4().counters().deletes, 0u);
  // The new run's resolver is in place: an unchanged route is a sync, and
  // the refused one goes in once the rule is gone.
  hand("10.1.0.0/16", 1, 3);
  EXPECT_EQ(route4().counters().creates, 1u);
  EXPECT_EQ(route4().counters().syncs, 1u);
  ASSERT_EQ(run("chip fault clear\n"), 0u);
  hand("10.9.0.0/16", 1, 3);
  EXPECT_EQ(route4().size(), 2u);
}

// Routes the chip refused before a restart are counted by the VRF and the
// L3 status; the old run's route machines take their counts along, so that
// once the new run has programmed them nothing says they are missing.
TEST_F(RouteStatementsTest, ARestartLeavesNoStaleUnprogrammedCount) {
  ASSERT_EQ(run("routing default on\nintf add Ethernet1\nfec add 1 via 10.1.0.2 Ethernet1\n"
                "fec add 2 via 2001:db8::2 Ethernet1\ninit\nrun until idle\n"
                "chip fault route4 fail\nchip fault route6 fail\nroute add default 10.9.0.0/16 fec 1\n"
                "route add default 10.8.0.0/16 fec 1\nroute add default 2001:db8:9::/48 fec 2\nrun 1s\n"),
            0u)
      << out_.str();
  auto vrf = l3().vrfL3Status(Kor::VrfName("default"));
  ASSERT_EQ(vrf->numUnprogrammedRoutes(), 2u);
  ASSERT_EQ(l3().numUnprogrammedV6Routes(), 1u);
  ASSERT_EQ(run("restart\nchip fault clear\nrun until idle\n"), 0u) << out_.str();
  EXPECT_EQ(route4().size(), 2u);
  EXPECT_EQ(vrf->numUnprogrammedRoutes(), 0u);
  EXPECT_EQ(vrf->numUnprogrammedV6Routes(), 0u);
  EXPECT_EQ(l3().numUnprogrammedRoutes(), 0u);
  EXPECT_EQ(l3().numUnprogrammedV6Routes(), 0u);
  EXPECT_EQ(l3().ipv4UnProgrammedRoutes(), 0u);
  EXPECT_EQ(l3().ipv6UnProgrammedRoutes(), 0u);
  EXPECT_EQ(agent_.command(-1, "SR4u a"), "Vrf: default\nNo unprogrammed routes\n");
  EXPECT_EQ(agent_.command(-1, "SR6u a"), "Vrf: default\nNo unprogrammed routes\n");
}

// The whole road, route machine included: each hand-over is answered by the
// chip as it is at that write. A refused route waits unprogrammed and lands
// on the machine's retry; a route changed while the chip refuses keeps its
// old entry in the chip until the retry writes the new one.
TEST_F(RouteStatementsTest, EachHandOverIsAnsweredByItsOwnWriteAndARefusedRouteLands) {
  ASSERT_EQ(run("routing default on\nintf add Ethernet1 vlan 10\n"
                "arp add default 10.1.0.2 00:1c:73:00:00:02 Ethernet1\n"
                "arp add default 10.1.0.3 00:1c:73:00:00:03 Ethernet1\n"
                "fec add 1 via 10.1.0.2 Ethernet1\nfec add 2 via 10.1.0.3 Ethernet1\n"
                "route add default 10.1.0.0/16 fec 1\nroute add default 10.2.0.0/16 fec 1\n"
                "chip fault route4 0:10.2.0.0/16 fail\ninit\nrun 1s\n"),
            0u)
      << out_.str();
  Kor::VrfAndPrefix k1{Kor::VrfId(0), Nollo::IpPrefix("10.1.0.0/16")};
  Kor::VrfAndPrefix k2{Kor::VrfId(0), Nollo::IpPrefix("10.2.0.0/16")};
  ASSERT_TRUE(route4().has(k1));
  EXPECT_FALSE(route4().has(k2));
  EXPECT_EQ(agent_.command(-1, "SR4u a"), "Vrf: default\nNum unprogrammed routes: 1\nNum parent drop routes: 0\n\n"
                                          "10.2.0.0/16\n");
  // The chip refuses 10.1.0.0/16 too, now: its move to FEC 2 is refused and
  // the chip keeps the old entry.
  uint64_t const fec1 = route4().find(k1)->fibAdjIndex();
  ASSERT_EQ(run("chip fault route4 fail\nroute add default 10.1.0.0/16 fec 2\nrun 1s\n"), 0u) << out_.str();
  EXPECT_EQ(route4().find(k1)->fibAdjIndex(), fec1);
  EXPECT_EQ(l3().numUnprogrammedRoutes(), 2u);
  // Rules gone: the retries land both, with what the route machine holds now.
  ASSERT_EQ(run("chip fault clear\nrun 15s\n"), 0u) << out_.str();
  ASSERT_TRUE(route4().has(k2));
  EXPECT_NE(route4().find(k1)->fibAdjIndex(), fec1);
  EXPECT_EQ(*route4().find(k1), SoftChip::ChipRoute(*l3().adjInfoList(k1)));
  EXPECT_EQ(l3().numUnprogrammedRoutes(), 0u);
  EXPECT_EQ(agent_.command(-1, "SR4u a"), "Vrf: default\nNo unprogrammed routes\n");
}

// `chip capacity`, `chip fault` and `show chip` reach every table the chip's
// parts registered, by name, and refuse a name none registered.
TEST_F(RouteStatementsTest, ChipStatementsFindEveryRegisteredTableByName) {
  ASSERT_FALSE(agent_.chip()->tables().empty());
  for (auto* t : agent_.chip()->tables()) {
    std::string const name = t->name();
    ASSERT_EQ(run("chip capacity " + name + " 5\nchip fault " + name + " notready\n"), 0u) << out_.str();
    EXPECT_EQ(t->capacity(), 5u) << name;
    EXPECT_EQ(agent_.chip()->injector().kindFaults().at(name), SoftChip::ChipAnswer::notReady) << name;
    std::string const shown = agent_.show("chip", false);
    EXPECT_NE(shown.find("  table " + name + ": "), std::string::npos) << name << "\n" << shown;
    EXPECT_NE(shown.find("  fault " + name + " notready\n"), std::string::npos) << name << "\n" << shown;
    EXPECT_NE(agent_.show("chip", true).find("{\"name\": \"" + name + "\", \"capacity\": 5,"), std::string::npos)
        << name;
  }
  EXPECT_EQ(run("chip capacity route5 1\n"), 1u);
  EXPECT_NE(out_.str().find("unknown chip table 'route5'"), std::string::npos) << out_.str();
  EXPECT_EQ(run("chip fault route5 fail\n"), 1u);
  EXPECT_NE(out_.str().find("unknown chip table 'route5'"), std::string::npos) << out_.str();
}

}  // namespace
