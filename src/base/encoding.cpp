#include "base/encoding.h"

#include <string.h>

#include "base/log.h"
#include "base/memory.h"

namespace {

// The legacy multi-byte code page of the server's conversions; set at
// start-up, read by none of the conversions here.
int32_t g_codepage = 0;

struct Utf16Reader {
  const unsigned char* bytes;
  bool big_endian;

  uint32_t unit(uint64_t index) const {
    const unsigned char* p = bytes + 2 * index;
    return big_endian ? (uint32_t{p[0]} << 8) | p[1] : (uint32_t{p[1]} << 8) | p[0];
  }
};

constexpr bool is_surrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

constexpr uint64_t utf8_size(uint32_t unit) {
  if (unit < 0x80) return 1;
  if (unit < 0x800) return 2;
  // Space for a whole supplementary character, although the unit is dropped.
  if (is_surrogate(unit)) return 4;
  return 3;
}
static_assert(utf8_size(0x7F) == 1 && utf8_size(0x80) == 2 && utf8_size(0x7FF) == 2);
static_assert(utf8_size(0x800) == 3 && utf8_size(0xD800) == 4 && utf8_size(0xDFFF) == 4);
static_assert(utf8_size(0xE000) == 3 && utf8_size(0xFFFF) == 3);

Utf16Reader reader_for(const unsigned char* bytes) {
  if (bytes[0] == 0xFF && bytes[1] == 0xFE) return {bytes + 2, false};
  if (bytes[0] == 0xFE && bytes[1] == 0xFF) return {bytes + 2, true};
  return {bytes, false};
}

}  // namespace

extern "C" {

char* upnp_string_utf16_to_utf8(const void* utf16) {
  if (utf16 == nullptr) return nullptr;
  const Utf16Reader in = reader_for(static_cast<const unsigned char*>(utf16));

  uint64_t size = 0;
  for (uint64_t i = 0;; ++i) {
    const uint32_t unit = in.unit(i);
    if (unit == 0) break;
    if (is_surrogate(unit)) {
      upnp_log(UPNP_LOG_TRACE, LOG_SYSTEM, "upnp_string_utf16_to_utf8", 0,
               "UTF-16 surrogate pair detected: %04x", unit);
    }
    size += utf8_size(unit);
  }

  auto* out = static_cast<unsigned char*>(upnp_malloc(size + 16));
  if (out == nullptr) return nullptr;
  memset(out, 0, size + 16);

  uint64_t written = 0;
  for (uint64_t i = 0; written < size; ++i) {
    const uint32_t unit = in.unit(i);
    if (unit == 0) break;
    if (unit < 0x80) {
      out[written++] = static_cast<unsigned char>(unit);
    } else if (unit < 0x800) {
      out[written++] = static_cast<unsigned char>(0xC0 | (unit >> 6));
      out[written++] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
    } else if (!is_surrogate(unit)) {
      out[written++] = static_cast<unsigned char>(0xE0 | (unit >> 12));
      out[written++] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
      out[written++] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
    }
  }
  return reinterpret_cast<char*>(out);
}

void upnp_encoding_init(void) { g_codepage = 932; }

}  // extern "C"
