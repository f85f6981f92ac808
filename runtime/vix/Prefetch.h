#pragma once
// Starts loading the cache line that holds `p`, as a hint: nothing waits for
// it. The empty asm statement, which takes the address as an input, keeps
// g++ from discarding a prefetch that sits behind a branch (g++ 12 treats
// the bare builtin there as dead code and drops the whole branch).
namespace Vix {

inline void prefetchLine(void const* p) {
  asm volatile("" : : "r"(p));
  __builtin_prefetch(p);
}

}  // namespace Vix
