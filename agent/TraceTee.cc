#include "agent/TraceTee.h"

#include <cstdio>

namespace KorAgent {

void TraceTee::write(std::string const& facility, int level, std::string const& msg) {
  if (toStderr_) std::fprintf(stderr, "%s[%d] %s\n", facility.c_str(), level, msg.c_str());
  if (!kept_.count(facility)) return;
  if (limit_ && lines_.size() >= limit_) {
    ++dropped_;
    return;
  }
  lines_.push_back(facility + "[" + std::to_string(level) + "] " + msg);
}

std::vector<std::string> TraceTee::linesTaken() {
  std::vector<std::string> out;
  out.swap(lines_);
  return out;
}

size_t TraceTee::droppedTaken() {
  size_t n = dropped_;
  dropped_ = 0;
  return n;
}

}  // namespace KorAgent
