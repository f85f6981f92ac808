#pragma once
// One decided change of the update list (MacAddrSm::addToUpdateList): the
// key's new location and type, its move count and time, and the action that
// carries it out. At most one per key: a newer decision replaces it.
#include <cstdint>

#include "kor/mac/EntryEvaluationAction.h"
#include "kor/records/MacAddressTableEntry.h"
#include "models/bridging/EntryType.h"
#include "nollo/IntfId.h"
#include "nollo/IpAddr4.h"
#include "vix/Time.h"

namespace Kor {

struct ModifyMacEntry {
  KorTypes::MacAddressTableEntry::Key key;
  Nollo::IntfId intf;
  Nollo::IpAddr4 tunnelIpAddr;
  uint32_t tunnelId = 0;
  Bridging::EntryType entryType = Bridging::EntryType::learnedDynamicMac;
  uint32_t moves = 0;
  Vix::Seconds lastMoveTime = 0;
  EntryEvaluationAction action = ignoreLearnt;
  bool movedToLocal = false;
  bool movedToRemote = false;
};

}  // namespace Kor
