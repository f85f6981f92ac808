// IPv4 / IPv6 / either-family addresses: text round trips, rejects, order.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <unordered_set>

#include "nollo/IpAddr4.h"
#include "nollo/IpAddr6.h"
#include "nollo/IpGenAddr.h"
#include "nollo/ParseError.h"

namespace {

using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Nollo::IpGenAddr;

TEST(IpAddr4Test, ParsesAndPrintsDottedQuad) {
  for (char const* t : {"0.0.0.0", "10.0.0.1", "255.255.255.255", "192.168.100.7"})
    EXPECT_EQ(IpAddr4(t).str(), t);
  EXPECT_EQ(IpAddr4("10.1.2.3").value(), 0x0a010203u);
  EXPECT_TRUE(IpAddr4::ipAddrZero().isZero());
  EXPECT_FALSE(IpAddr4("0.0.0.1").isZero());
  EXPECT_TRUE(IpAddr4("224.0.0.5").isMulticast());
  std::ostringstream os;
  os << IpAddr4("1.2.3.4");
  EXPECT_EQ(os.str(), "1.2.3.4");
}

TEST(IpAddr4Test, RejectsMalformedText) {
  for (char const* t : {"", "10.0.0", "10.0.0.0.1", "10.0.0.256", "10.0.0.300", "10..0.1", "10.0.0.1 ",
                        " 10.0.0.1", "10.0.0.01", "a.b.c.d", "10.0.0.-1", "1000.0.0.1", "10.0.0.1/8"})
    EXPECT_FALSE(IpAddr4::parse(t)) << t;
  try {
    IpAddr4 a("10.0.0.300");
    FAIL();
  } catch (Nollo::ParseError const& e) {
    EXPECT_STREQ(e.what(), "malformed IPv4 address '10.0.0.300'");
  }
  EXPECT_THROW(IpAddr4("x"), std::invalid_argument);
}

TEST(IpAddr4Test, OrderIsNumericAndMaskClearsHostBits) {
  EXPECT_LT(IpAddr4("9.255.255.255"), IpAddr4("10.0.0.0"));
  EXPECT_LT(IpAddr4("10.0.0.2"), IpAddr4("10.0.0.10"));
  EXPECT_EQ(IpAddr4("10.1.2.3").masked(8), IpAddr4("10.0.0.0"));
  EXPECT_EQ(IpAddr4("10.1.2.3").masked(0), IpAddr4("0.0.0.0"));
  EXPECT_EQ(IpAddr4("10.1.2.3").masked(32), IpAddr4("10.1.2.3"));
  EXPECT_EQ(IpAddr4("10.1.2.255").masked(25), IpAddr4("10.1.2.128"));
}

TEST(IpAddr6Test, PrintsCanonicalForm) {
  struct Case { char const* in; char const* out; };
  for (auto c : {Case{"2001:db8::1", "2001:db8::1"},
                 Case{"2001:0DB8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
                 Case{"::", "::"},
                 Case{"::1", "::1"},
                 Case{"1::", "1::"},
                 Case{"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},   // first of two equal runs
                 Case{"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},         // longest run wins
                 Case{"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // a single zero group stays
                 Case{"fe80::1:2", "fe80::1:2"},
                 Case{"::ffff:10.1.2.3", "::ffff:10.1.2.3"},
                 Case{"::ffff:a01:203", "::ffff:10.1.2.3"},
                 Case{"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
                 Case{"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
                 Case{"1::2:3:4:5:6:7", "1:0:2:3:4:5:6:7"}}) {
    auto a = IpAddr6::parse(c.in);
    ASSERT_TRUE(a) << c.in;
    EXPECT_EQ(a->str(), c.out) << c.in;
    EXPECT_EQ(IpAddr6(a->str()), *a) << c.in;
  }
  EXPECT_TRUE(IpAddr6("::").isZero());
  EXPECT_TRUE(IpAddr6("ff02::1").isMulticast());
  EXPECT_TRUE(IpAddr6("fe80::1").isLinkLocal());
  EXPECT_EQ(IpAddr6("2001:db8::1").group(1), 0xdb8);
}

TEST(IpAddr6Test, RejectsMalformedText) {
  for (char const* t : {"", ":", ":::", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1::2::3", "12345::",
                        "1:", ":1", "1:2:3:4:5:6:7:8::", "::g", "1.2.3.4", "::1.2.3", "::1.2.3.4:5",
                        "1:2:3:4:5:6:7:1.2.3.4", "2001:db8::/32", " ::1"})
    EXPECT_FALSE(IpAddr6::parse(t)) << t;
  try {
    IpAddr6 a("1::2::3");
    FAIL();
  } catch (Nollo::ParseError const& e) {
    EXPECT_STREQ(e.what(), "malformed IPv6 address '1::2::3'");
  }
}

TEST(IpAddr6Test, OrderMaskAndHash) {
  EXPECT_LT(IpAddr6("::ffff"), IpAddr6("::1:0"));
  EXPECT_LT(IpAddr6("2001:db8::"), IpAddr6("2001:db9::"));
  EXPECT_EQ(IpAddr6("2001:db8:ffff::1").masked(32), IpAddr6("2001:db8::"));
  EXPECT_EQ(IpAddr6("2001:db8:ffff::1").masked(36), IpAddr6("2001:db8:f000::"));
  EXPECT_EQ(IpAddr6("2001:db8::1").masked(128), IpAddr6("2001:db8::1"));
  EXPECT_TRUE(IpAddr6("ffff::ffff").masked(0).isZero());
  std::unordered_set<IpAddr6> s{IpAddr6("::1"), IpAddr6("::2"), IpAddr6("0::1")};
  EXPECT_EQ(s.size(), 2u);
}

TEST(IpGenAddrTest, HoldsEitherFamily) {
  IpGenAddr a("10.0.0.1"), b("2001:db8::1");
  EXPECT_TRUE(a.isV4());
  EXPECT_EQ(a.v4(), IpAddr4("10.0.0.1"));
  EXPECT_TRUE(b.isV6());
  EXPECT_EQ(b.v6(), IpAddr6("2001:db8::1"));
  EXPECT_THROW(a.v6(), std::bad_variant_access);
  EXPECT_EQ(b.str(), "2001:db8::1");
  EXPECT_LT(IpGenAddr("255.255.255.255"), IpGenAddr("::"));  // all IPv4 first
  EXPECT_NE(IpGenAddr(IpAddr4("0.0.0.0")), IpGenAddr(IpAddr6("::")));
  EXPECT_TRUE(IpGenAddr().isV4() && IpGenAddr().isZero());
  EXPECT_FALSE(IpGenAddr::parse("10.0.0.1::"));
  EXPECT_THROW(IpGenAddr("nope"), Nollo::ParseError);
  std::set<IpGenAddr> s{IpGenAddr("::1"), IpGenAddr("10.0.0.2"), IpGenAddr("10.0.0.1")};
  EXPECT_EQ(s.begin()->str(), "10.0.0.1");
  EXPECT_EQ(s.rbegin()->str(), "::1");
}

}  // namespace
