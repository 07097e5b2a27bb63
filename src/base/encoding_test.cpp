#include "base/encoding.h"

#include <gtest/gtest.h>

#include <string>

#include "base/memory.h"
#include "testing/log_recorder.hpp"
#include "testing/memory_fail.hpp"

namespace {

// The bytes as the converter sees them, with the 0 unit the callers append.
std::string Convert(std::string bytes) {
  bytes.append(2, '\0');
  char* out = upnp_string_utf16_to_utf8(bytes.data());
  if (out == nullptr) return "<null>";
  std::string result(out);
  upnp_free(out);
  return result;
}

TEST(Utf16ToUtf8, KnownByteSequences) {
  struct Case {
    const char* name;
    std::string utf16;
    std::string utf8;
  } cases[] = {
      {"little-endian mark", std::string("\xFF\xFE" "A\0", 4), "A"},
      {"big-endian mark", std::string("\xFE\xFF\0A", 4), "A"},
      {"no mark is little-endian", std::string("A\0", 2), "A"},
      {"mark only", std::string("\xFF\xFE", 2), ""},
      {"e acute", std::string("\xE9\x00", 2), "\xC3\xA9"},
      {"first three-byte unit", std::string("\x00\x08", 2), "\xE0\xA0\x80"},
      {"last BMP unit", std::string("\xFF\xFF", 2), "\xEF\xBF\xBF"},
      {"stops at the 0 unit", std::string("a\0\0\0b\0", 6), "a"},
  };
  for (const Case& c : cases) EXPECT_EQ(Convert(c.utf16), c.utf8) << c.name;
}

TEST(Utf16ToUtf8, SurrogatesAreTracedAndDropped) {
  testing_support::LogRecorder log;
  // "x", U+1F600 as the pair D83D DE00, "y"
  const std::string bytes("\xFF\xFE" "x\0\x3D\xD8\x00\xDE" "y\0\0\0", 12);
  char* out = upnp_string_utf16_to_utf8(bytes.data());
  ASSERT_NE(out, nullptr);
  EXPECT_STREQ(out, "xy");
  // The 8 bytes reserved for the pair stay as zeros behind the text.
  for (int i = 2; i < 2 + 8 + 16; ++i) EXPECT_EQ(out[i], '\0') << i;
  upnp_free(out);
  EXPECT_TRUE(log.contains("upnp_string_utf16_to_utf8 : UTF-16 surrogate pair detected: d83d"));
  EXPECT_TRUE(log.contains("upnp_string_utf16_to_utf8 : UTF-16 surrogate pair detected: de00"));
}

TEST(Utf16ToUtf8, NullAndOutOfMemoryGiveNull) {
  EXPECT_EQ(upnp_string_utf16_to_utf8(nullptr), nullptr);
  const int64_t before = g_memUsed;
  MemFailAfter fail(0);
  EXPECT_EQ(upnp_string_utf16_to_utf8("A\0\0\0"), nullptr);
  EXPECT_EQ(g_memUsed, before);
}

}  // namespace
