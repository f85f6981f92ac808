#pragma once
// Splits one command-channel request, as its bytes arrive in pieces, into
// numbered lines (docs/daemon.md). A line ends at '\n', and a '\r' just before
// it is dropped; the client's end of file ends the request and completes a
// last line without '\n'. Lines are numbered from 1, blank ones included, so
// an answer's "line N:" points into the request as sent.
//
// A line is refused - it comes out with an error and no text - when it is
// longer than the line bound or holds a NUL byte or another control
// character (a tab aside). The error names the column and shows the line
// escaped (\x00), so nothing after a NUL is ever lost from a message. Of a
// line past the bound only the bound is kept: the reader holds at most one
// bounded line in the making besides the lines ready to be taken.
//
// Fed by CommandServer from its client's socket, and by the fuzz target
// CommandRequestFuzz.
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace KorAgent {

class CommandRequestReader {
 public:
  struct Line {
    size_t number = 0;
    std::string text;   // without the end of line; empty when refused
    std::string error;  // why the line is refused; empty when it is not
  };
  static constexpr size_t kMaxLine = 4096;

  explicit CommandRequestReader(size_t maxLine = kMaxLine) : maxLine_(maxLine) {}

  // Bytes as they arrive; ignored after endIs().
  void bytesAdd(char const* data, size_t size);
  // The client's end of file: a last line without '\n' is complete.
  void endIs();
  bool ended() const { return ended_; }

  bool lineReady() const { return !ready_.empty(); }
  // Bytes of the lines ready to be taken (to stop reading while they pile up).
  size_t bytesReady() const { return bytesReady_; }
  // The next complete line, oldest first; nullopt when none is ready.
  std::optional<Line> lineTaken();
  // Every line of an ended request has been taken.
  bool done() const { return ended_ && ready_.empty(); }
  size_t linesRead() const { return lineNo_; }

  // The text with control characters, '\\' and bytes 0x7f written as \xNN
  // (and \t, \r, \n), so it can be shown on one line in full.
  static std::string escaped(std::string_view text);

 private:
  void doEndLine();

  size_t maxLine_;
  std::string cur_;       // the line being read, at most maxLine_ + 1 bytes
  size_t curLength_ = 0;  // its length so far, also past the bound
  size_t lineNo_ = 0;
  std::deque<Line> ready_;
  size_t bytesReady_ = 0;
  bool ended_ = false;
};

}  // namespace KorAgent
