#pragma once
// BFD state per interface (true: the BFD session over it is up), owned by
// L3Status once per address family; the adjacency review reads it to mark
// vias intfBfdDown.
#include <string>

#include "kor/common/KorExport.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class KOR_EXPORT BfdStatusInfo : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<BfdStatusInfo> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Nollo::IntfId, BfdUp)
  };
  explicit BfdStatusInfo(std::string name) : Entity(std::move(name)) {}

  VIX_HASH_MAP(Nollo::IntfId, bool, bfdUp, BfdUp)
};

}  // namespace Kor
