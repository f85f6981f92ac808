#include "agent/CommandRequestReader.h"

#include <cstdio>

namespace KorAgent {

namespace {

bool isControl(unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7f; }

}  // namespace

void CommandRequestReader::bytesAdd(char const* data, size_t size) {
  if (ended_) return;
  for (size_t i = 0; i < size; ++i) {
    char const c = data[i];
    if (c == '\n') {
      doEndLine();
      continue;
    }
    // One byte past the bound is kept: a '\r' there may still be the end of
    // a line of exactly the bound.
    if (cur_.size() <= maxLine_) cur_ += c;
    ++curLength_;
  }
}

void CommandRequestReader::endIs() {
  if (ended_) return;
  if (curLength_ > 0) doEndLine();
  ended_ = true;
}

void CommandRequestReader::doEndLine() {
  Line line;
  line.number = ++lineNo_;
  size_t length = curLength_;
  if (length > 0 && length <= maxLine_ + 1 && cur_.back() == '\r') {
    cur_.pop_back();
    --length;
  }
  if (length > maxLine_) {
    line.error = "request line of " + std::to_string(length) + " bytes refused: a line holds at most " +
                 std::to_string(maxLine_);
  } else {
    for (size_t i = 0; i < cur_.size(); ++i) {
      if (!isControl(static_cast<unsigned char>(cur_[i]))) continue;
      line.error = "control character " + escaped(cur_.substr(i, 1)) + " at column " + std::to_string(i + 1) +
                   " refused: '" + escaped(cur_) + "'";
      break;
    }
  }
  if (line.error.empty()) line.text = std::move(cur_);
  bytesReady_ += line.text.size() + line.error.size();
  ready_.push_back(std::move(line));
  cur_.clear();
  curLength_ = 0;
}

std::optional<CommandRequestReader::Line> CommandRequestReader::lineTaken() {
  if (ready_.empty()) return std::nullopt;
  Line line = std::move(ready_.front());
  ready_.pop_front();
  bytesReady_ -= line.text.size() + line.error.size();
  return line;
}

std::string CommandRequestReader::escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    auto const u = static_cast<unsigned char>(c);
    if (c == '\t') out += "\\t";
    else if (c == '\r') out += "\\r";
    else if (c == '\n') out += "\\n";
    else if (c == '\\') out += "\\\\";
    else if (isControl(u)) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", u);
      out += hex;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace KorAgent
