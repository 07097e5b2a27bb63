// Test helpers for the string pool: a fixture that gives each test a fresh,
// initialised pool and checks that clearing it returns every tracked byte.
// Tests only.
#pragma once

#include <gtest/gtest.h>

#include <stdint.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "base/file.h"
#include "base/memory.h"
#include "services/string_pool.h"
#include "testing/temp_dir.hpp"

namespace string_pool_testing {

inline uint32_t Add(const char* text, int32_t persistent = 0) {
  StringPoolGuard guard;
  return upnp_string_pool_add_locked(text, persistent);
}

// {refcount, persist_count}
inline std::pair<uint32_t, uint32_t> Counts(uint32_t index) {
  uint32_t refcount = 0, persist_count = 0;
  upnp_string_pool_entry_counts(index, &refcount, &persist_count);
  return {refcount, persist_count};
}

// Tests run inside the started runtime, whose pool exists already: each test
// gets it cleared and initialised afresh, and leaves it so.
class StringPoolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_string_pool_clear();
    baseline_ = upnp_mem_used();
    upnp_string_pool_init();
  }
  void TearDown() override {
    upnp_string_pool_clear();
    EXPECT_EQ(upnp_mem_used(), baseline_) << "clearing the pool frees everything it held";
    upnp_string_pool_init();
  }
  int64_t baseline_ = 0;
};

// The pool's image as the save writes it; empty when the save fails.
inline std::string SaveImage(const testing_support::TempDir& dir, uint32_t* saved = nullptr,
                             uint32_t* skipped = nullptr) {
  const std::string path = dir / "pool.img";
  ::unlink(path.c_str());
  upnp_file* file = upnp_file_open_write(path.c_str());
  const int32_t ok = upnp_string_pool_save(file, saved, skipped);
  upnp_file_close(file);
  return ok == 1 ? testing_support::ReadFile(path) : std::string();
}

// Restores `image` through a file; the result of the restore.
inline int32_t RestoreImage(const testing_support::TempDir& dir, const std::string& image,
                            uint32_t* restored = nullptr) {
  const std::string path = dir / "restore.img";
  testing_support::WriteFile(path, image);
  upnp_file* file = upnp_file_open_read(path.c_str());
  const int32_t ok = upnp_string_pool_restore(file, restored);
  upnp_file_close(file);
  return ok;
}

}  // namespace string_pool_testing
