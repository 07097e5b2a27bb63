/* ASCII case folding tables for byte-wise comparisons. Only 'A'-'Z' and
 * 'a'-'z' are folded; bytes 0x80-0xFF map to themselves whatever the encoding
 * of the text, so UTF-8 sequences are never altered. Index with an unsigned
 * char (char is unsigned on some targets, signed on others). */
#ifndef UPNP_BASE_CASE_MAP_H
#define UPNP_BASE_CASE_MAP_H

#ifdef __cplusplus
extern "C" {
#endif

/* Identity except 'A'-'Z' -> 'a'-'z'. */
extern const unsigned char upnp_lower_case_map[256];
/* Identity except 'a'-'z' -> 'A'-'Z'. */
extern const unsigned char upnp_upper_case_map[256];

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_CASE_MAP_H */
