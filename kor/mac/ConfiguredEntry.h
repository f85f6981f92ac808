#pragma once
// The candidate a non-hardware source (static configuration, router MACs,
// remote hosts) offers for a MAC key, as MacAddrSm::configuredEntry builds
// it: the table entry's fields plus the remote VTEP (tunnelIpAddr, zero for
// a local host), the move sequence, the time of the last move and the
// preference that decides between dynamic candidates of equal time. A
// value built per evaluation and never published, so it holds the fields
// rather than deriving from the immutable table entry.
#include <cstdint>

#include "kor/mac/Seqno32.h"
#include "kor/records/MacAddressTableEntry.h"
#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"
#include "nollo/IpAddr4.h"
#include "vix/Time.h"

namespace Kor {

struct ConfiguredEntry {
  KorTypes::MacAddressTableEntry::Key key;
  Nollo::IntfId intf;
  Bridging::EntryType entryType = Bridging::EntryType::configuredStaticMac;
  Nollo::IpAddr4 tunnelIpAddr;
  Seqno32 seqno;
  Vix::Seconds lastMoveTime = 0;
  uint8_t preference = 0;
};

}  // namespace Kor
