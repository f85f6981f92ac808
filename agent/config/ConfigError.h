#pragma once
// A configuration file that cannot be applied: the JSON pointer of the
// offending value ("/interfaces/Ethernet1/vlan"; "/" for the document
// itself) and why. The file's path is put in front where the file is read,
// so the message the operator sees is "FILE: /json/pointer: reason".
#include <stdexcept>
#include <string>

namespace KorAgent {

class ConfigError : public std::invalid_argument {
 public:
  ConfigError(std::string pointer, std::string const& reason)
      : std::invalid_argument((pointer.empty() ? std::string("/") : pointer) + ": " + reason),
        pointer_(pointer.empty() ? std::string("/") : std::move(pointer)) {}
  std::string const& pointer() const { return pointer_; }

 private:
  std::string pointer_;
};

}  // namespace KorAgent
