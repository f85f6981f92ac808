#pragma once
// Neighbour information of one next hop (written by the ARP and neighbour
// machines into the VRF's nextHopList).
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include "vix/Ptr.h"

namespace Kor {

class NextHopList : public Vix::PtrInterface {};

}  // namespace Kor
