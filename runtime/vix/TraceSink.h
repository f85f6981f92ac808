#pragma once
// Where enabled trace lines go (one per process; none by default).
#include <string>

#include "vix/PtrInterface.h"

namespace Vix {

class TraceSink : public PtrInterface {
 public:
  virtual void write(std::string const& facility, int level, std::string const& msg) = 0;
};

}  // namespace Vix
