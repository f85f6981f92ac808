#include "vix/TraceFacility.h"

#include <cctype>

#include "vix/Trace.h"

namespace Vix {

TraceFacility::TraceFacility(std::string name, std::string const& levels) : name_(std::move(name)) {
  levelsIs(levels);
}

bool TraceFacility::parseLevels(std::string const& text, uint32_t* mask) {
  uint32_t m = 0;
  size_t i = 0;
  auto number = [&](int* out) {
    if (i >= text.size() || !std::isdigit(static_cast<unsigned char>(text[i]))) return false;
    int v = 0;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) v = v * 10 + (text[i++] - '0');
    if (v > 15) return false;
    *out = v;
    return true;
  };
  while (i < text.size()) {
    if (text[i] == '*') {
      m = 0xffff;
      ++i;
    } else {
      int a, b;
      if (!number(&a)) return false;
      b = a;
      if (i < text.size() && text[i] == '-') {
        ++i;
        if (!number(&b) || b < a) return false;
      }
      for (int l = a; l <= b; ++l) m |= 1u << l;
    }
    if (i < text.size()) {
      if (text[i] != ',') return false;
      ++i;
    }
  }
  *mask = m;
  return true;
}

bool TraceFacility::levelsIs(std::string const& text) {
  uint32_t m;
  if (!parseLevels(text, &m)) return false;
  mask_ = m;
  levels_ = text;
  return true;
}

void TraceFacility::write(int level, std::string const& msg) const {
  if (auto* s = traceSink()) s->write(name_, level, msg);
}

}  // namespace Vix
