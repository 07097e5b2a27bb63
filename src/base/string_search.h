/* Substring search over plain NUL-terminated texts: a case-insensitive
 * Knuth-Morris-Pratt search (ASCII folding only) that needs no heap, and a
 * case-sensitive search whose matches a caller may reject. Results point
 * into the haystack. No locks, no allocation; null arguments give null. */
#ifndef UPNP_BASE_STRING_SEARCH_H
#define UPNP_BASE_STRING_SEARCH_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Longest needle istrstr_kmp accepts; its failure table lives on the stack. */
#define UPNP_KMP_MAX_NEEDLE 1024

/* Decides whether a match counts: gets the start of the haystack, the start
 * of the match and the byte just behind it; 0 rejects the match. */
typedef int (*upnp_match_validator)(const char* haystack, const char* match_start,
                                    const char* match_end);

/* First case-insensitive occurrence of needle in haystack, or null. */
char* upnp_istrstr(const char* haystack, const char* needle);

/* The search behind upnp_istrstr on counted texts. Either length 0 gives
 * null; a needle over UPNP_KMP_MAX_NEEDLE bytes is refused with a message on
 * standard error and gives null. */
char* istrstr_kmp(const char* haystack, size_t haystack_length, const char* needle,
                  size_t needle_length);

/* First case-sensitive occurrence that the validator (may be null) accepts;
 * overlapping candidates are tried in turn. Null or empty texts give null. */
char* upnp_strstr_validated(const char* haystack, const char* needle, upnp_match_validator validator);

#ifdef __cplusplus
}  /* extern "C" */

namespace upnp::text {
/* upnp_strstr_validated that starts searching at `from`, a position inside
 * `haystack`, while the validator still sees `haystack` as the start (so a
 * search resumed behind an earlier match judges its context truly). */
char* strstr_validated_from(const char* haystack, const char* from, const char* needle,
                            upnp_match_validator validator);
}  // namespace upnp::text
#endif

#endif /* UPNP_BASE_STRING_SEARCH_H */
