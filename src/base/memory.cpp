#include "base/memory.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "base/locks.h"
#include "base/status.h"

int64_t g_memUsed = 0;
// The highest g_memUsed seen, kept for the server's diagnostics; the
// importer never reads it.
int64_t mem_peak = 0;

namespace {

constexpr uint64_t kHeaderSize = 8;
static_assert(sizeof(uint64_t) == kHeaderSize, "the size header is 8 bytes");

upnp_plain_lock* mem_lock = nullptr;
upnp_mem_fail_hook_fn g_fail_hook = nullptr;

bool heap_refuses(uint64_t size) { return g_fail_hook != nullptr && g_fail_hook(size) != 0; }

unsigned char* block_base(void* block) { return static_cast<unsigned char*>(block) - kHeaderSize; }

uint64_t block_size(void* block) {
  uint64_t size;
  memcpy(&size, block_base(block), sizeof size);
  return size;
}

void* finish_block(unsigned char* base, uint64_t size) {
  memcpy(base, &size, sizeof size);
  return base + kHeaderSize;
}

void count_growth(int64_t delta) {
  upnp_lock(&mem_lock);
  g_memUsed += delta;
  if (g_memUsed > mem_peak) mem_peak = g_memUsed;
  upnp_unlock(&mem_lock);
}

}  // namespace

extern "C" {

void* upnp_malloc(uint64_t size) {
  if (size > UPNP_MEM_SIZE_LIMIT || heap_refuses(size)) return nullptr;
  auto* base = static_cast<unsigned char*>(malloc(size + kHeaderSize));
  if (base == nullptr) return nullptr;
  count_growth(static_cast<int64_t>(size));
  return finish_block(base, size);
}

void* upnp_calloc(uint32_t count, uint64_t size) {
  uint64_t total = static_cast<uint64_t>(count) * size;
  void* block = upnp_malloc(total);
  if (block != nullptr) memset(block, 0, total);
  return block;
}

void* upnp_realloc(void* block, uint64_t new_size) {
  if (new_size > UPNP_MEM_SIZE_LIMIT) return nullptr;
  if (block == nullptr) return upnp_malloc(new_size);
  const uint64_t old_size = block_size(block);
  // Two bytes more than upnp_malloc asks for; kept as the system always did.
  void* base = heap_refuses(new_size) ? nullptr : realloc(block_base(block), new_size + kHeaderSize + 2);
  upnp_lock(&mem_lock);
  g_memUsed -= static_cast<int64_t>(old_size);
  if (base == nullptr) {
    // The old block stays the caller's but is no longer counted.
    upnp_unlock(&mem_lock);
    return nullptr;
  }
  if (g_memUsed < 0) fprintf(stderr, "upnp_realloc: g_memUsed < 0 (%" PRId64 ")\n", g_memUsed);
  g_memUsed += static_cast<int64_t>(new_size);
  if (g_memUsed > mem_peak) mem_peak = g_memUsed;
  upnp_unlock(&mem_lock);
  return finish_block(static_cast<unsigned char*>(base), new_size);
}

char* upnp_strndup(const char* text, uint64_t length) {
  if (text == nullptr) return nullptr;
  auto* copy = static_cast<char*>(upnp_malloc(length + 1));
  if (copy == nullptr) return nullptr;
  memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

char* upnp_strdup(const char* text) {
  if (text == nullptr) return nullptr;
  return upnp_strndup(text, strlen(text));
}

void upnp_free(void* block) {
  if (block == nullptr) {
    static const char kMessage[] = "upnp_free: NULL pointer\n";
    ssize_t ignored = write(2, kMessage, sizeof kMessage - 1);
    (void)ignored;
    return;
  }
  const uint64_t size = block_size(block);
  upnp_lock(&mem_lock);
  g_memUsed -= static_cast<int64_t>(size);
  if (g_memUsed < 0) fprintf(stderr, "upnp_free: g_memUsed < 0 (%" PRId64 ")\n", g_memUsed);
  upnp_unlock(&mem_lock);
  free(block_base(block));
}

int64_t upnp_mem_used(void) {
  upnp_lock(&mem_lock);
  int64_t used = g_memUsed;
  upnp_unlock(&mem_lock);
  return used < 0 ? 0 : used;
}

int32_t upnp_mem_prepare(void) {
  if (upnp_lock_create(&mem_lock) != 0) return UPNP_FAILED;
  g_memUsed = 0;
  mem_peak = 0;
  return 0;
}

void upnp_mem_release(void) { upnp_lock_destroy(&mem_lock); }

void upnp_mem_set_fail_hook(upnp_mem_fail_hook_fn hook) { g_fail_hook = hook; }

}  // extern "C"
