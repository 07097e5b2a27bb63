#include "importer/value_decoding.h"

#include <stdlib.h>
#include <string.h>

#include "base/memory.h"

namespace {

// Tags are composed like the rest of the system's texts: in a 1024-byte
// buffer, a longer result cut at 1023 characters.
constexpr size_t kTagBufferSize = 1024;

size_t format_tag(char (&tag)[kTagBufferSize], const char* element, bool closing) {
  size_t n = 0;
  tag[n++] = '<';
  if (closing) tag[n++] = '/';
  for (const char* e = element; *e != '\0' && n < kTagBufferSize - 1; ++e) tag[n++] = *e;
  if (n < kTagBufferSize - 1) tag[n++] = '>';
  tag[n] = '\0';
  return n;
}

int hex_digit(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// One pass, writing behind reading (every rule consumes at least as many bytes
// as it writes), so the value shrinks in place.
void decode_in_place(char* text) {
  const size_t n = strlen(text);
  size_t i = 0;
  size_t j = 0;
  while (i < n) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '%' && i + 2 < n) {
      const int high = hex_digit(static_cast<unsigned char>(text[i + 1]));
      const int low = hex_digit(static_cast<unsigned char>(text[i + 2]));
      if (high >= 0 && low >= 0) {
        text[j++] = static_cast<char>(high * 16 + low);
        i += 3;
        continue;
      }
    } else if (c == '+') {
      text[j++] = ' ';
      ++i;
      continue;
    } else if (c == '&' && text[i + 1] == '#') {
      // Truncated to one byte on purpose; the skip to ";" starts behind "&#"
      // so that a stored ";" (from "&#59;") cannot stop it early.
      const long number = strtol(text + i + 2, nullptr, 10);
      text[j++] = static_cast<char>(static_cast<unsigned char>(number));
      i += 2;
      while (i < n && text[i] != ';') ++i;
      ++i;  // past the ";" (or the end: a reference without ";" ends the value)
      continue;
    }
    text[j++] = static_cast<char>(c);
    ++i;
  }
  text[j] = '\0';
}

}  // namespace

extern "C" {

char* extract_value_in_place(char* line, const char* element) {
  if (line == nullptr || element == nullptr) return nullptr;
  char tag[kTagBufferSize];
  size_t tag_length = format_tag(tag, element, false);
  char* const value = strstr(line, tag);
  if (value == nullptr) return nullptr;
  char* const start = value + tag_length;
  format_tag(tag, element, true);
  char* const closing = strstr(start, tag);
  if (closing == nullptr) return nullptr;
  *closing = '\0';
  decode_in_place(start);
  return start;
}

char* extract_value(char* line, const char* element) {
  // A value that cannot be copied is dropped, as every failed allocation of
  // the passes is.
  return upnp_strdup(extract_value_in_place(line, element));
}

uint32_t extract_integer(char* line) {
  const char* text = extract_value_in_place(line, "integer");
  return text != nullptr ? static_cast<uint32_t>(strtol(text, nullptr, 10)) : 0;
}

}  // extern "C"
