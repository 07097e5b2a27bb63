#include "text/upnp_string.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "runtime/memory.h"
#include "runtime/memory_fail.h"

namespace {

// A failed reallocation uncounts its old block before the record frees it,
// which drives the byte count below the truth; bodies that free everything
// they took put the count back so later tests see true figures.
class RestoreMemCount {
 public:
  ~RestoreMemCount() { g_memUsed = saved_; }
  int64_t saved() const { return saved_; }

 private:
  int64_t saved_ = g_memUsed;
};

TEST(UpnpString, AppendToNullRecordLeavesSlack) {
  struct Case {
    const char* text;
    bool gives_record;
    uint32_t length;
    uint32_t capacity;
  };
  const Case cases[] = {
      {"", true, 0, 256},
      {"a", true, 1, 257},
      {"hello", true, 5, 261},
      {nullptr, false, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text ? c.text : "(null)");
    upnp_string* s = upnp_string_append(nullptr, c.text);
    ASSERT_EQ(s != nullptr, c.gives_record);
    if (s == nullptr) continue;
    EXPECT_EQ(s->length, c.length);
    EXPECT_EQ(s->capacity, c.capacity);
    EXPECT_STREQ(upnp_string_get(s), c.text);
    upnp_string_free(s);
  }
}

TEST(UpnpString, FillsExactlyThenDoublesCapacity) {
  upnp_string* s = upnp_string_new("abc", 8);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->capacity, 8u);
  char* const before = s->data;
  s = upnp_string_append(s, "defg");  // 3 + 4 = capacity - 1: fits in place
  EXPECT_EQ(s->data, before);
  EXPECT_EQ(s->capacity, 8u);
  s = upnp_string_append(s, "h");
  EXPECT_EQ(s->capacity, 16u) << "one byte more doubles";
  EXPECT_STREQ(s->data, "abcdefgh");
  s = upnp_string_append(s, std::string(40, 'x').c_str());
  EXPECT_EQ(s->capacity, 49u) << "length + n + 1 when that beats doubling";
  EXPECT_EQ(s->length, 48u);
  EXPECT_EQ(s->data[s->length], '\0');
  upnp_string_free(s);
}

TEST(UpnpString, AppendBytesCountsAndTerminates) {
  upnp_string* s = upnp_string_append_bytes(nullptr, "abc\0def", 7);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->length, 7u);
  EXPECT_EQ(s->capacity, 7u + 256u);
  EXPECT_EQ(std::string(s->data, 8), std::string("abc\0def\0", 8));
  EXPECT_EQ(upnp_string_append_bytes(s, nullptr, 3), s);
  EXPECT_EQ(upnp_string_append_bytes(s, "z", 0), s);
  EXPECT_EQ(s->length, 7u);
  upnp_string_free(s);

  upnp_string* empty = upnp_string_append_bytes(nullptr, nullptr, 0);
  ASSERT_NE(empty, nullptr) << "a null record is created before the byte checks";
  EXPECT_EQ(empty->capacity, 256u);
  upnp_string_free(empty);
}

TEST(UpnpString, AppendStringIncludingItself) {
  upnp_string* s = upnp_string_new("ab", 3);
  upnp_string* empty = upnp_string_new("", 4);
  EXPECT_EQ(upnp_string_append_string(s, nullptr), s);
  EXPECT_EQ(upnp_string_append_string(s, empty), s);
  s = upnp_string_append_string(s, s);  // grows while reading its own text
  ASSERT_NE(s, nullptr);
  EXPECT_STREQ(s->data, "abab");
  upnp_string* copy = upnp_string_append_string(nullptr, s);
  EXPECT_STREQ(upnp_string_get(copy), "abab");
  upnp_string_free(copy);
  upnp_string_free(empty);
  upnp_string_free(s);
}

TEST(UpnpString, AccessorsAnswerNullAndEmpty) {
  EXPECT_TRUE(upnp_string_is_empty(nullptr));
  EXPECT_EQ(upnp_string_get(nullptr), nullptr);
  upnp_string zero_capacity = {0, 0, const_cast<char*>("")};
  EXPECT_EQ(upnp_string_get(&zero_capacity), nullptr);
  upnp_string no_data = {0, 5, nullptr};
  EXPECT_TRUE(upnp_string_is_empty(&no_data));
  EXPECT_EQ(upnp_string_get(&no_data), nullptr);

  upnp_string* s = upnp_string_new("x", 0);
  ASSERT_NE(s, nullptr);
  EXPECT_FALSE(upnp_string_is_empty(s));
  EXPECT_EQ(s->capacity, 2u) << "a zero capacity grows to length + n + 1";
  upnp_string_free(s);
  upnp_string_free(nullptr);
}

TEST(UpnpString, DetachAndFreeRefClearThePointer) {
  const int64_t before = g_memUsed;
  upnp_string* s = upnp_string_append(nullptr, "keep");
  char* text = upnp_string_detach(&s);
  EXPECT_EQ(s, nullptr);
  EXPECT_STREQ(text, "keep");
  upnp_free(text);
  EXPECT_EQ(upnp_string_detach(&s), nullptr);
  EXPECT_EQ(upnp_string_detach(nullptr), nullptr);

  s = upnp_string_append(nullptr, "gone");
  upnp_string_free_ref(&s);
  EXPECT_EQ(s, nullptr);
  upnp_string_free_ref(&s);
  upnp_string_free_ref(nullptr);
  EXPECT_EQ(g_memUsed, before);
}

TEST(UpnpString, SprintfProducesLongTextsWhole) {
  for (size_t n : {0u, 10u, 4095u, 4096u, 9000u, 20000u}) {
    const std::string text(n, 'q');
    upnp_string* s = upnp_string_sprintf_append(nullptr, "<%s>", text.c_str());
    ASSERT_NE(s, nullptr) << n;
    EXPECT_EQ(s->data, "<" + text + ">") << n;
    EXPECT_EQ(s->capacity, n + 2 + 256) << n;
    upnp_string_free(s);
  }
}

TEST(UpnpString, SprintfAppendsToExistingRecord) {
  upnp_string* s = upnp_string_append(nullptr, "n=");
  s = upnp_string_sprintf_append(s, "%d/%s", 42, "x");
  EXPECT_STREQ(upnp_string_get(s), "n=42/x");
  EXPECT_EQ(upnp_string_sprintf_append(s, "%s", ""), s) << "empty result keeps the record";
  EXPECT_EQ(s->length, 6u);
  upnp_string_free(s);

  upnp_string* empty = upnp_string_sprintf_append(nullptr, "%s", "");
  ASSERT_NE(empty, nullptr) << "an empty result still creates the record";
  EXPECT_EQ(empty->capacity, 256u);
  upnp_string_free(empty);
}

TEST(UpnpString, FailedGrowthFreesTheRecord) {
  RestoreMemCount restore;
  upnp_string* s = upnp_string_new("abc", 4);
  ASSERT_NE(s, nullptr);
  {
    MemFailAfter fail(0);
    testing::internal::CaptureStderr();
    s = upnp_string_append(s, "d");
    testing::internal::GetCapturedStderr();  // the count may go negative
  }
  EXPECT_EQ(s, nullptr) << "the caller's record is gone";
  EXPECT_EQ(g_memUsed, restore.saved() - 4) << "only the uncounted text is missing";
}

TEST(UpnpString, EveryAllocationFailureIsClean) {
  RestoreMemCount restore;
  testing::internal::CaptureStderr();
  const int64_t runs = ForEachAllocationFailure([] {
    upnp_string* s = upnp_string_new("start", 8);
    if (s == nullptr) return;
    s = upnp_string_append(s, "-grow-past-eight");
    s = upnp_string_sprintf_append(s, "%s", "tail");
    upnp_string_free(s);
  });
  testing::internal::GetCapturedStderr();
  EXPECT_GT(runs, 3);
  EXPECT_LE(g_memUsed, restore.saved()) << "nothing is left counted";
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
  upnp_string* keep = upnp_string_append(nullptr, "keep");
  MemFailAfter fail(0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(format("%d items", 3), nullptr);
  EXPECT_EQ(upnp_string_sprintf_append(keep, "%d", 3), keep) << "failed formatting keeps the record";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "upnp_string_vsprintf: out of memory: %d items\n"
            "upnp_string_vsprintf: out of memory: %d\n");
  EXPECT_STREQ(keep->data, "keep");
  upnp_string_free(keep);
}

}  // namespace
