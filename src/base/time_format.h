/* Shared time routines: a millisecond clock counted from start-up, the stamp
 * in front of every log line, the local date-time text of date properties,
 * the same-day test and a millisecond sleep.
 *
 * Everything reads the wall clock (so the millisecond clock jumps when the
 * clock is set) and converts with the local time zone through the
 * re-entrant conversion, so any thread may call these. No allocation, no
 * locks. */
#ifndef UPNP_BASE_TIME_FORMAT_H
#define UPNP_BASE_TIME_FORMAT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Milliseconds since the first call, which returns 0 and fixes the base;
 * start-up makes that call so the clock counts from the program's start. */
int64_t upnp_time_ms_since_start(void);
/* The same clock under the name used by callers outside the import flow. */
int64_t upnp_time_ms(void);

/* Writes the log line prefix "YYYY-MM-DD hh:mm:ss:mmm " (a colon before the
 * milliseconds and one trailing blank, both deliberate) into at most `size`
 * bytes, NUL included. The date part is left empty when the clock or the
 * local-time conversion fails. Returns what snprintf returns. */
int upnp_time_log_stamp(char* buffer, size_t size);

/* Writes the local date-time of `seconds` as "YYYY-MM-DDThh:mm:ss" (no zone
 * designator: the text is local time; 20 bytes hold it whole). Returns the
 * formatted length, or 0 leaving the buffer untouched when the time cannot
 * be converted or the buffer is null. */
int upnp_time_format_iso_local(int64_t seconds, char* buffer, size_t size);

/* 1 when `seconds` falls on the current local day (same year and day of the
 * year), else 0. */
int upnp_time_is_today(int64_t seconds);

/* Sleeps `milliseconds`; an interrupted sleep is not resumed. Returns 0. */
int32_t upnp_sleep_ms(uint32_t milliseconds);

#ifdef __cplusplus
}  /* extern "C" */

#include <sys/time.h>

/* Seams that let tests use a fixed clock. */
namespace upnp::time_format {
/* The log stamp for a given clock reading; null stands for a failed read. */
int format_log_stamp(const struct timeval* now, char* buffer, size_t size);
/* upnp_time_is_today with `now` as the current time. */
int is_same_local_day(int64_t now, int64_t seconds);
/* Forgets the base of the millisecond clock: the next call returns 0. */
void reset_ms_base();
}  // namespace upnp::time_format
#endif

#endif /* UPNP_BASE_TIME_FORMAT_H */
