#include "base/permission_report.h"

#include <errno.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/log.h"
#include "base/string_util.h"
#include "base/upnp_string.h"

extern char** environ;

namespace {

bool is_log_file(const char* path) {
  const char* log_name = upnp_log_get_file_name();
  return log_name != nullptr && strcmp(log_name, path) == 0;
}

// Runs the listing with its standard output and standard error on one pipe
// and appends what it prints to the report. The path travels as one
// argument behind "--", so neither a shell nor ls reads it as anything but
// a name. A listing that cannot be started adds nothing.
upnp_string* append_listing(upnp_string* report, const char* path) {
  int pipe_fds[2];
  if (pipe2(pipe_fds, O_CLOEXEC) != 0) return report;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDERR_FILENO);
  char* const argv[] = {const_cast<char*>("ls"), const_cast<char*>("-la"), const_cast<char*>("--"),
                        const_cast<char*>(path), nullptr};
  pid_t child;
  const int spawned = posix_spawnp(&child, "ls", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipe_fds[1]);
  char chunk[4096];
  for (;;) {
    const ssize_t got = read(pipe_fds[0], chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    // Keep reading after an append failure so the child is never blocked.
    if (report != nullptr) report = upnp_string_append_bytes(report, chunk, static_cast<uint32_t>(got));
  }
  close(pipe_fds[0]);
  if (spawned == 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  return report;
}

}  // namespace

extern "C" {

int32_t upnp_file_diagnose(const char* path) {
  const int error = errno;
  if (error != EACCES && error != EPERM) return -1;
  if (path == nullptr || path[0] == '\0' || upnp_string_ends_with_nocase(path, ".lq8") || is_log_file(path)) return -1;
  char head[4096];
  snprintf(head, sizeof head, "\n--diagnostic-info-start--\nfilename: %s\nerrno = %d\n\n", path, error);
  upnp_string* report = upnp_string_append(nullptr, head);
  report = append_listing(report, path);
  report = upnp_string_append(report, "--diagnostic-info-end--\n");
  if (report == nullptr) return -1;
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_file_diagnose", 0, "%s\n", upnp_string_get(report));
  upnp_string_free(report);
  return 0;
}

}  // extern "C"
