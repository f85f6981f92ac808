#pragma once
// Memory for the full-size segments of the big hash maps: whole 2 MB pages,
// aligned on 2 MB and marked for transparent huge pages. A route table is
// probed at random over hundreds of megabytes; with 4 KB pages nearly every
// probe also misses the TLB, with 2 MB pages almost none does. Where huge
// pages are not available the memory is ordinary anonymous memory.
//
// Single pages let go of recently are kept for the next allocation: a
// growing table splits a full segment into two new ones and frees the old,
// and taking a page back is much cheaper than having the kernel clear a
// fresh one. A few at most (8 MB), per thread. Memory is not cleared.
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace Vix {

class HugePageCache {
 public:
  static constexpr size_t kPageBytes = size_t(2) << 20;
  static constexpr int kKept = 4;

  static size_t roundUp(size_t bytes) { return (bytes + kPageBytes - 1) & ~(kPageBytes - 1); }

  // `bytes` rounded up to whole huge pages.
  static void* alloc(size_t bytes) {
    size_t len = roundUp(bytes);
    if (HugePageCache& c = mine(); len == kPageBytes && c.count_) return c.pages_[--c.count_];
    // Over-map by one page and trim, so the kept range starts on a 2 MB line.
    void* raw = mmap(nullptr, len + kPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (raw == MAP_FAILED) throw std::bad_alloc();
    auto start = reinterpret_cast<uintptr_t>(raw);
    uintptr_t aligned = (start + kPageBytes - 1) & ~uintptr_t(kPageBytes - 1);
    if (aligned > start) munmap(raw, aligned - start);
    uintptr_t end = start + len + kPageBytes;
    if (end > aligned + len) munmap(reinterpret_cast<void*>(aligned + len), end - (aligned + len));
    madvise(reinterpret_cast<void*>(aligned), len, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(aligned);
  }

  static void free(void* p, size_t bytes) {
    if (!p) return;
    size_t len = roundUp(bytes);
    if (HugePageCache& c = mine(); len == kPageBytes && c.count_ < kKept) {
      c.pages_[c.count_++] = p;
      return;
    }
    munmap(p, len);
  }

 private:
  // Trivially destructible on purpose: a map destroyed late at exit may
  // still free into it. The few pages kept by a thread that ends are left
  // to the process.

  static HugePageCache& mine() {
    thread_local HugePageCache cache;
    return cache;
  }

  void* pages_[kKept] = {};
  int count_ = 0;
};

}  // namespace Vix
