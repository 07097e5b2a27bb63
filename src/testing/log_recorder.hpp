// Test helper: records the process log in a file to a file in a scratch directory for the
// life of the object, with filtering off (start-up mode), so that a test can
// look for the lines a module wrote. Tests only.
#pragma once

#include <string>

#include "base/log.h"
#include "testing/log_capture.hpp"
#include "testing/temp_dir.hpp"

namespace testing_support {

class LogRecorder {
 public:
  LogRecorder() : path_(dir_ / "test-log.txt"), capture_(path_) { upnp_log_set_settings_read(0); }
  LogRecorder(const LogRecorder&) = delete;
  LogRecorder& operator=(const LogRecorder&) = delete;

  std::string text() const { return ReadFile(path_); }
  // How often `needle` occurs in the log so far.
  int count(const std::string& needle) const {
    const std::string all = text();
    int n = 0;
    for (size_t at = all.find(needle); at != std::string::npos; at = all.find(needle, at + 1)) ++n;
    return n;
  }
  bool contains(const std::string& needle) const { return count(needle) > 0; }

 private:
  TempDir dir_;
  std::string path_;
  LogCapture capture_;
};

}  // namespace testing_support
