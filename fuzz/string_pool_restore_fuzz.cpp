// libFuzzer target for restoring a string pool image: any bytes must be
// refused or installed without touching memory outside what was read, and a
// refused image must leave the pool empty and every tracked byte returned.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "base/file.h"
#include "base/memory.h"
#include "services/string_pool.h"

namespace {

char g_path[] = "/tmp/string_pool_restore_fuzz.XXXXXX";

void check(bool ok, const char* what) {
  if (!ok) {
    fprintf(stderr, "%s\n", what);
    abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const int fd = mkstemp(g_path);
  check(fd >= 0, "cannot create the scratch file");
  close(fd);
  check(upnp_string_pool_prepare() == 0, "cannot create the pool lock");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FILE* out = fopen(g_path, "wb");
  check(out != nullptr && fwrite(data, 1, size, out) == size && fclose(out) == 0, "cannot write the scratch file");
  const int64_t before = upnp_mem_used();
  upnp_string_pool_init();
  upnp_file* file = upnp_file_open_read(g_path);
  uint32_t restored = 0;
  if (upnp_string_pool_restore(file, &restored) == 1) {
    // A restored pool must stay usable: look up, add and remove texts.
    uint32_t count = 0;
    upnp_string_pool_sizes(&count, nullptr);
    for (uint32_t i = 0; i < count && i < 64; ++i) {
      const char* text = upnp_string_pool_get(i);
      if (text != nullptr) upnp_string_pool_remove(i);
    }
    upnp_string_pool_lock();
    const uint32_t index = upnp_string_pool_add_locked("fuzz", 1);
    upnp_string_pool_unlock();
    upnp_string_pool_remove(index);
    upnp_string* report = nullptr;
    upnp_string_pool_statistics(&report);
    upnp_string_free(report);
  } else {
    uint32_t count = 0;
    upnp_string_pool_sizes(&count, nullptr);
    check(count == 1, "a refused image changed the pool");
  }
  upnp_file_close(file);
  upnp_string_pool_clear();
  check(upnp_mem_used() == before, "tracked bytes left behind");
  return 0;
}
