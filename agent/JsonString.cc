#include "agent/JsonString.h"

#include <cstdio>

namespace KorAgent {

std::string jsonString(std::string const& s) {
  std::string o = "\"";
  for (char c : s) {
    if (c == '"' || c == '\\') o += '\\';
    if (static_cast<unsigned char>(c) < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      o += buf;
      continue;
    }
    o += c;
  }
  return o + "\"";
}

}  // namespace KorAgent
