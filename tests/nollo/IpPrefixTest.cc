// Prefixes of both families: parsing, masking, rejects, containment, order.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "nollo/IpPrefix.h"

namespace {

using Nollo::Ip6Prefix;
using Nollo::IpAddr4;
using Nollo::IpAddr6;
using Nollo::IpPrefix;

static_assert(sizeof(IpPrefix) == 8);
static_assert(sizeof(Ip6Prefix) == 20);

template <class P>
std::string parseError(char const* text) {
  try {
    P p(text);
  } catch (Nollo::ParseError const& e) {
    return e.what();
  }
  return "";
}

TEST(IpPrefixTest, ParsesAndMasksHostBits) {
  IpPrefix p("10.0.0.0/8");
  EXPECT_EQ(p.addr(), IpAddr4("10.0.0.0"));
  EXPECT_EQ(p.len(), 8);
  EXPECT_EQ(p.str(), "10.0.0.0/8");
  EXPECT_EQ(IpPrefix("10.1.2.3/8"), p);
  EXPECT_EQ(IpPrefix(IpAddr4("10.1.2.3"), 16).str(), "10.1.0.0/16");
  EXPECT_EQ(IpPrefix("0.0.0.0/0").str(), "0.0.0.0/0");
  EXPECT_TRUE(IpPrefix("1.2.3.4/0").isDefault());
  EXPECT_TRUE(IpPrefix("1.2.3.4/32").isHost());
  Ip6Prefix q("2001:db8:1::5/32");
  EXPECT_EQ(q.str(), "2001:db8::/32");
  EXPECT_EQ(Ip6Prefix("::/0").str(), "::/0");
  EXPECT_EQ(Ip6Prefix("::1/128").str(), "::1/128");
}

TEST(IpPrefixTest, RejectsBadLengthAndText) {
  EXPECT_EQ(parseError<IpPrefix>("10.0.0.0/33"), "malformed IPv4 prefix '10.0.0.0/33': length 33 out of range");
  EXPECT_EQ(parseError<Ip6Prefix>("2001:db8::/129"),
            "malformed IPv6 prefix '2001:db8::/129': length 129 out of range");
  EXPECT_EQ(parseError<IpPrefix>("10.0.0.0"), "malformed IPv4 prefix '10.0.0.0': missing length");
  EXPECT_EQ(parseError<IpPrefix>("10.0.0.256/8"), "malformed IPv4 prefix '10.0.0.256/8': bad address");
  for (char const* t : {"10.0.0.0/", "10.0.0.0/-1", "10.0.0.0/8x", "10.0.0.0/0008", "10.0.0.0/8/8", "/8"})
    EXPECT_FALSE(IpPrefix::parse(t)) << t;
  EXPECT_FALSE(Ip6Prefix::parse("10.0.0.0/8"));
  EXPECT_FALSE(IpPrefix::parse("::/0"));
  EXPECT_THROW(IpPrefix(IpAddr4("1.2.3.4"), 33), Nollo::ParseError);
  EXPECT_THROW(Ip6Prefix(IpAddr6("::"), -1), Nollo::ParseError);
}

TEST(IpPrefixTest, ContainsAddressesAndPrefixes) {
  IpPrefix p("10.1.0.0/16");
  EXPECT_TRUE(p.contains(IpAddr4("10.1.255.255")));
  EXPECT_FALSE(p.contains(IpAddr4("10.2.0.0")));
  EXPECT_TRUE(p.contains(IpPrefix("10.1.2.0/24")));
  EXPECT_TRUE(p.contains(p));
  EXPECT_FALSE(p.contains(IpPrefix("10.0.0.0/8")));  // less specific
  EXPECT_FALSE(p.contains(IpPrefix("10.2.0.0/24")));
  EXPECT_TRUE(IpPrefix("0.0.0.0/0").contains(IpAddr4("255.1.2.3")));
  Ip6Prefix q("2001:db8::/33");
  EXPECT_TRUE(q.contains(IpAddr6("2001:db8:7fff::1")));
  EXPECT_FALSE(q.contains(IpAddr6("2001:db8:8000::1")));
  EXPECT_TRUE(q.contains(Ip6Prefix("2001:db8:1::/48")));
  EXPECT_FALSE(Ip6Prefix("2001:db8:1::/48").contains(q));
}

TEST(IpPrefixTest, OrdersByAddressThenLengthAndHashesDistinctly) {
  std::set<IpPrefix> s{IpPrefix("10.0.0.0/16"), IpPrefix("10.0.0.0/8"), IpPrefix("9.0.0.0/8"),
                       IpPrefix("10.0.1.0/24")};
  std::vector<std::string> order;
  for (auto const& p : s) order.push_back(p.str());
  EXPECT_EQ(order, (std::vector<std::string>{"9.0.0.0/8", "10.0.0.0/8", "10.0.0.0/16", "10.0.1.0/24"}));
  // Same address, different lengths: distinct keys.
  std::unordered_set<IpPrefix> h{IpPrefix("10.0.0.0/8"), IpPrefix("10.0.0.0/9"), IpPrefix("10.0.0.0/8")};
  EXPECT_EQ(h.size(), 2u);
  std::unordered_set<Ip6Prefix> h6{Ip6Prefix("::/0"), Ip6Prefix("::/1"), Ip6Prefix("::1/128")};
  EXPECT_EQ(h6.size(), 3u);
  EXPECT_NE(std::hash<IpPrefix>()(IpPrefix("10.0.0.0/8")), std::hash<IpPrefix>()(IpPrefix("10.0.0.0/9")));
}

}  // namespace
