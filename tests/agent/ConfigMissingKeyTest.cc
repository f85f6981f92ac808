// A required key missing from a configuration section is refused whole as
// any bad value: "FILE: /pointer: missing key 'K'", nothing applied - never
// the JSON library's own text without a place (tunnels read their keys
// without a check of their own; the shared reader names the place).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ConfigFileFixture.h"

namespace {

using KorTest::edit;

class ConfigMissingKeyTest : public KorTest::ConfigFileFixture {
 protected:
  static std::string example() {
    std::ifstream in(KOR_DOCS_DIR "/examples/switch.json");
    std::ostringstream os;
    os << in.rdbuf();
    // One tunnel beside the example's sections.
    return edit(os.str(), R"("lags": {)",
                R"("tunnels": { "Tunnel1": { "type": "gre", "source": "1.1.1.1", "destination": "2.2.2.2" } },
  "lags": {)");
  }
};

TEST_F(ConfigMissingKeyTest, AMissingKeyNamesItsPlaceInEverySectionFamily) {
  std::string const good = example();
  startWith(good);
  std::string const inputs = agent_.show("inputs", true);
  struct Bad {
    std::string from, to, message;
  };
  std::vector<Bad> const bad = {
      {R"("type": "gre", )", "", "/tunnels/Tunnel1: missing key 'type'"},
      {R"(, "destination": "2.2.2.2")", "", "/tunnels/Tunnel1: missing key 'destination'"},
      {R"("source": "1.1.1.1", )", "", "/tunnels/Tunnel1: missing key 'source'"},
      {R"("id": 1,)", "", "/nhg/groups/spine: missing key 'id'"},
      {R"("10.0.0.0/8": { "fec": 1 })", R"("10.0.0.0/8": {})", "/routes/default/10.0.0.0~18: missing key 'fec'"},
  };
  for (auto const& b : bad) {
    expectRefused(edit(good, b.from, b.to), b.message);
    ASSERT_TRUE(agent_.runUntilIdle());
    EXPECT_EQ(agent_.show("inputs", true), inputs) << b.message;
  }
}

}  // namespace
