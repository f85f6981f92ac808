#include "agent/ScenarioRunner.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "agent/Agent.h"
#include "agent/StatementArgs.h"
#include "agent/Utf8.h"

namespace KorAgent {

namespace {

[[noreturn]] void fail(std::string const& m) { throw std::invalid_argument(m); }

}  // namespace

std::vector<std::string> ScenarioRunner::words(std::string const& line) {
  std::vector<std::string> w;
  std::string cur;
  for (char c : line) {
    if (c == '#') break;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      if (!cur.empty()) w.push_back(std::move(cur));
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) w.push_back(std::move(cur));
  return w;
}

double ScenarioRunner::parseDuration(std::string const& text) { return StatementArgs::parseDuration(text); }

size_t ScenarioRunner::runStream(std::istream& in) {
  size_t before = errors_;
  std::string line;
  size_t n = 0;
  while (std::getline(in, line)) runLine(line, ++n);
  return errors_ - before;
}

size_t ScenarioRunner::runText(std::string const& text) {
  std::istringstream in(text);
  return runStream(in);
}

void ScenarioRunner::checkText(std::string const& line) {
  // Names end up in the chip, the logs and JSON shows: a statement is text,
  // UTF-8 without control characters (tabs and a line's CR aside). The
  // message names the byte's column, never the byte itself.
  for (size_t i = 0; i < line.size();) {
    auto b = static_cast<unsigned char>(line[i]);
    if ((b < 0x20 && b != '\t' && b != '\r' && b != '\n') || b == 0x7f) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "%02X", b);
      fail(std::string("control character U+00") + hex + " at column " + std::to_string(i + 1));
    }
    size_t n = utf8SequenceLength(line, i);
    if (n == 0) fail("invalid UTF-8 at column " + std::to_string(i + 1));
    i += n;
  }
}

bool ScenarioRunner::runLine(std::string const& line, size_t lineNo) {
  bool ok = true;
  try {
    checkText(line);
    auto w = words(line);
    if (w.empty()) return true;
    agent_->statements().run(w, *out_);
  } catch (std::exception const& e) {
    *out_ << "line " << lineNo << ": " << e.what() << "\n";
    ++errors_;
    ok = false;
  }
  agent_->drainEvents(*out_);
  out_->flush();
  return ok;
}

}  // namespace KorAgent
