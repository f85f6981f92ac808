#pragma once
// One statement of the scenario language as a module registers it: the fixed
// words that choose it, the syntax of its arguments and a one-line help
// (both listed by `help`), and its parser. The parser reads and checks every
// argument and returns what to apply; nothing is applied until the whole
// line has been read, so a bad line changes nothing.
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "agent/StatementArgs.h"

namespace KorAgent {

struct Statement {
  using Apply = std::function<void(std::ostream& out)>;
  using Parse = std::function<Apply(StatementArgs& args)>;
  std::vector<std::string> words;  // "intf", "add"
  std::string syntax;              // "INTF [vrf NAME] [vlan N] [routed] [down]"
  std::string help;
  // An input statement may run while the library is down (`restart with`).
  bool input = false;
  Parse parse;
};

}  // namespace KorAgent
