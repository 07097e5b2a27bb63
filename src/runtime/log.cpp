// Provisional log: enough for other modules to report through upnp_log while
// the full logger (rotation, masking, clean-up) is written.
#include "runtime/log.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "runtime/locks.h"

namespace {
upnp_plain_lock* log_lock = nullptr;
int log_fd = -1;
char log_file_name[1024];
uint32_t log_mask = 0;
int32_t log_level = 4;
int32_t settings_read = 0;
}  // namespace

extern "C" {

int32_t upnp_log_should_write(int32_t level, int32_t category) {
  if ((static_cast<uint32_t>(category) & log_mask) != 0) return level >= log_level;
  if (level == 5 || level == 6) return 1;
  return settings_read ? 0 : 1;
}

void upnp_log(int32_t level, int32_t category, const char* function_name, int32_t with_errno,
              const char* format, ...) {
  if (level != 5 && settings_read && !upnp_log_should_write(level, category)) return;
  (void)with_errno;
  char message[1024];
  va_list args;
  va_start(args, format);
  vsnprintf(message, sizeof message, format ? format : "strMessage = NULL!", args);
  va_end(args);
  LockGuard guard(&log_lock);
  if (log_fd < 0) return;
  dprintf(log_fd, "%s : %s\n", function_name ? function_name : "", message);
}

int32_t upnp_log_open(const char* path) {
  if (!upnp_lock_exists(&log_lock)) upnp_lock_create(&log_lock);
  LockGuard guard(&log_lock);
  if (log_fd >= 0) close(log_fd);
  log_fd = -1;
  log_file_name[0] = '\0';
  if (path == nullptr) return 1;
  log_fd = open(path, O_RDWR | O_CREAT | O_APPEND, 0644);
  if (log_fd < 0) return 0;
  snprintf(log_file_name, sizeof log_file_name, "%s", path);
  return 1;
}

void upnp_log_close(void) {
  if (!upnp_lock_exists(&log_lock)) return;
  upnp_lock(&log_lock);
  if (log_fd >= 0) close(log_fd);
  log_fd = -1;
  log_file_name[0] = '\0';
  upnp_unlock(&log_lock);
  upnp_lock_destroy(&log_lock);
}

void upnp_log_set_mask(uint32_t mask) { log_mask = mask; }
void upnp_log_set_level(int32_t level) { log_level = level; }
void upnp_log_set_rotation_disabled(int32_t) {}
void upnp_log_set_flush_each_line(int32_t) {}
const char* upnp_log_get_file_name(void) { return log_file_name[0] ? log_file_name : nullptr; }
void upnp_log_flush(void) {}
void upnp_log_set_critical_handler(upnp_log_critical_handler_fn) {}
void upnp_log_set_exit_hook(upnp_log_exit_fn) {}
const char* upnp_log_level_tag(int32_t) { return "?"; }
const char* upnp_log_category_name(int32_t) { return "?"; }
void upnp_log_set_settings_read(int32_t flag) { settings_read = flag; }
int32_t upnp_log_settings_read(void) { return settings_read; }
void upnp_log_set_threads_permitted(int32_t) {}
int32_t upnp_log_prepare(void) { return upnp_lock_exists(&log_lock) || upnp_lock_create(&log_lock) == 0 ? 0 : 14; }
void upnp_log_init(void) {
  log_mask = 0;
  log_level = 4;
}
void upnp_log_release(void) { upnp_log_close(); }

}  // extern "C"
