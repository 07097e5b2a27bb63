#include "runtime/threads.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "runtime/memory.h"
#include "runtime/settings.h"
#include "testing/log_recorder.h"
#include "text/scheduler.h"

namespace {

using testing_support::LogRecorder;

bool Eventually(const std::function<bool()>& pred) {
  for (int i = 0; i < 2000; ++i) {
    if (pred()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

int32_t CountNamed(const char* name) {
  const char* names[] = {name, nullptr};
  return upnp_count_threads(names);
}

class ThreadRegistry : public ::testing::Test {
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
    upnp_threads_set_create_hook(nullptr);
    upnp_ini_set("stack_size", nullptr, 0);
    upnp_thread_table_wake_and_free();
    upnp_util_init();
  }
  LogRecorder log_;
};

TEST(ThreadRules, StackSizeAndPriority) {
  const struct {
    int64_t setting;
    uint64_t stack;
  } stacks[] = {{0, 0}, {-5, 0}, {1, 196608}, {100000, 196608}, {196607, 196608}, {196608, 196608}, {1 << 20, 1 << 20}};
  for (const auto& c : stacks) EXPECT_EQ(upnp_thread_stack_size(c.setting), c.stack) << c.setting;
  const int32_t classes[][2] = {{3, 10}, {4, 30}, {5, 50}, {6, 70}, {7, 90}, {0, 50}, {8, 50}, {-1, 50}};
  for (const auto& c : classes) EXPECT_EQ(upnp_thread_priority(c[0]), c[1]) << "class " << c[0];
}

void* ReportStackSize(void* out) {
  pthread_attr_t attributes;
  pthread_getattr_np(pthread_self(), &attributes);
  size_t size = 0;
  pthread_attr_getstacksize(&attributes, &size);
  pthread_attr_destroy(&attributes);
  *static_cast<size_t*>(out) = size;
  upnp_set_thread_name("stack probe");
  upnp_remove_thread();
  return nullptr;
}

size_t StackOfNewThread() {
  size_t size = 0;
  upnp_thread_t thread = upnp_start_joinable_thread_impl(ReportStackSize, &size, 5);
  EXPECT_NE(thread, 0u);
  if (thread != 0) pthread_join(thread, nullptr);
  return size;
}

TEST_F(ThreadRegistry, StackSizeComesFromTheSetting) {
  ASSERT_EQ(upnp_ini_set("stack_size", "100000", 0), 0);
  const size_t raised = StackOfNewThread();
  ASSERT_EQ(upnp_ini_set("stack_size", "0", 0), 0);
  pthread_attr_t defaults;
  pthread_attr_init(&defaults);
  size_t default_size = 0;
  pthread_attr_getstacksize(&defaults, &default_size);
  pthread_attr_destroy(&defaults);
  EXPECT_EQ(StackOfNewThread(), default_size);
  // Sanitizers may add to a requested stack, so only the order is certain.
  EXPECT_GE(raised, 196608u);
  EXPECT_LT(raised, default_size);
}

struct Sleeper {
  const char* name;
  std::atomic<int> woke{-1};
};

void* NameSleepAndLeave(void* argument) {
  auto* sleeper = static_cast<Sleeper*>(argument);
  upnp_set_thread_name(sleeper->name);  // before the start has returned: the entry is there
  sleeper->woke = upnp_thread_wait(-1);
  upnp_remove_thread();
  return nullptr;
}

TEST_F(ThreadRegistry, StartNameWakeAndRemove) {
  Sleeper sleeper{"upnp_test_sleeper"};
  upnp_thread_t thread = upnp_start_joinable_thread_impl(NameSleepAndLeave, &sleeper, 5);
  ASSERT_NE(thread, 0u);
  ASSERT_TRUE(Eventually([] { return CountNamed("upnp_test_sleeper") == 1; }));
  int32_t current = 0, highest = 0;
  int64_t total = 0;
  upnp_thread_counters(&current, &highest, &total);
  EXPECT_EQ(current, 1);
  EXPECT_EQ(highest, 1);
  EXPECT_EQ(total, 1);
  EXPECT_EQ(upnp_count_threads(nullptr), 1);
  const char* others[] = {"a", "b", nullptr};
  EXPECT_EQ(upnp_count_threads(others), 0);

  upnp_wakeup_thread(thread);  // sleeping or not yet: the wake-up is not lost
  pthread_join(thread, nullptr);
  EXPECT_EQ(sleeper.woke, 0);
  EXPECT_EQ(upnp_count_threads(nullptr), 0);
  upnp_thread_counters(&current, &highest, &total);
  EXPECT_EQ(current, 0);
  EXPECT_EQ(highest, 1);
  EXPECT_FALSE(log_.contains("thread with no name"));
}

// Names itself only when given a name; waits briefly when not.
void* NameOrWait(void* name) {
  if (name != nullptr) {
    upnp_set_thread_name(static_cast<const char*>(name));
  } else {
    EXPECT_EQ(upnp_thread_wait(30), 1) << "timed out";
    upnp_remove_thread();
  }
  return nullptr;
}

TEST_F(ThreadRegistry, NamingMisuseAndWaitTimeOut) {
  const std::string long_name(100, 'x');
  upnp_thread_t thread = upnp_start_joinable_thread_impl(NameOrWait, const_cast<char*>(long_name.c_str()), 5);
  ASSERT_NE(thread, 0u);
  pthread_join(thread, nullptr);
  EXPECT_EQ(CountNamed(long_name.substr(0, 63).c_str()), 1) << "names are cut to 63 bytes";
  thread = upnp_start_joinable_thread_impl(NameOrWait, nullptr, 3);
  ASSERT_NE(thread, 0u);
  pthread_join(thread, nullptr);
  EXPECT_TRUE(log_.contains("upnp_remove_thread : thread with no name"));
  upnp_set_thread_name("main");  // this thread was not started by the registry
  EXPECT_TRUE(log_.contains("upnp_set_thread_name : unknown thread "));
  EXPECT_TRUE(log_.contains(" main\n"));
  upnp_set_thread_name(nullptr);
  EXPECT_TRUE(log_.contains("upnp_set_thread_name : thread with no name"));
  upnp_set_thread_name("");
  EXPECT_TRUE(log_.contains("upnp_set_thread_name : thread with empty name"));
  upnp_remove_thread();
  EXPECT_TRUE(log_.contains("upnp_remove_thread : unknown thread "));
  EXPECT_EQ(upnp_thread_wait(0), 2);
}

int fail_creates;  // how many creations fail before the real one runs
int fail_error;
int FlakyCreate(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*), void* argument) {
  if (fail_creates > 0) {
    --fail_creates;
    return fail_error;
  }
  return pthread_create(thread, attributes, routine, argument);
}

void* Nothing(void*) {
  upnp_set_thread_name("nothing");
  upnp_remove_thread();
  return nullptr;
}

TEST_F(ThreadRegistry, CreationFallbacks) {
  upnp_threads_set_create_hook(FlakyCreate);
  const char* kFn = "upnp_start_joinable_thread_impl : ";
  const struct {
    int fails, error;
    bool started;
    const char* message;
  } cases[] = {
      {1, EAGAIN, true, "Not enough resources to start thread - retrying"},
      {2, EAGAIN, false, "Second try to start thread failed - giving up"},
      {1, EINVAL, true, "Failed to start thread with requested priority and scheduler - trying default"},
      {2, EINVAL, false, "Failed to start thread with defaults - giving up"},
  };
  for (const auto& c : cases) {
    LogRecorder log;
    fail_creates = c.fails;
    fail_error = c.error;
    upnp_thread_t thread = upnp_start_joinable_thread_impl(Nothing, nullptr, 5);
    EXPECT_EQ(thread != 0, c.started) << c.message;
    EXPECT_TRUE(log.contains(std::string(kFn) + c.message)) << c.message;
    if (thread != 0) pthread_join(thread, nullptr);
  }
  fail_creates = 2;
  fail_error = EAGAIN;
  EXPECT_EQ(upnp_start_thread(Nothing, nullptr, 5), 14);
  EXPECT_EQ(upnp_count_threads(nullptr), 0);
}

struct SocketHolder {
  int fd;
  std::atomic<bool> registered{false};
  std::atomic<bool> release{false};
};

void* HoldSocket(void* argument) {
  auto* holder = static_cast<SocketHolder*>(argument);
  upnp_set_thread_name("socket holder");
  upnp_set_thread_socket(holder->fd);
  holder->registered = true;
  while (!holder->release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  upnp_remove_thread();
  return nullptr;
}

TEST_F(ThreadRegistry, CloseThreadSockets) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  SocketHolder holder{fds[0]};
  upnp_thread_t thread = upnp_start_joinable_thread_impl(HoldSocket, &holder, 5);
  ASSERT_NE(thread, 0u);
  ASSERT_TRUE(Eventually([&] { return holder.registered.load(); }));
  EXPECT_EQ(upnp_close_thread_sockets(), 1);
  EXPECT_EQ(fcntl(fds[0], F_GETFD), -1) << "the socket was closed";
  EXPECT_TRUE(log_.contains("upnp_close_thread_sockets : closing assoc. socket socket holder thread ("));
  EXPECT_EQ(upnp_close_thread_sockets(), 0) << "nothing left to close";
  holder.release = true;
  pthread_join(thread, nullptr);
  close(fds[1]);
}

void* SleepUntilShutDown(void* argument) {
  auto* sleeper = static_cast<Sleeper*>(argument);
  upnp_set_thread_name(sleeper->name);
  sleeper->woke = upnp_thread_wait(-1);
  return nullptr;  // shut-down freed the entry: nothing to remove
}

TEST_F(ThreadRegistry, StopWakesAndFreesEveryThread) {
  Sleeper a{"upnp_test_a"}, b{"upnp_test_b"};
  upnp_thread_t first = upnp_start_joinable_thread_impl(SleepUntilShutDown, &a, 5);
  ASSERT_EQ(upnp_start_thread(SleepUntilShutDown, &b, 4), 0);
  ASSERT_NE(first, 0u);
  const char* both[] = {"upnp_test_a", "upnp_test_b", nullptr};
  ASSERT_TRUE(Eventually([&] { return upnp_count_threads(both) == 2; }));
  ASSERT_TRUE(Eventually([&] { return upnp_thread_waiting(first) == 1; }));
  // b is detached: its handle is not ours to ask about; it sleeps soon enough
  // and, if not, finds its entry gone (2) instead of being woken (0).
  EXPECT_EQ(upnp_threads_permitted(), 1);
  upnp_thread_table_wake_and_free();
  EXPECT_EQ(upnp_threads_permitted(), 0);
  EXPECT_EQ(upnp_count_threads(nullptr), 0);
  pthread_join(first, nullptr);
  EXPECT_EQ(a.woke, 0);
  ASSERT_TRUE(Eventually([&] { return b.woke.load() != -1; }));
  EXPECT_TRUE(b.woke == 0 || b.woke == 2);
  int32_t current = -1;
  upnp_thread_counters(&current, nullptr, nullptr);
  EXPECT_EQ(current, 0);
}

}  // namespace
