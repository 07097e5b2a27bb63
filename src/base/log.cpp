#include "base/log.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/file_system.h"
#include "base/log_state.hpp"
#include "base/memory.h"
#include "base/string_search.h"
#include "base/time_format.h"

namespace upnp::log {

State state;

namespace {

constexpr const char* kLevelTags[] = {"[Debug]", "[Trace]",    "[Info]",     "[Warning]",
                                      "[Error]", "[Critical]", "[Important]"};
static_assert(sizeof kLevelTags / sizeof kLevelTags[0] == UPNP_LOG_IMPORTANT + 1, "one tag per level");

constexpr const char* kCategoryNames[] = {
    "LOG_SYSTEM",      "LOG_SSDP", "LOG_DB",       "LOG_HTTP",  "LOG_CLIENT_DB",
    "LOG_EVENTING",    "LOG_XML",  "LOG_PLUGIN",   "LOG_SCAN",  "LOG_RMEDIA",
    "LOG_MEDIAFUSION", "LOG_CGI",  "LOG_LINKPROT", "LOG_TUNER", "LOG_PROXY"};
static_assert(sizeof kCategoryNames / sizeof kCategoryNames[0] == 15, "one name per category bit");
static_assert(1 << 14 == LOG_PROXY, "the last category is bit 14");

constexpr char kMaskedAuthentication[] = "[HTTP Authentication details not logged]\n";
static_assert(sizeof kMaskedAuthentication - 1 == 41, "the replacement is 41 bytes");

constexpr size_t kTextSize = 1024;
constexpr size_t kStampSize = 32;

char last_critical[kTextSize];
upnp_log_critical_handler_fn critical_handler = nullptr;
upnp_log_exit_fn exit_hook = nullptr;

const char* line_tag(int32_t level) {
  return state.settings_read.load(std::memory_order_relaxed) ? upnp_log_level_tag(level) : "[Startup]";
}

bool holds_authentication(const char* piece) {
  return upnp_istrstr(piece, "WWW-Authenticate") != nullptr || upnp_istrstr(piece, "WWW-Authorization") != nullptr;
}

void flush_locked() {
  if (state.file != nullptr) {
    upnp_file_sync(state.file);
  } else {
    fflush(stdout);
  }
}

// One piece of a line into the file. Authentication headers never reach the
// disk, and the replacement is deliberately not counted towards rotation.
void write_piece(const char* piece) {
  if (state.file == nullptr) return;
  if (holds_authentication(piece)) {
    upnp_file_write(state.file, kMaskedAuthentication, sizeof kMaskedAuthentication - 1);
    return;
  }
  const size_t length = strlen(piece);
  if (upnp_file_write(state.file, piece, length) < static_cast<int64_t>(length)) {
    // A full disk or a vanished file: stop writing until the log is reopened.
    upnp_file_close(state.file);
    state.file = nullptr;
    return;
  }
  state.size += static_cast<int64_t>(length);
  if (state.size <= kRotateAbove || state.parts_pending || state.rotation_disabled.load(std::memory_order_relaxed)) {
    return;
  }
  rotate_locked();
}

void write_file_line(int32_t level, int32_t category, const char* text) {
  if (!state.enabled.load(std::memory_order_relaxed) || text == nullptr || !upnp_lock_exists(&state.lock)) return;
  upnp_lock(&state.lock);
  char stamp[kStampSize];
  upnp_time_log_stamp(stamp, sizeof stamp);
  snprintf(state.line_header, sizeof state.line_header, "%s %8lu %s - %s: ", stamp,
           static_cast<unsigned long>(upnp_mem_used()), line_tag(level), upnp_log_category_name(category));
  write_piece(state.line_header);
  write_piece(text);
  write_piece("\n");
  if (state.flush_each_line.load(std::memory_order_relaxed)) flush_locked();
  const upnp_log_thread_calls* calls = state.thread_calls.load();
  if (state.parts_pending && calls != nullptr) {
    state.parts_pending = 0;
    char file_name[kFileNameSize];
    memcpy(file_name, state.file_name, sizeof file_name);
    upnp_unlock(&state.lock);
    if (start_parts_cleanup(*calls, file_name) != 0) {
      puts("can't start upnp_log_remove_old_parts thread");
    }
    return;
  }
  upnp_unlock(&state.lock);
}

// Critical messages also reach the console, ending in CR LF.
void write_console_line(int32_t level, int32_t category, const char* text) {
  LockGuard guard(&state.lock);
  char stamp[kStampSize];
  upnp_time_log_stamp(stamp, sizeof stamp);
  snprintf(state.line_header, sizeof state.line_header, "%s %s - %s: ", stamp, line_tag(level),
           upnp_log_category_name(category));
  fputs(state.line_header, stdout);
  fputs(text, stdout);
  fputs("\r\n", stdout);
  fflush(stdout);
}

// The text of the errno line: "Error: <n> <description>\n", or empty.
void format_error_text(int error, char (&buffer)[kTextSize]) {
  buffer[0] = '\0';
  if (error != 0) snprintf(buffer, sizeof buffer, "Error: %d %s\n", error, strerror(error));
}

// After a critical message the process ends, unless a handler takes over.
void finish_critical() {
  if (critical_handler != nullptr) {
    critical_handler(last_critical);
    return;
  }
  if (exit_hook != nullptr) {
    exit_hook(0);
    return;
  }
  exit(0);
}

// Builds the text a line carries from the formatted message.
upnp_string* compose(int32_t level, const char* function_name, upnp_string* message) {
  if (function_name == nullptr || message == nullptr) return message;
  upnp_string* line = level == UPNP_LOG_CRITICAL
                          ? upnp_string_sprintf_append(nullptr, "%s (%s)", upnp_string_get(message), function_name)
                          : upnp_string_sprintf_append(nullptr, "%s : %s", function_name, upnp_string_get(message));
  upnp_string_free(message);
  return line;
}

// The composed text could not be built (out of memory) or came out empty:
// write the message from a fixed buffer instead, unfiltered.
void write_fallback(int32_t level, int32_t category, int32_t with_errno, int error, const char* format,
                    va_list args) {
  char text[kTextSize];
  vsnprintf(text, sizeof text, format, args);
  write_file_line(level, category, text);
  if (with_errno) {
    char error_text[kTextSize];
    format_error_text(error, error_text);
    write_file_line(level, category, error_text);
  }
  if (level == UPNP_LOG_CRITICAL) finish_critical();
}

}  // namespace
}  // namespace upnp::log

using upnp::log::state;

extern "C" {

int32_t upnp_log_should_write(int32_t level, int32_t category) {
  if ((static_cast<uint32_t>(category) & state.mask.load(std::memory_order_relaxed)) != 0) {
    return level >= state.level.load(std::memory_order_relaxed) ? 1 : 0;
  }
  if (level == UPNP_LOG_CRITICAL || level == UPNP_LOG_IMPORTANT) return 1;
  return state.settings_read.load(std::memory_order_relaxed) ? 0 : 1;
}

const char* upnp_log_level_tag(int32_t level) {
  if (level < 0 || level > UPNP_LOG_IMPORTANT) return "?";
  return upnp::log::kLevelTags[level];
}

const char* upnp_log_category_name(int32_t category) {
  const auto bits = static_cast<uint32_t>(category);
  if (bits == 0 || (bits & (bits - 1)) != 0 || bits > LOG_PROXY) return "?";
  return upnp::log::kCategoryNames[__builtin_ctz(bits)];
}

void upnp_log(int32_t level, int32_t category, const char* function_name, int32_t with_errno,
              const char* format, ...) {
  using namespace upnp::log;
  if (level != UPNP_LOG_CRITICAL && state.settings_read.load(std::memory_order_relaxed) &&
      !upnp_log_should_write(level, category)) {
    return;
  }
  const int error = errno;
  const char* used_format = format != nullptr ? format : "strMessage = NULL!";
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  upnp_string* line = compose(level, function_name, upnp_string_vsprintf(used_format, args));
  va_end(args);
  if (upnp_string_is_empty(line)) {
    upnp_string_free(line);
    write_fallback(level, category, with_errno, error, used_format, again);
    va_end(again);
    return;
  }
  va_end(again);
  const char* text = upnp_string_get(line);
  const bool allowed = upnp_log_should_write(level, category) != 0;
  if (allowed) write_file_line(level, category, text);
  char error_text[kTextSize];
  const bool errno_line = with_errno && (level == UPNP_LOG_ERROR || level == UPNP_LOG_CRITICAL);
  if (errno_line) {
    format_error_text(error, error_text);
    if (allowed) write_file_line(level, category, error_text);
  }
  if (level == UPNP_LOG_CRITICAL) {
    write_console_line(level, category, text);
    if (errno_line) write_console_line(level, category, error_text);
    snprintf(last_critical, sizeof last_critical, "%s", text);
    upnp_string_free(line);
    finish_critical();
    return;
  }
  upnp_string_free(line);
}

int32_t upnp_log_open(const char* path) {
  if (!upnp_lock_exists(&state.lock)) {
    // The log may be opened before start-up.
    if (upnp_lock_create(&state.lock) != 0) return 0;
  }
  LockGuard guard(&state.lock);
  state.file_name[0] = '\0';
  upnp_file_close(state.file);
  state.file = nullptr;
  if (path == nullptr) {
    state.size = 0;
    return 1;
  }
  TrackedPtr<char> directory(upnp_strdup(path));
  if (directory == nullptr) return 0;
  if (char* slash = strrchr(directory.get(), '/')) {
    *slash = '\0';
    upnp_file_mkdir_path(directory.get());
  }
  snprintf(state.file_name, sizeof state.file_name, "%s", path);
  state.file = upnp_file_open_append(state.file_name);
  if (state.file == nullptr) state.file = upnp_file_open_write(state.file_name);
  if (state.file == nullptr) {
    state.file_name[0] = '\0';
    return 0;
  }
  state.size = state.file->size;
  return 1;
}

void upnp_log_close(void) {
  if (!upnp_lock_exists(&state.lock)) return;
  upnp_lock(&state.lock);
  upnp_file_close(state.file);
  state.file = nullptr;
  state.file_name[0] = '\0';
  upnp::log::forget_skip_list();
  upnp_unlock(&state.lock);
  upnp_lock_destroy(&state.lock);
}

void upnp_log_set_mask(uint32_t mask) { state.mask.store(mask); }
void upnp_log_set_level(int32_t level) { state.level.store(level); }
void upnp_log_set_rotation_disabled(int32_t flag) { state.rotation_disabled.store(flag); }
void upnp_log_set_flush_each_line(int32_t flag) { state.flush_each_line.store(flag); }

const char* upnp_log_get_file_name(void) { return state.file_name[0] != '\0' ? state.file_name : nullptr; }

void upnp_log_flush(void) {
  if (!upnp_lock_exists(&state.lock)) {
    fflush(stdout);
    return;
  }
  LockGuard guard(&state.lock);
  upnp::log::flush_locked();
}

void upnp_log_set_critical_handler(upnp_log_critical_handler_fn handler) {
  if (upnp::log::critical_handler == nullptr) upnp::log::critical_handler = handler;
}

void upnp_log_set_exit_hook(upnp_log_exit_fn hook) { upnp::log::exit_hook = hook; }

void upnp_log_set_settings_read(int32_t flag) { state.settings_read.store(flag); }
int32_t upnp_log_settings_read(void) { return state.settings_read.load(); }
void upnp_log_set_thread_calls(const upnp_log_thread_calls* calls) { state.thread_calls.store(calls); }

int32_t upnp_log_prepare(void) {
  if (upnp_lock_exists(&state.lock)) return 0;
  return upnp_lock_create(&state.lock) == 0 ? 0 : 14;
}

void upnp_log_init(void) {
  LockGuard guard(&state.lock);
  state.mask.store(0);
  state.level.store(4);
  state.enabled.store(1);
  state.file_name[0] = '\0';
  upnp_file_close(state.file);
  state.file = nullptr;
  state.size = 0;
  state.parts_pending = 0;
  state.flush_each_line.store(0);
  state.rotation_disabled.store(0);
}

void upnp_log_release(void) {
  // A clean-up still scanning allocates from tracked memory, whose lock goes
  // right after this step: give it a moment to finish.
  for (int i = 0; i < 100 && upnp_log_cleanups_running() > 0; ++i) upnp_sleep_ms(10);
  upnp_log_close();
  if (upnp_lock_exists(&state.lock)) {
    upnp_sleep_ms(50);
    upnp_lock_destroy(&state.lock);
  }
}

}  // extern "C"
