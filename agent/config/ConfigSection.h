#pragma once
// One part of the switch's configuration file (VRFs, interfaces, FECs and
// routes, hardware): the top-level keys it owns, how it reads and checks
// them, and how it moves the agent from what was applied to what a new
// version of the file says.
//
// Reading (parse) checks everything and never touches the agent, so a file
// with any error is refused whole before anything is applied. Applying goes
// only through the agent's public input operations, each through
// ConfigReport::doInput, and only inside doApplyRemovals / doApplyAdds.
//
// A section object on the applying side holds what is applied: both apply
// functions take `next` (the same kind of section, freshly read) and update
// this one item by item as the agent takes each change, so after both it
// holds exactly what the agent took, and a refused item is tried again at
// the next reload. What the file does not name it never touches.
#include <memory>
#include <string>
#include <vector>

#include "agent/config/ConfigReport.h"

namespace KorAgent {

class Agent;
class ConfigNames;
class ConfigValue;

class ConfigSection {
 public:
  virtual ~ConfigSection() = default;

  // Where the section applies among the others: adds run in rising rank,
  // removals in falling rank, so what an item names is applied before it
  // and removed after it. Hardware 10, VRFs 20, interfaces and LAGs 30,
  // FECs and routes 40; a new subsystem takes the place its inputs need.
  virtual int rank() const = 0;
  // The document's top-level keys this section reads.
  virtual std::vector<std::string> keys() const = 0;
  // Reads and checks this section's keys of the document `doc`; adds to
  // `names` what later sections may name and checks what it names of the
  // earlier ones. Throws ConfigError.
  virtual void parse(ConfigValue const& doc, ConfigNames& names) = 0;
  // The removals the move to `next` needs: what `next` no longer has, and
  // what must be removed to be added again changed.
  virtual void doApplyRemovals(Agent& agent, ConfigSection const& next, ConfigReport& report) = 0;
  // Then what `next` adds or changes.
  virtual void doApplyAdds(Agent& agent, ConfigSection const& next, ConfigReport& report) = 0;

 protected:
  // Removes each item of `applied` (a map of what is applied) for which
  // gone(key, value) holds, by one input operation del(key, value) for the
  // item at pointer(key); an item the agent refuses to remove stays applied.
  template <class Map, class Pointer, class Gone, class Del>
  static void doRemoveEach(Map& applied, ConfigReport& report, Pointer const& pointer, Gone const& gone,
                           Del const& del) {
    for (auto it = applied.begin(); it != applied.end();) {
      if (gone(it->first, it->second) && report.doInput(pointer(it->first), [&] { del(it->first, it->second); }))
        it = applied.erase(it);
      else
        ++it;
    }
  }
};

}  // namespace KorAgent
