#include "base/time_format.h"

#include <stdio.h>
#include <time.h>

#include <atomic>
#include <climits>

namespace {

// "%Y-%m-%d %H:%M:%S" fills 19 bytes and the NUL.
constexpr size_t kLogDateSize = 20;
constexpr int64_t kNoBase = INT64_MIN;

// The base in milliseconds; each microsecond part is divided down before
// any subtraction, so base and reading are rounded alike.
std::atomic<int64_t> g_ms_base{kNoBase};

int64_t wall_clock_ms() {
  struct timeval now {};
  gettimeofday(&now, nullptr);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

bool to_local(int64_t seconds, struct tm* out) {
  const auto t = static_cast<time_t>(seconds);
  return localtime_r(&t, out) != nullptr;
}

}  // namespace

namespace upnp::time_format {

int format_log_stamp(const struct timeval* now, char* buffer, size_t size) {
  if (buffer == nullptr) size = 0;
  char date[kLogDateSize] = {};
  long ms = 0;
  if (now != nullptr) {
    struct tm local {};
    if (to_local(now->tv_sec, &local)) strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
    ms = static_cast<long>(now->tv_usec / 1000);
  }
  return snprintf(buffer, size, "%s:%03ld ", date, ms);
}

int is_same_local_day(int64_t now, int64_t seconds) {
  struct tm today {};
  struct tm other {};
  if (!to_local(now, &today) || !to_local(seconds, &other)) return 0;
  return today.tm_year == other.tm_year && today.tm_yday == other.tm_yday;
}

void reset_ms_base() { g_ms_base.store(kNoBase); }

}  // namespace upnp::time_format

extern "C" {

int64_t upnp_time_ms_since_start(void) {
  const int64_t now = wall_clock_ms();
  int64_t base = g_ms_base.load();
  // Only one first caller wins; a racing one gets the winner's base.
  if (base == kNoBase && g_ms_base.compare_exchange_strong(base, now)) return 0;
  return now - base;
}

int64_t upnp_time_ms(void) { return upnp_time_ms_since_start(); }

int upnp_time_log_stamp(char* buffer, size_t size) {
  struct timeval now {};
  const bool have_clock = gettimeofday(&now, nullptr) == 0;
  return upnp::time_format::format_log_stamp(have_clock ? &now : nullptr, buffer, size);
}

int upnp_time_format_iso_local(int64_t seconds, char* buffer, size_t size) {
  struct tm local {};
  if (buffer == nullptr || !to_local(seconds, &local)) return 0;
  return snprintf(buffer, size, "%04d-%02d-%02dT%02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

int upnp_time_is_today(int64_t seconds) {
  return upnp::time_format::is_same_local_day(static_cast<int64_t>(time(nullptr)), seconds);
}

int32_t upnp_sleep_ms(uint32_t milliseconds) {
  struct timespec pause {};
  pause.tv_sec = static_cast<time_t>(milliseconds / 1000);
  pause.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
  nanosleep(&pause, nullptr);
  return 0;
}

}  // extern "C"
