#pragma once
// Renders a ShowModel as text (lines, fields with their labels, one text
// line per table row) or as one JSON object (fields and tables under their
// keys, in model order, followed by a newline). The one place a show's
// output format is decided.
#include <string>

#include "agent/ShowModel.h"

namespace KorAgent {

class ShowRenderer {
 public:
  static std::string render(ShowModel const& m, bool json) { return json ? asJson(m) : text(m); }
  static std::string text(ShowModel const& m);
  static std::string asJson(ShowModel const& m);
};

}  // namespace KorAgent
