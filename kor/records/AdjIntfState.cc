#include "kor/records/AdjIntfState.h"

#include <string>

namespace Kor {

char const* toString(AdjIntfState v) {
  switch (v) {
    case AdjIntfState::intfDown: return "intfDown";
    case AdjIntfState::intfBfdDown: return "intfBfdDown";
    case AdjIntfState::intfUp: return "intfUp";
  }
  return nullptr;
}

std::ostream& operator<<(std::ostream& os, AdjIntfState v) {
  if (char const* s = toString(v)) return os << s;
  return os << "AdjIntfState(" << static_cast<int>(v) << ")";
}

}  // namespace Kor
