#pragma once
// The IPv6 route machines' platform hook (see RouteSmHelperT).
#include "kor/helpers/RouteSmHelperT.h"
