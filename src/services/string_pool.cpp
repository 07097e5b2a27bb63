#include "services/string_pool.h"

#include <string.h>

#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "services/string_pool_state.hpp"

namespace string_pool {

PoolState g_pool;

namespace {

void free_bucket(upnp_string_pool_bucket& bucket) {
  if (bucket.indices != nullptr) upnp_free(bucket.indices);
  bucket = upnp_string_pool_bucket{};
}

// Free slots are reused only once the table is full, so that the index of a
// text released a moment ago is not handed out again soon. The last
// allocated slot stays unused until then.
uint32_t choose_slot() {
  if (g_pool.count + 1 < g_pool.capacity) return g_pool.count++;
  for (uint32_t i = 1; i < g_pool.count && i < g_pool.capacity; ++i) {
    if (g_pool.entries[i].refcount == 0) return i;
  }
  if (g_pool.capacity > UINT32_MAX - UPNP_STRING_POOL_GROWTH) return 0;
  const uint32_t capacity = g_pool.capacity + UPNP_STRING_POOL_GROWTH;
  auto* grown = static_cast<upnp_string_pool_entry*>(
      upnp_realloc(g_pool.entries, uint64_t{capacity} * sizeof(upnp_string_pool_entry)));
  if (grown == nullptr) return 0;
  memset(grown + g_pool.capacity, 0, uint64_t{UPNP_STRING_POOL_GROWTH} * sizeof(upnp_string_pool_entry));
  g_pool.entries = grown;
  g_pool.capacity = capacity;
  return g_pool.count++;
}

// On a failed growth the bucket forgets its list on purpose: the entries it
// named stay allocated but can no longer be found.
bool append_index(upnp_string_pool_bucket& bucket, uint32_t index) {
  if (bucket.count == bucket.capacity) {
    const uint64_t capacity = uint64_t{bucket.capacity} + UPNP_STRING_POOL_BUCKET_GROWTH;
    auto* grown = static_cast<uint32_t*>(upnp_realloc(bucket.indices, capacity * sizeof(uint32_t)));
    if (grown == nullptr) {
      bucket.count = 0;
      bucket.capacity = 0;
      return false;
    }
    bucket.indices = grown;
    bucket.capacity = static_cast<uint32_t>(capacity);
  }
  bucket.indices[bucket.count++] = index;
  return true;
}

void take_out_of_bucket(upnp_string_pool_bucket& bucket, uint32_t position) {
  if (bucket.count <= 1) {
    free_bucket(bucket);
    return;
  }
  --bucket.count;
  if (position != bucket.count) bucket.indices[position] = bucket.indices[bucket.count];
}

}  // namespace
}  // namespace string_pool

using string_pool::g_pool;

extern "C" {

uint32_t upnp_string_pool_hash(const char* text) {
  uint32_t h = UPNP_STRING_POOL_HASH_SEED;
  if (text == nullptr) return h;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != 0; ++p) {
    h = h + (h << 4) + *p;
  }
  return h;
}

int32_t upnp_string_pool_create_lock(void) { return upnp_lock_create(&g_pool.lock) == 0 ? UPNP_OK : UPNP_FAILED; }

void upnp_string_pool_init(void) {
  g_pool.capacity = UPNP_STRING_POOL_GROWTH;
  g_pool.count = 1;
  g_pool.entries = static_cast<upnp_string_pool_entry*>(
      upnp_calloc(UPNP_STRING_POOL_GROWTH, sizeof(upnp_string_pool_entry)));
  for (auto& bucket : g_pool.buckets) bucket = upnp_string_pool_bucket{};
}

void upnp_string_pool_clear(void) {
  if (g_pool.entries != nullptr) {
    for (uint32_t i = 0; i < g_pool.capacity; ++i) {
      if (g_pool.entries[i].text != nullptr) upnp_free(g_pool.entries[i].text);
    }
    upnp_free(g_pool.entries);
    g_pool.entries = nullptr;
  }
  g_pool.capacity = 0;
  g_pool.count = 1;
  for (auto& bucket : g_pool.buckets) string_pool::free_bucket(bucket);
}

void upnp_string_pool_destroy_lock(void) { upnp_lock_destroy(&g_pool.lock); }

int32_t upnp_string_pool_lock(void) { return upnp_lock(&g_pool.lock); }
void upnp_string_pool_unlock(void) { upnp_unlock(&g_pool.lock); }

uint32_t upnp_string_pool_add_locked(const char* text, int32_t persistent) {
  if (text == nullptr || g_pool.entries == nullptr) return 0;
  upnp_string_pool_bucket& bucket = g_pool.buckets[string_pool::bucket_of(text)];
  for (uint32_t i = 0; i < bucket.count; ++i) {
    upnp_string_pool_entry* entry = string_pool::entry_at(bucket.indices[i]);
    if (entry == nullptr || entry->text == nullptr) return 0;  // inconsistent: change nothing
    if (strcmp(entry->text, text) == 0) {
      ++entry->refcount;
      if (persistent) ++entry->persist_count;
      return bucket.indices[i];
    }
  }
  const uint32_t slot = string_pool::choose_slot();
  if (slot == 0) return 0;
  upnp_string_pool_entry& entry = g_pool.entries[slot];
  entry.text = upnp_strdup(text);
  if (entry.text == nullptr) return 0;
  entry.refcount = 1;
  entry.persist_count = persistent ? 1 : 0;
  if (!string_pool::append_index(bucket, slot)) return 0;
  return slot;
}

const char* upnp_string_pool_get(uint32_t index) {
  if (index == 0 || index >= g_pool.count || g_pool.entries == nullptr) return nullptr;
  return g_pool.entries[index].text;
}

void string_pool_remove_locked_by_string_impl(const char* text, int32_t persistent) {
  if (text == nullptr || g_pool.entries == nullptr) return;
  upnp_string_pool_bucket& bucket = g_pool.buckets[string_pool::bucket_of(text)];
  for (uint32_t i = 0; i < bucket.count; ++i) {
    const uint32_t index = bucket.indices[i];
    upnp_string_pool_entry* entry = string_pool::entry_at(index);
    if (index == 0 || entry == nullptr || entry->refcount == 0 || entry->text == nullptr) {
      upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "string_pool_remove_locked_by_string_impl", 0,
               "StringPool corrupted: string: %s, index: %u, entries: %u, refcnt: %u/%u, isnull: %d\n",
               text, index, g_pool.count, entry != nullptr ? entry->refcount : 0,
               entry != nullptr ? entry->persist_count : 0,
               entry == nullptr || entry->text == nullptr ? 1 : 0);
      continue;
    }
    if (strcmp(entry->text, text) != 0) continue;
    const uint32_t before = entry->refcount--;
    if (persistent) --entry->persist_count;
    if (before == 1) {
      // `text` may be this very entry's text: it is not read after the free.
      upnp_free(entry->text);
      entry->text = nullptr;
      string_pool::take_out_of_bucket(bucket, i);
    }
    return;
  }
}

void upnp_string_pool_remove(uint32_t index) {
  if (index == 0) return;
  StringPoolGuard guard;
  const char* text = upnp_string_pool_get(index);
  if (text != nullptr) string_pool_remove_locked_by_string_impl(text, 0);
}

void upnp_string_pool_sizes(uint32_t* count, uint32_t* capacity) {
  if (count != nullptr) *count = g_pool.count;
  if (capacity != nullptr) *capacity = g_pool.capacity;
}

int32_t upnp_string_pool_entry_counts(uint32_t index, uint32_t* refcount, uint32_t* persist_count) {
  const upnp_string_pool_entry* entry =
      g_pool.entries != nullptr && index < g_pool.capacity ? &g_pool.entries[index] : nullptr;
  if (refcount != nullptr) *refcount = entry != nullptr ? entry->refcount : 0;
  if (persist_count != nullptr) *persist_count = entry != nullptr ? entry->persist_count : 0;
  return entry != nullptr ? 1 : 0;
}

int32_t upnp_string_pool_prepare(void) { return upnp_string_pool_create_lock(); }
void upnp_string_pool_stop(void) { upnp_string_pool_clear(); }
void upnp_string_pool_release(void) { upnp_string_pool_destroy_lock(); }

}  // extern "C"
