#include "base/locks.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <thread>

namespace {

TEST(Locks, HandleRules) {
  upnp_plain_lock* lock = nullptr;
  EXPECT_EQ(upnp_lock(&lock), 2) << "no record";
  EXPECT_EQ(upnp_lock_create(nullptr), 2);
  const int32_t live = live_lock_count;
  ASSERT_EQ(upnp_lock_create(&lock), 0);
  EXPECT_EQ(live_lock_count, live + 1);
  upnp_plain_lock* first = lock;
  EXPECT_EQ(upnp_lock_create(&lock), 2) << "already created";
  EXPECT_EQ(lock, first) << "the existing lock is untouched";
  EXPECT_EQ(upnp_lock(&lock), 0);
  EXPECT_EQ(upnp_unlock(&lock), 0);
  EXPECT_EQ(upnp_lock_destroy(&lock), 0);
  EXPECT_EQ(lock, nullptr);
  EXPECT_EQ(live_lock_count, live);
}

TEST(Locks, ExcludeEachOtherUnderTwoThreads) {
  upnp_plain_lock* lock = nullptr;
  ASSERT_EQ(upnp_lock_create(&lock), 0);
  long counter = 0;
  auto work = [&] {
    for (int i = 0; i < 100000; ++i) {
      LockGuard guard(&lock);
      ++counter;
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(counter, 200000);
  upnp_lock_destroy(&lock);
}

TEST(Semaphores, WaitModesAndReleaseAlways) {
  upnp_plain_semaphore* sem = nullptr;
  EXPECT_EQ(upnp_semaphore_wait(&sem, 0, "t"), 2);
  ASSERT_EQ(upnp_semaphore_create(&sem, 0), 0);
  EXPECT_EQ(upnp_semaphore_wait(&sem, 0, "t"), 1) << "busy";

  timeval start, end;
  gettimeofday(&start, nullptr);
  EXPECT_EQ(upnp_semaphore_wait(&sem, 120, "t"), 1) << "time out";
  gettimeofday(&end, nullptr);
  const long waited_ms = (end.tv_sec - start.tv_sec) * 1000 + (end.tv_usec - start.tv_usec) / 1000;
  EXPECT_GE(waited_ms, 119);

  upnp_semaphore_post(&sem, "t");
  EXPECT_EQ(upnp_semaphore_wait(&sem, -1, "t"), 0);
  for (int round = 0; round < 2; ++round) {  // from 0, then from 1: exactly one either way
    upnp_semaphore_release_always(&sem);
    EXPECT_EQ(upnp_semaphore_value(&sem), 1) << "round " << round;
  }
  upnp_semaphore_destroy(&sem, "t");
  EXPECT_EQ(sem, nullptr);
  upnp_semaphore_post(&sem, "t");  // no record: nothing happens
}

TEST(Semaphores, PostFromAnotherThreadWakesAWaiter) {
  upnp_plain_semaphore* sem = nullptr;
  ASSERT_EQ(upnp_semaphore_create(&sem, 0), 0);
  std::thread poster([&] { upnp_semaphore_post(&sem, "poster"); });
  EXPECT_EQ(upnp_semaphore_wait(&sem, 5000, "waiter"), 0);
  poster.join();
  upnp_semaphore_destroy(&sem, "t");
}

}  // namespace
