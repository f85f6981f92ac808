#pragma once
// Memory for the full-size segments of the big hash maps: whole 2 MB pages,
// aligned on 2 MB and marked for transparent huge pages. A route table is
// probed at random over hundreds of megabytes; with 4 KB pages nearly every
// probe also misses the TLB, with 2 MB pages almost none does. Where huge
// pages are not available the memory is ordinary anonymous memory.
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace Vix {

inline constexpr size_t kHugePageBytes = size_t(2) << 20;

inline size_t hugePageRoundUp(size_t bytes) { return (bytes + kHugePageBytes - 1) & ~(kHugePageBytes - 1); }

// `bytes` rounded up to whole huge pages, zero-filled on first touch.
inline void* hugePageAlloc(size_t bytes) {
  size_t len = hugePageRoundUp(bytes);
  // Over-map by one page and trim, so the kept range starts on a 2 MB line.
  void* raw = mmap(nullptr, len + kHugePageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) throw std::bad_alloc();
  auto start = reinterpret_cast<uintptr_t>(raw);
  uintptr_t aligned = (start + kHugePageBytes - 1) & ~uintptr_t(kHugePageBytes - 1);
  if (aligned > start) munmap(raw, aligned - start);
  uintptr_t end = start + len + kHugePageBytes;
  if (end > aligned + len) munmap(reinterpret_cast<void*>(aligned + len), end - (aligned + len));
  madvise(reinterpret_cast<void*>(aligned), len, MADV_HUGEPAGE);
  return reinterpret_cast<void*>(aligned);
}

inline void hugePageFree(void* p, size_t bytes) {
  if (p) munmap(p, hugePageRoundUp(bytes));
}

}  // namespace Vix
