/* XML escaping of arbitrary text for element content and attribute values.
 *
 * The five special characters become entities and control bytes 1-31
 * numeric references; every other byte, 0x80-0xFF included, passes through
 * unchecked (no UTF-8 validation). The double flag escapes the result once
 * more, for text that is itself embedded, escaped, in another XML document.
 *
 * Ownership: results come from the tracked allocator and belong to the
 * caller. Failure: an allocation failure gives null and is not reported.
 * No lock is taken. */
#ifndef UPNP_BASE_XML_ESCAPE_H
#define UPNP_BASE_XML_ESCAPE_H

#include <stdint.h>

#include "base/upnp_string.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A new escaped record, or null for a null text or when out of memory. An
 * empty text gives an empty record of capacity 2.
 * limit: 0 for none; else the output stops before the first item whose
 * replacement (or, for a UTF-8 lead byte, whose whole character) would take
 * the length past `limit` bytes, so a character is never split.
 * control_to_space: control bytes are written as the reference to a space
 * ("&#32;") instead of their own. */
upnp_string* upnp_xml_escape(const char* text, int32_t double_escape, uint32_t limit,
                             int32_t control_to_space);

/* upnp_xml_escape without limit and with control bytes kept, as a plain
 * NUL-terminated text the caller frees with upnp_free; null for a null text
 * or when out of memory. */
char* upnp_xml_escape_text(const char* text, int32_t double_escape);

/* The text of upnp_xml_escape_text handed to `sink` piece by piece (runs of
 * bytes that pass through, and replacements) instead of built in memory, so
 * that it costs no heap block and cannot fail. Nothing for a null text. */
typedef void (*upnp_xml_piece_sink)(void* context, const char* piece, uint32_t length);
void upnp_xml_escape_pieces(const char* text, int32_t double_escape, upnp_xml_piece_sink sink, void* context);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_XML_ESCAPE_H */
