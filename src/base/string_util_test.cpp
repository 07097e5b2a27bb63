#include "base/string_util.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "base/memory.h"
#include "testing/memory_fail.hpp"

namespace {

std::string take(char* text) {
  std::string copy = text == nullptr ? "(null)" : text;
  if (text != nullptr) upnp_free(text);
  return copy;
}

// Accepts a match only at a word start of the whole text.
int at_word_start(const char* haystack, const char* match, const char*) {
  return match == haystack || match[-1] == ' ';
}

TEST(StringUtil, ReplaceEveryAcceptedMatch) {
  struct Case {
    const char* text;
    const char* search;
    const char* replacement;
    upnp_match_validator validator;
    const char* expected;
  };
  const Case cases[] = {
      {"a%X%b%X%", "%X%", nullptr, nullptr, "ab"},
      {"aaaa", "aa", "b", nullptr, "bb"},             // matches never overlap
      {"aXbXc", "X", "XX", nullptr, "aXXbXXc"},       // the replacement is not searched again
      {"cat scat cat", "cat", "dog", at_word_start, "dog scat dog"},
      {"catcat", "cat", "dog", at_word_start, "dogcat"},  // the validator sees the whole text
  };
  for (const Case& c : cases) {
    EXPECT_EQ(take(upnp_string_replace(c.text, c.search, c.replacement, 0, c.validator)), c.expected)
        << '"' << c.text << "\" / \"" << c.search << '"';
  }
  const char text[] = "nothing here";
  EXPECT_EQ(upnp_string_replace(text, "%X%", "y", 0, nullptr), text) << "the very same pointer";
  EXPECT_EQ(upnp_string_replace(text, "", "y", 0, nullptr), text);
  EXPECT_EQ(upnp_string_replace(nullptr, "a", "y", 1, nullptr), nullptr);
  char* copy = upnp_string_replace_all(text, "%X%", "y");
  EXPECT_NE(copy, text);
  EXPECT_EQ(take(copy), text);
}

TEST(StringUtil, ConcatAndOutOfMemoryGiveNull) {
  const int64_t before = g_memUsed;
  const int64_t runs = ForEachAllocationFailure([] {
    const std::string result = take(upnp_string_replace_all("a-b-c-d", "-", "+++++++"));
    EXPECT_TRUE(result == "(null)" || result == "a+++++++b+++++++c+++++++d") << result;
  });
  EXPECT_EQ(runs, 3) << "record, buffer, result: pre-sizing spares any reallocation";
  EXPECT_EQ(g_memUsed, before);
  EXPECT_EQ(take(upnp_strconcat(nullptr, "cd")), "cd");
  EXPECT_EQ(take(upnp_strconcat("ab", "")), "ab");
  EXPECT_EQ(upnp_strconcat("", nullptr), nullptr);
  MemFailAfter fail(0);
  EXPECT_EQ(upnp_strconcat("ab", "cd"), nullptr);
}

TEST(StringUtil, TrimStripsExactlyFourWhitespaceBytes) {
  const char* const cases[][2] = {
      {"  \tx y \r\n", "x y"}, {"   ", ""},         {"\n\nab", "ab"},
      {"\vx\f", "\vx\f"},      {"\xA0x\xA0", "\xA0x\xA0"},
  };
  for (const auto& c : cases) {
    std::string buffer = c[0];
    EXPECT_EQ(upnp_string_trim(buffer.data()), buffer.data());
    EXPECT_STREQ(buffer.c_str(), c[1]) << '"' << c[0] << '"';
  }
  EXPECT_EQ(upnp_string_trim(nullptr), nullptr);
}

TEST(StringUtil, Atoi64IsDeliberatelyMinimal) {
  struct Case {
    const char* text;
    int64_t expected;
  };
  const Case cases[] = {
      {"  12", 0}, {"-12abc", -12}, {"+-5", -5}, {"-+5", 0}, {nullptr, 0},
      {"-9223372036854775808", INT64_MIN},
      {"9223372036854775808", INT64_MIN},  // wraps: no overflow check
  };
  for (const Case& c : cases) EXPECT_EQ(upnp_atoi64(c.text), c.expected) << (c.text ? c.text : "(null)");
}

TEST(StringUtil, EndsWithIgnoringCase) {
  const char* const cases[][3] = {{"Song.MP3", ".mp3", "1"}, {"mp3", "MP3", "1"},   {"p3", ".mp3", ""},
                                  {"abc", "", ""},           {"X\xC4", "x\xE4", ""}};  // ASCII folding only
  for (const auto& c : cases) EXPECT_EQ(upnp_string_ends_with_nocase(c[0], c[1]) != 0, *c[2] == '1') << c[0];
  EXPECT_FALSE(upnp_string_ends_with_nocase(nullptr, "a"));
}

TEST(StringUtil, FileExtension) {
  const char* const cases[][2] = {
      {"/music/a.b/song.flac", "flac"},
      {"/a.b/c", nullptr},  // the dot belongs to a directory
      {"noext", nullptr},
      {"x.ab.c", "ab.c"},    // a short last part takes a dot up to six bytes back
      {"a.c", "c"},          // too short a path to look further back
  };
  for (const auto& c : cases) {
    const char* extension = upnp_get_file_extension(c[0]);
    EXPECT_STREQ(extension, c[1]) << c[0];
    EXPECT_EQ(take(upnp_dup_file_extension(c[0])), c[1] ? c[1] : "(null)") << c[0];
  }
  EXPECT_EQ(upnp_get_file_extension(nullptr), nullptr);
}

TEST(StringUtil, FileBasename) {
  struct Case {
    const char* path;
    size_t size;
    int strip;
    const char* expected;
  };
  const Case cases[] = {
      {"/music/song.mp3", 64, 0, "song.mp3"}, {"/music/song.mp3", 64, 1, "song"},
      {"/music/dir/", 64, 0, ""},
      {"/music/song.mp3", 5, 0, "song"},      {"/music/a.b.c", 4, 1, "a"},  // cut, then stripped
  };
  for (const Case& c : cases) {
    char buffer[65];  // one guard byte behind the largest size
    memset(buffer, 'Z', sizeof buffer);
    upnp_get_file_basename(c.path, buffer, c.size, c.strip);
    EXPECT_STREQ(buffer, c.expected) << c.path << " size " << c.size;
    EXPECT_EQ(buffer[c.size - 1], 0) << c.path << ": zero-filled";
    EXPECT_EQ(buffer[c.size], 'Z') << c.path << ": nothing written past the size";
  }
  char untouched[4] = "abc";
  upnp_get_file_basename("x/y", untouched, 1, 0);
  EXPECT_STREQ(untouched, "abc");
}

}  // namespace
