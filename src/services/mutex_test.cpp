#include "services/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "base/memory.h"
#include "testing/log_recorder.hpp"
#include "testing/memory_fail.hpp"
#include "testing/wait.hpp"

namespace {

using testing_support::LogRecorder;

class ProtocolMutex : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_mem_prepare();  // the byte count is shared by threads: it needs its lock
    ASSERT_EQ(upnp_mutex_prepare(), 0);
  }
  void TearDown() override {
    if (mutex_ != nullptr) {
      EXPECT_EQ(upnp_mutex_destroy(&mutex_), 1);
    }
  }

  // Waits until `pred` holds for the mutex's protocol state.
  void AwaitState(const std::function<bool(int32_t waiters, int32_t destroying)>& pred) {
    ASSERT_TRUE(testing_support::Eventually([&] {
      int32_t waiters = 0, destroying = 0;
      return upnp_mutex_state(&mutex_, &waiters, &destroying) && pred(waiters, destroying);
    })) << "protocol state never reached";
  }

  upnp_mutex* mutex_ = nullptr;
  LogRecorder log_;
};

TEST_F(ProtocolMutex, CreateAndUnlockMisuse) {
  ASSERT_EQ(upnp_mutex_create_impl(&mutex_, 0, "first"), 0);
  upnp_mutex* first = mutex_;
  upnp_mutex* none = nullptr;
  EXPECT_EQ(upnp_mutex_create_impl(nullptr, 0, "x"), 2);
  EXPECT_EQ(upnp_mutex_create_impl(&mutex_, 0, "second"), 2);
  EXPECT_EQ(mutex_, first);
  EXPECT_EQ(upnp_mutex_unlock(nullptr), 2);
  EXPECT_EQ(upnp_mutex_unlock(&none), 2);
  EXPECT_EQ(upnp_mutex_lock(nullptr, nullptr), 0);
  EXPECT_EQ(upnp_mutex_lock(&none, nullptr), 0);
  EXPECT_TRUE(log_.contains("upnp_mutex_create_impl : Mutex already created"));
  upnp_mutex* named = nullptr;
  ASSERT_EQ(upnp_mutex_create_impl(&named, 0, std::string(300, 'n').c_str()), 0);
  EXPECT_EQ(std::string(named->name), std::string(127, 'n')) << "names are cut to 127 bytes";
  EXPECT_EQ(upnp_mutex_destroy(&named), 1);
}

TEST_F(ProtocolMutex, OutOfMemoryLeavesHandlesEmpty) {
  upnp_flag* flag = nullptr;
  {
    MemFailAfter fail(0);
    EXPECT_EQ(upnp_mutex_create_impl(&mutex_, 0, "m"), 8);
    EXPECT_EQ(upnp_flag_create(&flag), 8);
  }
  EXPECT_EQ(mutex_, nullptr);
  EXPECT_EQ(flag, nullptr);
  // With the heap failing, the log falls back to the bare message.
  EXPECT_TRUE(log_.contains("Out of memory creating mutex"));
}

TEST_F(ProtocolMutex, ExcludesUnderContentionAndCreatedLocked) {
  ASSERT_EQ(upnp_mutex_create_impl(&mutex_, 1, "counter"), 0);
  long counter = 0;
  std::atomic<int> failures{0};
  auto work = [&] {
    for (int i = 0; i < 2000; ++i) {
      if (upnp_mutex_lock(&mutex_, nullptr) != 1) {
        ++failures;
        continue;
      }
      ++counter;
      upnp_mutex_unlock(&mutex_);
    }
  };
  std::thread a(work), b(work), c(work);
  // Created locked: nobody gets in until the creator lets go.
  AwaitState([](int32_t waiters, int32_t) { return waiters == 3; });
  EXPECT_EQ(counter, 0);
  EXPECT_EQ(upnp_mutex_unlock(&mutex_), 0);
  a.join();
  b.join();
  c.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(counter, 6000);
}

TEST_F(ProtocolMutex, DestroyWhileAnotherThreadWaits) {
  ASSERT_EQ(upnp_mutex_create_impl(&mutex_, 0, "busy"), 0);
  ASSERT_EQ(upnp_mutex_lock(&mutex_, nullptr), 1);  // this thread holds it

  std::atomic<int> queued_result{-1};
  std::thread queued([&] { queued_result = upnp_mutex_lock(&mutex_, nullptr); });
  AwaitState([](int32_t waiters, int32_t) { return waiters == 1; });

  std::atomic<int> destroy_result{-1};
  std::thread destroyer([&] { destroy_result = upnp_mutex_destroy(&mutex_); });
  AwaitState([](int32_t, int32_t destroying) { return destroying == 1; });

  // Newcomers are turned away while the destroy is under way.
  std::thread late([&] { EXPECT_EQ(upnp_mutex_lock(&mutex_, nullptr), 0); });
  late.join();

  EXPECT_EQ(upnp_mutex_unlock(&mutex_), 0);
  queued.join();
  destroyer.join();
  EXPECT_EQ(queued_result, 0) << "the queued thread gives the lock back";
  EXPECT_TRUE(log_.contains("upnp_mutex_lock : Failed to lock mutex since it is being destroyed (2)"));
  EXPECT_EQ(destroy_result, 1);
  EXPECT_EQ(mutex_, nullptr);

  EXPECT_EQ(upnp_mutex_destroy(&mutex_), 0);
}

TEST_F(ProtocolMutex, DestroyGivesUpAfterTenSecondsOfWaiters) {
  ASSERT_EQ(upnp_mutex_create_impl(&mutex_, 0, "stuck"), 0);
  ASSERT_EQ(upnp_mutex_lock(&mutex_, nullptr), 1);
  std::atomic<int> queued_result{-1};
  std::thread queued([&] {
    queued_result = upnp_mutex_lock(&mutex_, nullptr);
    if (queued_result == 1) upnp_mutex_unlock(&mutex_);
  });
  AwaitState([](int32_t waiters, int32_t) { return waiters == 1; });

  const auto start = std::chrono::steady_clock::now();
  std::thread destroyer([&] { EXPECT_EQ(upnp_mutex_destroy(&mutex_), 0); });
  destroyer.join();
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_TRUE(log_.contains("upnp_mutex_destroy : Failed to lock mutex since it is being destroyed by somebody else 2"));

  // Still usable: the queued thread gets it once the holder lets go.
  EXPECT_EQ(upnp_mutex_unlock(&mutex_), 0);
  queued.join();
  EXPECT_EQ(queued_result, 1);
}

}  // namespace
