#include "base/log.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/file_system.h"
#include "base/log_state.hpp"
#include "base/memory.h"
#include "base/status.h"
#include "base/string_search.h"
#include "base/time_format.h"

namespace upnp::log {

State g_state;

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

char log_last_critical[kTextSize];
upnp_log_critical_handler_fn log_critical_handler = nullptr;
upnp_log_exit_fn g_exit_hook = nullptr;

const char* line_tag(int32_t level) {
  return g_state.settings_read.load(std::memory_order_relaxed) ? upnp_log_level_tag(level) : "[Startup]";
}

bool holds_authentication(const char* piece) {
  return upnp_istrstr(piece, "WWW-Authenticate") != nullptr || upnp_istrstr(piece, "WWW-Authorization") != nullptr;
}

void flush_locked() {
  if (g_state.file != nullptr) {
    upnp_file_sync(g_state.file);
  } else {
    fflush(stdout);
  }
}

// One piece of a line into the file. Authentication headers never reach the
// disk, and the replacement is deliberately not counted towards rotation.
void write_piece(const char* piece) {
  if (g_state.file == nullptr) return;
  if (holds_authentication(piece)) {
    upnp_file_write(g_state.file, kMaskedAuthentication, sizeof kMaskedAuthentication - 1);
    return;
  }
  const size_t length = strlen(piece);
  if (upnp_file_write(g_state.file, piece, length) < static_cast<int64_t>(length)) {
    // A full disk or a vanished file: stop writing until the log is reopened.
    upnp_file_close(g_state.file);
    g_state.file = nullptr;
    return;
  }
  g_state.size += static_cast<int64_t>(length);
  if (g_state.size <= kRotateAbove || g_state.parts_pending || g_state.rotation_disabled.load(std::memory_order_relaxed)) {
    return;
  }
  rotate_locked();
}

void write_file_line(int32_t level, int32_t category, const char* text) {
  if (!g_state.enabled.load(std::memory_order_relaxed) || text == nullptr || !upnp_lock_exists(&g_state.lock)) return;
  upnp_lock(&g_state.lock);
  char stamp[kStampSize];
  upnp_time_log_stamp(stamp, sizeof stamp);
  snprintf(g_state.line_header, sizeof g_state.line_header, "%s %8lu %s - %s: ", stamp,
           static_cast<unsigned long>(upnp_mem_used()), line_tag(level), upnp_log_category_name(category));
  write_piece(g_state.line_header);
  write_piece(text);
  write_piece("\n");
  if (g_state.flush_each_line.load(std::memory_order_relaxed)) flush_locked();
  const upnp_log_thread_calls* calls = g_state.thread_calls.load();
  if (g_state.parts_pending && calls != nullptr) {
    g_state.parts_pending = 0;
    char file_name[kFileNameSize];
    memcpy(file_name, g_state.file_name, sizeof file_name);
    upnp_unlock(&g_state.lock);
    if (start_parts_cleanup(*calls, file_name) != 0) {
      puts("can't start upnp_log_remove_old_parts thread");
    }
    return;
  }
  upnp_unlock(&g_state.lock);
}

// Critical messages also reach the console, ending in CR LF.
void write_console_line(int32_t level, int32_t category, const char* text) {
  LockGuard guard(&g_state.lock);
  char stamp[kStampSize];
  upnp_time_log_stamp(stamp, sizeof stamp);
  snprintf(g_state.line_header, sizeof g_state.line_header, "%s %s - %s: ", stamp, line_tag(level),
           upnp_log_category_name(category));
  fputs(g_state.line_header, stdout);
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
  if (log_critical_handler != nullptr) {
    log_critical_handler(log_last_critical);
    return;
  }
  if (g_exit_hook != nullptr) {
    g_exit_hook(0);
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

using upnp::log::g_state;

extern "C" {

int32_t upnp_log_should_write(int32_t level, int32_t category) {
  if ((static_cast<uint32_t>(category) & g_state.mask.load(std::memory_order_relaxed)) != 0) {
    return level >= g_state.level.load(std::memory_order_relaxed) ? 1 : 0;
  }
  if (level == UPNP_LOG_CRITICAL || level == UPNP_LOG_IMPORTANT) return 1;
  return g_state.settings_read.load(std::memory_order_relaxed) ? 0 : 1;
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
  // Until the settings are read the log is in start-up mode: mask and level
  // are not looked at, every line is written (tagged "[Startup]").
  const bool filtering = g_state.settings_read.load(std::memory_order_relaxed) != 0;
  if (level != UPNP_LOG_CRITICAL && filtering && !upnp_log_should_write(level, category)) return;
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
  const bool allowed = !filtering || upnp_log_should_write(level, category) != 0;
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
    snprintf(log_last_critical, sizeof log_last_critical, "%s", text);
    upnp_string_free(line);
    finish_critical();
    return;
  }
  upnp_string_free(line);
}

int32_t upnp_log_open(const char* path) {
  if (!upnp_lock_exists(&g_state.lock)) {
    // The log may be opened before start-up.
    if (upnp_lock_create(&g_state.lock) != 0) return 0;
  }
  LockGuard guard(&g_state.lock);
  g_state.file_name[0] = '\0';
  upnp_file_close(g_state.file);
  g_state.file = nullptr;
  if (path == nullptr) {
    g_state.size = 0;
    return 1;
  }
  TrackedPtr<char> directory(upnp_strdup(path));
  if (directory == nullptr) return 0;
  if (char* slash = strrchr(directory.get(), '/')) {
    *slash = '\0';
    upnp_file_mkdir_path(directory.get());
  }
  snprintf(g_state.file_name, sizeof g_state.file_name, "%s", path);
  g_state.file = upnp_file_open_append(g_state.file_name);
  if (g_state.file == nullptr) g_state.file = upnp_file_open_write(g_state.file_name);
  if (g_state.file == nullptr) {
    g_state.file_name[0] = '\0';
    return 0;
  }
  g_state.size = g_state.file->size;
  return 1;
}

void upnp_log_close(void) {
  if (!upnp_lock_exists(&g_state.lock)) return;
  upnp_lock(&g_state.lock);
  upnp_file_close(g_state.file);
  g_state.file = nullptr;
  g_state.file_name[0] = '\0';
  upnp::log::forget_skip_list();
  upnp_unlock(&g_state.lock);
  upnp_lock_destroy(&g_state.lock);
}

void upnp_log_set_mask(uint32_t mask) { g_state.mask.store(mask); }
void upnp_log_set_level(int32_t level) { g_state.level.store(level); }
void upnp_log_set_rotation_disabled(int32_t flag) { g_state.rotation_disabled.store(flag); }

const char* upnp_log_get_file_name(void) { return g_state.file_name[0] != '\0' ? g_state.file_name : nullptr; }

void upnp_log_flush(void) {
  if (!upnp_lock_exists(&g_state.lock)) {
    fflush(stdout);
    return;
  }
  LockGuard guard(&g_state.lock);
  upnp::log::flush_locked();
}

void upnp_log_set_critical_handler(upnp_log_critical_handler_fn handler) {
  if (upnp::log::log_critical_handler == nullptr) upnp::log::log_critical_handler = handler;
}

void upnp_log_set_exit_hook(upnp_log_exit_fn hook) { upnp::log::g_exit_hook = hook; }

void upnp_log_set_settings_read(int32_t flag) { g_state.settings_read.store(flag); }
int32_t upnp_log_settings_read(void) { return g_state.settings_read.load(); }
void upnp_log_set_thread_calls(const upnp_log_thread_calls* calls) { g_state.thread_calls.store(calls); }

int32_t upnp_log_prepare(void) {
  if (upnp_lock_exists(&g_state.lock)) return 0;
  return upnp_lock_create(&g_state.lock) == 0 ? UPNP_OK : UPNP_FAILED;
}

void upnp_log_init(void) {
  LockGuard guard(&g_state.lock);
  g_state.mask.store(0);
  g_state.level.store(4);
  g_state.enabled.store(1);
  g_state.file_name[0] = '\0';
  upnp_file_close(g_state.file);
  g_state.file = nullptr;
  g_state.size = 0;
  g_state.parts_pending = 0;
  g_state.flush_each_line.store(0);
  g_state.rotation_disabled.store(0);
}

void upnp_log_release(void) {
  // A clean-up still scanning allocates from tracked memory, whose lock goes
  // right after this step: give it a moment to finish.
  for (int i = 0; i < 100 && upnp_log_cleanups_running() > 0; ++i) upnp_sleep_ms(10);
  upnp_log_close();
  if (upnp_lock_exists(&g_state.lock)) {
    upnp_sleep_ms(50);
    upnp_lock_destroy(&g_state.lock);
  }
}

}  // extern "C"
