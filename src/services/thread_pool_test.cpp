#include "services/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "base/memory.h"
#include "services/settings.h"
#include "services/threads.h"
#include "testing/memory_fail.hpp"
#include "testing/thread_registry.hpp"
#include "testing/wait.hpp"

namespace {

using testing_support::Eventually;

// Every worker has retired and removed itself before the registry goes.
class ThreadPool : public testing_support::ThreadRegistryTest {
 protected:
  void TearDown() override {
    upnp_ini_set("maxthreads", nullptr, 0);
    EXPECT_TRUE(Eventually([] { return upnp_thread_pool_running() == 0 && upnp_count_threads(nullptr) == 0; }));
    ThreadRegistryTest::TearDown();
    upnp_thread_pool_release();
  }
};

struct Load {
  std::atomic<int> active{0};
  std::atomic<int> most{0};
  std::atomic<int> done{0};
};

void Busy(void* argument) {
  auto* load = static_cast<Load*>(argument);
  const int now = ++load->active;
  int most = load->most;
  while (now > most && !load->most.compare_exchange_weak(most, now)) {
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
  --load->active;
  ++load->done;
}

TEST_F(ThreadPool, LimitQueuesTheRestAndWorkersRetire) {
  for (const char* limit : {"2", "0"}) {  // 0: no limit, every task gets a worker
    ASSERT_EQ(upnp_ini_set("maxthreads", limit, 0), 0);
    int64_t started = 0;
    upnp_thread_counters(nullptr, nullptr, &started);
    Load load;
    for (int i = 0; i < 12; ++i) ASSERT_EQ(upnp_thread_pool_run(Busy, &load, i % 3), 0) << limit;
    EXPECT_TRUE(Eventually([&] { return load.done == 12; })) << limit;
    int64_t total = 0;
    upnp_thread_counters(nullptr, nullptr, &total);
    EXPECT_TRUE(*limit == '2' ? load.most <= 2 : total - started == 12) << limit;
  }
}

void Noop(void*) {}

TEST_F(ThreadPool, RefusalsAndFailures) {
  for (int32_t queue : {3, -1}) EXPECT_EQ(upnp_thread_pool_run(Noop, nullptr, queue), 2) << queue;
  EXPECT_EQ(upnp_thread_pool_run(nullptr, nullptr, 0), 2);
  EXPECT_EQ(upnp_thread_pool_next(7), nullptr);
  {
    MemFailAfter fail(0);
    EXPECT_EQ(upnp_thread_pool_run(Noop, nullptr, 0), 14);
  }
  upnp_threads_set_create_hook([](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return 1; });
  EXPECT_EQ(upnp_thread_pool_run(Noop, nullptr, 0), 14);
  upnp_threads_set_create_hook(nullptr);
  EXPECT_EQ(upnp_thread_pool_running(), 0);
}

}  // namespace
