#include "agent/ShowModel.h"

#include <stdexcept>

#include "agent/JsonString.h"

namespace KorAgent {

ShowModel::Cell ShowModel::str(std::string const& s) { return Cell{jsonString(s), s}; }

ShowModel::Cell ShowModel::num(uint64_t n) { return Cell{std::to_string(n), std::to_string(n)}; }

ShowModel::Cell ShowModel::flag(bool b, std::string const& yes, std::string const& no) {
  return Cell{b ? "true" : "false", b ? yes : no};
}

ShowModel::Cell ShowModel::object(std::vector<std::pair<std::string, Cell>> const& pairs, std::string text) {
  std::string j = "{";
  for (size_t i = 0; i < pairs.size(); ++i) j += (i ? ", " : "") + jsonString(pairs[i].first) + ": " + pairs[i].second.json;
  return Cell{j + "}", std::move(text)};
}

void ShowModel::lineAdd(std::string text) {
  Part p{Part::Kind::line, "", std::move(text), {}, "", {}, Form::objects, {}};
  parts_.push_back(std::move(p));
}

void ShowModel::fieldAdd(std::string key, std::string label, Cell cell) {
  Part p{Part::Kind::field, std::move(key), std::move(label), std::move(cell), "", {}, Form::objects, {}};
  parts_.push_back(std::move(p));
}

void ShowModel::tableAdd(std::string key, std::string indent, std::vector<Column> columns, Form form) {
  Part p{Part::Kind::table, std::move(key), "", {}, std::move(indent), std::move(columns), form, {}};
  parts_.push_back(std::move(p));
}

void ShowModel::rowAdd(std::vector<Cell> cells, std::vector<std::string> after) {
  if (parts_.empty() || parts_.back().kind != Part::Kind::table) throw std::logic_error("a row needs a table");
  if (cells.size() != parts_.back().columns.size()) throw std::logic_error("a row needs one cell per column");
  parts_.back().rows.push_back(Row{std::move(cells), std::move(after)});
}

}  // namespace KorAgent
