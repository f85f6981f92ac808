#include "kor/common/VerifyReport.h"

#include <cstdio>
#include <sstream>

namespace Kor {

namespace {

std::string quoted(std::string const& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += char(c);
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out += char(c);
    }
  }
  return out + "\"";
}

}  // namespace

std::string VerifyReport::machine(VerifyOutput const& o) {
  auto sep = o.function().find("::");
  return sep == std::string::npos ? o.function() : o.function().substr(0, sep);
}

std::string VerifyReport::text() const {
  if (faults_.empty()) return "verify: all agree\n";
  std::ostringstream os;
  os << "verify: " << faults_.size() << " disagree\n";
  for (auto const& f : faults_) os << "  " << machine(f) << ": " << f.description() << "\n";
  return os.str();
}

std::string VerifyReport::json() const {
  std::ostringstream os;
  os << "{\"agree\": " << (faults_.empty() ? "true" : "false") << ", \"faults\": [";
  bool first = true;
  for (auto const& f : faults_) {
    os << (first ? "" : ", ") << "{\"machine\": " << quoted(machine(f)) << ", \"status\": ";
    std::ostringstream st;
    st << f.verifyResult();
    os << quoted(st.str()) << ", \"description\": " << quoted(f.description()) << "}";
    first = false;
  }
  os << "]}\n";
  return os.str();
}

}  // namespace Kor
