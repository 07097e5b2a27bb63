// Test helper: a fixture that gives each test a fresh thread registry. The
// started runtime's scheduler thread waits on its registry entry: it leaves
// before the table is reset under it, and comes back after. Tests only.
#pragma once

#include <gtest/gtest.h>

#include "base/memory.h"
#include "services/scheduler.h"
#include "services/threads.h"

namespace testing_support {

class ThreadRegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_util_stop();
    upnp_mem_prepare();  // the byte count is shared by threads: it needs its lock
    ASSERT_EQ(upnp_thread_table_prepare(), 0);
    upnp_thread_table_init();
  }
  void TearDown() override {
    upnp_threads_set_create_hook(nullptr);
    upnp_thread_table_wake_and_free();
    upnp_util_init();
  }
};

}  // namespace testing_support
