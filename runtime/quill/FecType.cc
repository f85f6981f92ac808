#include "quill/FecType.h"

namespace Quill::Fib {

std::string str(FecType t) {
  switch (t) {
    case FecType::forward: return "forward";
    case FecType::drop: return "drop";
    case FecType::receive: return "receive";
    case FecType::receiveBcast: return "receiveBcast";
    case FecType::slowReceive: return "slowReceive";
    case FecType::attached: return "attached";
    case FecType::nexthopGroup: return "nexthopGroup";
    case FecType::tunnel: return "tunnel";
  }
  return "FecType(" + std::to_string(int(t)) + ")";
}

std::ostream& operator<<(std::ostream& os, FecType t) { return os << str(t); }

}  // namespace Quill::Fib
