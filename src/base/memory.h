/* Tracked memory: every heap block of the system comes from here, so that
 * the byte count (g_memUsed) tells the truth. Each block carries an 8-byte
 * header with its requested size in front of the address handed out.
 *
 * Blocks from this family must be released with upnp_free and resized with
 * upnp_realloc only; system-heap blocks must never be given to them. Faults
 * are written to standard error, never to the log (the log allocates here). */
#ifndef UPNP_BASE_MEMORY_H
#define UPNP_BASE_MEMORY_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Requests above this many bytes fail at once, before touching the heap. */
#define UPNP_MEM_SIZE_LIMIT 0x7FFFFFFFFFFFFFEEull

/* Sum of the requested sizes of all live blocks, as the accounting keeps it
 * (a failed realloc uncounts its old block, so it can fall below the truth). */
extern int64_t g_memUsed;
/* Highest value g_memUsed reached after an allocation or a growth. */
extern int64_t mem_peak;

void* upnp_malloc(uint64_t size);
/* count * size is not checked for overflow. */
void* upnp_calloc(uint32_t count, uint64_t size);
/* On failure returns null; the old block stays valid but is no longer counted. */
void* upnp_realloc(void* block, uint64_t new_size);
char* upnp_strndup(const char* text, uint64_t length);
char* upnp_strdup(const char* text);
void upnp_free(void* block);
/* g_memUsed, or 0 while it is negative. */
int64_t upnp_mem_used(void);

/* Start-up and shut-down steps. */
int32_t upnp_mem_prepare(void);
void upnp_mem_release(void);

/* Test seam: when set, the hook is asked before every system-heap request of
 * this family and a non-zero answer makes that request fail as if the heap
 * were exhausted. Production code never sets it. */
typedef int (*upnp_mem_fail_hook_fn)(uint64_t size);
void upnp_mem_set_fail_hook(upnp_mem_fail_hook_fn hook);

#ifdef __cplusplus
}  /* extern "C" */

#include <memory>

/* Tracked blocks owned by C++ code free themselves. */
struct TrackedFree {
  void operator()(void* block) const noexcept {
    if (block != nullptr) upnp_free(block);
  }
};
template <class T>
using TrackedPtr = std::unique_ptr<T, TrackedFree>;
#endif

#endif /* UPNP_BASE_MEMORY_H */
