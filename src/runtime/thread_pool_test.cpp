#include "runtime/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "runtime/memory.h"
#include "runtime/memory_fail.h"
#include "runtime/settings.h"
#include "runtime/threads.h"
#include "text/scheduler.h"

namespace {

class ThreadPool : public ::testing::Test {
 protected:
  void SetUp() override {
    // The started runtime's scheduler thread waits on its registry entry:
    // it leaves before the table is reset under it, and comes back after.
    upnp_util_stop();
    upnp_mem_prepare();  // the byte count is shared by threads: it needs its lock
    ASSERT_EQ(upnp_thread_table_prepare(), 0);
    upnp_thread_table_init();
  }
  void TearDown() override {
    upnp_ini_set("maxthreads", nullptr, 0);
    // Every worker has retired and removed itself before the table goes.
    for (int i = 0; i < 2000 && (upnp_thread_pool_running() != 0 || upnp_count_threads(nullptr) != 0); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(upnp_thread_pool_running(), 0);
    EXPECT_EQ(upnp_count_threads(nullptr), 0);
    upnp_thread_table_wake_and_free();
    upnp_util_init();
    upnp_thread_pool_release();
  }
};

void WaitFor(const std::function<bool()>& done) {
  for (int i = 0; i < 5000 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

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
    WaitFor([&] { return load.done == 12; });
    EXPECT_EQ(load.done, 12) << limit;
    int64_t total = 0;
    upnp_thread_counters(nullptr, nullptr, &total);
    if (*limit == '2') {
      EXPECT_LE(load.most, 2);
    } else {
      EXPECT_EQ(total - started, 12);
    }
  }
}

void Noop(void*) {}

struct Gate {
  std::atomic<bool> entered{false};
  std::atomic<bool> open{false};
  std::atomic<bool> left{false};
};

void WaitAtGate(void* argument) {
  auto* gate = static_cast<Gate*>(argument);
  gate->entered = true;
  WaitFor([gate] { return gate->open.load(); });
  gate->left = true;
}

TEST_F(ThreadPool, NextTakesTheHeadOfAQueue) {
  ASSERT_EQ(upnp_ini_set("maxthreads", "1", 0), 0);
  Gate gate;
  ASSERT_EQ(upnp_thread_pool_run(WaitAtGate, &gate, 1), 0);
  WaitFor([&] { return gate.entered.load(); });
  int marker = 0;
  ASSERT_EQ(upnp_thread_pool_run(Noop, &marker, 1), 0) << "queued behind the busy worker";
  EXPECT_EQ(upnp_thread_pool_next(0), nullptr);
  upnp_pool_task* task = upnp_thread_pool_next(1);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(task->routine, Noop);
  EXPECT_EQ(task->argument, &marker);
  upnp_free(task);
  EXPECT_EQ(upnp_thread_pool_next(1), nullptr);
  EXPECT_EQ(upnp_thread_pool_running(), 1);
  gate.open = true;
  WaitFor([&] { return gate.left.load(); });
}

TEST_F(ThreadPool, RefusalsAndFailures) {
  EXPECT_EQ(upnp_thread_pool_run(Noop, nullptr, 3), 2);
  EXPECT_EQ(upnp_thread_pool_run(Noop, nullptr, -1), 2);
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
