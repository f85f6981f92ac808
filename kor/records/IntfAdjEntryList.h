#pragma once
// The adjacencies, of every VRF, whose vias egress through one interface:
// child of L3Status::intfToAdjEntry named after the interface, kept by the
// adjacency machines as they rebuild vias (an emptied child is deleted). The
// interface status machine reads it to queue link-up / link-down reviews in
// each adjacency's VRF (AdjEntry::vrfId).
#include "kor/records/AdjEntry.h"
#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class IntfAdjEntryList : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<IntfAdjEntryList> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Vix::Ptr<AdjEntry>, AdjEntry)
  };
  explicit IntfAdjEntryList(Nollo::IntfId intf) : Entity(intf.str()), intf_(intf) {}
  Nollo::IntfId intf() const { return intf_; }

  VIX_HASH_MAP(Vix::Ptr<AdjEntry>, bool, adjEntry, AdjEntry)

 private:
  Nollo::IntfId intf_;
};

}  // namespace Kor
