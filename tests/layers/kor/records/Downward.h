#pragma once
// A record that includes only its own layer, the layer below and the runtime.
#include <string>

#include "kor/common/VrfName.h"
#include "kor/records/VrfId.h"
#include "vix/Ptr.h"
