#pragma once
// Status of all interfaces: interface -> IntfStatus (link up/down, routed
// port). An interface missing from the directory has no status yet and
// counts as down. LAG membership is not here: it is the common data's
// lagToPort / portToLag.
#include <cstdint>
#include <string>

#include "models/interface/IntfStatus.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Interface {

class AllIntfStatusDir : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<AllIntfStatusDir> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, IntfStatus)
  };

  AllIntfStatusDir() = default;
  explicit AllIntfStatusDir(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(Nollo::IntfId, IntfStatus, intfStatus, IntfStatus)

 public:
  bool operUp(Nollo::IntfId const& intf) const { return intfStatus(intf).operUp; }
};

}  // namespace Interface
