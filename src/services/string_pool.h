/* The string pool: a process-wide table that interns texts. Each distinct
 * text is stored once under a small index (0 means "no string" and failure)
 * with two reference counts: all references, and the persistent ones that
 * survive a save and restore of the pool image.
 *
 * Ownership: the pool owns every interned text; a pointer from
 * upnp_string_pool_get stays valid only while a reference is held.
 *
 * Locking: one lock guards the whole pool. Functions ending in _locked (and
 * string_pool_remove_locked_by_string_impl) expect the caller to hold it
 * (upnp_string_pool_lock / upnp_string_pool_unlock, or StringPoolGuard);
 * remove, save and statistics take it themselves; restore reads the file
 * without it and takes it only to install the image; get takes none.
 *
 * Failures: adding answers 0; save and restore answer 0 and never damage the
 * live pool (save failures are logged, restore failures are silent). */
#ifndef UPNP_SERVICES_STRING_POOL_H
#define UPNP_SERVICES_STRING_POOL_H

#include <stdint.h>

#include "base/upnp_string.h"

#ifdef __cplusplus
extern "C" {
#endif

struct upnp_file; /* base/file.h */

#define UPNP_STRING_POOL_BUCKETS 4096u
#define UPNP_STRING_POOL_GROWTH 8192u
#define UPNP_STRING_POOL_BUCKET_GROWTH 8u
#define UPNP_STRING_POOL_HASH_SEED 0xBB40E64Du

typedef struct upnp_string_pool_entry {
  char* text;             /* owned; null while the slot is free */
  uint32_t refcount;      /* all references; 0 = free slot */
  uint32_t persist_count; /* references kept by a save and restore */
} upnp_string_pool_entry;

typedef struct upnp_string_pool_bucket {
  uint32_t count;    /* indices in use */
  uint32_t capacity; /* indices allocated */
  uint32_t* indices; /* entry indices hashing here, in no particular order */
} upnp_string_pool_bucket;

/* h = h * 17 + byte from the seed; null and "" hash to the seed. The bucket
 * is the low 12 bits. */
uint32_t upnp_string_pool_hash(const char* text);

/* UPNP_OK, or UPNP_FAILED when the lock cannot be created. */
int32_t upnp_string_pool_create_lock(void);
/* 8192 zeroed entries, count 1 (index 0 is never handed out), empty buckets. */
void upnp_string_pool_init(void);
/* Frees every text, the entry table and every bucket array: capacity 0,
 * count 1, so get answers null for every index afterwards. */
void upnp_string_pool_clear(void);
void upnp_string_pool_destroy_lock(void);

int32_t upnp_string_pool_lock(void);
void upnp_string_pool_unlock(void);

/* The index of `text`, its counts raised (the persistent count too when
 * `persistent` is set); a new entry when the text is not interned yet.
 * 0 on allocation failure, an inconsistent bucket or a pool without table. */
uint32_t upnp_string_pool_add_locked(const char* text, int32_t persistent);
/* The text of an entry, null for 0, an index past the last handed out or a
 * pool without table. Takes no lock. */
const char* upnp_string_pool_get(uint32_t index);
/* Drops one reference to `text` (and one persistent one when `persistent`);
 * the last reference frees the slot. Inconsistent bucket entries are logged
 * and skipped. */
void string_pool_remove_locked_by_string_impl(const char* text, int32_t persistent);
/* Drops one ordinary reference to the text of `index`; 0 does nothing. */
void upnp_string_pool_remove(uint32_t index);

/* Writes the persistent entries and their buckets (native byte order):
 * n, n entry records {persist_count[, length, bytes]}, 4096 bucket records
 * {k, k indices}. 1 on success, 0 on failure (logged; the file then holds a
 * partial image). The out counts may be null. */
int32_t upnp_string_pool_save(struct upnp_file* file, uint32_t* saved, uint32_t* skipped);
/* Reads an image written by save and installs it into a still-empty pool.
 * 1 on success with the number of restored entries in `restored` (may be
 * null); 0 for a short read, an allocation failure, an image that fails the
 * checks or a pool that already holds texts, the pool then untouched. */
int32_t upnp_string_pool_restore(struct upnp_file* file, uint32_t* restored);

/* Appends the bucket-size report to *out (a null *out becomes a new
 * record, which the caller frees). */
void upnp_string_pool_statistics(upnp_string** out);

/* Diagnostics and tests: the pool's sizes, and an entry's counts (0 when
 * the index has no slot). Pointers may be null. */
void upnp_string_pool_sizes(uint32_t* count, uint32_t* capacity);
int32_t upnp_string_pool_entry_counts(uint32_t index, uint32_t* refcount, uint32_t* persist_count);

/* Start-up and shut-down steps: create the lock; initialise; clear;
 * destroy the lock. */
int32_t upnp_string_pool_prepare(void);
void upnp_string_pool_stop(void);
void upnp_string_pool_release(void);

#ifdef __cplusplus
}  /* extern "C" */

/* Holds the pool lock for a scope (for the _locked functions). */
class StringPoolGuard {
 public:
  StringPoolGuard() { upnp_string_pool_lock(); }
  ~StringPoolGuard() { upnp_string_pool_unlock(); }
  StringPoolGuard(const StringPoolGuard&) = delete;
  StringPoolGuard& operator=(const StringPoolGuard&) = delete;
};
#endif

#endif /* UPNP_SERVICES_STRING_POOL_H */
