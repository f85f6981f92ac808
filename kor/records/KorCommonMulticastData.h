#pragma once
// The multicast agent-wide data, created by the hosting agent right after
// KorCommonSmData and handed to the VRF root and the multicast machines.
// Placeholder: the multicast work fills in its attributes; the routing spine
// only passes it on.
#include <string>
#include <utility>

#include "kor/common/KorExport.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT KorCommonMulticastData : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<KorCommonMulticastData> {
   public:
    using NotifieeOf::NotifieeOf;
  };
  explicit KorCommonMulticastData(std::string name) : Entity(std::move(name)) {}
};

}  // namespace Kor
