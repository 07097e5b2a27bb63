// The bucket-size report, which exists to judge the spread of the hash.
#include <stdint.h>

#include "services/string_pool.h"
#include "services/string_pool_state.hpp"

namespace {

// Bucket sizes above this are tallied apart and not printed.
constexpr uint32_t kLargestPrintedSize = 25;

}  // namespace

extern "C" void upnp_string_pool_statistics(upnp_string** out) {
  if (out == nullptr) return;
  using string_pool::g_pool;
  StringPoolGuard guard;
  upnp_string* s = *out;
  s = upnp_string_append(s,
                         "String Pool statistics:\r\n---------------------------\r\n"
                         "[index] number of strings    \r\n---------------------------\r\n");
  uint32_t total = 0;
  uint32_t by_size[kLargestPrintedSize + 1] = {};
  for (uint32_t i = 0; i < UPNP_STRING_POOL_BUCKETS; ++i) {
    const uint32_t count = g_pool.buckets[i].count;
    s = upnp_string_sprintf_append(s, "[%4u]    %5u\r\n", i, count);
    total += count;
    if (count <= kLargestPrintedSize) ++by_size[count];
  }
  s = upnp_string_sprintf_append(s,
                                 "\r\n\r\ndistribution:   total=%u\r\n---------------------------\r\n"
                                 "collis  count   %%\r\n---------------------------\r\n",
                                 total);
  for (uint32_t c = 0; c <= kLargestPrintedSize; ++c) {
    const int32_t percent = static_cast<int32_t>(uint64_t{by_size[c]} * 100 / UPNP_STRING_POOL_BUCKETS);
    s = upnp_string_sprintf_append(s, "%2u      %5u  %2d    ", c, by_size[c], percent);
    for (int32_t star = 0; star < percent; ++star) s = upnp_string_append(s, "*");
    s = upnp_string_append(s, "\r\n");
  }
  s = upnp_string_append(s, "---------------------------\r\n");
  *out = s;
}
