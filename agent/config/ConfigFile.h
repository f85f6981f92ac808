#pragma once
// The switch's configuration file (kor-agent --config FILE): a JSON object
// whose top-level keys belong to the sections the agent's modules read
// (AgentModule::configSectionsAdd), applied in their rank order - hardware,
// VRFs, interfaces and LAGs, FECs and routes (docs/config.md).
//
// reload() reads the whole file and checks it before anything is applied:
// a file with any error (syntax, a duplicate or unknown key, a type, a
// range, a reference to something the file does not define) is refused
// with "FILE: /json/pointer: reason" ("FILE: line L, column C: reason" for
// syntax) and changes nothing. A good file is applied as its difference to
// the version applied last: the first load adds everything, an unchanged
// file changes no input. Owns the sections holding what is applied.
#include <memory>
#include <string>
#include <vector>

#include "agent/config/ConfigReport.h"
#include "agent/config/ConfigSection.h"

namespace KorAgent {

class Agent;

class ConfigFile {
 public:
  // The file at `path` for `agent`, whose modules give the sections.
  ConfigFile(std::string path, Agent const& agent);

  std::string const& path() const { return path_; }
  // The sections, empty, in rank order.
  std::vector<std::unique_ptr<ConfigSection>> sections() const;
  // Reads and checks the file: its sections, in creation order. Throws
  // std::invalid_argument "FILE: ..." on any error.
  std::vector<std::unique_ptr<ConfigSection>> read() const;
  // The same for a document given as text.
  std::vector<std::unique_ptr<ConfigSection>> readText(std::string const& text) const;
  // Reads the file and applies its difference to what was applied last;
  // throws as read() does, with nothing applied.
  ConfigReport reload(Agent& agent);
  // Applies `next` (sections read as read() reads them) as its difference
  // to what was applied last.
  ConfigReport apply(Agent& agent, std::vector<std::unique_ptr<ConfigSection>> const& next);

 private:
  std::string path_;
  Agent const* agent_;
  std::vector<std::unique_ptr<ConfigSection>> applied_;
};

}  // namespace KorAgent
