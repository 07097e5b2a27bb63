/* Values of the library file's key lines: the text between an element's
 * opening and closing tag on one line, e.g. "<string>AC%2FDC</string>".
 *
 * The decoding is the library file's, not XML's: "%XX" with two hexadecimal
 * digits becomes that byte, "+" becomes a space, "&#NNN;" becomes the single
 * byte NNN (decimal, truncated to 8 bits: "&#233;" is byte 233, not UTF-8),
 * and named entities such as "&amp;" are left as they stand. */
#ifndef UPNP_IMPORTER_VALUE_DECODING_H
#define UPNP_IMPORTER_VALUE_DECODING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Finds "<element>" in the line and the first "</element>" behind it, writes
 * a NUL over that closing tag's "<" and decodes the value in place (the line
 * is changed), then returns a copy of the decoded value from the tracked
 * allocator, which the caller frees or hands over. Null when either tag is
 * missing, for null arguments, or when the copy cannot be allocated; the line
 * is left untouched when a tag is missing. */
char* extract_value(char* line, const char* element);

/* The same decoding, without the copy: the decoded value where it now stands
 * in the line, or null. For values that are read and not kept (numbers),
 * so the hot path copies nothing it does not keep. */
char* extract_value_in_place(char* line, const char* element);

/* The "integer" value converted with base-10 strtol and kept as an unsigned
 * 32-bit number ("-1" gives 4294967295); 0 when there is none. */
uint32_t extract_integer(char* line);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_IMPORTER_VALUE_DECODING_H */
