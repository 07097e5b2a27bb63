/* The process log: one text file, written line by line under one lock,
 * filtered by a level threshold and a category mask, rotated past 1 MiB; a
 * clean-up keeps five files named "*-log.txt" beside it, the current one
 * included when it is so named. Critical messages (level 5) also go to
 * standard output and end the process unless a handler is registered.
 *
 * The log never logs its own faults: they go to standard output. */
#ifndef UPNP_BASE_LOG_H
#define UPNP_BASE_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  UPNP_LOG_DEBUG = 0,
  UPNP_LOG_TRACE = 1,
  UPNP_LOG_INFO = 2,
  UPNP_LOG_WARNING = 3,
  UPNP_LOG_ERROR = 4,
  UPNP_LOG_CRITICAL = 5,
  UPNP_LOG_IMPORTANT = 6
};

enum {
  LOG_SYSTEM = 1,
  LOG_SSDP = 2,
  LOG_DB = 4,
  LOG_HTTP = 8,
  LOG_CLIENT_DB = 16,
  LOG_EVENTING = 32,
  LOG_XML = 64,
  LOG_PLUGIN = 128,
  LOG_SCAN = 256,
  LOG_RMEDIA = 512,
  LOG_MEDIAFUSION = 1024,
  LOG_CGI = 2048,
  LOG_LINKPROT = 4096,
  LOG_TUNER = 8192,
  LOG_PROXY = 16384
};

/* Writes one line: "<stamp> <bytes> <tag> - <category>: <function> : <message>".
 * with_errno asks for a further line with the system error text (levels 4
 * and 5). A null function name writes the message alone. */
void upnp_log(int32_t level, int32_t category, const char* function_name, int32_t with_errno,
              const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 5, 6)))
#endif
    ;

/* 1 on success, 0 on failure; a null path closes the file (returns 1). */
int32_t upnp_log_open(const char* path);
void upnp_log_close(void);
void upnp_log_set_mask(uint32_t mask);
void upnp_log_set_level(int32_t level);
void upnp_log_set_rotation_disabled(int32_t flag);
/* The current file name, or null when no file is open. */
const char* upnp_log_get_file_name(void);
void upnp_log_flush(void);

typedef void (*upnp_log_critical_handler_fn)(char* last_critical);
/* Only the first handler set counts. */
void upnp_log_set_critical_handler(upnp_log_critical_handler_fn handler);
/* Replaces the standard library's exit after a critical message without a
 * handler; the program never sets one, tests do. */
typedef void (*upnp_log_exit_fn)(int status);
void upnp_log_set_exit_hook(upnp_log_exit_fn hook);

/* The filter that applies once the settings have been read: a category in
 * the mask needs the level threshold, others pass at levels 5 and 6 only
 * (and at every level while the settings have not been read). */
int32_t upnp_log_should_write(int32_t level, int32_t category);
const char* upnp_log_level_tag(int32_t level);
const char* upnp_log_category_name(int32_t category);

/* The settings-read flag: until it is set, filtering is off and every line
 * carries "[Startup]". The settings module sets it. */
void upnp_log_set_settings_read(int32_t flag);
int32_t upnp_log_settings_read(void);
/* The log sits below the thread registry, so the start-up sequence lends it
 * the registry's calls for the clean-up thread that follows a rotation: start
 * a detached thread of a priority class (0 or 14), name the calling thread,
 * remove the calling thread's entry. They are lent from the init phase to the
 * stop phase, when background threads are permitted; without them no
 * clean-up starts. The record must outlive the process's threads (a static);
 * null takes it back. */
typedef struct upnp_log_thread_calls {
  int32_t (*start)(void* (*routine)(void*), void* argument, int32_t priority_class);
  void (*set_name)(const char* name);
  void (*remove_self)(void);
} upnp_log_thread_calls;
void upnp_log_set_thread_calls(const upnp_log_thread_calls* calls);
/* How many clean-ups of old rotated parts are still running (they run on
 * threads of their own after a rotation); shut-down and tests wait on it. */
int32_t upnp_log_cleanups_running(void);

/* Start-up and shut-down steps. */
int32_t upnp_log_prepare(void);
void upnp_log_init(void);
void upnp_log_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_BASE_LOG_H */
