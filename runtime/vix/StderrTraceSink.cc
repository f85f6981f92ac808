#include "vix/StderrTraceSink.h"

#include <cstdio>

namespace Vix {

void StderrTraceSink::write(std::string const& facility, int level, std::string const& msg) {
  std::fprintf(stderr, "%s[%d] %s\n", facility.c_str(), level, msg.c_str());
}

}  // namespace Vix
