#pragma once
// Every statement of the scenario language, as the agent's modules register
// them (in module order, each module's in its own order). A line is matched
// to the statement with the most fixed words equal to its first words; a
// line whose first word is known but whose next is not gets "expected A, B
// or C, got 'x'" from the registered words, an unknown first word "unknown
// statement 'x'". The same table gives `help` and the statement list of
// docs/scenario.md, so neither can drift from what the agent accepts.
#include <ostream>
#include <string>
#include <vector>

#include "agent/Statement.h"

namespace KorAgent {

class StatementTable {
 public:
  void statementAdd(Statement st);
  // Reads and checks the whole statement, then applies it; throws
  // std::invalid_argument (changing nothing) on a bad line.
  void run(std::vector<std::string> const& w, std::ostream& out) const;
  // The statement a line chooses (throws as run does when there is none).
  Statement const& find(std::vector<std::string> const& w) const;
  // The first words of the input statements, in table order.
  std::vector<std::string> inputVerbs() const;
  // One line a statement: its words and syntax, then its help.
  std::string listing() const;
  std::vector<Statement> const& statements() const { return statements_; }

 private:
  std::vector<Statement> statements_;
};

}  // namespace KorAgent
