#pragma once
// What must hold for any byte string read from zebra's FPM connection or a
// kernel rtnetlink socket: no crash, counters that account for every message,
// the same frames however the stream is cut into reads, and every decoded
// record encoding back to itself. Shared by the FpmStreamFuzz target and the
// test that replays its corpus and regressions. Returns "" when all holds,
// else what broke.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "feeds/FpmFrameReader.h"
#include "feeds/NetlinkDecoder.h"
#include "feeds/NetlinkEncoder.h"

namespace KorFuzz {

inline std::string checkDecoderCounters(KorFeeds::NetlinkDecoder const& d) {
  auto const& c = d.counters();
  uint64_t const accounted = c.decoded + c.ignored + c.unknownType + c.badAttrSize + c.badLength + c.badValue;
  if (accounted != c.messages)
    return "decoder counted " + std::to_string(c.messages) + " messages but accounted for " + std::to_string(accounted);
  uint64_t const skipped = c.badAttrSize + c.badLength + c.badValue;
  if (skipped && d.error().empty()) return "skipped a message without an error";
  return "";
}

// Decodes buf; each decoded record must encode and decode back to itself.
inline std::string checkDecodeAll(std::span<uint8_t const> buf, KorFeeds::NetlinkDecoder* d) {
  std::string broke;
  KorFeeds::NetlinkEncoder enc;
  KorFeeds::NetlinkDecoder again;
  std::vector<uint8_t> bytes;
  d->decodeAll(buf, [&](KorFeeds::NetlinkDecoder::Message const& m) {
    if (!broke.empty()) return;
    if (std::holds_alternative<std::monostate>(m)) {
      broke = "delivered an empty message";
      return;
    }
    bytes.clear();
    std::visit(
        [&](auto const& rec) {
          if constexpr (!std::is_same_v<std::decay_t<decltype(rec)>, std::monostate>) enc.encode(rec, &bytes);
        },
        m);
    KorFeeds::NetlinkDecoder::Message back;
    if (!again.decode(bytes, &back))
      broke = "re-encoded record does not decode: " + again.error();
    else if (back != m)
      broke = "re-encoded record decodes differently";
  });
  if (broke.empty()) broke = checkDecoderCounters(*d);
  return broke;
}

struct FrameTrace {
  std::vector<std::vector<uint8_t>> frames;
  bool framingLost = false;
  std::string error;
};

inline FrameTrace readFrames(uint8_t const* data, size_t size, size_t chunk) {
  FrameTrace t;
  KorFeeds::FpmFrameReader r;
  for (size_t off = 0; off < size; off += chunk) {
    r.feed(data + off, std::min(chunk, size - off));
    while (auto f = r.next()) t.frames.emplace_back(f->begin(), f->end());
  }
  t.framingLost = r.framingLost();
  t.error = r.error();
  return t;
}

inline std::string checkFpmStream(uint8_t const* data, size_t size) {
  // The bytes as one kernel datagram.
  KorFeeds::NetlinkDecoder kernel;
  std::string broke = checkDecodeAll(std::span<uint8_t const>(data, size), &kernel);
  if (!broke.empty()) return "datagram: " + broke;
  // The bytes as an FPM stream, read whole and in small reads of a size the
  // input picks.
  FrameTrace const whole = readFrames(data, size, size ? size : 1);
  size_t const chunk = size ? 1 + data[0] % 13 : 1;
  FrameTrace const cut = readFrames(data, size, chunk);
  if (whole.frames != cut.frames || whole.framingLost != cut.framingLost || whole.error != cut.error)
    return "stream read in " + std::to_string(chunk) + "-byte pieces gives other frames than read whole";
  KorFeeds::NetlinkDecoder fpm;
  for (auto const& f : whole.frames) {
    broke = checkDecodeAll(f, &fpm);
    if (!broke.empty()) return "frame: " + broke;
  }
  return "";
}

}  // namespace KorFuzz
