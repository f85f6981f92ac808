#include "agent/xlate/XlateModule.h"
#include "softchip/SoftChip.h"
#include "tests/agent/ConfigFileFixture.h"

namespace KorTest {

namespace {

class XlateSectionTest : public ConfigFileFixture {
 protected:
  size_t chipIngress() { return agent_.chip()->xlate().ingressTable().size(); }
  size_t configured() { return agent_.module<KorAgent::XlateModule>().xlateConfig()->intfConfigSize(); }
};

constexpr char const* kSwitch = R"({
  "vlanTranslations": { "Ethernet1": { "ingress": { "100": 10, "100.7": 11 },
                                       "nativeIngress": { "vlan": 5, "to": 20 } } }
})";

// The section programs its translations and takes them back when it leaves.
TEST_F(XlateSectionTest, TheSectionAppliesAndLeavingTakesItBack) {
  startWith(kSwitch);
  EXPECT_EQ(chipIngress(), 3u);
  EXPECT_EQ(reload(kSwitch).changes(), 0u);
  EXPECT_EQ(reload("{}").changes(), 1u);
  ASSERT_TRUE(agent_.runUntilIdle());
  EXPECT_EQ(chipIngress(), 0u);
}

// A VLAN out of range is refused with its place and the VlanId text, and
// nothing of the file is applied.
TEST_F(XlateSectionTest, AnOutOfRangeVlanIsRefusedWithItsPlace) {
  expectRefused(edit(kSwitch, R"("100.7": 11)", R"("100.7": 4095)"),
                "/vlanTranslations/Ethernet1/ingress/100.7: VlanId::value < 1 or > 4094 not allowed");
  expectRefused(edit(kSwitch, R"("100.7")", R"("100.4095")"),
                "/vlanTranslations/Ethernet1/ingress/100.4095: VlanId::value < 1 or > 4094 not allowed");
  expectRefused(edit(kSwitch, "Ethernet1", "Vlan10"),
                "/vlanTranslations/Vlan10: 'Vlan10' is not an Ethernet port or a port channel");
  EXPECT_EQ(configured(), 0u);
}

}  // namespace

}  // namespace KorTest
