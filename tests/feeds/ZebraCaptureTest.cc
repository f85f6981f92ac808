// Real FPM streams recorded from zebra (fuzz/corpus/fpm/zebra-*.bin, made by
// tests/frr/capture_zebra_seeds.py) through the frame reader and the decoder,
// and the encoder held to the bytes zebra writes.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "feeds/FpmFrameReader.h"
#include "feeds/NetlinkDecoder.h"
#include "feeds/NetlinkEncoder.h"

namespace {

using KorFeeds::FpmFrameReader;
using KorFeeds::NetlinkDecoder;
using KorFeeds::NlNexthop;
using KorFeeds::NlNexthopObject;
using KorFeeds::NlRoute;

// From the build's absolute path: __FILE__ is relative to the build
// directory when ccache rewrites paths (CCACHE_BASEDIR), and the test runs
// elsewhere.
std::filesystem::path corpusDir() { return std::filesystem::path(KOR_FUZZ_DIR) / "corpus" / "fpm"; }

struct Capture {
  std::vector<std::vector<uint8_t>> frames;  // netlink bytes of each frame
  std::vector<NetlinkDecoder::Message> messages;
  std::vector<std::string> faults;
};

Capture load(std::string const& name) {
  Capture c;
  std::ifstream in(corpusDir() / name, std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (bytes.empty()) {
    c.faults.push_back(name + ": missing or empty");
    return c;
  }
  FpmFrameReader reader;
  NetlinkDecoder decoder;
  reader.feed(bytes.data(), bytes.size());
  while (auto frame = reader.next()) {
    size_t at = reader.offset();
    c.frames.emplace_back(frame->begin(), frame->end());
    size_t decoded = 0;
    bool ok = decoder.decodeAll(*frame, [&](NetlinkDecoder::Message const& m) {
      c.messages.push_back(m);
      ++decoded;
    });
    if (!ok || decoded != 1)
      c.faults.push_back(name + ": frame ending at byte " + std::to_string(at) + " gave " + std::to_string(decoded) +
                         " messages: " + decoder.error());
  }
  if (reader.framingLost()) c.faults.push_back(name + ": " + reader.error());
  if (reader.pending()) c.faults.push_back(name + ": " + std::to_string(reader.pending()) + " bytes after the last frame");
  auto const& n = decoder.counters();
  if (n.unknownAttr || n.unknownType || n.ignored)
    c.faults.push_back(name + ": unknown attributes " + std::to_string(n.unknownAttr) + ", unknown types " +
                       std::to_string(n.unknownType) + ", ignored " + std::to_string(n.ignored));
  return c;
}

std::string prefixText(NlRoute const& r) {
  return std::visit([](auto const& p) { return p.str(); }, r.prefix);
}

// What a route forwards to, next-hop objects resolved: "blackhole", or the
// sorted next hops as "gateway%oif*weight".
std::string forwarding(NlRoute const& r, std::map<uint32_t, NlNexthopObject> const& objects) {
  if (r.blackhole()) return "blackhole";
  std::vector<NlNexthop> hops = r.nexthops;
  if (r.nhId) {
    auto it = objects.find(r.nhId);
    if (it == objects.end()) return "unknown object " + std::to_string(r.nhId);
    if (it->second.blackhole) return "blackhole";
    if (it->second.group.empty()) hops = {it->second.nexthop};
    for (auto const& m : it->second.group) {
      auto mt = objects.find(m.id);
      if (mt == objects.end()) return "unknown member " + std::to_string(m.id);
      hops.push_back(mt->second.nexthop);
      hops.back().weight = m.weight;
    }
  }
  std::sort(hops.begin(), hops.end());
  std::string s;
  for (auto const& h : hops)
    s += (s.empty() ? "" : " ") + (h.gateway ? h.gateway->str() : std::string("-")) + "%" + std::to_string(h.oif) +
         "*" + std::to_string(h.weight);
  return s;
}

// Plays a capture: the routes it announced (first announcement of each
// prefix, objects as known at the end), the most routes held at once, and
// the routes left at the end.
struct Played {
  std::map<std::string, std::string> announced;
  size_t peak = 0;
  std::map<std::string, NlRoute> left;
  std::map<uint32_t, NlNexthopObject> objects;  // at the end
  std::map<uint32_t, NlNexthopObject> known;    // every object ever sent
  size_t objectDels = 0;
};

Played play(Capture const& c) {
  Played p;
  std::map<std::string, NlRoute> firstSeen;
  for (auto const& m : c.messages) {
    if (auto const* o = std::get_if<NlNexthopObject>(&m)) {
      if (o->add) p.objects[o->id] = p.known[o->id] = *o;
      else p.objectDels += p.objects.erase(o->id);
    } else if (auto const* r = std::get_if<NlRoute>(&m)) {
      std::string key = prefixText(*r);
      if (r->add) {
        p.left[key] = *r;
        firstSeen.emplace(key, *r);
      } else {
        p.left.erase(key);
      }
      p.peak = std::max(p.peak, p.left.size());
    }
  }
  for (auto const& [key, r] : firstSeen) p.announced[key] = forwarding(r, p.known);
  return p;
}

std::string hex(std::vector<uint8_t> const& b) {
  static char const digits[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < b.size(); ++i) {
    if (i && i % 4 == 0) s += ' ';
    s += digits[b[i] >> 4];
    s += digits[b[i] & 15];
  }
  return s;
}

char const* const kCaptures[] = {"zebra-nhg-static.bin", "zebra-inline-static.bin", "zebra-nhg-kernel.bin",
                                  "zebra-inline-kernel.bin"};

TEST(ZebraCaptureTest, EveryFrameOfEveryCaptureDecodesWhole) {
  size_t found = 0;
  for (auto const& e : std::filesystem::directory_iterator(corpusDir())) {
    std::string name = e.path().filename().string();
    if (name.rfind("zebra-", 0) != 0) continue;
    ++found;
    Capture c = load(name);
    EXPECT_TRUE(c.faults.empty()) << testing::PrintToString(c.faults);
    EXPECT_GT(c.frames.size(), 10u) << name;
  }
  EXPECT_GE(found, std::size(kCaptures));
}

TEST(ZebraCaptureTest, NextHopObjectsAndInlineNextHopsAnnounceTheSameStaticRoutes) {
  Capture nhg = load("zebra-nhg-static.bin"), inl = load("zebra-inline-static.bin");
  ASSERT_TRUE(nhg.faults.empty() && inl.faults.empty());
  Played a = play(nhg), b = play(inl);
  // fe80::/64 is on both veths; zebra picks either one.
  a.announced.erase("fe80::/64");
  b.announced.erase("fe80::/64");
  EXPECT_EQ(a.announced, b.announced);
  // Zebra's namespace: lo 1, v1 2, v0 3; statics via 10.0.0.2/.3 and
  // 2001:db8::2/::3 on v0, one on v1, one blackhole.
  EXPECT_EQ(a.announced["192.0.2.0/24"], "10.0.0.2%3*1");
  EXPECT_EQ(a.announced["198.51.100.0/24"], "10.0.0.2%3*1 10.0.0.3%3*1");
  EXPECT_EQ(a.announced["203.0.113.0/24"], "blackhole");
  EXPECT_EQ(a.announced["198.18.0.0/24"], "-%2*1");
  EXPECT_EQ(a.announced["10.0.0.0/24"], "-%3*1");
  EXPECT_EQ(a.announced["2001:db8:200::/48"], "2001:db8::2%3*1 2001:db8::3%3*1");
  // Every route names an object zebra sent before it.
  std::map<uint32_t, bool> seen;
  for (auto const& m : nhg.messages) {
    if (auto const* o = std::get_if<NlNexthopObject>(&m)) seen[o->id] = true;
    if (auto const* r = std::get_if<NlRoute>(&m); r && r->add && !r->blackhole()) {
      EXPECT_TRUE(r->nexthops.empty()) << prefixText(*r);
      EXPECT_TRUE(seen.count(r->nhId)) << prefixText(*r) << " names object " << r->nhId << " not sent yet";
    }
  }
}

TEST(ZebraCaptureTest, KernelRoutesComeAndGoInBothModes) {
  for (char const* name : {"zebra-nhg-kernel.bin", "zebra-inline-kernel.bin"}) {
    Capture c = load(name);
    ASSERT_TRUE(c.faults.empty()) << name;
    Played p = play(c);
    size_t kernel = 0, ecmp = 0, v6 = 0;
    for (auto const& [prefix, fwd] : p.announced) {
      bool v4Kernel = prefix.rfind("20.", 0) == 0, v6Kernel = prefix.rfind("2001:db8:f", 0) == 0;
      if (!v4Kernel && !v6Kernel) continue;
      ++kernel;
      v6 += v6Kernel;
      ecmp += fwd == "10.0.0.2%3*1 10.0.0.3%3*1";
      EXPECT_TRUE(fwd == "10.0.0.2%3*1" || fwd == "10.0.0.2%3*1 10.0.0.3%3*1" || fwd == "2001:db8::2%3*1")
          << name << " " << prefix << " -> " << fwd;
      EXPECT_FALSE(p.left.count(prefix)) << name << " " << prefix << " not removed";
    }
    EXPECT_EQ(kernel, 1000u) << name;
    EXPECT_EQ(ecmp, 100u) << name;
    EXPECT_EQ(v6, 100u) << name;
    EXPECT_GE(p.peak, 1000u) << name;
    for (auto const& [prefix, r] : p.left)
      EXPECT_TRUE(!r.nhId || p.objects.count(r.nhId)) << name << " " << prefix << " names a removed object";
    if (std::string(name).find("nhg") != std::string::npos) {
      EXPECT_GT(p.objectDels, 0u) << name;
    }
  }
}

// The encoder writes what zebra writes: every captured message, decoded and
// encoded again, gives back zebra's bytes but for the sequence number and
// the sender's port id.
TEST(ZebraCaptureTest, EncoderWritesZebrasBytes) {
  for (char const* name : kCaptures) {
    Capture c = load(name);
    ASSERT_TRUE(c.faults.empty()) << name;
    ASSERT_EQ(c.frames.size(), c.messages.size());
    KorFeeds::NetlinkEncoder enc;
    for (size_t i = 0; i < c.frames.size(); ++i) {
      std::vector<uint8_t> mine;
      std::visit(
          [&](auto const& rec) {
            if constexpr (!std::is_same_v<std::decay_t<decltype(rec)>, std::monostate>) enc.encode(rec, &mine);
          },
          c.messages[i]);
      std::vector<uint8_t> theirs = c.frames[i];
      ASSERT_GE(mine.size(), 16u);
      ASSERT_GE(theirs.size(), 16u);
      std::memset(mine.data() + 8, 0, 8);  // nlmsg_seq, nlmsg_pid
      std::memset(theirs.data() + 8, 0, 8);
      EXPECT_EQ(hex(mine), hex(theirs)) << name << " message " << i << " (" << NetlinkDecoder::typeName(theirs[4] | theirs[5] << 8)
                              << ")";
      if (mine != theirs) break;
    }
  }
}

}  // namespace
