// Rotation of the log file past 1 MiB and the clean-up that keeps at most
// five files named "*-log.txt" in its directory (the current one among them
// when it is so named).
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <time.h>

#include <atomic>
#include <mutex>

#include "base/file_system.h"
#include "base/log.h"
#include "base/log_state.hpp"
#include "base/memory.h"
#include "base/status.h"
#include "base/string_util.h"
#include "base/time_format.h"

namespace upnp::log {
namespace {

// Names of parts that could not be deleted, so that later clean-ups do not
// stop at them again. The clean-up thread works while the log may be closed
// (which frees the list), so the list has a guard of its own that, unlike
// the log lock, is never destroyed.
std::mutex g_skip_mutex;
upnp_string* log_skip_list = nullptr;

std::atomic<int32_t> g_cleanups_running{0};
// The registry calls the running clean-up was started with.
std::atomic<const upnp_log_thread_calls*> g_cleanup_calls{nullptr};

bool in_skip_list(const char* name) {
  std::lock_guard<std::mutex> guard(g_skip_mutex);
  const char* names = upnp_string_get(log_skip_list);
  return names != nullptr && strstr(names, name) != nullptr;
}

void add_to_skip_list(const char* name) {
  std::lock_guard<std::mutex> guard(g_skip_mutex);
  log_skip_list = upnp_string_append(log_skip_list, name);
}

// One scan of the directory: deletes the oldest part when more than five
// are there. Returns whether another scan is due. Entry names are compared
// with the log's full path, which a bare name never equals: a current file
// named "...-log.txt" counts as one of the five.
bool remove_oldest_part(const char* directory, const char* file_name) {
  int count = 0;
  int64_t oldest_time = 0;
  char oldest_path[2048] = {};
  char oldest_name[1024] = {};
  for (upnp_file_find* find = upnp_file_find_first_file(directory); find != nullptr;
       find = upnp_file_find_next_file(find)) {
    if (in_skip_list(find->name)) continue;
    upnp_file_info info;
    if (upnp_file_stat(find->path, &info) != 0 || S_ISDIR(info.mode)) continue;
    if (!upnp_string_ends_with_nocase(find->name, "-log.txt") || strcasecmp(find->name, file_name) == 0)
      continue;
    ++count;
    if (count == 1 || info.modified < oldest_time) {
      oldest_time = info.modified;
      snprintf(oldest_path, sizeof oldest_path, "%s", find->path);
      snprintf(oldest_name, sizeof oldest_name, "%s", find->name);
    }
  }
  if (count <= kPartsKept) return false;
  upnp_file_unlink(oldest_path);
  if (upnp_file_exists(oldest_path)) {
    add_to_skip_list(oldest_name);
    return false;
  }
  return count != kPartsKept + 1;
}

void* remove_old_parts(void* argument) {
  const upnp_log_thread_calls* calls = g_cleanup_calls.load();
  calls->set_name("log_remove_old_parts");
  TrackedPtr<char> file_name(static_cast<char*>(argument));
  char directory[kFileNameSize];
  snprintf(directory, sizeof directory, "%s", file_name.get());
  if (char* slash = strrchr(directory, '/')) {
    *slash = '\0';
    while (remove_oldest_part(directory, file_name.get())) {
    }
  }
  file_name.reset();
  calls->remove_self();
  g_cleanups_running.fetch_sub(1);
  return nullptr;
}

}  // namespace

int32_t start_parts_cleanup(const upnp_log_thread_calls& calls, const char* file_name) {
  char* copy = upnp_strdup(file_name);
  // Without a copy the clean-up has nothing to work on: it ends at once.
  if (copy == nullptr) return 0;
  g_cleanups_running.fetch_add(1);
  // A registered, detached thread at priority class 5.
  g_cleanup_calls.store(&calls);
  if (calls.start(&remove_old_parts, copy, 5) != 0) {
    upnp_free(copy);
    g_cleanups_running.fetch_sub(1);
    return UPNP_FAILED;
  }
  return 0;
}

void forget_skip_list() {
  std::lock_guard<std::mutex> guard(g_skip_mutex);
  upnp_string_free_ref(&log_skip_list);
}

void rotate_locked() {
  TrackedPtr<char> base(upnp_strdup(g_state.file_name));
  if (base == nullptr) {
    // Rotation waits for the next clean-up; the file keeps growing meanwhile.
    g_state.parts_pending = 1;
    return;
  }
  if (char* suffix = strstr(base.get(), "-log.txt")) *suffix = '\0';
  char stamp[32] = {};
  upnp_time_format_iso_local(time(nullptr), stamp, sizeof stamp);
  for (char* c = stamp; *c != '\0'; ++c) {
    if (*c == ':' || *c == 'T') *c = '-';
  }
  char part_name[kFileNameSize];
  snprintf(part_name, sizeof part_name, "%s-%s-log.txt", base.get(), stamp);
  upnp_file_close(g_state.file);
  // A failed rename goes unnoticed: the old file is then reopened without
  // truncation and overwritten from its start, as the system always did.
  upnp_file_rename(g_state.file_name, part_name);
  g_state.file = upnp_file_open_write(g_state.file_name);
  if (g_state.file == nullptr) printf("can't open log file (%s)\n", g_state.file_name);
  g_state.size = 0;
  g_state.parts_pending = 1;
}

}  // namespace upnp::log

extern "C" int32_t upnp_log_cleanups_running(void) { return upnp::log::g_cleanups_running.load(); }
