#include <gtest/gtest.h>

#include <string>

#include "base/file.h"
#include "base/memory.h"
#include "services/string_pool.h"
#include "testing/log_recorder.hpp"
#include "testing/memory_fail.hpp"
#include "testing/string_pool_test_support.hpp"
#include "testing/temp_dir.hpp"

namespace {

using string_pool_testing::Add;
using string_pool_testing::Counts;
using string_pool_testing::RestoreImage;
using string_pool_testing::SaveImage;
using string_pool_testing::StringPoolTest;
using testing_support::TempDir;

std::string U32(uint32_t value) { return std::string(reinterpret_cast<const char*>(&value), 4); }
std::string Entry(const std::string& text, uint32_t count = 1) { return U32(count) + U32(text.size()) + text; }
std::string EmptyBuckets(uint32_t from = 0) {
  std::string out;
  for (uint32_t i = from; i < UPNP_STRING_POOL_BUCKETS; ++i) out += U32(0);
  return out;
}
// A valid image of n = 2: index 1 holds `text`, listed in `bucket`.
std::string OneTextImage(const std::string& text) {
  const uint32_t bucket = upnp_string_pool_hash(text.c_str()) & 0xFFF;
  std::string out = U32(2) + U32(0) + Entry(text);
  for (uint32_t i = 0; i < UPNP_STRING_POOL_BUCKETS; ++i) out += i == bucket ? U32(1) + U32(1) : U32(0);
  return out;
}

uint32_t PoolCount() {
  uint32_t count = 0;
  upnp_string_pool_sizes(&count, nullptr);
  return count;
}

TEST_F(StringPoolTest, SaveAndRestoreRoundTrip) {
  TempDir dir;
  ASSERT_EQ(Add("alpha", 1), 1u);
  ASSERT_EQ(Add("ordinary"), 2u);
  ASSERT_EQ(Add("gamma", 1), 3u);
  Add("gamma", 1);
  Add("gamma");
  Add("trailing");  // behind the last persistent entry: not written
  uint32_t saved = 0, skipped = 0;
  const std::string image = SaveImage(dir, &saved, &skipped);
  EXPECT_EQ(std::make_pair(saved, skipped), std::make_pair(2u, 2u));
  ASSERT_EQ(image.substr(0, 4 + 4 + 13 + 4 + 13), U32(4) + U32(0) + Entry("alpha") + U32(0) + Entry("gamma", 2));

  upnp_string_pool_clear();
  upnp_string_pool_init();
  uint32_t restored = 0;
  ASSERT_EQ(RestoreImage(dir, image, &restored), 1);
  EXPECT_EQ(restored, 2u);
  EXPECT_STREQ(upnp_string_pool_get(1), "alpha");
  EXPECT_EQ(upnp_string_pool_get(2), nullptr);
  EXPECT_EQ(Counts(3), std::make_pair(2u, 2u)) << "only persistent references come back";
  uint32_t count = 0, capacity = 0;
  upnp_string_pool_sizes(&count, &capacity);
  EXPECT_EQ(std::make_pair(count, capacity), std::make_pair(4u, 4u));
  EXPECT_EQ(Add("alpha"), 1u) << "restored texts are found through their buckets";
  EXPECT_EQ(Add("new"), 2u) << "a full table reuses the lowest free index";
  EXPECT_EQ(Add("newer"), 4u) << "then grows";
  EXPECT_EQ(RestoreImage(dir, image), 0) << "a pool that holds texts refuses a restore";
  EXPECT_STREQ(upnp_string_pool_get(2), "new");
}

TEST_F(StringPoolTest, RestoreRefusesBadImagesWithoutTouchingThePool) {
  TempDir dir;
  const std::string good = OneTextImage("a");
  // "a" moved into bucket 0 instead of its own: the check of bucket 0 sees it.
  const std::string in_bucket0 = U32(2) + U32(0) + Entry("a") + U32(1);
  struct Case {
    const char* name;
    std::string image;
    int32_t result;
  };
  const Case cases[] = {
      {"good", good, 1},
      {"empty file", "", 0},
      {"n is 0", U32(0) + EmptyBuckets(), 0},
      {"last byte missing", good.substr(0, good.size() - 1), 0},
      {"bucket 0 index past n", in_bucket0 + U32(3) + EmptyBuckets(1), 0},
      {"bucket 0 index 0", in_bucket0 + U32(0) + EmptyBuckets(1), 0},
      {"bucket 0 index equal to n passes", in_bucket0 + U32(2) + EmptyBuckets(1), 1},
      {"other bucket index past n passes", U32(2) + U32(0) + Entry("a") + U32(0) + U32(1) + U32(77) + EmptyBuckets(2),
       1},
      {"entry 0 counted without text", U32(1) + U32(1) + U32(0) + EmptyBuckets(), 0},
      {"entry 0 with text and no bucket", U32(1) + Entry("zero") + EmptyBuckets(), 0},
      {"bucket total above loaded", U32(1) + U32(0) + U32(0) + U32(1) + U32(5) + EmptyBuckets(2), 0},
      {"huge n", U32(0xFFFFFFFF) + good.substr(4), 0},
      {"huge text length", U32(2) + U32(0) + U32(1) + U32(0xFFFFFFF0) + "a" + good.substr(17), 0},
      {"huge bucket count", U32(2) + U32(0) + Entry("a") + U32(0x40000000) + EmptyBuckets(1), 0},
  };
  for (const Case& c : cases) {
    const int64_t before = upnp_mem_used();
    uint32_t restored = 12345;
    EXPECT_EQ(RestoreImage(dir, c.image, &restored), c.result) << c.name;
    if (c.result == 1) {
      EXPECT_EQ(restored, 1u) << c.name;
      upnp_string_pool_clear();
      upnp_string_pool_init();
    } else {
      EXPECT_EQ(restored, 12345u) << c.name;
      EXPECT_EQ(PoolCount(), 1u) << c.name;
      EXPECT_EQ(upnp_mem_used(), before) << c.name << ": everything read is freed";
    }
  }
}

TEST_F(StringPoolTest, RestoreSurvivesEveryAllocationFailure) {
  TempDir dir;
  const std::string image = OneTextImage("kept");
  const int64_t failures = ForEachAllocationFailure([&] {
    if (RestoreImage(dir, image) == 1) {
      upnp_string_pool_clear();
      upnp_string_pool_init();
    }
  });
  EXPECT_GE(failures, 4) << "entries, text, bucket table, bucket array";
}

TEST_F(StringPoolTest, SaveFailuresAreLoggedByStep) {
  TempDir dir;
  testing_support::LogRecorder log;
  testing_support::WriteFile(dir / "ro", "");
  upnp_file* read_only = upnp_file_open_read((dir / "ro").c_str());
  Add("x", 1);
  EXPECT_EQ(upnp_string_pool_save(read_only, nullptr, nullptr), 0);
  upnp_file_close(read_only);
  upnp_file* file = upnp_file_open_write((dir / "oom").c_str());
  // Only the copy of a one-index bucket is that small; the log's own lines
  // still get their memory.
  upnp_mem_set_fail_hook([](uint64_t size) { return size == 4 ? 1 : 0; });
  EXPECT_EQ(upnp_string_pool_save(file, nullptr, nullptr), 0);
  upnp_mem_set_fail_hook(nullptr);
  upnp_file_close(file);
  Add("", 1);
  EXPECT_EQ(SaveImage(dir), "");
  EXPECT_TRUE(log.contains("save_failure : upnp_string_pool_save:392 [" + dir / "ro" + "] write error")) << log.text();
  EXPECT_TRUE(log.contains("[" + dir / "oom" + "] out of memory"));
  EXPECT_TRUE(log.contains("[" + dir / "pool.img" + "] size is 0"));
}

}  // namespace
