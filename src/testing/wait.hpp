// Test helper: polls a condition for up to about five seconds, for tests
// that wait on another thread. Tests only.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace testing_support {

inline bool Eventually(const std::function<bool()>& condition) {
  for (int i = 0; i < 2500; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return condition();
}

}  // namespace testing_support
