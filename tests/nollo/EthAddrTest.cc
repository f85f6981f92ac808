// Ethernet addresses: both text forms, rejects, flags.
#include <gtest/gtest.h>

#include <string>

#include "nollo/EthAddr.h"
#include "nollo/ParseError.h"

namespace {

using Nollo::EthAddr;

TEST(EthAddrTest, ParsesColonAndDottedForms) {
  EthAddr a("00:11:22:33:44:55");
  EXPECT_EQ(a.str(), "00:11:22:33:44:55");
  EXPECT_EQ(EthAddr("0011.2233.4455"), a);
  EXPECT_EQ(EthAddr("AA:bb:CC:dd:EE:ff").str(), "aa:bb:cc:dd:ee:ff");
  EXPECT_EQ(EthAddr("aabb.ccdd.eeff").toUint64(), 0xaabbccddeeffULL);
  EXPECT_EQ(EthAddr::fromUint64(0x0a0b0c0d0e0fULL).str(), "0a:0b:0c:0d:0e:0f");
  EXPECT_LT(EthAddr("00:00:00:00:00:ff"), EthAddr("00:00:00:00:01:00"));
}

TEST(EthAddrTest, RejectsMalformedText) {
  for (char const* t : {"", "00:11:22:33:44", "00:11:22:33:44:55:66", "00-11-22-33-44-55", "0:11:22:33:44:55",
                        "00:11:22:33:44:5g", "0011.2233.445", "0011.2233.44556", "0011:2233:4455",
                        "00:11:22:33:44:55 ", "0011.2233.445z"})
    EXPECT_FALSE(EthAddr::parse(t)) << t;
  try {
    EthAddr a("00:11:22:33:44:zz");
    FAIL();
  } catch (Nollo::ParseError const& e) {
    EXPECT_STREQ(e.what(), "malformed Ethernet address '00:11:22:33:44:zz'");
  }
}

TEST(EthAddrTest, ZeroMulticastBroadcast) {
  EXPECT_TRUE(EthAddr().isZero());
  EXPECT_FALSE(EthAddr("00:00:00:00:00:01").isZero());
  EXPECT_TRUE(EthAddr("01:00:5e:00:00:01").isMulticast());
  EXPECT_FALSE(EthAddr("02:00:00:00:00:01").isMulticast());
  EXPECT_TRUE(EthAddr("ff:ff:ff:ff:ff:ff").isBroadcast());
  EXPECT_TRUE(EthAddr::broadcast().isMulticast());
  EXPECT_FALSE(EthAddr("ff:ff:ff:ff:ff:fe").isBroadcast());
}

}  // namespace
