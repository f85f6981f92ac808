#pragma once
// The error every Nollo text constructor throws for text it cannot read. The
// message names the kind of value and quotes the text, e.g.
// "malformed IPv4 address '10.0.0.300'".
#include <stdexcept>
#include <string>
#include <string_view>

namespace Nollo {

class ParseError : public std::invalid_argument {
 public:
  explicit ParseError(std::string const& what) : std::invalid_argument(what) {}
  // "malformed <what> '<text>'" followed by ": <detail>" when a detail is given.
  static ParseError malformed(std::string_view what, std::string_view text,
                              std::string_view detail = {}) {
    std::string m = "malformed " + std::string(what) + " '" + std::string(text) + "'";
    if (!detail.empty()) m += ": " + std::string(detail);
    return ParseError(m);
  }
};

}  // namespace Nollo
