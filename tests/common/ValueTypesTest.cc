// Range checks and exact texts of the common value types, the via bitmap's
// bit arithmetic, the printing of the enums, port lists and TPID data.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "kor/common/HwOperationalMode.h"
#include "kor/common/KorLagType.h"
#include "kor/common/KorPortList.h"
#include "kor/common/KorPortVlanTpidData.h"
#include "kor/common/KorVerifyStatus.h"
#include "kor/common/NamespaceName.h"
#include "kor/common/ViaBitmap.h"
#include "kor/common/VlanIdOrNone.h"
#include "kor/common/VniOrNone.h"
#include "kor/common/VrfName.h"
#include "vix/RangeError.h"

namespace {

using namespace Kor;

// Runs f, expecting a Vix::RangeError with exactly `text`.
void expectRangeError(std::function<void()> const& f, std::string const& text) {
  try {
    f();
    ADD_FAILURE() << "no range error, expected: " << text;
  } catch (Vix::RangeError const& e) {
    EXPECT_EQ(e.what(), text);
  }
}

template <class T>
std::string str(T const& v) {
  std::ostringstream os;
  os << v;
  return os.str();
}

TEST(ValueTypesTest, VlanIdsAcceptTheirRangeOnly) {
  std::string const vlanMsg = "VlanId::value < 1 or > 4094 not allowed";
  expectRangeError([] { VlanId(0); }, vlanMsg);
  expectRangeError([] { VlanId(4095); }, vlanMsg);
  expectRangeError([] { VlanId(-1); }, vlanMsg);
  expectRangeError([] { VlanId(65536 + 5); }, vlanMsg);  // no silent truncation to 5
  EXPECT_EQ(VlanId(1).value(), 1);
  EXPECT_EQ(VlanId(4094).value(), 4094);

  std::string const orNoneMsg = "VlanIdOrNone::value > 4094 not allowed";
  expectRangeError([] { VlanIdOrNone(4095); }, orNoneMsg);
  expectRangeError([] { VlanIdOrNone(-1); }, orNoneMsg);
  EXPECT_TRUE(VlanIdOrNone(0).isNone());
  EXPECT_TRUE(VlanIdOrNone().isNone());
  EXPECT_FALSE(VlanIdOrNone(VlanId(7)).isNone());
  EXPECT_EQ(VlanIdOrNone(4094).vlanId(), VlanId(4094));
}

TEST(ValueTypesTest, NamesAreBoundedInBytes) {
  EXPECT_EQ(VrfName(std::string(100, 'v')).bytes(), 100u);
  expectRangeError([] { VrfName(std::string(101, 'v')); }, "VrfName::bytes > 100 not allowed");
  // The bound is on bytes: 50 two-byte characters fit, 51 do not.
  std::string twoByte = "\xc3\xa9";
  std::string fifty, fiftyOne;
  for (int i = 0; i < 50; ++i) fifty += twoByte;
  fiftyOne = fifty + twoByte;
  EXPECT_NO_THROW(VrfName{fifty});
  expectRangeError([&] { VrfName{fiftyOne}; }, "VrfName::bytes > 100 not allowed");
  EXPECT_TRUE(VrfName().empty());
  EXPECT_TRUE(VrfName(VrfName::defaultVrfName).isDefault());
  EXPECT_LT(VrfName("blue"), VrfName("red"));

  EXPECT_EQ(NamespaceName(std::string(150, 'n')).bytes(), 150u);
  expectRangeError([] { NamespaceName(std::string(151, 'n')); }, "NamespaceName::bytes > 150 not allowed");
}

TEST(ValueTypesTest, ViaIndicesAndVni) {
  std::string const indexMsg = "ViaBitmapIndex::value < ViaBitmapIndex::min or > ViaBitmapIndex::max not allowed";
  EXPECT_EQ(ViaBitmapIndex(32).value(), 32u);
  expectRangeError([] { ViaBitmapIndex(33); }, indexMsg);
  expectRangeError([] { ViaBitmapIndex(-1); }, indexMsg);

  std::string const viaMsg = "ViaIndex::value < ViaIndex::min or > ViaIndex::max not allowed";
  EXPECT_EQ(ViaIndex::max, 33u * 32 - 1);
  EXPECT_EQ(ViaIndex(1055).word(), ViaBitmapIndex(32));
  EXPECT_EQ(ViaIndex(1055).bit(), 31u);
  EXPECT_EQ(ViaIndex(32).word(), ViaBitmapIndex(1));
  expectRangeError([] { ViaIndex(1056); }, viaMsg);
  expectRangeError([] { ViaIndex(-1); }, viaMsg);

  expectRangeError([] { ViaBitmapRange(ViaIndex(5), ViaIndex(4)); },
                   "ViaBitmapRange::last < ViaBitmapRange::first not allowed");
  EXPECT_EQ(ViaBitmapRange(ViaIndex(5), ViaIndex(5)).size(), 1u);

  std::string const vniMsg = "VniOrNone::value < 0 or > 16777216 not allowed";
  EXPECT_EQ(VniOrNone(16777216).value(), 16777216u);
  expectRangeError([] { VniOrNone(16777217); }, vniMsg);
  expectRangeError([] { VniOrNone(-1); }, vniMsg);
  EXPECT_TRUE(VniOrNone().isNone());
}

TEST(ValueTypesTest, ViaBitmapRangesCrossWordBoundaries) {
  ViaBitmap b;
  EXPECT_TRUE(b.empty());
  EXPECT_FALSE(b.firstSet().has_value());
  b.bitsIs(ViaBitmapRange(ViaIndex(30), ViaIndex(65)), true);  // words 0, 1 and 2
  EXPECT_EQ(b.count(), 36u);
  EXPECT_EQ(b.word(ViaBitmapIndex(0)), 0xc0000000u);
  EXPECT_EQ(b.word(ViaBitmapIndex(1)), 0xffffffffu);
  EXPECT_EQ(b.word(ViaBitmapIndex(2)), 0x3u);
  EXPECT_EQ(b.count(ViaBitmapRange(ViaIndex(31), ViaIndex(32))), 2u);
  EXPECT_EQ(*b.firstSet(), ViaIndex(30));
  EXPECT_EQ(*b.firstSet(ViaBitmapRange(ViaIndex(64), ViaIndex(ViaIndex::max))), ViaIndex(64));
  EXPECT_FALSE(b.firstSet(ViaBitmapRange(ViaIndex(66), ViaIndex(ViaIndex::max))).has_value());

  b.bitIs(ViaIndex(40), false);
  b.bitIs(ViaIndex(1055), true);
  EXPECT_FALSE(b.bit(ViaIndex(40)));
  EXPECT_TRUE(b.bit(ViaIndex(1055)));
  EXPECT_EQ(str(b), "{30-39,41-65,1055}");

  ViaBitmap c = b;
  EXPECT_EQ(std::hash<ViaBitmap>()(b), std::hash<ViaBitmap>()(c));
  c.bitsIs(ViaBitmapRange(), false);
  EXPECT_TRUE(c.empty());
  EXPECT_NE(b, c);
}

TEST(ValueTypesTest, EnumsPrintNamesAndUnknownValues) {
  EXPECT_EQ(str(hardwareLag), "hardwareLag");
  EXPECT_EQ(str(static_cast<KorLagType>(7)), "KorLagType(7)");
  EXPECT_EQ(str(KorTypes::verifyRetry), "verifyRetry");
  EXPECT_EQ(str(static_cast<KorTypes::KorVerifyStatus>(-3)), "KorVerifyStatus(-3)");
  EXPECT_EQ(str(modeTapAgg), "modeTapAgg");
  EXPECT_EQ(str(static_cast<HwOperationalMode>(9)), "HwOperationalMode(9)");
}

TEST(ValueTypesTest, PortVlanTpidDataAndPortList) {
  expectRangeError([] { KorPortVlanTpidData(0x8100, 0, false); }, "KorPortVlanTpidData::vlanTpid < 1 not allowed");
  KorPortVlanTpidData d;
  expectRangeError([&] { d.vlanTpidIs(0); }, "KorPortVlanTpidData::vlanTpid < 1 not allowed");
  EXPECT_EQ(d.vlanTpid(), KorPortVlanTpidData::defaultTpid);  // a refused value changes nothing
  d.vlanTpidIs(0x88a8);
  d.dot1QTunnelIs(true);
  EXPECT_EQ(str(d), "hwVlanTpid 0x8100 vlanTpid 0x88a8 dot1QTunnel 1");

  auto e1 = Nollo::IntfId::ethernet(1), e2 = Nollo::IntfId::ethernet(2), e10 = Nollo::IntfId::ethernet(10);
  KorPortList a{e10, e1};
  KorPortList b;
  EXPECT_TRUE(b.portAdd(e1));
  EXPECT_TRUE(b.portAdd(e10));
  EXPECT_FALSE(b.portAdd(e1));
  EXPECT_EQ(a, b);
  EXPECT_FALSE(a.has(e2));
  EXPECT_FALSE(a.portDel(e2));
  EXPECT_TRUE(a.portDel(e1));
  EXPECT_EQ(str(a), "[Ethernet10]");
  EXPECT_EQ(str(b), "[Ethernet1, Ethernet10]");
}

}  // namespace
