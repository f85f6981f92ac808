#include "agent/StatementTable.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

// "a", "a or b", "a, b or c".
std::string alternatives(std::vector<std::string> const& v) {
  std::string s;
  for (size_t i = 0; i < v.size(); ++i) s += (i == 0 ? "" : i + 1 == v.size() ? " or " : ", ") + v[i];
  return s;
}

}  // namespace

void StatementTable::statementAdd(Statement st) {
  for (auto const& s : statements_)
    if (s.words == st.words) throw std::logic_error("statement '" + st.words.at(0) + "' registered twice");
  statements_.push_back(std::move(st));
}

Statement const& StatementTable::find(std::vector<std::string> const& w) const {
  Statement const* best = nullptr;
  for (auto const& s : statements_) {
    if (s.words.size() > w.size() || !std::equal(s.words.begin(), s.words.end(), w.begin())) continue;
    if (!best || s.words.size() > best->words.size()) best = &s;
  }
  if (best) return *best;
  // The verb is known: name its second words.
  std::vector<std::string> seconds;
  for (auto const& s : statements_)
    if (s.words.size() > 1 && s.words[0] == w.at(0) &&
        std::find(seconds.begin(), seconds.end(), s.words[1]) == seconds.end())
      seconds.push_back(s.words[1]);
  if (seconds.empty()) fail("unknown statement '" + w.at(0) + "'");
  if (w.size() < 2) fail("expected " + alternatives(seconds));
  fail("expected " + alternatives(seconds) + ", got '" + w[1] + "'");
}

void StatementTable::run(std::vector<std::string> const& w, std::ostream& out) const {
  Statement const& st = find(w);
  StatementArgs args(w, st.words.size());
  Statement::Apply apply = st.parse(args);
  args.end();
  if (apply) apply(out);
}

std::vector<std::string> StatementTable::inputVerbs() const {
  std::vector<std::string> verbs;
  for (auto const& s : statements_)
    if (s.input && std::find(verbs.begin(), verbs.end(), s.words[0]) == verbs.end()) verbs.push_back(s.words[0]);
  return verbs;
}

std::string StatementTable::listing() const {
  std::ostringstream os;
  for (auto const& s : statements_) {
    std::string head;
    for (auto const& word : s.words) head += (head.empty() ? "" : " ") + word;
    if (!s.syntax.empty()) head += " " + s.syntax;
    os << head << "\n    " << s.help << "\n";
  }
  return os.str();
}

}  // namespace KorAgent
