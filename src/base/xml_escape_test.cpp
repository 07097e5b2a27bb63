#include "base/xml_escape.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "base/memory.h"
#include "testing/memory_fail.hpp"

namespace {

struct Case {
  const char* name;
  const char* text;
  int32_t double_escape;
  uint32_t limit;
  int32_t control_to_space;
  const char* expected;
};

std::string escape(const Case& c) {
  upnp_string* out = upnp_xml_escape(c.text, c.double_escape, c.limit, c.control_to_space);
  if (out == nullptr) return "<null>";
  std::string text(out->data, out->length);
  EXPECT_EQ(strlen(out->data), out->length) << c.name << ": terminated at its length";
  upnp_string_free(out);
  return text;
}

TEST(XmlEscape, Replacements) {
  const Case cases[] = {
      {"specials", "a<b & 'c'", 0, 0, 0, "a&lt;b &amp; &apos;c&apos;"},
      {"specials doubled", "a<b & 'c'", 1, 0, 0, "a&amp;lt;b &amp;amp; &amp;apos;c&amp;apos;"},
      {"quote and gt", "\"x\">", 0, 0, 0, "&quot;x&quot;&gt;"},
      {"tab to space", "a\tb", 0, 0, 1, "a&#32;b"},
      {"lowest and highest control", "\x01\x1f", 0, 0, 0, "&#1;&#31;"},
      {"control doubled to space", "\r", 1, 0, 1, "&amp;#32;"},
      {"space and delete kept", " \x7f", 0, 0, 0, " \x7f"},
      {"high bytes unchecked", "\xff\x80\xc3", 0, 0, 0, "\xff\x80\xc3"},
  };
  for (const Case& c : cases) EXPECT_EQ(escape(c), c.expected) << c.name;
}

TEST(XmlEscape, LimitNeverSplitsAnItem) {
  const Case cases[] = {
      {"entity does not fit", "ab&cd", 0, 5, 0, "ab"},
      {"entity fits exactly", "ab&cd", 0, 7, 0, "ab&amp;"},
      {"doubled entity needs 9", "a&", 1, 9, 0, "a"},
      {"doubled entity fits", "a&", 1, 10, 0, "a&amp;amp;"},
      {"two-byte character cut before its lead", "ab\xc3\xa9z", 0, 3, 0, "ab"},
      {"four-byte character", "\xf0\x9f\x8e\xb5", 0, 4, 0, "\xf0\x9f\x8e\xb5"},
      {"four-byte character one short", "\xf0\x9f\x8e\xb5", 0, 3, 0, ""},
      {"five-byte lead reserves five", "\xf8xxxx", 0, 4, 0, ""},
      {"control reserves 6 whatever its digits", "a\t", 0, 6, 0, "a"},
      {"control at exactly 6", "\t", 0, 6, 0, "&#9;"},
      {"doubled control reserves 10", "\t", 1, 9, 0, ""},
      {"stops at the first misfit", "a&b", 0, 4, 0, "a"},
  };
  for (const Case& c : cases) EXPECT_EQ(escape(c), c.expected) << c.name;
}

TEST(XmlEscape, NullEmptyAndCapacity) {
  EXPECT_EQ(upnp_xml_escape(nullptr, 0, 0, 0), nullptr);
  EXPECT_EQ(upnp_xml_escape_text(nullptr, 1), nullptr);
  const struct {
    const char* text;
    uint32_t limit, capacity;
  } cases[] = {{"", 0, 2}, {"abc", 10, 11 /* the limit plus the terminator */}, {"abc", 0, 1024}};
  for (const auto& c : cases) {
    upnp_string* out = upnp_xml_escape(c.text, 0, c.limit, 0);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->capacity, c.capacity) << c.text << " limit " << c.limit;
    upnp_string_free(out);
  }
}

TEST(XmlEscape, TextFormGrowsAndGivesNullWhenMemoryRunsOut) {
  const int64_t before = g_memUsed;
  const std::string input(400, '<');  // 1,600 bytes: grows once past 1,024
  std::string expected;
  for (int i = 0; i < 400; ++i) expected += "&lt;";
  // Failed growths uncount their blocks on purpose; a high start keeps the
  // count from going negative and the allocator from saying so.
  g_memUsed += int64_t{1} << 40;
  const int64_t failures = ForEachAllocationFailure([&] {
    char* text = upnp_xml_escape_text(input.c_str(), 0);
    if (text == nullptr) return;
    EXPECT_EQ(std::string(text), expected);
    upnp_free(text);
  });
  EXPECT_EQ(failures, 3) << "record, first buffer, growth";
  // The count cannot show a leak here; the sanitizer run's leak checker does.
  g_memUsed = before;
}

}  // namespace
