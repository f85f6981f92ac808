#include "agent/config/ConfigReport.h"

#include <exception>

namespace KorAgent {

bool ConfigReport::doInput(std::string const& pointer, std::function<void()> const& op) {
  try {
    op();
  } catch (std::exception const& e) {
    // Every input operation checks first and changes nothing when it throws.
    refusals_.push_back(pointer + ": not applied: " + e.what());
    return false;
  }
  ++changes_;
  return true;
}

std::string ConfigReport::text(std::string const& path) const {
  std::string t;
  for (auto const& r : refusals_) t += path + ": " + r + "\n";
  t += path + ": " + std::to_string(changes_) + " input change" + (changes_ == 1 ? "" : "s") + " applied";
  if (!refusals_.empty()) t += ", " + std::to_string(refusals_.size()) + " refused (tried again at the next reload)";
  return t + "\n";
}

}  // namespace KorAgent
