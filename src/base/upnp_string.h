/* The growable string: a heap record that owns an always NUL-terminated
 * text and grows by doubling, plus formatted printing into it.
 *
 * Ownership: the record and its `data` come from the tracked allocator
 * (base/memory.h) and belong to whoever holds the record pointer. A null
 * record pointer is a valid empty value; the append functions turn it into a
 * new record, so calls chain as s = upnp_string_append(s, ...).
 *
 * Failure: when an append cannot grow the buffer, the record and its text are
 * freed and null is returned, so the caller's pointer is gone and a chain of
 * appends simply ends with null. No function here takes a lock. */
#ifndef UPNP_BASE_UPNP_STRING_H
#define UPNP_BASE_UPNP_STRING_H

#include <stdarg.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Invariant: when data is not null, length + 1 <= capacity and data[length]
 * is 0. A record of capacity 0 has no readable text. */
typedef struct upnp_string {
  uint32_t length;   /* bytes of text, terminator not counted */
  uint32_t capacity; /* bytes allocated for data */
  char* data;        /* the text, owned by the record */
} upnp_string;

/* A record with a zero-filled buffer of exactly `capacity` bytes, then
 * `text` (may be null) appended; null when any allocation fails. */
upnp_string* upnp_string_new(const char* text, uint32_t capacity);

/* Appends a NUL-terminated text. A null text returns `s` unchanged; a null
 * `s` becomes upnp_string_new(text, strlen(text) + 256), even for "". */
upnp_string* upnp_string_append(upnp_string* s, const char* text);

/* Appends `count` bytes that need not hold a terminator. A null `s` first
 * becomes upnp_string_new("", count + 256). */
upnp_string* upnp_string_append_bytes(upnp_string* s, const void* bytes, uint32_t count);

/* Appends the text of `other`; an empty or null `other` returns `s`. */
upnp_string* upnp_string_append_string(upnp_string* s, const upnp_string* other);

/* Frees the text and the record; null is ignored. */
void upnp_string_free(upnp_string* s);
/* Frees *ref and sets it to null. */
void upnp_string_free_ref(upnp_string** ref);

/* 1 for a null record, a null data or a length of 0; else 0. */
int upnp_string_is_empty(const upnp_string* s);

/* The text, or null for a null record, a null data or a capacity of 0. */
char* upnp_string_get(const upnp_string* s);

/* Takes the text out of *ref (the caller frees it with upnp_free), frees the
 * record and sets *ref to null. Null in, null out. */
char* upnp_string_detach(upnp_string** ref);

/* Formats into a new record (capacity: length + 256); null when out of
 * memory, after a message on standard error. */
upnp_string* upnp_string_vsprintf(const char* format, va_list args)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 0)))
#endif
    ;

/* Formats and appends the result to `s` (created when null). An empty result
 * still turns a null `s` into an empty record; a formatting failure returns
 * `s` unchanged. */
upnp_string* upnp_string_sprintf_append(upnp_string* s, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

#ifdef __cplusplus
}  /* extern "C" */

#include <memory>

/* C++ holders of a record free it at the end of their scope. */
struct UpnpStringFree {
  void operator()(upnp_string* s) const noexcept { upnp_string_free(s); }
};
using UpnpStringPtr = std::unique_ptr<upnp_string, UpnpStringFree>;
#endif

#endif /* UPNP_BASE_UPNP_STRING_H */
