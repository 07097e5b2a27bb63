/* Test seam over the allocator's failure hook: lets the Nth system-heap
 * request of the tracked allocator fail, so that every out-of-memory path can
 * be driven. Tests only; the hook stays unset in the product. */
#ifndef UPNP_TESTING_MEMORY_FAIL_HPP
#define UPNP_TESTING_MEMORY_FAIL_HPP

#ifdef __cplusplus
#include <stdint.h>

#include "base/memory.h"

/* While alive, requests number `fail_from` (0-based) and later fail; a
 * negative value fails none and only counts. Not thread-safe: for tests. */
class MemFailAfter {
 public:
  explicit MemFailAfter(int64_t fail_from) {
    fail_from_ = fail_from;
    requests_ = 0;
    upnp_mem_set_fail_hook(&MemFailAfter::hook);
  }
  ~MemFailAfter() { upnp_mem_set_fail_hook(nullptr); }
  MemFailAfter(const MemFailAfter&) = delete;
  MemFailAfter& operator=(const MemFailAfter&) = delete;
  int64_t requests() const { return requests_; }

 private:
  static int hook(uint64_t) {
    const int64_t n = requests_++;
    return fail_from_ >= 0 && n >= fail_from_;
  }
  static inline int64_t fail_from_ = -1;
  static inline int64_t requests_ = 0;
};

/* Runs `body` with the first, second, ... heap request failing until a run
 * completes without reaching the failure; returns how many runs failed. The
 * body must leave no tracked bytes behind whichever request fails. */
template <class Body>
int64_t ForEachAllocationFailure(Body body) {
  for (int64_t n = 0;; ++n) {
    bool reached;
    {
      MemFailAfter guard(n);
      body();
      reached = guard.requests() > n;
    }
    if (!reached) return n;
  }
}
#endif

#endif /* UPNP_TESTING_MEMORY_FAIL_HPP */
