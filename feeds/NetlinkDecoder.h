#pragma once
// NetlinkDecoder turns rtnetlink messages - one FPM frame from zebra, or one
// datagram read from a kernel rtnetlink socket - into the decoded records the
// route and interface sources apply: routes, next-hop objects, links,
// addresses and neighbours.
//
// Owns one reusable decoded message (so a stream of routes naming next-hop
// objects decodes without allocating), the counters and the last error.
// Invariant: a message is delivered whole or not at all. A message whose
// length is wrong, whose attribute runs past its container or has the wrong
// size for its type, whose nested attribute is malformed, or whose values are
// impossible (prefix length above the family's bits, ...) is skipped, counted
// and named in error(); the stream goes on. Messages of types nobody here
// applies (NLMSG_DONE, rules, qdiscs, MPLS routes, bridge-port links, FDB
// entries) are counted ignored; types outside rtnetlink unknownType. Unknown
// attribute types inside a known message are skipped and counted. Netlink is
// host-endian; addresses are network order and are copied, never printed.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>

#include "feeds/NlAddr.h"
#include "feeds/NlLink.h"
#include "feeds/NlNeigh.h"
#include "feeds/NlNexthopObject.h"
#include "feeds/NlRoute.h"

namespace KorFeeds {

class NetlinkDecoder {
 public:
  using Message = std::variant<std::monostate, NlRoute, NlNexthopObject, NlLink, NlAddr, NlNeigh>;
  struct Counters {
    uint64_t messages = 0;     // every message seen, decoded or not
    uint64_t decoded = 0;      // delivered
    uint64_t ignored = 0;      // known but not applied here
    uint64_t unknownType = 0;  // nlmsg_type outside netlink control and rtnetlink
    uint64_t unknownAttr = 0;  // attributes of unknown type skipped inside decoded messages
    uint64_t badAttrSize = 0;  // skipped: attribute too short, running past its container, wrong size
    uint64_t badLength = 0;    // skipped: nlmsg_len wrong for the buffer or the message type
    uint64_t badValue = 0;     // skipped: impossible value (prefix length, family, missing id...)
  };

  // Splits a buffer of whole netlink messages by nlmsg_len and decodes each;
  // calls f(Message const&) for each decoded message (the reference is valid
  // during the call only). Returns false when a length field is wrong: the
  // rest of the buffer is skipped (a frame whose nlmsg_len disagrees with the
  // frame's length is such a buffer).
  template <class F>
  bool decodeAll(std::span<uint8_t const> buf, F&& f) {
    size_t off = 0;
    while (off < buf.size()) {
      size_t const len = messageLength(buf, off);
      if (!len) return false;
      if (decodeAt(buf.subspan(off, len), off, &msg_)) f(std::as_const(msg_));
      off += std::min((len + 3) & ~size_t(3), buf.size() - off);
    }
    return true;
  }
  // One message (up to three bytes of alignment padding after nlmsg_len are
  // allowed). Reuses *out's storage when it already holds the same kind of
  // record. False when nothing was delivered: *out is then unspecified.
  bool decode(std::span<uint8_t const> msg, Message* out) { return decodeAt(msg, 0, out); }

  // The last skipped message, e.g. "RTM_NEWROUTE at byte 28: RTA_GATEWAY of
  // 3 bytes"; the byte offset counts from the start of the buffer given.
  std::string const& error() const { return error_; }
  Counters const& counters() const { return counters_; }

  // "RTM_NEWROUTE", or "message type 77".
  static std::string typeName(uint16_t type);

 private:
  // The length of the message at buf[off], or 0 (counted, error set) when its
  // nlmsg_len is below the header's size or runs past the buffer.
  size_t messageLength(std::span<uint8_t const> buf, size_t off);
  bool decodeAt(std::span<uint8_t const> msg, size_t base, Message* out);

  bool decodeRoute(uint8_t const* m, size_t len, bool add, Message* out);
  bool decodeNexthopObject(uint8_t const* m, size_t len, bool add, Message* out);
  bool decodeLink(uint8_t const* m, size_t len, bool add, Message* out);
  bool decodeAddr(uint8_t const* m, size_t len, bool add, Message* out);
  bool decodeNeigh(uint8_t const* m, size_t len, bool add, Message* out);
  bool decodeMultipath(uint8_t const* p, size_t n, size_t off, uint8_t family, NlRoute* r);
  bool decodeLinkInfo(uint8_t const* p, size_t n, size_t off, NlLink* l);

  // Walks the attributes in p[0..n) (at message offset off), calling
  // f(type, payload, size, offset) for each; false when one is malformed or
  // f refuses one.
  template <class F>
  bool walkAttrs(uint8_t const* p, size_t n, size_t off, char const* container, F&& f);

  // An RTA_VIA: a gateway of either family.
  bool doReadVia(uint8_t const* p, size_t n, size_t off, std::optional<Nollo::IpGenAddr>* gw);
  // Skips the message being decoded: counts it in *counter and names its
  // type and the offset in error_. Always false.
  bool doFail(uint64_t* counter, size_t off, std::string const& what);
  bool doFailSize(size_t off, char const* attr, size_t size);

  Message msg_;
  uint16_t type_ = 0;  // of the message being decoded, for errors
  size_t base_ = 0;    // offset of that message in the caller's buffer
  std::string error_;
  Counters counters_;
};

}  // namespace KorFeeds
