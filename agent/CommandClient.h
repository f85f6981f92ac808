#pragma once
// The other end of the command channel: `kor-agent --ask PATH 'SR4u a'`.
// Connects, sends the request (its lines, then the end of its write side),
// and reads the answer until the agent closes. A complete answer ends with
// the line "#end BYTES" (docs/daemon.md); the client checks it and hands back
// the answer without it, so a connection dropped mid-answer - the agent died,
// or closed it - is an error and never passes for an empty answer.
#include <string>

namespace KorAgent {

class CommandClient {
 public:
  explicit CommandClient(std::string path) : path_(std::move(path)) {}
  // True with the whole answer. False with errorText() set when the agent
  // cannot be reached or the answer is not complete; *answer then holds what
  // arrived.
  bool ask(std::string const& request, std::string* answer);
  std::string const& errorText() const { return error_; }

  // Checks that `received` ends with a well-formed end line counting the
  // bytes before it, and removes that line. False (received untouched)
  // when it does not.
  static bool answerComplete(std::string* received);

 private:
  std::string path_;
  std::string error_;
};

}  // namespace KorAgent
