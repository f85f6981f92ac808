#pragma once
// A resolved list of next-hop entries.
// Placeholder: the adjacency work fills this record in; L3Status and
// VrfL3Status only hold and key it for now.
#include "vix/Ptr.h"

namespace Kor {

class NextHopEntryList : public Vix::PtrInterface {};

}  // namespace Kor
