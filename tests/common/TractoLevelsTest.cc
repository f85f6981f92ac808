// The text form of TractoLevels, its parser's errors, and how the levels
// reach the trace facilities of live state machines.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "kor/common/KorBaseSm.h"
#include "kor/common/KorCommonSmData.h"
#include "kor/common/TractoLevels.h"
#include "vix/ActivityLoop.h"

namespace {

using Kor::TractoLevels;

std::string parseError(std::string const& text) {
  try {
    TractoLevels::parse(text);
  } catch (std::invalid_argument const& e) {
    return e.what();
  }
  return "no error";
}

TEST(TractoLevelsTest, TextFormRoundTrips) {
  TractoLevels t;
  EXPECT_EQ(t.korVrfRootSm(), "0-1");
  t.korVrfRootSmIs("0-4");
  t.korAdjSmIs("*");
  t.korL2AdjHelperIs("");
  t.korIp6RoutingSmIs("0,3,9");
  std::string text = t.str();
  EXPECT_EQ(text.rfind("Value('Kor::TractoLevels', ** {'korVrfRootSm': '0-4', 'korRoutingStatusSm': '0-1', ", 0), 0u)
      << text;
  EXPECT_NE(text.find("'korAdjSm': '*', 'korIntfStatusSm': '0-1', 'korL2AdjHelper': ''})"), std::string::npos)
      << text;
  EXPECT_EQ(TractoLevels::parse(text), t);

  // Any subset, any order, either quote, free spacing; missing fields keep defaults.
  auto p = TractoLevels::parse(" Value( \"Kor::TractoLevels\" ,**{ \"korArpSm\" :'5', 'korSubIntfSm': '1-2' , } ) ");
  EXPECT_EQ(p.korArpSm(), "5");
  EXPECT_EQ(p.korSubIntfSm(), "1-2");
  EXPECT_EQ(p.korVrfRootSm(), "0-1");
}

TEST(TractoLevelsTest, ParserRejectsWithClearTexts) {
  EXPECT_EQ(parseError("Value('Kor::TractoLevels', ** {'korBogusSm': '1'})"),
            "TractoLevels has no such attribute: korBogusSm");
  for (std::string shortText : {"", "Value(", "Value('Kor::TractoLevels', ** {'korArpSm': '1'",
                                "Value('Kor::TractoLevels', ** {'korArpSm': '1", "Value('Kor::Tracto"}) {
    EXPECT_EQ(parseError(shortText), "premature end of value type TractoLevels") << shortText;
  }
  EXPECT_EQ(parseError("Value('Kor::Other', ** {})").rfind("malformed value type TractoLevels at offset 6", 0), 0u);
  EXPECT_NE(parseError("Value('Kor::TractoLevels', ** {'korArpSm': 'x'})").find("bad trace level 'x' for korArpSm"),
            std::string::npos);
  EXPECT_NE(parseError("Value('Kor::TractoLevels', ** {}) extra").find("unexpected text"), std::string::npos);
}

TEST(TractoLevelsTest, FieldsMapToFacilityNames) {
  TractoLevels t;
  t.korRoutingSmIs("7");
  EXPECT_EQ(t.levelsFor("KorRoutingSm"), "7");
  EXPECT_EQ(TractoLevels::facilityName(11), "KorL2AdjHelper");
  EXPECT_FALSE(t.levelsFor("korRoutingSm").has_value());  // facility names are capitalised
  EXPECT_FALSE(t.levelsFor("KorMacAddrSm").has_value());
  EXPECT_FALSE(t.levelsFor("").has_value());
}

class TracedSm : public Kor::KorBaseSm {
 public:
  TracedSm(Vix::Ptr<Kor::KorCommonSmData> const& acsd, std::string const& name) : KorBaseSm(acsd, name) {}
};

TEST(TractoLevelsTest, CommonDataAppliesLevelsToLiveMachines) {
  auto loop = Vix::makePtr<Vix::ActivityLoop>(Vix::makePtr<Vix::ManualTimeSource>());
  auto acsd = Kor::korCommonSmDataFactory("acsd", loop);
  TractoLevels t;
  t.korAdjSmIs("0-9");
  acsd->tractoLevelsIs(t);
  EXPECT_EQ(acsd->traceLevelsFor("KorAdjSm"), "0-9");

  auto adj = Vix::makePtr<TracedSm>(acsd, "KorAdjSm");  // created after: picks the level up
  auto other = Vix::makePtr<TracedSm>(acsd, "KorMacAddrSm");
  EXPECT_TRUE(adj->tf().enabled(9));
  EXPECT_EQ(other->tf().levels(), "0-1");

  t.korAdjSmIs("");
  acsd->tractoLevelsIs(t);  // created before: follows the change
  EXPECT_FALSE(adj->tf().enabled(0));
  EXPECT_EQ(other->tf().levels(), "0-1");

  adj = nullptr;  // a destroyed machine is forgotten (a sanitizer build catches a stale one)
  t.korAdjSmIs("3");
  acsd->tractoLevelsIs(t);
  acsd->doCleanup();
}

}  // namespace
