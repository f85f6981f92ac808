#pragma once
// The platform's answers to VLAN updates: per VLAN the genId it last
// programmed and whether that succeeded. Written by the platform (in the
// software chip: SoftVlanHelper), watched by VlanHelper, which folds an
// answer in (updateVlanDone) whenever the entry of a VLAN with an update in
// flight changes.
#include <cstdint>
#include <ostream>

#include "kor/common/KorExport.h"
#include "kor/common/VlanId.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT VlanHwUpdateStatus : public Vix::Entity {
 public:
  enum class VlanProgrammingStatus : uint8_t { programmingSucceeded = 0, programmingFailed = 1 };

  struct Status {
    uint64_t genId = 0;
    VlanProgrammingStatus programmingStatus = VlanProgrammingStatus::programmingSucceeded;
    bool operator==(Status const&) const = default;
  };

  class Notifiee : public Vix::NotifieeOf<VlanHwUpdateStatus> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(VlanId, Status)
  };

  explicit VlanHwUpdateStatus(std::string name) : Entity(std::move(name)) {}

  VIX_ORDERED_MAP(VlanId, Status, status, Status)
};

// "programmingSucceeded", "programmingFailed", others
// "VlanHwUpdateStatus::VlanProgrammingStatus(%d)".
KOR_EXPORT std::ostream& operator<<(std::ostream& os, VlanHwUpdateStatus::VlanProgrammingStatus s);

}  // namespace Kor
