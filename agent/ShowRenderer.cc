#include "agent/ShowRenderer.h"

#include "agent/JsonString.h"

namespace KorAgent {

namespace {

std::string padded(std::string const& s, int width) {
  return int(s.size()) < width ? s + std::string(size_t(width) - s.size(), ' ') : s;
}

std::string rowJson(ShowModel::Part const& p, ShowModel::Row const& r, size_t first) {
  std::string j = "{";
  bool any = false;
  for (size_t c = first; c < p.columns.size(); ++c) {
    if (p.columns[c].key.empty()) continue;
    j += (any ? ", " : "") + jsonString(p.columns[c].key) + ": " + r.cells[c].json;
    any = true;
  }
  return j + "}";
}

std::string tableJson(ShowModel::Part const& p) {
  bool const keyed = p.form == ShowModel::Form::keyed;
  std::string j = keyed ? "{" : "[";
  for (size_t i = 0; i < p.rows.size(); ++i) {
    auto const& r = p.rows[i];
    j += i ? ", " : "";
    if (p.form == ShowModel::Form::values) j += r.cells.at(0).json;
    else if (keyed) j += r.cells.at(0).json + ": " + rowJson(p, r, 1);
    else j += rowJson(p, r, 0);
  }
  return j + (keyed ? "}" : "]");
}

}  // namespace

std::string ShowRenderer::text(ShowModel const& m) {
  std::string t;
  for (auto const& p : m.parts()) {
    switch (p.kind) {
      case ShowModel::Part::Kind::line:
        t += p.label;
        break;
      case ShowModel::Part::Kind::field:
        t += p.label + p.cell.text;
        break;
      case ShowModel::Part::Kind::table:
        for (auto const& r : p.rows) {
          t += p.indent;
          for (size_t c = 0; c < p.columns.size(); ++c)
            if (p.columns[c].text) t += p.columns[c].label + padded(r.cells[c].text, p.columns[c].width);
          t += "\n";
          for (auto const& a : r.after) t += a + "\n";
        }
        break;
    }
  }
  return t;
}

std::string ShowRenderer::asJson(ShowModel const& m) {
  std::string j = "{";
  bool any = false;
  for (auto const& p : m.parts()) {
    if (p.kind == ShowModel::Part::Kind::line || p.key.empty()) continue;
    j += (any ? ", " : "") + jsonString(p.key) + ": " +
         (p.kind == ShowModel::Part::Kind::field ? p.cell.json : tableJson(p));
    any = true;
  }
  return j + "}\n";
}

}  // namespace KorAgent
