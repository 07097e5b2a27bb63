// Every test binary runs inside a started runtime, as the program does: the
// locks of every module exist and the thread registry is live. A critical
// log message would end the process with status 0 and pass silently, so
// here it aborts instead.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include "base/log.h"
#include "process/lifecycle.h"

namespace {
void abort_on_critical_exit(int status) {
  fprintf(stderr, "a critical log message ended the process (status %d)\n", status);
  abort();
}
}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  upnp_runtime_init();
  upnp_log_set_exit_hook(&abort_on_critical_exit);
  const int result = RUN_ALL_TESTS();
  upnp_runtime_exit();
  return result;
}
