// The XML reader on the saved inputs of its fuzz target (fuzz/corpus/
// plist_rewrite), with the target's own checks, so that builds without
// libFuzzer replay them too. What it reads is compared end to end.
#include "importer/plist_rewrite.hpp"

#include <gtest/gtest.h>

#include "base/memory.h"
#include "base/status.h"
#include "testing/corpus.hpp"
#include "testing/temp_dir.hpp"

namespace {

using namespace testing_support;

TEST(PlistRewrite, SavedFuzzInputsAreRewrittenOrRefusedAndSettled) {
  const auto inputs = CorpusInputs("plist_rewrite");
  EXPECT_GE(inputs.size(), 8u);
  size_t rewritten = 0;
  for (const auto& [name, text] : inputs) {
    TempDir dir;
    WriteFile(dir / "lib.xml", text);
    char problem[importer::kRewriteProblemSize];
    const int64_t before = upnp_mem_used();
    const int32_t status =
        importer::rewrite_to_classic((dir / "lib.xml").c_str(), (dir / "scratch").c_str(), (dir / "a").c_str(), problem);
    ASSERT_TRUE(status == UPNP_OK || status == UPNP_INVALID) << name << ": " << problem;
    if (status == UPNP_OK) {
      ++rewritten;
      ASSERT_EQ(importer::rewrite_to_classic((dir / "a").c_str(), (dir / "scratch").c_str(), (dir / "b").c_str(),
                                             problem),
                UPNP_OK)
          << name << ": " << problem;
      EXPECT_EQ(ReadFile(dir / "b"), ReadFile(dir / "a")) << name;
    } else {
      EXPECT_NE(problem[0], '\0') << name;
    }
    EXPECT_EQ(upnp_mem_used(), before) << name;
    EXPECT_EQ(ListDir(dir.path()).size(), status == UPNP_OK ? 3u : 1u) << name;  // no scratch file left
  }
  EXPECT_GE(rewritten, 4u);
}

}  // namespace
