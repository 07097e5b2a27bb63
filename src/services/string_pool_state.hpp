// The pool's global state, shared by the files of the string pool module
// (core, image save and restore, statistics report). Not part of the API.
#pragma once

#include <stdint.h>

#include "base/locks.h"
#include "services/string_pool.h"

namespace string_pool {

static_assert(sizeof(upnp_string_pool_entry) == 16, "entry table is 16 bytes per entry");
static_assert(sizeof(upnp_string_pool_bucket) * UPNP_STRING_POOL_BUCKETS == 65536,
              "the hash table is 65,536 bytes");

struct PoolState {
  upnp_string_pool_entry* entries = nullptr;
  uint32_t capacity = 0;
  uint32_t count = 1;
  upnp_string_pool_bucket buckets[UPNP_STRING_POOL_BUCKETS] = {};
  upnp_plain_lock* lock = nullptr;
};

extern PoolState g_pool;

inline uint32_t bucket_of(const char* text) {
  return upnp_string_pool_hash(text) & (UPNP_STRING_POOL_BUCKETS - 1);
}

// The entry behind an index taken from a bucket, or null when the index is
// outside the handed-out range. A restored image is only checked narrowly,
// so its buckets may name indices that have no entry.
inline upnp_string_pool_entry* entry_at(uint32_t index) {
  if (g_pool.entries == nullptr || index >= g_pool.count || index >= g_pool.capacity) return nullptr;
  return &g_pool.entries[index];
}

}  // namespace string_pool
