#pragma once
// An adjacency header that reaches up into the routes and out to the chip.
#include "kor/records/VrfId.h"
#include "kor/l3/RouteSm.h"
#include <vector>
  #  include "softchip/SoftChip.h"
#include "vix/Ptr.h"
