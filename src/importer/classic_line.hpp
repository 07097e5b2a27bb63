// A line of a library in the classic layout, split at its tags.
//
// Pass 1 checks that every line of the file the passes read is in that
// layout (plist_layout.hpp): a key line "<key>NAME</key>REST" whose name
// holds no "<" and whose rest is "<true/>", "<false/>", a scalar element
// whose value holds no "<", or nothing; or a line of one tag. So every "<" of
// such a line stands at a tag, and a marker (which begins with "<") occurs
// in the line exactly when the line's key is the marker's key and its rest
// begins with the marker's suffix, or when the line is the marker's tag.
// That is what searching the line for the marker would answer, from one
// look at the line's head instead of a search through all of it.
#pragma once

#include <stddef.h>

#include <string_view>

namespace importer {

struct ClassicLine {
  // NAME of a key line; data() is null on any other line.
  std::string_view key;
  // REST of a key line; on any other line the text behind the leading
  // tabs. Without the line's end ("\n").
  std::string_view rest;
};

// Splits the `length` bytes of `text` (a chunk of the line scanner). A line
// that is not in the classic layout is split all the same, into something
// that answers no marker or the marker its head shows; it never reads
// beyond the chunk.
[[nodiscard]] inline ClassicLine split_classic_line(const char* text, size_t length) {
  std::string_view line(text, length);
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  size_t tabs = 0;
  while (tabs < line.size() && line[tabs] == '\t') ++tabs;
  line.remove_prefix(tabs);
  constexpr std::string_view kOpen = "<key>";
  constexpr std::string_view kClose = "</key>";
  if (line.substr(0, kOpen.size()) != kOpen) return {{}, line};
  const size_t name_end = line.find('<', kOpen.size());
  if (name_end == std::string_view::npos || line.substr(name_end, kClose.size()) != kClose) return {{}, line};
  return {line.substr(kOpen.size(), name_end - kOpen.size()), line.substr(name_end + kClose.size())};
}

// Where a line's values are read from: behind its key on a key line (a
// classic key holds no "<", so the first value tag of the line is there),
// else the whole line. `text` is the chunk `line` was split from.
[[nodiscard]] inline char* value_text(char* text, const ClassicLine& line) {
  return line.key.data() == nullptr ? text : text + (line.rest.data() - text);
}

}  // namespace importer
