// Replays the saved inputs of the restore fuzz target, so that builds
// without libFuzzer run them too.
#include <gtest/gtest.h>

#include <string>

#include "base/memory.h"
#include "services/string_pool.h"
#include "testing/corpus.hpp"
#include "testing/string_pool_test_support.hpp"
#include "testing/temp_dir.hpp"

namespace {

using string_pool_testing::RestoreImage;
using string_pool_testing::StringPoolTest;

TEST_F(StringPoolTest, SavedFuzzInputsRestoreOrAreRefusedCleanly) {
  testing_support::TempDir scratch;
  const auto inputs = testing_support::CorpusInputs("string_pool_restore");
  EXPECT_GE(inputs.size(), 5u);
  for (const auto& [name, image] : inputs) {
    if (RestoreImage(scratch, image) == 1) {
      uint32_t count = 0;
      upnp_string_pool_sizes(&count, nullptr);
      for (uint32_t i = 0; i < count; ++i) upnp_string_pool_remove(i);
      upnp_string* report = nullptr;
      upnp_string_pool_statistics(&report);
      upnp_string_free(report);
    }
    upnp_string_pool_clear();
    EXPECT_EQ(upnp_mem_used(), baseline_) << name;
    upnp_string_pool_init();
  }
}

}  // namespace
