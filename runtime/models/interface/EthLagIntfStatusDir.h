#pragma once
// One EthLagIntfStatus per LAG interface, as the interface agent publishes
// them: a LAG exists from its first status until its status is removed.
#include <string>

#include "models/interface/EthLagIntfStatus.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Interface {

class EthLagIntfStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<EthLagIntfStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, IntfStatus)
  };

  EthLagIntfStatusDir() = default;
  explicit EthLagIntfStatusDir(std::string name) : Entity(std::move(name)) {}

  VIX_CHILD_MAP(Nollo::IntfId, EthLagIntfStatus, intfStatus, IntfStatus)
};

}  // namespace Interface
