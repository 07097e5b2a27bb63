#include "base/upnp_string.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <cstdint>

#include "base/memory.h"

namespace {

// The first allocation of a record made on the fly leaves this much slack.
constexpr uint64_t kInitialSlack = 256;
constexpr size_t kFirstScratchSize = 4096;

void free_record(upnp_string* s) {
  if (s->data != nullptr) upnp_free(s->data);
  upnp_free(s);
}

// Capacities are 32-bit; a request beyond that is treated like an exhausted
// heap rather than silently wrapping.
uint32_t clamp_capacity(uint64_t wanted) {
  return static_cast<uint32_t>(std::min<uint64_t>(wanted, UINT32_MAX));
}

// Appends n bytes (n > 0) to an existing record. The bytes may lie inside
// the record's own text (appending a record to itself), so their offset is
// kept across the reallocation.
upnp_string* append_raw(upnp_string* s, const char* bytes, uint64_t n) {
  const uint64_t needed = static_cast<uint64_t>(s->length) + n + 1;
  if (s->capacity != 0 && s->data != nullptr && needed <= s->capacity) {
    memmove(s->data + s->length, bytes, n);
    s->data[s->length + n] = '\0';
    s->length += static_cast<uint32_t>(n);
    return s;
  }
  if (needed > UINT32_MAX) {
    free_record(s);
    return nullptr;
  }
  const bool inside = s->data != nullptr && bytes >= s->data && bytes < s->data + s->capacity;
  const ptrdiff_t offset = inside ? bytes - s->data : 0;
  const uint32_t capacity = clamp_capacity(std::max<uint64_t>(needed, 2ull * s->capacity));
  auto* data = static_cast<char*>(upnp_realloc(s->data, capacity));
  if (data == nullptr) {
    // Deliberate: the caller's record is gone, so a chain of appends ends with null.
    free_record(s);
    return nullptr;
  }
  if (inside) bytes = data + offset;
  memmove(data + s->length, bytes, n);
  data[s->length + n] = '\0';
  s->data = data;
  s->capacity = capacity;
  s->length += static_cast<uint32_t>(n);
  return s;
}

}  // namespace

extern "C" {

upnp_string* upnp_string_new(const char* text, uint32_t capacity) {
  auto* s = static_cast<upnp_string*>(upnp_malloc(sizeof(upnp_string)));
  if (s == nullptr) return nullptr;
  s->length = 0;
  s->capacity = capacity;
  s->data = static_cast<char*>(upnp_calloc(capacity, 1));
  if (s->data == nullptr) {
    upnp_free(s);
    return nullptr;
  }
  if (text == nullptr || text[0] == '\0') return s;
  return append_raw(s, text, strlen(text));
}

upnp_string* upnp_string_append(upnp_string* s, const char* text) {
  if (text == nullptr) return s;
  const size_t n = strlen(text);
  if (s == nullptr) return upnp_string_new(text, clamp_capacity(n + kInitialSlack));
  if (n == 0) return s;
  return append_raw(s, text, n);
}

upnp_string* upnp_string_append_bytes(upnp_string* s, const void* bytes, uint32_t count) {
  if (s == nullptr) {
    s = upnp_string_new("", clamp_capacity(count + kInitialSlack));
    if (s == nullptr) return nullptr;
  }
  if (bytes == nullptr || count == 0) return s;
  return append_raw(s, static_cast<const char*>(bytes), count);
}

upnp_string* upnp_string_append_string(upnp_string* s, const upnp_string* other) {
  if (other == nullptr || other->data == nullptr || other->length == 0) return s;
  return upnp_string_append_bytes(s, other->data, other->length);
}

void upnp_string_free(upnp_string* s) {
  if (s != nullptr) free_record(s);
}

void upnp_string_free_ref(upnp_string** ref) {
  if (ref == nullptr) return;
  upnp_string_free(*ref);
  *ref = nullptr;
}

int upnp_string_is_empty(const upnp_string* s) {
  return s == nullptr || s->data == nullptr || s->length == 0;
}

char* upnp_string_get(const upnp_string* s) {
  if (s == nullptr || s->data == nullptr || s->capacity == 0) return nullptr;
  return s->data;
}

char* upnp_string_detach(upnp_string** ref) {
  if (ref == nullptr || *ref == nullptr) return nullptr;
  char* data = (*ref)->data;
  upnp_free(*ref);
  *ref = nullptr;
  return data;
}

upnp_string* upnp_string_vsprintf(const char* format, va_list args) {
  if (format == nullptr) return nullptr;
  for (size_t size = kFirstScratchSize;; size *= 2) {
    auto* scratch = static_cast<char*>(upnp_malloc(size));
    if (scratch == nullptr) {
      fprintf(stderr, "upnp_string_vsprintf: out of memory: %s\n", format);
      return nullptr;
    }
    // A copy, because the list is used again when the text did not fit.
    va_list copy;
    va_copy(copy, args);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int written = vsnprintf(scratch, size, format, copy);
#pragma GCC diagnostic pop
    va_end(copy);
    if (written < 0) {
      upnp_free(scratch);
      return nullptr;
    }
    if (static_cast<size_t>(written) < size) {
      upnp_string* s = upnp_string_append(nullptr, scratch);
      upnp_free(scratch);
      return s;
    }
    upnp_free(scratch);
  }
}

upnp_string* upnp_string_sprintf_append(upnp_string* s, const char* format, ...) {
  va_list args;
  va_start(args, format);
  upnp_string* formatted = upnp_string_vsprintf(format, args);
  va_end(args);
  if (formatted == nullptr) return s;
  s = upnp_string_append(s, upnp_string_is_empty(formatted) ? "" : formatted->data);
  upnp_string_free(formatted);
  return s;
}

}  // extern "C"
