#pragma once
// The flush work of one loop turn, merged (MacAddrSm::handleFlushRequest
// fills it, execFlush empties it). all: the whole table; vlan: whole VLANs;
// port / lag: an interface with the VLAN to flush on it (0: every VLAN). A
// wider request swallows a narrower one: a port flushed in every VLAN keeps
// 0 whatever VLAN a later request names, and nothing is kept beside `all`.
// fullLogged: the table-full log went out since the last flush (a flush
// makes room, so the next refusal is worth a log again).
#include <cstdint>
#include <map>
#include <string>

#include "nollo/IntfId.h"
#include "vix/Entity.h"

namespace Kor {

class CondensedFlushRequest : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<CondensedFlushRequest> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_HANDLER(All)
    VIX_KEY_HANDLER(uint16_t, Vlan)
    VIX_KEY_HANDLER(Nollo::IntfId, Port)
    VIX_KEY_HANDLER(Nollo::IntfId, Lag)
    VIX_HANDLER(FullLogged)
  };

  CondensedFlushRequest() : Entity("condensedFlushRequest") {}

  VIX_ATTR(bool, all, All)
  VIX_ORDERED_MAP(uint16_t, bool, vlan, Vlan)
  VIX_ORDERED_MAP(Nollo::IntfId, uint16_t, port, Port)
  VIX_ORDERED_MAP(Nollo::IntfId, uint16_t, lag, Lag)
  VIX_ATTR(bool, fullLogged, FullLogged)

 public:
  bool empty() const { return !all() && vlanSize() == 0 && portSize() == 0 && lagSize() == 0; }
};

}  // namespace Kor
