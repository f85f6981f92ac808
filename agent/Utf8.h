#pragma once
// UTF-8 checks for text that crosses the agent's edges: statements read from
// files and sockets, names shown as JSON.
#include <cstddef>
#include <string_view>

namespace KorAgent {

// The length of the well-formed UTF-8 sequence starting at s[i] (1 for
// ASCII), or 0 when the bytes there are not one (a stray continuation
// byte, a truncated or overlong sequence, a surrogate, past U+10FFFF).
size_t utf8SequenceLength(std::string_view s, size_t i);

}  // namespace KorAgent
