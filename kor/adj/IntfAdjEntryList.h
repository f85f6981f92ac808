#pragma once
// The adjacencies that egress through one interface (child of
// L3Status::intfToAdjEntry, named after the interface).
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class IntfAdjEntryList : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<IntfAdjEntryList> {
   public:
    using NotifieeOf::NotifieeOf;
  };
  explicit IntfAdjEntryList(Nollo::IntfId intf) : intf_(intf) {}
  Nollo::IntfId intf() const { return intf_; }

 private:
  Nollo::IntfId intf_;
};

}  // namespace Kor
