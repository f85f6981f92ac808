#pragma once
// The other end of the command channel: `kor-agent --ask PATH 'SR4u a'`.
// Connects, sends the command line, and returns everything the agent writes
// back until it closes the connection.
#include <string>

namespace KorAgent {

class CommandClient {
 public:
  explicit CommandClient(std::string path) : path_(std::move(path)) {}
  // False with errorText() set when the agent cannot be reached.
  bool ask(std::string const& command, std::string* answer);
  std::string const& errorText() const { return error_; }

 private:
  std::string path_;
  std::string error_;
};

}  // namespace KorAgent
