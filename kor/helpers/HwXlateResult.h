#pragma once
// The platform's answer to one VLAN translation or filtering-database write:
// taken, refused for want of room (the library keeps the entry and retries
// when room comes back), or failed (kept and retried the same way).
namespace KorTypes {

enum HwXlateResult { success_, resourceFull_, failed_ };

inline char const* hwXlateResultName(HwXlateResult r) {
  return r == success_ ? "success" : r == resourceFull_ ? "resourceFull" : "failed";
}

}  // namespace KorTypes
