#pragma once
// The agent's shows build their JSON by hand; this quotes one string value.
#include <string>

namespace KorAgent {

// A JSON string literal of s: quotes, backslashes and control characters escaped.
std::string jsonString(std::string const& s);

}  // namespace KorAgent
