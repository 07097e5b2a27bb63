// libFuzzer target for the record text reader: any bytes, any size, must be
// read without touching memory outside them and without leaking.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/memory.h"
#include "records/object.h"
#include "records/record_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 0xFFFFFFFFu) return 0;
  // An exact-size copy, so that a read one byte past the end is caught.
  char* text = static_cast<char*>(malloc(size == 0 ? 1 : size));
  if (size > 0) memcpy(text, data, size);
  const int64_t before = upnp_mem_used();
  db_object_free(upnp_database_object_create_from_data(text, static_cast<uint32_t>(size)));
  if (upnp_mem_used() != before) {
    fprintf(stderr, "tracked bytes changed by %lld\n", static_cast<long long>(upnp_mem_used() - before));
    abort();
  }
  free(text);
  return 0;
}
