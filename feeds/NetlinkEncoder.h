#pragma once
// NetlinkEncoder builds rtnetlink messages the way their real senders do:
// routes and next-hop objects as zebra's FPM data plane writes them, links,
// addresses and neighbours as the kernel announces them. Tests, the fuzz seed
// corpus and the benchmark feed its output to the decoder and the sources.
//
// Owns only the sequence number stamped on each message. Every encode()
// appends one whole message (aligned to 4 bytes) to *out and leaves what was
// there untouched; fpmFrame() / encodeFrame() add the FPM header. Decoding
// what it encodes gives back the same record:
//   route: RTA_PRIORITY always, RTA_TABLE for a table above 255 (else
//     rtm_table), RTA_NH_ID when nhId is set, else RTA_GATEWAY (RTA_VIA for a
//     gateway of the other family) + RTA_OIF for one next hop of weight 1,
//     RTA_MULTIPATH (nested) for any other list; none for a blackhole. Flags
//     NLM_F_CREATE, and NLM_F_REPLACE on new IPv4 routes and next-hop
//     objects, as zebra's captured streams have them.
//   next-hop object: NHA_ID, then NHA_GROUP, or NHA_BLACKHOLE, or
//     NHA_GATEWAY + NHA_OIF.
//   link: IFLA_IFNAME, IFLA_MTU, IFLA_ADDRESS, IFLA_MASTER, IFLA_LINK and
//     IFLA_LINKINFO (kind, VLAN id or VRF table), flags UP|RUNNING|LOWER_UP
//     when up.
//   address: IFA_ADDRESS, and IFA_LOCAL for IPv4.  neighbour: NDA_DST,
//     NDA_LLADDR when known.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "feeds/NlAddr.h"
#include "feeds/NlLink.h"
#include "feeds/NlNeigh.h"
#include "feeds/NlNexthopObject.h"
#include "feeds/NlRoute.h"

namespace KorFeeds {

class NetlinkEncoder {
 public:
  void encode(NlRoute const& r, std::vector<uint8_t>* out);
  void encode(NlNexthopObject const& o, std::vector<uint8_t>* out);
  void encode(NlLink const& l, std::vector<uint8_t>* out);
  void encode(NlAddr const& a, std::vector<uint8_t>* out);
  void encode(NlNeigh const& n, std::vector<uint8_t>* out);

  // Appends the FPM header and `msg` (one or more whole netlink messages).
  static void fpmFrame(std::span<uint8_t const> msg, std::vector<uint8_t>* out);
  // Appends one FPM frame holding the encoding of `m`.
  template <class M>
  void encodeFrame(M const& m, std::vector<uint8_t>* out) {
    size_t const start = out->size();
    out->insert(out->end(), {1, 1, 0, 0});
    encode(m, out);
    doPatchFrameLength(out, start);
  }

  uint32_t seq() const { return seq_; }

 private:
  static void doPatchFrameLength(std::vector<uint8_t>* out, size_t start);

  uint32_t seq_ = 0;
};

}  // namespace KorFeeds
