#include "kor/common/KorPortVlanTpidData.h"

#include <ios>

#include "vix/RangeError.h"

namespace Kor {

KorPortVlanTpidData::KorPortVlanTpidData(uint16_t hwVlanTpid, int64_t vlanTpid, bool dot1QTunnel)
    : hwVlanTpid_(hwVlanTpid), dot1QTunnel_(dot1QTunnel) {
  vlanTpidIs(vlanTpid);
}

void KorPortVlanTpidData::vlanTpidIs(int64_t v) {
  if (v < 1) throw Vix::RangeError("KorPortVlanTpidData::vlanTpid < 1 not allowed");
  if (v > UINT16_MAX) throw Vix::RangeError("KorPortVlanTpidData::vlanTpid > 65535 not allowed");
  vlanTpid_ = static_cast<uint16_t>(v);
}

std::ostream& operator<<(std::ostream& os, KorPortVlanTpidData const& d) {
  auto flags = os.flags();
  os << "hwVlanTpid 0x" << std::hex << d.hwVlanTpid() << " vlanTpid 0x" << d.vlanTpid() << std::dec
     << " dot1QTunnel " << d.dot1QTunnel();
  os.flags(flags);
  return os;
}

}  // namespace Kor
