#include "services/threads.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "services/settings.h"
#include "testing/log_recorder.hpp"
#include "testing/thread_registry.hpp"
#include "testing/wait.hpp"

namespace {

using testing_support::Eventually;
using testing_support::LogRecorder;

int32_t CountNamed(const char* name) {
  const char* names[] = {name, nullptr};
  return upnp_count_threads(names);
}

class ThreadRegistry : public testing_support::ThreadRegistryTest {
 protected:
  LogRecorder log_;
};

TEST(ThreadRules, StackSize) {
  const int64_t stacks[][2] = {{0, 0}, {-5, 0}, {1, 196608}, {1 << 20, 1 << 20}};
  for (const auto& c : stacks) EXPECT_EQ(upnp_thread_stack_size(c[0]), static_cast<uint64_t>(c[1])) << c[0];
}

struct Sleeper {
  const char* name;
  bool removes;  // false: shut-down frees the entry, nothing to remove
  std::atomic<int> woke{-1};
};

void* NameSleepAndLeave(void* argument) {
  auto* sleeper = static_cast<Sleeper*>(argument);
  upnp_set_thread_name(sleeper->name);  // before the start has returned: the entry is there
  sleeper->woke = upnp_thread_wait(-1);
  if (sleeper->removes) upnp_remove_thread();
  return nullptr;
}

TEST_F(ThreadRegistry, StartNameWakeAndRemove) {
  Sleeper sleeper{"upnp_test_sleeper", true};
  upnp_thread_t thread = upnp_start_joinable_thread_impl(NameSleepAndLeave, &sleeper, 5);
  ASSERT_NE(thread, 0u);
  ASSERT_TRUE(Eventually([] { return CountNamed("upnp_test_sleeper") == 1; }));
  upnp_wakeup_thread(thread);  // sleeping or not yet: the wake-up is not lost
  pthread_join(thread, nullptr);
  EXPECT_EQ(sleeper.woke, 0);
  int32_t current = -1, highest = 0;
  int64_t total = 0;
  upnp_thread_counters(&current, &highest, &total);
  EXPECT_EQ(std::vector<int64_t>({current, highest, total}), std::vector<int64_t>({0, 1, 1}));
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
  std::string long_name(100, 'x');
  for (void* name : {static_cast<void*>(long_name.data()), static_cast<void*>(nullptr)}) {
    upnp_thread_t thread = upnp_start_joinable_thread_impl(NameOrWait, name, 5);
    ASSERT_NE(thread, 0u);
    pthread_join(thread, nullptr);
  }
  EXPECT_EQ(CountNamed(long_name.substr(0, 63).c_str()), 1) << "names are cut to 63 bytes";
  upnp_set_thread_name("main");  // this thread was not started by the registry
  upnp_set_thread_name(nullptr);
  upnp_set_thread_name("");
  upnp_remove_thread();
  EXPECT_TRUE(log_.contains("upnp_set_thread_name : unknown thread "));
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
    EXPECT_TRUE(log.contains(std::string("upnp_start_joinable_thread_impl : ") + c.message)) << c.message;
    if (thread != 0) pthread_join(thread, nullptr);
  }
  fail_creates = 2;
  fail_error = EAGAIN;
  EXPECT_EQ(upnp_start_thread(Nothing, nullptr, 5), 14);
  EXPECT_EQ(upnp_count_threads(nullptr), 0);
}

TEST_F(ThreadRegistry, StopWakesAndFreesEveryThread) {
  Sleeper a{"upnp_test_a", false}, b{"upnp_test_b", false};
  upnp_thread_t first = upnp_start_joinable_thread_impl(NameSleepAndLeave, &a, 5);
  ASSERT_EQ(upnp_start_thread(NameSleepAndLeave, &b, 4), 0);
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
}

}  // namespace
