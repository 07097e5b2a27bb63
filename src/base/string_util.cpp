#include "base/string_util.h"

#include <string.h>
#include <strings.h>

#include <algorithm>

#include "base/memory.h"
#include "base/upnp_string.h"

namespace {

// The replacement builder reserves room for this many growths by the
// length difference before it has to reallocate.
constexpr uint64_t kReplaceGrowthReserve = 5;

// A dot this close to the end of the path is preferred when the last dot's
// part is very short, so that two-part endings come out whole.
constexpr size_t kTwoPartWindow = 6;

char* unchanged(const char* text, int dup_if_unchanged) {
  return dup_if_unchanged ? upnp_strdup(text) : const_cast<char*>(text);
}

bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }

}  // namespace

extern "C" {

char* upnp_string_replace(const char* text, const char* search, const char* replacement,
                          int dup_if_unchanged, upnp_match_validator validator) {
  if (text == nullptr) return nullptr;
  if (text[0] == '\0' || search == nullptr || search[0] == '\0') return unchanged(text, dup_if_unchanged);
  const char* match = upnp::text::strstr_validated_from(text, text, search, validator);
  if (match == nullptr) return unchanged(text, dup_if_unchanged);

  const uint64_t text_length = strlen(text);
  const uint64_t search_length = strlen(search);
  const uint64_t replacement_length = replacement == nullptr ? 0 : strlen(replacement);
  uint64_t capacity = text_length;
  if (replacement_length > search_length) {
    capacity += kReplaceGrowthReserve * (replacement_length - search_length);
  }
  upnp_string* builder = upnp_string_new("", static_cast<uint32_t>(std::min<uint64_t>(capacity, UINT32_MAX)));
  const char* position = text;
  while (builder != nullptr && match != nullptr) {
    builder = upnp_string_append_bytes(builder, position, static_cast<uint32_t>(match - position));
    if (builder != nullptr && replacement_length != 0) {
      builder = upnp_string_append_bytes(builder, replacement, static_cast<uint32_t>(replacement_length));
    }
    position = match + search_length;
    match = upnp::text::strstr_validated_from(text, position, search, validator);
  }
  if (builder != nullptr) builder = upnp_string_append(builder, position);
  if (builder == nullptr) return nullptr;
  char* result = upnp_strdup(builder->data);
  upnp_string_free(builder);
  return result;
}

char* upnp_string_replace_all(const char* text, const char* search, const char* replacement) {
  return upnp_string_replace(text, search, replacement, 1, nullptr);
}

char* upnp_strconcat(const char* first, const char* second) {
  if (first == nullptr || first[0] == '\0') return upnp_strdup(second);
  if (second == nullptr || second[0] == '\0') return upnp_strdup(first);
  const size_t first_length = strlen(first);
  const size_t second_length = strlen(second);
  auto* result = static_cast<char*>(upnp_malloc(first_length + second_length + 1));
  if (result == nullptr) return nullptr;
  memcpy(result, first, first_length);
  memcpy(result + first_length, second, second_length + 1);
  return result;
}

int upnp_is_space(unsigned char byte) { return byte == '\t' || byte == '\n' || byte == '\r' || byte == ' '; }

char* upnp_string_trim(char* text) {
  if (text == nullptr) return nullptr;
  size_t end = strlen(text);
  while (end > 0 && upnp_is_space(static_cast<unsigned char>(text[end - 1]))) text[--end] = '\0';
  size_t start = 0;
  while (start < end && upnp_is_space(static_cast<unsigned char>(text[start]))) ++start;
  if (start > 0) memmove(text, text + start, end - start + 1);
  return text;
}

int64_t upnp_atoi64(const char* text) {
  if (text == nullptr) return 0;
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  if (*p == '+') ++p;
  const bool negative = *p == '-';
  if (negative) ++p;
  if (!is_digit(*p)) return 0;
  // Unsigned, so that an over-long number wraps instead of being undefined.
  uint64_t value = 0;
  for (; is_digit(*p); ++p) value = value * 10 + (*p - '0');
  return static_cast<int64_t>(negative ? 0 - value : value);
}

int upnp_string_ends_with_nocase(const char* text, const char* suffix) {
  if (text == nullptr || suffix == nullptr || text[0] == '\0' || suffix[0] == '\0') return 0;
  const size_t text_length = strlen(text);
  const size_t suffix_length = strlen(suffix);
  if (suffix_length > text_length) return 0;
  return strncasecmp(text + text_length - suffix_length, suffix, suffix_length) == 0;
}

char* upnp_get_file_extension(const char* path) {
  if (path == nullptr) return nullptr;
  const char* last_dot = strrchr(path, '.');
  if (last_dot == nullptr) return nullptr;
  const size_t path_length = strlen(path);
  if (strlen(last_dot) < 3 && path_length > 5) {
    const char* near_dot = strchr(path + path_length - kTwoPartWindow, '.');
    if (near_dot != nullptr && near_dot != last_dot) return const_cast<char*>(near_dot + 1);
  }
  if (strchr(last_dot + 1, '/') != nullptr) return nullptr;
  return const_cast<char*>(last_dot + 1);
}

char* upnp_dup_file_extension(const char* path) { return upnp_strdup(upnp_get_file_extension(path)); }

void upnp_get_file_basename(const char* path, char* buffer, size_t size, int strip_extension) {
  if (buffer == nullptr || size < 2 || path == nullptr) return;
  memset(buffer, 0, size);
  const char* slash = strrchr(path, '/');
  const char* base = slash == nullptr ? path : slash + 1;
  strncpy(buffer, base, size - 1);
  if (strip_extension) {
    char* dot = strrchr(buffer, '.');
    if (dot != nullptr) *dot = '\0';
  }
}

}  // extern "C"
