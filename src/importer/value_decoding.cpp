#include "importer/value_decoding.h"

#include <stdlib.h>
#include <string.h>

#include "base/memory.h"
#include "importer/value_reading.hpp"

namespace importer {
namespace {

// Tags are composed like the rest of the system's texts: in a 1024-byte
// buffer, a longer result cut at 1023 characters.
constexpr size_t kTagBufferSize = 1024;

std::string_view format_tag(char (&tag)[kTagBufferSize], const char* element, bool closing) {
  size_t n = 0;
  tag[n++] = '<';
  if (closing) tag[n++] = '/';
  for (const char* e = element; *e != '\0' && n < kTagBufferSize - 1; ++e) tag[n++] = *e;
  if (n < kTagBufferSize - 1) tag[n++] = '>';
  tag[n] = '\0';
  return {tag, n};
}

// Tags hold no NUL, so the comparison stops at the text's NUL at the latest.
bool starts_with(const char* text, std::string_view prefix) {
  for (const char c : prefix) {
    if (*text++ != c) return false;
  }
  return true;
}

// The first place in the C string `from` where `tag` (which begins with "<")
// stands, visiting each "<" once.
char* find_tag(char* from, std::string_view tag) {
  for (char* at = strchr(from, '<'); at != nullptr; at = strchr(at + 1, '<')) {
    if (starts_with(at, tag)) return at;
  }
  return nullptr;
}

int hex_digit(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Decodes the n bytes of `text` (NUL-terminated at n) in one pass, writing
// behind reading (every rule consumes at least as many bytes as it writes),
// so the value shrinks in place. Returns the length of the C string left.
size_t decode_in_place(char* text, size_t n) {
  // Most values hold nothing to decode.
  size_t i = strcspn(text, "%+&");
  if (i == n) return n;
  size_t j = i;
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
  // "%00" or "&#0;" put a NUL inside: the value ends there.
  return strlen(text);
}

std::string_view read_between(char* line, std::string_view open, std::string_view close) {
  char* const opening = find_tag(line, open);
  if (opening == nullptr) return {};
  char* const start = opening + open.size();
  char* const closing = find_tag(start, close);
  if (closing == nullptr) return {};
  *closing = '\0';
  // No NUL stands between the tags: the search would have stopped at it.
  return {start, decode_in_place(start, static_cast<size_t>(closing - start))};
}

// strtol's answer for the common "digits only" text without calling it.
uint32_t to_integer(std::string_view text) {
  constexpr size_t kSafeDigits = 18;  // cannot overflow a 64-bit long
  if (text.empty() || text.size() > kSafeDigits) return static_cast<uint32_t>(strtol(text.data(), nullptr, 10));
  uint64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return static_cast<uint32_t>(strtol(text.data(), nullptr, 10));
    number = number * 10 + static_cast<uint64_t>(c - '0');
  }
  return static_cast<uint32_t>(number);
}

}  // namespace

std::string_view read_value(char* line, const ValueElement& element) {
  return read_between(line, element.open, element.close);
}

bool read_integer(char* line, uint32_t& number) {
  const std::string_view text = read_value(line, kIntegerValue);
  if (text.data() == nullptr) return false;
  number = to_integer(text);
  return true;
}

}  // namespace importer

extern "C" {

char* extract_value_in_place(char* line, const char* element) {
  if (line == nullptr || element == nullptr) return nullptr;
  char open[importer::kTagBufferSize];
  char close[importer::kTagBufferSize];
  const std::string_view value = importer::read_between(line, importer::format_tag(open, element, false),
                                                        importer::format_tag(close, element, true));
  return const_cast<char*>(value.data());
}

char* extract_value(char* line, const char* element) {
  // A value that cannot be copied is dropped, as every failed allocation of
  // the passes is.
  return upnp_strdup(extract_value_in_place(line, element));
}

uint32_t extract_integer(char* line) {
  uint32_t number = 0;
  return line != nullptr && importer::read_integer(line, number) ? number : 0;
}

}  // extern "C"
