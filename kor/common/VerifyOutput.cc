#include "kor/common/VerifyOutput.h"

namespace Kor {

std::ostream& operator<<(std::ostream& os, VerifyOutput const& o) {
  return os << " File: " << o.filename() << " Function: " << o.function() << " Description: " << o.description();
}

}  // namespace Kor
