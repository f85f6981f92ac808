// kor-bench containers: the containers a million-route FIB could sit in.
// 1,000,000 distinct IPv4 /24 prefixes with a 24-byte value are inserted,
// looked up (hits in shuffled order, then misses), and erased, in
// Vix::HashMap, std::unordered_map and std::map. Each container runs in a
// child process of its own so that its resident-set growth is its own; each
// figure is the median of the repetitions. Bytes per entry are given two ways:
// bytes the container asked for (its allocator, or HashMap::memoryBytes()),
// and resident-set growth over the first insertion.
//
// A second part compares the FEC table holding records by value (a lookup
// through the generated accessor copies the via list) against holding
// Vix::Ptr<Fec const> (a lookup copies one pointer).
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "BenchRegistry.h"
#include "nollo/IpPrefix.h"
#include "quill/ForwardingStatus.h"
#include "vix/Entity.h"
#include "vix/HashMap.h"

namespace {

using Nollo::IpAddr4;
using Nollo::IpPrefix;
using Clock = std::chrono::steady_clock;

constexpr size_t kEntries = 1000000;
constexpr int kReps = 3;

struct Value24 {
  uint64_t fec, seq, flags;
};
static_assert(sizeof(Value24) == 24);

size_t allocated = 0;  // bytes held through CountingAlloc

template <class T>
struct CountingAlloc {
  using value_type = T;
  CountingAlloc() = default;
  template <class U>
  CountingAlloc(CountingAlloc<U> const&) {}
  T* allocate(size_t n) {
    allocated += n * sizeof(T);
    return std::allocator<T>().allocate(n);
  }
  void deallocate(T* p, size_t n) {
    allocated -= n * sizeof(T);
    std::allocator<T>().deallocate(p, n);
  }
  template <class U>
  bool operator==(CountingAlloc<U> const&) const { return true; }
};

double rssBytes() {
  std::ifstream f("/proc/self/statm");
  double size = 0, resident = 0;
  f >> size >> resident;
  return resident * double(sysconf(_SC_PAGESIZE));
}

double nsPerOp(Clock::time_point t0, size_t n) {
  return std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / double(n);
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

struct Keys {
  std::vector<IpPrefix> insert, lookup, miss;
  Keys() {
    // i -> i * odd constant mod 2^24 is a bijection: a million distinct /24s
    // scattered over the address space.
    for (uint32_t i = 0; i < kEntries; ++i) {
      uint32_t net = (i * 0x9e3779u) & 0xffffffu;
      insert.emplace_back(IpAddr4(net << 8), 24);
      miss.emplace_back(IpAddr4(net << 8), 25);
    }
    lookup = insert;
    std::mt19937_64 rng(42);
    std::shuffle(lookup.begin(), lookup.end(), rng);
    std::shuffle(miss.begin(), miss.end(), rng);
  }
};

struct Figures {
  std::vector<double> insert, hit, miss, erase;
  double askedBytes = 0, rssGrowth = 0;
};

template <class Map>
void runOnce(Keys const& keys, Figures& fig, bool first, std::function<size_t(Map const&)> bytes) {
  uint64_t sum = 0;
  {
    Map m;
    double rss0 = rssBytes();
    auto t0 = Clock::now();
    for (size_t i = 0; i < kEntries; ++i) m.try_emplace(keys.insert[i], Value24{i, i, 0});
    fig.insert.push_back(nsPerOp(t0, kEntries));
    if (first) {
      fig.rssGrowth = (rssBytes() - rss0) / double(kEntries);
      fig.askedBytes = double(bytes(m)) / double(kEntries);
    }
    t0 = Clock::now();
    for (auto const& k : keys.lookup) sum += m.find(k)->second.fec;
    fig.hit.push_back(nsPerOp(t0, kEntries));
    t0 = Clock::now();
    for (auto const& k : keys.miss) sum += m.count(k);
    fig.miss.push_back(nsPerOp(t0, kEntries));
    t0 = Clock::now();
    for (auto const& k : keys.lookup) m.erase(k);
    fig.erase.push_back(nsPerOp(t0, kEntries));
    if (!m.empty()) sum = ~sum;
  }
  if (sum != uint64_t(kEntries) * (kEntries - 1) / 2) std::printf("checksum mismatch %llu\n", (unsigned long long)sum);
}

template <class Map>
void measure(char const* name, Keys const& keys, std::function<size_t(Map const&)> bytes) {
  std::fflush(stdout);
  pid_t pid = fork();
  if (pid != 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    return;
  }
  Figures fig;
  for (int r = 0; r < kReps; ++r) runOnce<Map>(keys, fig, r == 0, bytes);
  std::printf("  %-22s %8.1f %8.1f %8.1f %8.1f   %8.1f %8.1f\n", name, median(fig.insert), median(fig.hit),
              median(fig.miss), median(fig.erase), fig.askedBytes, fig.rssGrowth);
  std::fflush(stdout);
  _exit(0);
}

// The FEC table with records held by value, as the comparison point for the
// Vix::Ptr table Quill uses.
class FecByValueTable : public Vix::Entity {
 public:
  class Notifiee : public Vix::NotifieeOf<FecByValueTable> {
   public:
    using NotifieeOf::NotifieeOf;
    VIX_KEY_HANDLER(Quill::Fib::FecId, Fec)
  };
  VIX_HASH_MAP(Quill::Fib::FecId, Quill::Fib::Fec, fec, Fec)
};

void fecLookups() {
  constexpr size_t kFecs = 100000, kLookups = 2000000;
  auto byPtr = Vix::makePtr<Quill::Fib::ForwardingStatus>("fib");
  auto byValue = Vix::makePtr<FecByValueTable>();
  for (size_t i = 0; i < kFecs; ++i) {
    Quill::Fib::Fec f(Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), i), Quill::Fib::FecType::forward);
    f.viaAdd(Quill::Fib::Via(IpAddr4(0x0a000001u + uint32_t(i)), Nollo::IntfId::ethernet(1)));
    f.viaAdd(Quill::Fib::Via(IpAddr4(0x0b000001u + uint32_t(i)), Nollo::IntfId::ethernet(2)));
    byPtr->fecIs(f);
    byValue->fecIs(f.id(), f);
  }
  std::vector<Quill::Fib::FecId> order;
  std::mt19937_64 rng(7);
  for (size_t i = 0; i < kLookups; ++i) order.push_back(Quill::Fib::FecId::make(Quill::Fib::nexthopAdj(), rng() % kFecs));
  std::vector<double> ptrNs, valueNs;
  uint64_t sum = 0;
  for (int r = 0; r < kReps; ++r) {
    auto t0 = Clock::now();
    for (auto const& id : order) sum += byPtr->fec(id)->viaCount();
    ptrNs.push_back(nsPerOp(t0, kLookups));
    t0 = Clock::now();
    for (auto const& id : order) sum += byValue->fec(id).viaCount();
    valueNs.push_back(nsPerOp(t0, kLookups));
  }
  std::printf("  FEC table lookup through fec(id), %zu FECs of 2 vias: Ptr<Fec const> %.1f ns, Fec by value %.1f ns%s\n",
              kFecs, median(ptrNs), median(valueNs), sum ? "" : " (checksum 0)");
}

}  // namespace

KOR_BENCH(containers, "prefix -> 24-byte value: Vix::HashMap vs std::unordered_map vs std::map; FEC table record holding") {
  Keys keys;
  std::printf("  %zu IPv4 /24 prefixes, 24-byte values, median of %d runs (ns per op; bytes per entry)\n", kEntries, kReps);
  std::printf("  %-22s %8s %8s %8s %8s   %8s %8s\n", "container", "insert", "hit", "miss", "erase", "asked", "rss");
  using HashMap = Vix::HashMap<IpPrefix, Value24>;
  measure<HashMap>("Vix::HashMap", keys, [](HashMap const& m) { return m.memoryBytes(); });
  struct ReservedHashMap : HashMap {
    ReservedHashMap() { reserve(kEntries); }
  };
  measure<ReservedHashMap>("Vix::HashMap reserved", keys, [](ReservedHashMap const& m) { return m.memoryBytes(); });
  using Unordered = std::unordered_map<IpPrefix, Value24, std::hash<IpPrefix>, std::equal_to<IpPrefix>,
                                       CountingAlloc<std::pair<IpPrefix const, Value24>>>;
  measure<Unordered>("std::unordered_map", keys, [](Unordered const&) { return allocated; });
  using Ordered = std::map<IpPrefix, Value24, std::less<IpPrefix>, CountingAlloc<std::pair<IpPrefix const, Value24>>>;
  measure<Ordered>("std::map", keys, [](Ordered const&) { return allocated; });
  fecLookups();
  return 0;
}
