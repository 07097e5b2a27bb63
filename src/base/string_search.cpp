#include "base/string_search.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "base/case_map.h"

namespace {

inline unsigned char folded(char c) { return upnp_lower_case_map[static_cast<unsigned char>(c)]; }

}  // namespace

namespace upnp::text {

char* strstr_validated_from(const char* haystack, const char* from, const char* needle,
                            upnp_match_validator validator) {
  if (haystack == nullptr || from == nullptr || needle == nullptr || needle[0] == '\0') return nullptr;
  const char* match = strstr(from, needle);
  if (validator == nullptr) return const_cast<char*>(match);
  const size_t needle_length = strlen(needle);
  // Each next try starts one byte behind the rejected match, so overlapping
  // candidates are judged too.
  while (match != nullptr && validator(haystack, match, match + needle_length) == 0) {
    match = strstr(match + 1, needle);
  }
  return const_cast<char*>(match);
}

}  // namespace upnp::text

extern "C" {

char* istrstr_kmp(const char* haystack, size_t haystack_length, const char* needle,
                  size_t needle_length) {
  if (haystack == nullptr || needle == nullptr || haystack_length == 0 || needle_length == 0) {
    return nullptr;
  }
  if (needle_length > UPNP_KMP_MAX_NEEDLE) {
    fprintf(stderr, "%s: strNeedle bigger (%d) than internal buffer (%d)\n", "istrstr_kmp",
            needle_length > INT32_MAX ? INT32_MAX : static_cast<int>(needle_length),
            UPNP_KMP_MAX_NEEDLE);
    return nullptr;
  }
  // Failure table, in the optimised form: f[i] skips a fallback position
  // whose byte equals needle[i], since that comparison is known to fail.
  int32_t f[UPNP_KMP_MAX_NEEDLE];
  const auto m = static_cast<int32_t>(needle_length);
  f[0] = -1;
  int32_t k = -1;
  for (int32_t i = 1; i < m; ++i) {
    while (k >= 0 && folded(needle[i - 1]) != folded(needle[k])) k = f[k];
    ++k;
    f[i] = folded(needle[i]) != folded(needle[k]) ? k : f[k];
  }
  int32_t j = 0;
  for (size_t pos = 0; pos < haystack_length; ++pos) {
    const unsigned char byte = folded(haystack[pos]);
    while (j >= 0 && folded(needle[j]) != byte) j = f[j];
    if (++j == m) return const_cast<char*>(haystack + pos + 1 - needle_length);
  }
  return nullptr;
}

char* upnp_istrstr(const char* haystack, const char* needle) {
  if (haystack == nullptr || needle == nullptr) return nullptr;
  return istrstr_kmp(haystack, strlen(haystack), needle, strlen(needle));
}

char* upnp_strstr_validated(const char* haystack, const char* needle, upnp_match_validator validator) {
  if (haystack == nullptr || needle == nullptr || haystack[0] == '\0' || needle[0] == '\0') {
    return nullptr;
  }
  return upnp::text::strstr_validated_from(haystack, haystack, needle, validator);
}

}  // extern "C"
