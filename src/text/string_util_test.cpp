#include "text/string_util.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "runtime/memory.h"
#include "runtime/memory_fail.h"
#include "text/case_map.h"

namespace {

std::string take(char* text) {
  std::string copy = text == nullptr ? "(null)" : text;
  if (text != nullptr) upnp_free(text);
  return copy;
}

TEST(StringUtil, ReplaceEveryMatch) {
  struct Case {
    const char* text;
    const char* search;
    const char* replacement;
    const char* expected;
  };
  const Case cases[] = {
      {"a%X%b%X%", "%X%", "", "ab"},
      {"a%X%b%X%", "%X%", nullptr, "ab"},
      {"%APPDATADIR%/log", "%APPDATADIR%", "/home/u/.app", "/home/u/.app/log"},
      {"aaaa", "aa", "b", "bb"},  // matches never overlap
      {"xyx", "x", "longer text", "longer textylonger text"},
      {"abc", "abc", "", ""},
      {"aXbXc", "X", "XX", "aXXbXXc"},  // the replacement is never searched again
  };
  for (const Case& c : cases) {
    EXPECT_EQ(take(upnp_string_replace_all(c.text, c.search, c.replacement)), c.expected)
        << '"' << c.text << "\" / \"" << c.search << '"';
  }
}

TEST(StringUtil, ReplaceWithoutMatchReturnsInputUnlessCopyAsked) {
  const char text[] = "nothing here";
  EXPECT_EQ(upnp_string_replace(text, "%X%", "y", 0, nullptr), text);
  EXPECT_EQ(upnp_string_replace(text, "", "y", 0, nullptr), text);
  EXPECT_EQ(upnp_string_replace(text, nullptr, "y", 0, nullptr), text);
  EXPECT_EQ(upnp_string_replace("", "a", "y", 0, nullptr), std::string());
  EXPECT_EQ(upnp_string_replace(nullptr, "a", "y", 1, nullptr), nullptr);
  char* copy = upnp_string_replace(text, "%X%", "y", 1, nullptr);
  EXPECT_NE(copy, text);
  EXPECT_EQ(take(copy), text);
}

// Accepts a match only at a word start of the whole text.
int at_word_start(const char* haystack, const char* match, const char*) {
  return match == haystack || match[-1] == ' ';
}

TEST(StringUtil, ReplaceAsksTheValidatorAboutTheWholeText) {
  EXPECT_EQ(take(upnp_string_replace("cat scat cat", "cat", "dog", 0, at_word_start)), "dog scat dog");
  // Right behind a replaced match is not a word start of the text.
  EXPECT_EQ(take(upnp_string_replace("catcat", "cat", "dog", 0, at_word_start)), "dogcat");
  const char text[] = "scat";
  EXPECT_EQ(upnp_string_replace(text, "cat", "dog", 0, at_word_start), text);
}

TEST(StringUtil, ReplaceOutOfMemoryGivesNull) {
  const int64_t before = g_memUsed;
  const int64_t runs = ForEachAllocationFailure([] {
    char* result = upnp_string_replace_all("a-b-c-d", "-", "+++++++");
    if (result != nullptr) {
      EXPECT_STREQ(result, "a+++++++b+++++++c+++++++d");
      upnp_free(result);
    }
  });
  EXPECT_GE(runs, 3) << "record, its buffer and the result copy";
  EXPECT_EQ(g_memUsed, before) << "pre-sizing means no reallocation here";
}

TEST(StringUtil, ConcatCopiesTheNonEmptySide) {
  EXPECT_EQ(take(upnp_strconcat("ab", "cd")), "abcd");
  EXPECT_EQ(take(upnp_strconcat("", "cd")), "cd");
  EXPECT_EQ(take(upnp_strconcat(nullptr, "cd")), "cd");
  EXPECT_EQ(take(upnp_strconcat("ab", nullptr)), "ab");
  EXPECT_EQ(take(upnp_strconcat("ab", "")), "ab");
  EXPECT_EQ(take(upnp_strconcat("", "")), "");
  EXPECT_EQ(upnp_strconcat(nullptr, nullptr), nullptr);
  EXPECT_EQ(upnp_strconcat("", nullptr), nullptr);
  MemFailAfter fail(0);
  EXPECT_EQ(upnp_strconcat("ab", "cd"), nullptr);
}

TEST(StringUtil, TrimStripsExactlyFourWhitespaceBytes) {
  struct Case {
    const char* text;
    const char* expected;
  };
  const Case cases[] = {
      {"  \tx y \r\n", "x y"},
      {"   ", ""},
      {"", ""},
      {"x", "x"},
      {"\vx\f", "\vx\f"},  // vertical tab and form feed are not whitespace here
      {"\xA0x\xA0", "\xA0x\xA0"},
      {"\n\nab", "ab"},
      {"ab \t", "ab"},
  };
  for (const Case& c : cases) {
    std::string buffer = c.text;
    EXPECT_EQ(upnp_string_trim(buffer.data()), buffer.data());
    EXPECT_STREQ(buffer.c_str(), c.expected) << '"' << c.text << '"';
  }
  EXPECT_EQ(upnp_string_trim(nullptr), nullptr);
  for (int byte = 0; byte < 256; ++byte) {
    const bool space = byte == 9 || byte == 10 || byte == 13 || byte == 32;
    EXPECT_EQ(upnp_is_space(static_cast<unsigned char>(byte)) != 0, space) << byte;
  }
}

TEST(StringUtil, Atoi64IsDeliberatelyMinimal) {
  struct Case {
    const char* text;
    int64_t expected;
  };
  const Case cases[] = {
      {"12", 12},
      {"  12", 0},  // no whitespace skipping
      {"-12abc", -12},
      {"+", 0},
      {"-", 0},
      {"+-5", -5},
      {"-+5", 0},
      {"++5", 0},
      {"007", 7},
      {"9223372036854775807", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"9223372036854775808", INT64_MIN},  // wraps, no overflow check
      {"18446744073709551617", 1},
      {"", 0},
      {"x1", 0},
  };
  for (const Case& c : cases) EXPECT_EQ(upnp_atoi64(c.text), c.expected) << '"' << c.text << '"';
  EXPECT_EQ(upnp_atoi64(nullptr), 0);
}

TEST(StringUtil, EndsWithIgnoringCase) {
  struct Case {
    const char* text;
    const char* suffix;
    int expected;
  };
  const Case cases[] = {
      {"Song.MP3", ".mp3", 1}, {"song.mp3", ".MP3", 1}, {"mp3", "mp3", 1},   {"song.mp4", ".mp3", 0},
      {"p3", ".mp3", 0},       {"", "", 0},             {"abc", "", 0},      {"", "c", 0},
      {nullptr, "a", 0},       {"a", nullptr, 0},       {"X\xC4", "x\xE4", 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(upnp_string_ends_with_nocase(c.text, c.suffix), c.expected)
        << (c.text ? c.text : "(null)") << " / " << (c.suffix ? c.suffix : "(null)");
  }
}

TEST(StringUtil, FileExtension) {
  struct Case {
    const char* path;
    const char* expected;  // null for none
  };
  const Case cases[] = {
      {"song.mp3", "mp3"},
      {"/music/a.b/song.flac", "flac"},
      {"/a.b/c", nullptr},     // the dot belongs to a directory
      {"noext", nullptr},
      {"x.ab.c", "ab.c"},      // a short last part takes the dot before it
      {"/dir/file.c", "c"},    // no other dot within six bytes of the end
      {"a.c", "c"},            // too short a path to look further back
      {"archive.tar.gz", "gz"},
      {"trailing.", ""},
      {".hidden", "hidden"},
      {nullptr, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path ? c.path : "(null)");
    const char* extension = upnp_get_file_extension(c.path);
    if (c.expected == nullptr) {
      EXPECT_EQ(extension, nullptr);
      EXPECT_EQ(upnp_dup_file_extension(c.path), nullptr);
      continue;
    }
    ASSERT_NE(extension, nullptr);
    EXPECT_STREQ(extension, c.expected);
    EXPECT_GE(extension, c.path) << "points into the path";
    EXPECT_EQ(take(upnp_dup_file_extension(c.path)), c.expected);
  }
}

TEST(StringUtil, FileBasename) {
  struct Case {
    const char* path;
    size_t size;
    int strip;
    const char* expected;
  };
  const Case cases[] = {
      {"/music/song.mp3", 64, 0, "song.mp3"},
      {"/music/song.mp3", 64, 1, "song"},
      {"song.tar.gz", 64, 1, "song.tar"},
      {"plain", 64, 1, "plain"},
      {"/music/dir/", 64, 0, ""},
      {"/music/song.mp3", 5, 0, "song"},  // cut to size - 1
      {"/music/song.mp3", 7, 1, "song"},  // cut first, then stripped
      {"/music/a.b.c", 4, 1, "a"},
  };
  for (const Case& c : cases) {
    char buffer[65];  // one guard byte behind the largest size
    memset(buffer, 'Z', sizeof buffer);
    upnp_get_file_basename(c.path, buffer, c.size, c.strip);
    EXPECT_STREQ(buffer, c.expected) << c.path << " size " << c.size << " strip " << c.strip;
    EXPECT_EQ(buffer[c.size - 1], 0) << c.path << ": the buffer is zero-filled";
    EXPECT_EQ(buffer[c.size], 'Z') << c.path << ": nothing is written past the size";
  }
  char untouched[4] = "abc";
  upnp_get_file_basename("x/y", untouched, 1, 0);
  upnp_get_file_basename(nullptr, untouched, 4, 0);
  upnp_get_file_basename("x/y", nullptr, 4, 0);
  EXPECT_STREQ(untouched, "abc");
}

TEST(CaseMap, FoldsAsciiLettersOnly) {
  for (int byte = 0; byte < 256; ++byte) {
    const bool upper = byte >= 'A' && byte <= 'Z';
    const bool lower = byte >= 'a' && byte <= 'z';
    EXPECT_EQ(upnp_lower_case_map[byte], upper ? byte + 32 : byte) << byte;
    EXPECT_EQ(upnp_upper_case_map[byte], lower ? byte - 32 : byte) << byte;
  }
}

}  // namespace
