// Test helper: routes the process log into a file for the life of a scope
// and puts the log back to its start-up state afterwards. Tests only.
#pragma once

#include <time.h>

#include <string>

#include "base/log.h"

namespace testing_support {

class LogCapture {
 public:
  // Opens the log on path with filtering as after start-up: settings not
  // read yet, so every line is written with "[Startup]".
  explicit LogCapture(const std::string& path) {
    upnp_log_prepare();
    upnp_log_init();
    opened_ = upnp_log_open(path.c_str()) == 1;
  }
  ~LogCapture() {
    // Clean-ups started by a rotation finish before the next test looks at
    // memory or files.
    for (int i = 0; i < 500 && upnp_log_cleanups_running() > 0; ++i) {
      struct timespec pause = {0, 10 * 1000 * 1000};
      nanosleep(&pause, nullptr);
    }
    upnp_log_close();
    upnp_log_set_settings_read(0);
    upnp_log_set_thread_calls(nullptr);
    upnp_log_init();
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  bool opened() const { return opened_; }

 private:
  bool opened_ = false;
};

}  // namespace testing_support
