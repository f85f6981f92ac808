#pragma once
#include "vix/NotifieeOf.h"

namespace Vix {

template <class Owner>
class ReactorSet;

// Base of a reactor nested in the machine that owns it: the entity's
// Notifiee (N) plus the pointer back to the owner (sm_), so that a reactor
// class is only its handlers:
//
//   class ThingSm::VixThing : public Vix::NestedReactor<ThingSm, Thing::Notifiee> {
//    public:
//     void handleUp() override { sm_->doRecompute(); }
//   };
//
// It is created, attached and owned by the owner's ReactorSet, which sets
// sm_ before the reactor is attached: sm_ is never null in a handler.
template <class Owner, class N>
class NestedReactor : public N {
 protected:
  Owner* sm_ = nullptr;

 private:
  friend class ReactorSet<Owner>;
};

}  // namespace Vix
