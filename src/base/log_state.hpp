// The log's shared g_state, between the line writer (log.cpp) and rotation
// with its parts clean-up (log_rotation.cpp). Internal: only these two files
// include it.
#pragma once

#include <stdint.h>

#include <atomic>

#include "base/file.h"
#include "base/locks.h"
#include "base/upnp_string.h"

namespace upnp::log {

constexpr int64_t kRotateAbove = 1048576;  // a file past 1 MiB is rotated
constexpr int kPartsKept = 5;
constexpr uint32_t kFileNameSize = 1024;

struct State {
  // Guarded by lock: the file, its name and its byte count, the pending flag.
  // The lock's existence is the "log lock created" mark.
  upnp_plain_lock* lock = nullptr;
  char file_name[kFileNameSize] = {};
  upnp_file* file = nullptr;
  int64_t size = 0;
  int32_t parts_pending = 0;
  char line_header[256] = {};

  // Settings: read without the lock by the filter, hence atomic.
  std::atomic<uint32_t> mask{0};
  std::atomic<int32_t> level{4};
  std::atomic<int32_t> enabled{0};
  std::atomic<int32_t> rotation_disabled{0};
  std::atomic<int32_t> flush_each_line{0};
  std::atomic<int32_t> settings_read{0};
  std::atomic<const upnp_log_thread_calls*> thread_calls{nullptr};
};

extern State g_state;

// With the lock held: renames the current file to its time-stamped part
// name and reopens a fresh file under the old name; sets parts_pending.
void rotate_locked();

// Starts the clean-up of old parts of the file named file_name (a copy is
// taken) on a thread of its own; 0, or 14 when it could not be started.
int32_t start_parts_cleanup(const upnp_log_thread_calls& calls, const char* file_name);

// Forgets the names of parts that could not be deleted.
void forget_skip_list();

}  // namespace upnp::log
