#pragma once
// What must hold for any bytes a command-channel client sends: the request
// reader gives the same lines however the bytes are cut into reads; the lines
// are numbered 1, 2, ... one per end of line (plus a last one without it);
// each line is either its bytes as sent (a final '\r' dropped), within the
// bound and free of control characters, or refused with an error that is
// itself free of them; and nothing is left kept once every line is taken.
// The first byte picks the line bound and the size of the pieces. Shared by
// the CommandRequestFuzz target and the test that replays its corpus and
// regressions. Returns "" when all holds, else what broke.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "agent/CommandRequestReader.h"

namespace KorFuzz {

inline bool hasControl(std::string_view s, bool tabAllowed) {
  return std::any_of(s.begin(), s.end(), [&](char c) {
    auto const u = static_cast<unsigned char>(c);
    return (u < 0x20 && !(tabAllowed && c == '\t')) || u == 0x7f;
  });
}

inline std::string checkCommandRequest(uint8_t const* data, size_t size) {
  using KorAgent::CommandRequestReader;
  if (size == 0) return "";
  size_t const maxLine = data[0] & 0x80 ? CommandRequestReader::kMaxLine : 1 + data[0] % 64;
  size_t const piece = 1 + (data[0] >> 2) % 16;
  std::string_view const bytes(reinterpret_cast<char const*>(data) + 1, size - 1);

  CommandRequestReader whole(maxLine), pieces(maxLine);
  whole.bytesAdd(bytes.data(), bytes.size());
  whole.endIs();
  std::vector<CommandRequestReader::Line> a, b;
  for (size_t at = 0; at < bytes.size(); at += piece) {
    pieces.bytesAdd(bytes.data() + at, std::min(piece, bytes.size() - at));
    // Lines are taken as they come, as the server does.
    while (auto l = pieces.lineTaken()) b.push_back(*l);
  }
  pieces.endIs();
  while (auto l = pieces.lineTaken()) b.push_back(*l);
  while (auto l = whole.lineTaken()) a.push_back(*l);
  if (!whole.done() || !pieces.done()) return "an ended request with every line taken is not done";
  if (whole.bytesReady() || pieces.bytesReady()) return "bytes kept after every line was taken";

  // The lines as sent.
  std::vector<std::string_view> sent;
  for (size_t at = 0; at < bytes.size();) {
    size_t const nl = std::min(bytes.find('\n', at), bytes.size());
    sent.push_back(bytes.substr(at, nl - at));
    at = nl + 1;
  }
  if (a.size() != sent.size()) return "read " + std::to_string(a.size()) + " lines of " + std::to_string(sent.size());
  if (b.size() != a.size()) return "the lines depend on how the bytes are cut";
  for (size_t i = 0; i < a.size(); ++i) {
    std::string const at = "line " + std::to_string(i + 1) + ": ";
    if (a[i].number != i + 1 || b[i].number != i + 1) return at + "numbered " + std::to_string(a[i].number);
    if (a[i].text != b[i].text || a[i].error != b[i].error) return at + "differs when read in pieces";
    std::string_view expect = sent[i];
    if (!expect.empty() && expect.back() == '\r') expect.remove_suffix(1);
    if (a[i].error.empty()) {
      if (a[i].text != expect) return at + "text is not the line as sent";
      if (a[i].text.size() > maxLine) return at + "longer than the bound";
      if (hasControl(a[i].text, true)) return at + "control character let through";
    } else {
      if (!a[i].text.empty()) return at + "refused but has text";
      if (hasControl(a[i].error, false)) return at + "error shows a control character unescaped";
      if (expect.size() <= maxLine && !hasControl(expect, true)) return at + "refused a good line: " + a[i].error;
    }
  }
  return "";
}

}  // namespace KorFuzz
