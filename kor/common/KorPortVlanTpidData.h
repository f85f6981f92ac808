#pragma once
// The VLAN tag protocol ids of one port: the TPID the hardware matches
// (hwVlanTpid), the configured one (vlanTpid, at least 1: the constructor and
// vlanTpidIs throw Vix::RangeError otherwise) and whether the port is a
// dot1q tunnel port. Both TPIDs default to 0x8100. Written by the VLAN
// machinery into KorCommonSmData::portVlanTpidData.
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT KorPortVlanTpidData {
 public:
  static constexpr uint16_t defaultTpid = 0x8100;

  KorPortVlanTpidData() = default;
  KorPortVlanTpidData(uint16_t hwVlanTpid, int64_t vlanTpid, bool dot1QTunnel);

  uint16_t hwVlanTpid() const { return hwVlanTpid_; }
  void hwVlanTpidIs(uint16_t v) { hwVlanTpid_ = v; }
  uint16_t vlanTpid() const { return vlanTpid_; }
  void vlanTpidIs(int64_t v);
  bool dot1QTunnel() const { return dot1QTunnel_; }
  void dot1QTunnelIs(bool v) { dot1QTunnel_ = v; }

  bool operator==(KorPortVlanTpidData const&) const = default;

 private:
  uint16_t hwVlanTpid_ = defaultTpid;
  uint16_t vlanTpid_ = defaultTpid;
  bool dot1QTunnel_ = false;
};

// "hwVlanTpid 0x8100 vlanTpid 0x88a8 dot1QTunnel 1"
KOR_EXPORT std::ostream& operator<<(std::ostream& os, KorPortVlanTpidData const& d);

}  // namespace Kor
