#include "base/upnp_string.h"

#include <gtest/gtest.h>

#include <string>

#include "base/memory.h"
#include "testing/memory_fail.hpp"

namespace {

TEST(UpnpString, NullRecordBecomesOneWithSlack) {
  struct Case {
    const char* text;
    uint32_t capacity;  // 0: no record
  };
  for (const Case& c : {Case{"", 256}, Case{"a", 257}, Case{"hello", 261}, Case{nullptr, 0}}) {
    UpnpStringPtr s(upnp_string_append(nullptr, c.text));
    EXPECT_EQ(s ? s->capacity : 0, c.capacity) << (c.text ? c.text : "(null)");
    if (s) {
      EXPECT_STREQ(upnp_string_get(s.get()), c.text);
    }
  }
  UpnpStringPtr bytes(upnp_string_append_bytes(nullptr, "ab\0c", 4));
  EXPECT_EQ(std::string(bytes->data, bytes->length + 1), std::string("ab\0c\0", 5));
  EXPECT_EQ(bytes->capacity, 4u + 256u);
  UpnpStringPtr none(upnp_string_append_bytes(nullptr, nullptr, 0));
  EXPECT_EQ(none->capacity, 256u) << "the record is made before the bytes are checked";
  upnp_string* s = upnp_string_append(nullptr, "keep");
  char* text = upnp_string_detach(&s);
  EXPECT_EQ(s, nullptr);
  EXPECT_STREQ(text, "keep") << "detached";
  upnp_free(text);
  EXPECT_EQ(upnp_string_detach(&s), nullptr);
}

TEST(UpnpString, FillsExactlyThenDoubles) {
  upnp_string* s = upnp_string_new("abc", 8);
  char* const before = s->data;
  s = upnp_string_append(s, "defg");  // length + n == capacity - 1
  EXPECT_EQ(s->data, before);
  s = upnp_string_append(s, "h");
  EXPECT_EQ(s->capacity, 16u) << "one byte more doubles";
  s = upnp_string_append(s, std::string(40, 'x').c_str());
  EXPECT_EQ(s->capacity, 49u) << "length + n + 1 when that beats doubling";
  EXPECT_EQ(s->data[s->length], '\0');
  s = upnp_string_append_string(s, s);  // reads its own text while growing
  EXPECT_EQ(s->data, "abcdefgh" + std::string(40, 'x') + "abcdefgh" + std::string(40, 'x'));
  EXPECT_EQ(upnp_string_append(s, ""), s);
  upnp_string_free(s);

  upnp_string zero_capacity = {0, 0, const_cast<char*>("")};
  EXPECT_EQ(upnp_string_get(&zero_capacity), nullptr) << "capacity 0 has no readable text";
}

TEST(UpnpString, SprintfProducesLongTextsWhole) {
  for (size_t n : {0u, 4094u, 4095u, 9000u, 20000u}) {
    const std::string text(n, 'q');
    UpnpStringPtr s(upnp_string_sprintf_append(nullptr, "<%s>", text.c_str()));
    EXPECT_EQ(s->data, "<" + text + ">") << n;
    EXPECT_EQ(s->capacity, n + 2 + 256) << n;
  }
  upnp_string* s = upnp_string_sprintf_append(upnp_string_append(nullptr, "n="), "%d", 42);
  EXPECT_STREQ(s->data, "n=42");
  upnp_string_free(s);
  UpnpStringPtr empty(upnp_string_sprintf_append(nullptr, "%s", ""));
  EXPECT_EQ(empty->capacity, 256u) << "an empty result still makes the record";
}

TEST(UpnpString, FailedGrowthFreesTheRecord) {
  const int64_t saved = g_memUsed;
  testing::internal::CaptureStderr();  // the count may go negative
  upnp_string* s = upnp_string_new("abc", 4);
  {
    MemFailAfter fail(0);
    s = upnp_string_append(s, "d");
  }
  EXPECT_EQ(s, nullptr) << "the caller's record is gone";
  EXPECT_EQ(g_memUsed, saved - 4) << "only the uncounted text is missing";
  testing::internal::GetCapturedStderr();
  // The failed reallocation uncounted the old block the record then freed;
  // put the count back for later tests.
  g_memUsed = saved;
}

upnp_string* format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
upnp_string* format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  upnp_string* s = upnp_string_vsprintf(fmt, args);
  va_end(args);
  return s;
}

TEST(UpnpString, SprintfReportsScratchFailure) {
  UpnpStringPtr keep(upnp_string_append(nullptr, "keep"));
  MemFailAfter fail(0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(format("%d items", 3), nullptr);
  EXPECT_EQ(upnp_string_sprintf_append(keep.get(), "%d", 3), keep.get());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "upnp_string_vsprintf: out of memory: %d items\n"
            "upnp_string_vsprintf: out of memory: %d\n");
  EXPECT_STREQ(keep->data, "keep");
}

}  // namespace
