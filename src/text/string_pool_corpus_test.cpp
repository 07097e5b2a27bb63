// Replays the saved inputs of the restore fuzz target, so that builds
// without libFuzzer run them too.
#include <dirent.h>
#include <gtest/gtest.h>

#include <string>

#include "runtime/memory.h"
#include "testing/temp_dir.h"
#include "text/string_pool.h"
#include "text/string_pool_test_support.hpp"

namespace {

using string_pool_testing::RestoreImage;
using string_pool_testing::StringPoolTest;

TEST_F(StringPoolTest, SavedFuzzInputsRestoreOrAreRefusedCleanly) {
  const std::string corpus = std::string(ITUNES_IMPORT_SOURCE_DIR) + "/fuzz/corpus/string_pool_restore";
  DIR* dir = opendir(corpus.c_str());
  ASSERT_NE(dir, nullptr) << corpus;
  testing_support::TempDir scratch;
  int inputs = 0;
  while (const dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    ++inputs;
    const std::string image = testing_support::ReadFile(corpus + "/" + entry->d_name);
    if (RestoreImage(scratch, image) == 1) {
      uint32_t count = 0;
      upnp_string_pool_sizes(&count, nullptr);
      for (uint32_t i = 0; i < count; ++i) upnp_string_pool_remove(i);
      upnp_string* report = nullptr;
      upnp_string_pool_statistics(&report);
      upnp_string_free(report);
    }
    upnp_string_pool_clear();
    EXPECT_EQ(upnp_mem_used(), baseline_) << entry->d_name;
    upnp_string_pool_init();
  }
  closedir(dir);
  EXPECT_GE(inputs, 5);
}

}  // namespace
