#pragma once
// The one primitive for time-sliced work. A ReviewQueue holds work items keyed
// by the item (a prefix, a FEC id, a MAC key...), each at most once: queueing
// a key that is already queued only updates its value, so a burst of changes
// to one item costs one review. A pass walks the queue from its bookmark (the
// key of the next item) until the queue is done or the PassDeadline expires;
// the next pass resumes at the bookmark. The visitor tells what became of each
// item: done (removed), keep (stays where it is) or requeue (not ready: moved
// to the tail, and not visited again in this pass) or stop (not yet: it stays
// where it is and the pass ends there; the next one starts at it). Items
// queued during a pass
// wait for the next one. The visitor may queue or erase any key, itself
// included.
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "vix/HashMap.h"
#include "vix/PassDeadline.h"
#include "vix/Time.h"

namespace Vix {

enum class ReviewAction { done, keep, requeue, stop };
enum class PassResult { complete, yielded, stopped };

template <class K, class V = bool, class Hash = std::hash<K>>
class ReviewQueue {
 public:
  // Adds `key` at the tail, or updates the value of a queued key in place.
  // Returns true when the key was not queued before.
  bool enqueue(K const& key, V const& value = V{}) {
    auto [it, fresh] = index_.try_emplace(key, 0u);
    if (!fresh) {
      nodes_[it->second].value = value;
      return false;
    }
    uint32_t n = alloc(key, value);
    it->second = n;
    linkTail(n);
    return true;
  }
  bool erase(K const& key) {
    auto it = index_.find(key);
    if (it == index_.end()) return false;
    uint32_t n = it->second;
    index_.erase(it);
    unlink(n);
    release(n);
    return true;
  }
  void clear() {
    while (head_ != kNil) erase(nodes_[head_].key);
  }
  bool contains(K const& key) const { return index_.contains(key); }
  V* find(K const& key) {
    auto it = index_.find(key);
    return it == index_.end() ? nullptr : &nodes_[it->second].value;
  }
  size_t size() const { return index_.size(); }
  bool empty() const { return index_.empty(); }
  // Key of the item the next pass starts at (none when it starts at the head).
  std::optional<K> bookmark() const {
    if (cursor_ == kNil) return std::nullopt;
    return nodes_[cursor_].key;
  }
  // Items in queue order (for dumps and tests).
  template <class F>
  void forEach(F f) const {
    for (uint32_t n = head_; n != kNil; n = nodes_[n].next) f(nodes_[n].key, nodes_[n].value);
  }

  // Walks from the bookmark: visit(key, value&) -> ReviewAction. Returns
  // yielded when the deadline expired with items of this pass left, stopped
  // when the visitor said stop.
  template <class F>
  PassResult runPass(PassDeadline& deadline, F visit) {
    return runPass(deadline, visit, [](K const&) {});
  }
  // The same, calling ahead(key) for the item kLookahead places after the
  // one being visited: the visitor's owner starts loading what that item
  // will need (Vix::HashMap::prefetch), so the memory latencies of a pass
  // overlap instead of adding up. A hint only: the item may be gone by the
  // time the pass reaches it.
  static constexpr int kLookahead = 8;
  template <class F, class A>
  PassResult runPass(PassDeadline& deadline, F visit, A ahead) {
    uint64_t limit = nextSeq_;
    if (cursor_ == kNil) cursor_ = head_;
    uint32_t next = cursor_;
    for (int k = 0; k < kLookahead && next != kNil; ++k) {
      ahead(nodes_[next].key);
      next = nodes_[next].next;
    }
    while (cursor_ != kNil && nodes_[cursor_].seq < limit) {
      uint32_t n = cursor_;
      cursor_ = nodes_[n].next;
      if (next < nodes_.size()) {
        ahead(nodes_[next].key);
        next = nodes_[next].next;
      }
      K key = nodes_[n].key;
      V value = nodes_[n].value;
      uint64_t seq = nodes_[n].seq;
      ReviewAction a = visit(key, value);
      // The visitor may have erased the item, or erased and queued it again:
      // a released node's sequence number is kFreeSeq, a queued one's unique.
      if (n < nodes_.size() && nodes_[n].seq == seq) {
        if (a == ReviewAction::done) {
          erase(key);
        } else if (a == ReviewAction::stop) {
          cursor_ = n;
          return PassResult::stopped;
        } else if (a == ReviewAction::requeue) {
          unlink(n);
          nodes_[n].seq = nextSeq_++;
          linkTail(n);
        }
      } else if (a == ReviewAction::stop) {
        return PassResult::stopped;
      }
      if (deadline.expired() && cursor_ != kNil && nodes_[cursor_].seq < limit) return PassResult::yielded;
    }
    cursor_ = kNil;
    return PassResult::complete;
  }

 private:
  static constexpr uint32_t kNil = ~0u;
  static constexpr uint64_t kFreeSeq = ~uint64_t(0);
  struct Node {
    K key;
    V value;
    uint64_t seq;
    uint32_t prev, next;
  };

  uint32_t alloc(K const& key, V const& value) {
    uint32_t n;
    if (!free_.empty()) {
      n = free_.back();
      free_.pop_back();
      nodes_[n] = Node{key, value, nextSeq_++, kNil, kNil};
    } else {
      n = static_cast<uint32_t>(nodes_.size());
      nodes_.push_back(Node{key, value, nextSeq_++, kNil, kNil});
    }
    return n;
  }
  void release(uint32_t n) {
    nodes_[n].value = V{};
    nodes_[n].seq = kFreeSeq;
    free_.push_back(n);
    if (index_.empty()) {  // shrink back when drained
      nodes_.clear();
      free_.clear();
      head_ = tail_ = cursor_ = kNil;
    }
  }
  void linkTail(uint32_t n) {
    nodes_[n].prev = tail_;
    nodes_[n].next = kNil;
    if (tail_ != kNil) nodes_[tail_].next = n;
    else head_ = n;
    tail_ = n;
  }
  void unlink(uint32_t n) {
    Node& x = nodes_[n];
    if (cursor_ == n) cursor_ = x.next;
    if (x.prev != kNil) nodes_[x.prev].next = x.next;
    else head_ = x.next;
    if (x.next != kNil) nodes_[x.next].prev = x.prev;
    else tail_ = x.prev;
    x.prev = x.next = kNil;
  }

  HashMap<K, uint32_t, Hash> index_;
  std::vector<Node> nodes_;
  std::vector<uint32_t> free_;
  uint32_t head_ = kNil, tail_ = kNil, cursor_ = kNil;
  uint64_t nextSeq_ = 0;
};

}  // namespace Vix
