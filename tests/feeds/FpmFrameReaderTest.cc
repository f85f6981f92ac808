// The FPM connection's framing: frames come out whole however the stream is
// cut into reads; a frame whose length disagrees with its netlink message is
// skipped while framing holds; a header no FPM sender writes loses framing
// for good and names where.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "feeds/FpmFrameReader.h"
#include "feeds/NetlinkDecoder.h"
#include "feeds/NetlinkEncoder.h"

namespace {

using namespace KorFeeds;
using Bytes = std::vector<uint8_t>;

// A stream of every record kind, one per frame.
Bytes stream() {
  NetlinkEncoder enc;
  Bytes s;
  NlRoute r;
  r.prefix = Nollo::Ip6Prefix("2001:db8::/32");
  r.nexthops = {{Nollo::IpGenAddr("fe80::1"), 2, 1}, {Nollo::IpGenAddr("fe80::2"), 3, 2}};
  enc.encodeFrame(r, &s);
  r.prefix = Nollo::IpPrefix("10.0.0.0/8");
  r.nexthops.clear();
  r.nhId = 9;
  enc.encodeFrame(r, &s);
  NlNexthopObject o;
  o.id = 9;
  o.group = {{1, 1}, {2, 2}};
  enc.encodeFrame(o, &s);
  enc.encodeFrame(NlLink{true, 2, "eth1", true, 0, 0, "", 0, 0, std::nullopt}, &s);
  enc.encodeFrame(NlAddr{true, 2, Nollo::IpGenAddr("10.0.0.1"), 24}, &s);
  enc.encodeFrame(NlNeigh{true, 2, Nollo::IpGenAddr("10.0.0.2"), std::nullopt, 1}, &s);
  return s;
}

// What a reader and decoder make of `s` fed in the given pieces.
struct Outcome {
  std::vector<NetlinkDecoder::Message> messages;
  uint64_t frames = 0;
  bool lost = false;
};

Outcome read(Bytes const& s, std::vector<size_t> const& cuts) {
  FpmFrameReader reader;
  NetlinkDecoder dec;
  Outcome o;
  size_t from = 0;
  auto drain = [&] {
    while (auto f = reader.next()) dec.decodeAll(*f, [&](NetlinkDecoder::Message const& m) { o.messages.push_back(m); });
  };
  for (size_t cut : cuts) {
    reader.feed(s.data() + from, cut - from);
    drain();
    from = cut;
  }
  reader.feed(s.data() + from, s.size() - from);
  drain();
  o.frames = reader.counters().frames;
  o.lost = reader.framingLost();
  EXPECT_EQ(reader.counters().bytes, s.size());
  return o;
}

TEST(FpmFrameReaderTest, StreamSplitAnywhereDecodesAsWhole) {
  Bytes const s = stream();
  Outcome const whole = read(s, {});
  ASSERT_EQ(whole.messages.size(), 6u);
  EXPECT_EQ(whole.frames, 6u);
  for (size_t cut = 0; cut <= s.size(); ++cut) {
    Outcome const o = read(s, {cut});
    ASSERT_EQ(o.messages, whole.messages) << "split at byte " << cut;
  }
  std::vector<size_t> everyByte;
  for (size_t i = 1; i < s.size(); ++i) everyByte.push_back(i);
  EXPECT_EQ(read(s, everyByte).messages, whole.messages);
}

TEST(FpmFrameReaderTest, TruncatedFrameWaitsForItsRest) {
  Bytes const s = stream();
  FpmFrameReader reader;
  size_t const first = size_t(s[2]) << 8 | s[3];
  reader.feed(s.data(), first - 1);
  EXPECT_FALSE(reader.next());
  EXPECT_FALSE(reader.framingLost());
  EXPECT_EQ(reader.pending(), first - 1);
  reader.feed(s.data() + first - 1, 1);
  auto f = reader.next();
  ASSERT_TRUE(f);
  EXPECT_EQ(f->size(), first - FpmFrameReader::kHeaderSize);
  EXPECT_EQ(reader.offset(), first);
}

TEST(FpmFrameReaderTest, FramesOfOneReadStayValidUntilTheNextRead) {
  Bytes const s = stream();
  FpmFrameReader reader;
  reader.feed(s.data(), s.size());
  std::vector<std::span<uint8_t const>> frames;
  while (auto f = reader.next()) frames.push_back(*f);
  ASSERT_EQ(frames.size(), 6u);
  NetlinkDecoder dec;
  size_t n = 0;
  for (auto f : frames) EXPECT_TRUE(dec.decodeAll(f, [&](NetlinkDecoder::Message const&) { ++n; }));
  EXPECT_EQ(n, 6u);
}

TEST(FpmFrameReaderTest, LengthDisagreeingWithItsMessageKeepsFraming) {
  NetlinkEncoder enc;
  NlRoute r;
  r.prefix = Nollo::IpPrefix("10.1.0.0/16");
  r.nhId = 4;
  Bytes msg;
  enc.encode(r, &msg);
  Bytes overLong = msg;
  overLong.resize(msg.size() + 8);  // frame longer than its message: 8 stray bytes
  Bytes underLong = msg;
  underLong[0] = uint8_t(msg.size() + 4);  // message claims more than its frame
  Bytes s;
  NetlinkEncoder::fpmFrame(overLong, &s);
  NetlinkEncoder::fpmFrame(underLong, &s);
  NetlinkEncoder::fpmFrame(msg, &s);
  FpmFrameReader reader;
  NetlinkDecoder dec;
  reader.feed(s.data(), s.size());
  std::vector<bool> whole;
  int routes = 0;
  while (auto f = reader.next()) whole.push_back(dec.decodeAll(*f, [&](NetlinkDecoder::Message const&) { ++routes; }));
  EXPECT_EQ(whole, (std::vector<bool>{false, false, true}));
  EXPECT_FALSE(reader.framingLost());
  EXPECT_EQ(dec.counters().badLength, 2u);
  // The first frame's message decodes before its stray tail is found.
  EXPECT_EQ(routes, 2);
}

TEST(FpmFrameReaderTest, HeadersNoSenderWritesLoseFramingForGood) {
  Bytes const good = stream();
  size_t const first = size_t(good[2]) << 8 | good[3];
  struct Bad {
    char const* what;
    size_t at;
    uint8_t value;
    char const* error;
  };
  for (Bad const& b : {Bad{"version", 0, 2, "version 2, expected 1"}, Bad{"type", 1, 2, "type 2, expected 1 (netlink)"},
                       Bad{"length", 3, 3, "length 3 below the 4-byte header"}}) {
    SCOPED_TRACE(b.what);
    Bytes s = good;
    s[first + b.at] = b.value;
    if (b.at == 3) s[first + 2] = 0;
    FpmFrameReader reader;
    reader.feed(s.data(), s.size());
    int frames = 0;
    while (reader.next()) ++frames;
    EXPECT_EQ(frames, 1);
    EXPECT_TRUE(reader.framingLost());
    EXPECT_EQ(reader.error(), "FPM frame at byte " + std::to_string(first) + ": " + b.error);
    EXPECT_EQ(reader.counters().framingErrors, 1u);
    // Nothing more comes out, whatever arrives.
    reader.feed(good.data(), good.size());
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.pending(), 0u);
  }
}

}  // namespace
