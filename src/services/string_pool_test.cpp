#include "services/string_pool.h"

#include <gtest/gtest.h>

#include <string>

#include "base/memory.h"
#include "testing/memory_fail.hpp"
#include "testing/string_pool_test_support.hpp"

namespace {

using string_pool_testing::Add;
using string_pool_testing::Counts;
using string_pool_testing::StringPoolTest;

TEST_F(StringPoolTest, Hash) {
  EXPECT_EQ(upnp_string_pool_hash("a"), 0x6F4F4B7Eu);
  EXPECT_EQ(upnp_string_pool_hash(nullptr), upnp_string_pool_hash(""));
  // Bytes above 127 count as unsigned whatever the platform's char.
  EXPECT_EQ(upnp_string_pool_hash("\xE9"), 0xBB40E64Du * 17u + 0xE9u);
}

TEST_F(StringPoolTest, ReferenceCounts) {
  EXPECT_EQ(Add("alpha"), 1u);
  EXPECT_EQ(Add("alpha"), 1u);
  EXPECT_EQ(Counts(1), std::make_pair(2u, 0u));
  EXPECT_EQ(Add("beta", 1), 2u);
  EXPECT_EQ(Add("beta", 1), 2u);
  upnp_string_pool_remove(2);
  EXPECT_EQ(Counts(2), std::make_pair(1u, 2u)) << "ordinary removal leaves the persistent count";
  EXPECT_STREQ(upnp_string_pool_get(2), "beta");
  upnp_string_pool_remove(2);
  EXPECT_EQ(upnp_string_pool_get(2), nullptr) << "the last reference frees the slot";

  {
    StringPoolGuard guard;
    EXPECT_EQ(upnp_string_pool_add_locked(nullptr, 0), 0u);
    EXPECT_EQ(upnp_string_pool_add_locked("gamma", 1), 3u) << "freed slots wait for a full table";
    string_pool_remove_locked_by_string_impl("gamma", 1);
    string_pool_remove_locked_by_string_impl("not there", 1);
  }
  EXPECT_EQ(Counts(3), std::make_pair(0u, 0u));
  upnp_string_pool_remove(0);
  EXPECT_EQ(upnp_string_pool_get(0), nullptr);
  EXPECT_EQ(upnp_string_pool_get(99), nullptr) << "past the last handed-out index";
}

TEST_F(StringPoolTest, CollidingTextsShareABucketAndSurviveRemoval) {
  // "a" + X and "b" + (X - 17) hash alike: h*17 + c over two bytes.
  const std::string first = "aQ", second = std::string("b") + static_cast<char>('Q' - 17);
  ASSERT_EQ(upnp_string_pool_hash(first.c_str()), upnp_string_pool_hash(second.c_str()));
  const std::string third = "c" + std::string(1, static_cast<char>('Q' - 34));
  const uint32_t a = Add(first.c_str()), b = Add(second.c_str()), c = Add(third.c_str());
  EXPECT_NE(a, b);
  upnp_string_pool_remove(a);  // swaps the last index into the hole
  EXPECT_EQ(Add(third.c_str()), c);
  EXPECT_EQ(Add(second.c_str()), b);
  EXPECT_EQ(Counts(b).first, 2u);
}

TEST_F(StringPoolTest, FreedSlotsAreReusedOnlyWhenTheTableIsFull) {
  for (uint32_t i = 1; i < 8191; ++i) ASSERT_EQ(Add(std::to_string(i).c_str()), i);
  upnp_string_pool_remove(500);
  upnp_string_pool_remove(20);
  EXPECT_EQ(Add("reuse-1"), 20u) << "lowest free index once full";
  EXPECT_EQ(Add("reuse-2"), 500u);
  EXPECT_EQ(Add("grows"), 8191u) << "the last slot is used only when the table grows";
  uint32_t count = 0, capacity = 0;
  upnp_string_pool_sizes(&count, &capacity);
  EXPECT_EQ(std::make_pair(count, capacity), std::make_pair(8192u, 16384u));
  EXPECT_STREQ(upnp_string_pool_get(8191), "grows");
  EXPECT_STREQ(upnp_string_pool_get(8190), "8190");
}

TEST_F(StringPoolTest, OutOfMemoryLeavesThePoolConsistent) {
  const int64_t failures = ForEachAllocationFailure([] {
    const uint32_t index = Add("fragile");
    if (index != 0) {
      upnp_string_pool_remove(index);
    }
  });
  EXPECT_EQ(failures, 2) << "the text copy and the bucket array";
  // The copy stored before the bucket failed stays allocated but unreachable
  // (cleared at shut-down); the text can still be interned afresh.
  const uint32_t again = Add("fragile");
  EXPECT_NE(again, 0u);
  EXPECT_EQ(Counts(again).first, 1u);
}

TEST_F(StringPoolTest, StatisticsReportAndClear) {
  Add("a");
  Add("b", 1);
  upnp_string* report = nullptr;
  upnp_string_pool_statistics(&report);
  ASSERT_NE(report, nullptr);
  const std::string text = report->data;
  upnp_string_free(report);
  EXPECT_EQ(text.rfind("String Pool statistics:\r\n---------------------------\r\n", 0), 0u);
  EXPECT_NE(text.find("[2942]        1\r\n"), std::string::npos) << "0xB7E holds \"a\"";
  EXPECT_NE(text.find("\r\n 0       4094  99    " + std::string(99, '*') + "\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\n25          0   0    \r\n---------------------------\r\n"), std::string::npos);

  upnp_string_pool_clear();
  uint32_t count = 0, capacity = 0;
  upnp_string_pool_sizes(&count, &capacity);
  EXPECT_EQ(std::make_pair(count, capacity), std::make_pair(1u, 0u));
  EXPECT_EQ(upnp_string_pool_get(1), nullptr);
  EXPECT_EQ(Add("three"), 0u) << "no table after clearing";
}

}  // namespace
