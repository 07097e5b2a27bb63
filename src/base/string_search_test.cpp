#include "base/string_search.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

namespace {

// Offset of the match, -1 for none.
long offset_in(const char* haystack, const char* match) { return match ? match - haystack : -1; }

TEST(StringSearch, CaseInsensitiveKmpFindsLeftmostMatch) {
  struct Case {
    const char* haystack;
    const char* needle;
    long offset;
  };
  const Case cases[] = {
      {"xxHeLLo", "hello", 2},
      {"aaab", "aab", 1},  // the failure table must fall back, not restart
      {"abababc", "ababc", 2},
      {"hell", "hello", -1},
      {"abc", "", -1},
      {"", "a", -1},
      {"x\xC4y", "\xE4", -1},  // bytes above 0x7F are never folded
      {"x\xC4y", "\xC4Y", 1},
      {"[a]", "{A}", -1},      // neighbours of the letter ranges stay apart
      {"a\nb b", "B B", 2},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(offset_in(c.haystack, upnp_istrstr(c.haystack, c.needle)), c.offset)
        << '"' << c.haystack << "\" / \"" << c.needle << '"';
  }
  EXPECT_EQ(upnp_istrstr(nullptr, "a"), nullptr);
  EXPECT_EQ(upnp_istrstr("a", nullptr), nullptr);
}

TEST(StringSearch, KmpHonoursCountedLengths) {
  const char text[] = "abc\0abcXYZ";
  EXPECT_EQ(offset_in(text, istrstr_kmp(text, sizeof text - 1, "xyz", 3)), 7);
  EXPECT_EQ(istrstr_kmp(text, 3, "xyz", 3), nullptr);
  EXPECT_EQ(istrstr_kmp(text, 0, "a", 1), nullptr);
}

TEST(StringSearch, NeedleLimitIsOneKibibyte) {
  const std::string needle(1024, 'n');
  const std::string haystack = "xx" + std::string(1023, 'N') + "y" + std::string(1024, 'N');
  testing::internal::CaptureStderr();
  EXPECT_EQ(offset_in(haystack.c_str(), upnp_istrstr(haystack.c_str(), needle.c_str())), 1026);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  const std::string too_long(1025, 'n');
  testing::internal::CaptureStderr();
  EXPECT_EQ(upnp_istrstr(haystack.c_str(), too_long.c_str()), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "istrstr_kmp: strNeedle bigger (1025) than internal buffer (1024)\n");
}

// Accepts a match only when it starts a word of the whole haystack.
int at_word_start(const char* haystack, const char* match, const char*) {
  return match == haystack || match[-1] == ' ';
}
int reject_all(const char*, const char*, const char*) { return 0; }
// Accepts only a match that ends the haystack.
int at_end(const char*, const char*, const char* end) { return *end == '\0'; }

TEST(StringSearch, ValidatedSearchSkipsRejectedMatches) {
  struct Case {
    const char* haystack;
    const char* needle;
    upnp_match_validator validator;
    long offset;
  };
  const Case cases[] = {
      {"catalog cat", "cat", nullptr, 0},
      {"catalog cat", "Cat", nullptr, -1},  // case-sensitive
      {"scat cat", "cat", at_word_start, 5},
      {"aaaa", "aa", at_end, 2},  // overlapping candidates are tried
      {"cat cat", "cat", reject_all, -1},
      {"", "a", nullptr, -1},
      {"abc", "", nullptr, -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(offset_in(c.haystack, upnp_strstr_validated(c.haystack, c.needle, c.validator)), c.offset)
        << '"' << c.haystack << "\" / \"" << c.needle << '"';
  }
  EXPECT_EQ(upnp_strstr_validated(nullptr, "a", nullptr), nullptr);
  EXPECT_EQ(upnp_strstr_validated("a", nullptr, nullptr), nullptr);
}

}  // namespace
