#pragma once
// The range error every checked value type throws; its text names the type and
// the field, e.g. "VlanId::value < 1 or > 4094 not allowed".
#include <stdexcept>
#include <string>

namespace Vix {

class RangeError : public std::range_error {
 public:
  explicit RangeError(std::string const& what) : std::range_error(what) {}
};

}  // namespace Vix
