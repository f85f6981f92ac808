#include "kor/common/TractoLevels.h"

#include <cctype>
#include <cstdint>
#include <sstream>
#include <stdexcept>

#include "vix/Trace.h"

namespace Kor {

namespace {

constexpr char const* kTypeName = "Kor::TractoLevels";

constexpr char const* kFieldNames[TractoLevels::fieldCount] = {
    "korVrfRootSm", "korRoutingStatusSm", "korArpSm",  "korIp6NeighborSm", "korRoutingSm",    "korResilientEcmpSm",
    "korIp6RoutingSm", "korIp6ResilientEcmpSm", "korSubIntfSm", "korAdjSm", "korIntfStatusSm", "korL2AdjHelper",
};

void writeQuoted(std::ostream& os, std::string const& s) {
  os << '\'';
  for (char c : s) {
    if (c == '\'' || c == '\\') os << '\\';
    os << c;
  }
  os << '\'';
}

// Reader of the text form; every failure throws std::invalid_argument.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  [[noreturn]] void premature() const {
    throw std::invalid_argument("premature end of value type TractoLevels");
  }
  [[noreturn]] void malformed(std::string const& what) const {
    throw std::invalid_argument("malformed value type TractoLevels at offset " + std::to_string(pos_) + ": " +
                                what);
  }

  void skipSpace() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }
  bool atEnd() {
    skipSpace();
    return pos_ >= text_.size();
  }
  char peek() {
    if (atEnd()) premature();
    return text_[pos_];
  }
  void expect(std::string_view token) {
    skipSpace();
    for (size_t i = 0; i < token.size(); ++i) {
      if (pos_ + i >= text_.size()) premature();
      if (text_[pos_ + i] != token[i]) malformed("expected '" + std::string(token) + "'");
    }
    pos_ += token.size();
  }
  bool accept(char c) {
    if (peek() != c) return false;
    ++pos_;
    return true;
  }
  std::string quoted() {
    char q = peek();
    if (q != '\'' && q != '"') malformed("expected a quoted string");
    ++pos_;
    std::string out;
    for (;;) {
      if (pos_ >= text_.size()) premature();
      char c = text_[pos_++];
      if (c == q) return out;
      if (c == '\\') {
        if (pos_ >= text_.size()) premature();
        c = text_[pos_++];
      }
      out += c;
    }
  }
  size_t pos() const { return pos_; }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

}  // namespace

TractoLevels::TractoLevels() { levels_.fill(Vix::TraceFacility::kDefaultLevels); }

char const* TractoLevels::fieldName(size_t i) { return i < fieldCount ? kFieldNames[i] : ""; }

std::string TractoLevels::facilityName(size_t i) {
  std::string name = fieldName(i);
  if (!name.empty()) name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
  return name;
}

std::optional<size_t> TractoLevels::fieldIndex(std::string_view name) {
  for (size_t i = 0; i < fieldCount; ++i) {
    if (name == kFieldNames[i]) return i;
  }
  return std::nullopt;
}

std::optional<std::string> TractoLevels::levelsFor(std::string_view facility) const {
  for (size_t i = 0; i < fieldCount; ++i) {
    if (facilityName(i) == facility) return levels_[i];
  }
  return std::nullopt;
}

std::string TractoLevels::str() const {
  std::ostringstream os;
  os << "Value('" << kTypeName << "', ** {";
  for (size_t i = 0; i < fieldCount; ++i) {
    os << (i ? ", " : "") << '\'' << kFieldNames[i] << "': ";
    writeQuoted(os, levels_[i]);
  }
  os << "})";
  return os.str();
}

TractoLevels TractoLevels::parse(std::string_view text) {
  Reader r(text);
  TractoLevels t;
  r.expect("Value");
  r.expect("(");
  size_t typeAt = r.pos();
  if (r.quoted() != kTypeName) {
    throw std::invalid_argument("malformed value type TractoLevels at offset " + std::to_string(typeAt) +
                                ": expected '" + kTypeName + "'");
  }
  r.expect(",");
  r.expect("**");
  r.expect("{");
  if (!r.accept('}')) {
    for (;;) {
      std::string key = r.quoted();
      auto index = fieldIndex(key);
      if (!index) throw std::invalid_argument("TractoLevels has no such attribute: " + key);
      r.expect(":");
      size_t valueAt = r.pos();
      std::string value = r.quoted();
      uint32_t mask;
      if (!Vix::TraceFacility::parseLevels(value, &mask)) {
        throw std::invalid_argument("malformed value type TractoLevels at offset " + std::to_string(valueAt) +
                                    ": bad trace level '" + value + "' for " + key);
      }
      t.levels_[*index] = value;
      if (r.accept('}')) break;
      r.expect(",");
      if (r.accept('}')) break;  // trailing comma
    }
  }
  r.expect(")");
  if (!r.atEnd()) r.malformed("unexpected text after the value");
  return t;
}

std::ostream& operator<<(std::ostream& os, TractoLevels const& t) { return os << t.str(); }

}  // namespace Kor
