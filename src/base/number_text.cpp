#include "base/number_text.h"

extern "C" {

uint32_t upnp_uint32_to_text(uint32_t value, uint32_t width, char* out) {
  char reversed[10];
  uint32_t count = 0;
  do {
    reversed[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  uint32_t length = 0;
  for (; width > count; --width) out[length++] = '0';
  while (count > 0) out[length++] = reversed[--count];
  out[length] = '\0';
  return length;
}

uint32_t upnp_int32_to_text(int32_t value, char* out) {
  if (value >= 0) return upnp_uint32_to_text(static_cast<uint32_t>(value), 0, out);
  out[0] = '-';
  // The magnitude in unsigned arithmetic, so that INT32_MIN has one.
  return 1 + upnp_uint32_to_text(0u - static_cast<uint32_t>(value), 0, out + 1);
}

}  // extern "C"
