#pragma once
// The platform's per-port VLAN settings, driven by Kor::SwitchIntfSm: the
// port's default VLAN (untagged frames are classified into it), its tagging
// mode, its TPID, and the cleanup of a port that stops being a switchport.
// Every default fails loudly, naming the state machine that called it.
#include <cstdint>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"
#include "kor/common/KorPortVlanTpidData.h"
#include "models/bridging/SwitchportConfig.h"
#include "nollo/IntfId.h"

namespace KorHelper {

class KOR_EXPORT SwitchIntfSmHelper : public Kor::KorBaseHelper {
 public:
  using KorBaseHelper::KorBaseHelper;

  // The port's whole configuration has been applied (after the calls below).
  virtual void doApplyConfig(Nollo::IntfId const&) { unimplemented("SwitchIntfSm", "doApplyConfig"); }
  virtual void doSetDefaultVlan(Nollo::IntfId const&, uint16_t) {
    korAssert("Call to unimplemented function SwitchIntfSm::doSetDefaultVlan");
  }
  virtual void doSetPortTagging(Nollo::IntfId const&, Bridging::SwitchportConfig::Mode) {
    unimplemented("SwitchIntfSm", "doSetPortTagging");
  }
  virtual void doSetPortTpid(Nollo::IntfId const&, Kor::KorPortVlanTpidData const&) {
    unimplemented("SwitchIntfSm", "doSetPortTpid");
  }
  virtual void doCleanup(Nollo::IntfId const&) { unimplemented("SwitchIntfSm", "doCleanup"); }
  virtual void handleVerify() { unimplemented("SwitchIntfSm", "handleVerify"); }
  // Every configured port has been applied once: what the platform kept
  // from an earlier run and no port claimed may go.
  virtual void doEndSync() {}
};

}  // namespace KorHelper
