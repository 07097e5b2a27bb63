// The value readers of the passes' hot path: the same rules as
// value_decoding.h (first opening tag, first closing tag behind it, decoded
// in place with the NUL written over the closing tag), with the tags fixed
// at compile time and the decoded value handed out as a view, so that a
// caller copies only what it keeps and never measures it again.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace importer {

struct ValueElement {
  std::string_view open;   // "<string>"
  std::string_view close;  // "</string>"
};
inline constexpr ValueElement kStringValue{"<string>", "</string>"};
inline constexpr ValueElement kIntegerValue{"<integer>", "</integer>"};
inline constexpr ValueElement kDateValue{"<date>", "</date>"};

// The decoded value, ended by the NUL now standing behind it (a decoded
// "&#0;" ends it early, as it ends the C string); data() is null when the
// line holds no such value, and the line is then untouched.
[[nodiscard]] std::string_view read_value(char* line, const ValueElement& element);

// The "integer" value as base-10 strtol reads it, kept as an unsigned 32-bit
// number; false when there is none.
[[nodiscard]] bool read_integer(char* line, uint32_t& number);

}  // namespace importer
