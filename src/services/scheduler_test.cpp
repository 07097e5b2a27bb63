#include "services/scheduler.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/memory.h"
#include "services/mutex.h"
#include "services/scheduler_internal.hpp"
#include "services/threads.h"
#include "testing/log_recorder.hpp"
#include "testing/wait.hpp"

namespace {

using testing_support::Eventually;

std::atomic<uint64_t> g_fixed_tick{1000};
uint64_t FixedTick() { return g_fixed_tick.load(); }

std::mutex g_runs_mutex;
std::vector<int> g_runs;
std::atomic<int> g_run_count{0};

std::vector<int> Runs() {
  std::lock_guard<std::mutex> guard(g_runs_mutex);
  return g_runs;
}

// Records the number its tracked argument holds.
void RecordRun(void* argument) {
  {
    std::lock_guard<std::mutex> guard(g_runs_mutex);
    g_runs.push_back(argument != nullptr ? *static_cast<int*>(argument) : -1);
  }
  ++g_run_count;
}

void* Number(int n) {
  auto* block = static_cast<int*>(upnp_malloc(sizeof(int)));
  *block = n;
  return block;
}

int32_t Queue(int n, uint32_t delay_ms, const char* name = "record", uint32_t own_thread = 0) {
  return upnp_schedule_task(RecordRun, Number(n), own_thread, delay_ms, name);
}

// Tests run inside the started runtime: its scheduler is stopped for each
// test, which starts its own, and started again afterwards.
class Scheduler : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_util_stop();
    upnp_statistics_init();
    baseline_ = upnp_mem_used();
    g_runs.clear();
    g_run_count = 0;
  }
  void Start() {
    upnp_util_init();
    ASSERT_EQ(upnp_scheduler_running(), 1);
    upnp_set_server_state(UPNP_SERVER_RUNNING);
  }
  void TearDown() override {
    upnp_util_stop();
    scheduler::set_tick_source_for_testing(nullptr);
    upnp_statistics_init();
    EXPECT_EQ(upnp_mem_used(), baseline_) << "every task, argument and thread entry is freed";
    upnp_util_init();
  }
  int64_t baseline_ = 0;
};

TEST_F(Scheduler, EqualDueTimesRunInQueueingOrder) {
  scheduler::set_tick_source_for_testing(FixedTick);
  Start();
  for (int n = 1; n <= 4; ++n) ASSERT_EQ(Queue(n, 50), 0);
  ASSERT_EQ(Queue(0, 20), 0);  // earlier: goes in front
  ASSERT_EQ(Queue(5, 50), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_TRUE(Runs().empty()) << "nothing is due while the clock stands";
  g_fixed_tick += 100;
  ASSERT_TRUE(Eventually([] { return g_run_count == 6; }));
  EXPECT_EQ(Runs(), (std::vector<int>{0, 1, 2, 3, 4, 5}));
}

TEST_F(Scheduler, AnEarlierTaskWakesTheThread) {
  Start();
  ASSERT_EQ(Queue(1, 60000), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the thread sleeps on the long task
  ASSERT_EQ(Queue(2, 0), 0);
  ASSERT_TRUE(Eventually([] { return g_run_count == 1; })) << "not left asleep for a minute";
  EXPECT_EQ(Runs(), std::vector<int>{2});
}

TEST_F(Scheduler, StatisticsKeep32NamesAndCountAtLeastOneMillisecond) {
  scheduler::set_tick_source_for_testing(FixedTick);  // every run takes 0 ms
  Start();
  char name[UPNP_TASK_NAME_SIZE];
  for (int n = 0; n < 33; ++n) {
    snprintf(name, sizeof name, "task-%02d", n);
    ASSERT_EQ(Queue(n, 0, name), 0);
  }
  ASSERT_EQ(Queue(0, 0, "task-00"), 0);
  ASSERT_TRUE(Eventually([] { return g_run_count == 34; }));
  upnp_string* report = upnp_scheduler_statistics();
  ASSERT_NE(report, nullptr);
  const std::string text = report->data;
  upnp_string_free(report);
  EXPECT_EQ(text.rfind("---  Task Name               ---  RunCount  RunTime  AvgTime\n"
                       "------------------------------------------------------------\n",
                       0),
            0u);
  EXPECT_NE(text.find("task-00                                 2        2      1.0\n"), std::string::npos) << text;
  EXPECT_NE(text.find("task-31                                 1        1      1.0\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("task-32"), std::string::npos) << "the 33rd name is run but not counted";
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 + 32);
}

TEST_F(Scheduler, RefusesWhenNotRunningOrInTheWrongState) {
  Start();
  EXPECT_EQ(upnp_schedule_task(nullptr, nullptr, 0, 0, "none"), 2);
  upnp_set_server_state(0);
  EXPECT_EQ(upnp_schedule_task(RecordRun, nullptr, 0, 0, "x"), 14);
  upnp_set_server_state(UPNP_SERVER_INITIALISED);
  const int64_t before = upnp_mem_used();
  ASSERT_EQ(Queue(7, 0), 0) << "accepted before the server runs";
  ASSERT_TRUE(Eventually([&] { return upnp_mem_used() == before; })) << "freed without running";
  upnp_set_server_state(UPNP_SERVER_RUNNING);
  EXPECT_TRUE(Runs().empty());
  upnp_util_stop();
  EXPECT_EQ(upnp_schedule_task(RecordRun, nullptr, 0, 0, "x"), 14) << "refused after stop";
  const char* names[] = {UPNP_SCHEDULER_THREAD_NAME, nullptr};
  EXPECT_EQ(upnp_count_threads(names), 0) << "the thread has left";
}

TEST_F(Scheduler, RunAtStopCallsQueuedTasksExactlyOnce) {
  Start();
  ASSERT_EQ(upnp_schedule_task_ex(RecordRun, Number(1), 0, 60000, "late", 1), 0);
  ASSERT_EQ(upnp_schedule_task_ex(RecordRun, Number(2), 0, 60000, "dropped", 0), 0);
  ASSERT_EQ(upnp_schedule_task_ex(RecordRun, Number(3), 0, 60000, "unscheduled", 1), 0);
  ASSERT_EQ(upnp_schedule_task_ex(RecordRun, Number(4), 0, 60001, "late too", 1), 0);
  upnp_unschedule_task(RecordRun);  // the first with this function: "late"
  upnp_util_stop();
  upnp_util_stop();
  EXPECT_EQ(Runs(), (std::vector<int>{3, 4}));
}

std::atomic<int> g_own_thread_named{0};
std::atomic<bool> g_on_scheduler_thread{true};
std::atomic<pthread_t> g_scheduler_thread{};

void NoteSchedulerThread(void*) { g_scheduler_thread = pthread_self(); }

void OwnThreadTask(void* argument) {
  const char* names[] = {"own thread", nullptr};
  g_own_thread_named = upnp_count_threads(names);
  g_on_scheduler_thread = pthread_equal(pthread_self(), g_scheduler_thread.load()) != 0;
  RecordRun(argument);
}

TEST_F(Scheduler, OwnThreadTasksRunOnARegisteredThreadOfTheirOwn) {
  Start();
  const int64_t before = upnp_mem_used();
  ASSERT_EQ(upnp_schedule_task(NoteSchedulerThread, nullptr, 0, 0, "note"), 0);
  ASSERT_EQ(upnp_schedule_task(OwnThreadTask, Number(9), 1, 0, "own thread"), 0);
  ASSERT_TRUE(Eventually([] { return g_run_count == 1; }));
  EXPECT_EQ(g_own_thread_named, 1) << "registered under the task's name";
  EXPECT_FALSE(g_on_scheduler_thread);
  const char* names[] = {"own thread", nullptr};
  ASSERT_TRUE(Eventually([&] { return upnp_count_threads(names) == 0 && upnp_mem_used() == before; }));
}

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST_F(Scheduler, SocketTimeoutsCloseExpiredSockets) {
  Start();
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const uint32_t expiring = addSocketTimeout(fds[0], 30);
  const uint32_t kept = addSocketTimeout(fds[1], 60000);
  ASSERT_TRUE(Eventually([&] { return !IsOpen(fds[0]); })) << "closed by the socket release task";
  EXPECT_EQ(removeSocketTimeout(expiring, 1), 1) << "already gone";
  EXPECT_EQ(removeSocketTimeout(kept, 0), 0);
  EXPECT_TRUE(IsOpen(fds[1])) << "removed without closing";
  addSocketTimeout(fds[1], 60000);
  upnp_util_stop();
  EXPECT_FALSE(IsOpen(fds[1])) << "stop closes what is still waiting";
}

TEST_F(Scheduler, RemovingASocketTimeoutOnlyTriesTheLock) {
  Start();
  testing_support::LogRecorder log;
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const uint32_t id = addSocketTimeout(fds[0], 60000);
  std::atomic<bool> held{false}, tried{false};
  std::thread holder([&] {
    held = upnp_mutex_lock(scheduler::socket_timeouts_mutex(), nullptr) == 1;
    Eventually([&] { return tried.load(); });
    upnp_mutex_unlock(scheduler::socket_timeouts_mutex());
  });
  ASSERT_TRUE(Eventually([&] { return held.load(); }));
  EXPECT_EQ(removeSocketTimeout(id, 0), 1) << "the lock is busy";
  tried = true;
  holder.join();
  EXPECT_EQ(log.count("removeSocketTimeout : Cannot get lock to remove"), 1);
  EXPECT_EQ(removeSocketTimeout(id, 0), 0) << "kept, and removed once the lock is free";
  close(fds[0]);
  close(fds[1]);
}

}  // namespace
