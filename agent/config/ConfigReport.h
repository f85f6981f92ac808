#pragma once
// What applying one configuration file did: every input operation of the
// agent the sections ran goes through doInput(), which counts those the
// agent took (the input changes: a file equal to the one applied last
// counts none) and keeps, with the pointer of their item, those it refused
// (a name some other source added first, say). A refused item is not
// recorded as applied, so the next reload tries it again.
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace KorAgent {

class ConfigReport {
 public:
  // Runs `op`, one input operation for the item at `pointer`; true when the
  // agent took it.
  bool doInput(std::string const& pointer, std::function<void()> const& op);
  size_t changes() const { return changes_; }
  // "/pointer: not applied: reason", in the order they were refused.
  std::vector<std::string> const& refusals() const { return refusals_; }
  // One line per refusal and a last line with the count, each prefixed
  // "FILE: ".
  std::string text(std::string const& path) const;

 private:
  size_t changes_ = 0;
  std::vector<std::string> refusals_;
};

}  // namespace KorAgent
