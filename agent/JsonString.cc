#include "agent/JsonString.h"

#include <cstdio>

#include "agent/Utf8.h"

namespace KorAgent {

std::string jsonString(std::string const& s) {
  std::string o = "\"";
  for (size_t i = 0; i < s.size();) {
    char c = s[i];
    auto u = static_cast<unsigned char>(c);
    if (u >= 0x80) {
      // JSON text is UTF-8: a byte that does not start a well-formed
      // sequence (a kernel name may hold anything) becomes U+FFFD.
      size_t n = utf8SequenceLength(s, i);
      if (n == 0) {
        o += "\\ufffd";
        ++i;
      } else {
        o.append(s, i, n);
        i += n;
      }
      continue;
    }
    ++i;
    if (c == '"' || c == '\\') o += '\\';
    if (u < 0x20 || u == 0x7f) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", u);
      o += buf;
      continue;
    }
    o += c;
  }
  return o + "\"";
}

}  // namespace KorAgent
