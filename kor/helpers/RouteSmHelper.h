#pragma once
// The IPv4 route machines' platform hook (see RouteSmHelperT).
#include "kor/helpers/RouteSmHelperT.h"
