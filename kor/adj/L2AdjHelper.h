#pragma once
// The one L2 adjacency helper: resolves the vias of adjacencies into shared
// L2 adjacencies and asks the platform to install them. Handed to every
// VRF's adjacency machine. Placeholder: the adjacency work fills in its
// operations; the routing spine only passes it on.
#include <string>

#include "kor/common/KorBaseHelper.h"
#include "kor/common/KorExport.h"

namespace Kor {

class KOR_EXPORT L2AdjHelper : public KorBaseHelper {
 public:
  explicit L2AdjHelper(std::string name = "L2AdjHelper") : KorBaseHelper(std::move(name)) {}
};

}  // namespace Kor
