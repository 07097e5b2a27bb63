#include "base/time_format.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>

namespace {

// Runs a test body in a fixed time zone and puts the old one back.
class InZone {
 public:
  explicit InZone(const char* zone) : had_(getenv("TZ") != nullptr), old_(had_ ? getenv("TZ") : "") {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~InZone() {
    had_ ? setenv("TZ", old_.c_str(), 1) : unsetenv("TZ");
    tzset();
  }

 private:
  bool had_;
  std::string old_;
};

constexpr int64_t kMayFirst = 1714571109;  // 2024-05-01 13:45:09 UTC

TEST(TimeFormat, LogStampShape) {
  InZone utc("UTC");
  struct Case {
    int64_t seconds;
    long microseconds;
    size_t size;
    const char* expected;
    int returned;
  };
  const Case cases[] = {
      {kMayFirst, 42999, 32, "2024-05-01 13:45:09:042 ", 24},
      {kMayFirst, 999999, 25, "2024-05-01 13:45:09:999 ", 24},  // rounded down, exact fit
      {kMayFirst, 42000, 10, "2024-05-0", 24},  // cut; the full length is returned
      {INT64_MAX, 42000, 32, ":042 ", 5},       // no local time: the date part stays empty
  };
  char buffer[32];
  for (const Case& c : cases) {
    const struct timeval now = {static_cast<time_t>(c.seconds), c.microseconds};
    EXPECT_EQ(upnp::time_format::format_log_stamp(&now, buffer, c.size), c.returned) << c.expected;
    EXPECT_STREQ(buffer, c.expected);
  }
  EXPECT_EQ(upnp::time_format::format_log_stamp(nullptr, buffer, sizeof buffer), 5);
  EXPECT_STREQ(buffer, ":000 ") << "a failed clock read";
  EXPECT_EQ(upnp_time_log_stamp(buffer, sizeof buffer), 24);
  EXPECT_EQ(buffer[19], ':');
}

TEST(TimeFormat, IsoLocalDateTime) {
  const char* const cases[][3] = {
      {"UTC", "1714571109", "2024-05-01T13:45:09"},
      {"CET-1", "0", "1970-01-01T01:00:00"},  // local time, no zone designator
  };
  for (const auto& c : cases) {
    InZone zone(c[0]);
    char buffer[20];
    EXPECT_EQ(upnp_time_format_iso_local(atoll(c[1]), buffer, sizeof buffer), 19) << c[2];
    EXPECT_STREQ(buffer, c[2]);
  }
  char buffer[20] = "untouched";
  EXPECT_EQ(upnp_time_format_iso_local(INT64_MAX, buffer, sizeof buffer), 0);
  EXPECT_STREQ(buffer, "untouched");
}

TEST(TimeFormat, SameLocalDay) {
  InZone utc("UTC");
  constexpr int64_t kDay = 86400;
  const int64_t midnight = kMayFirst - kMayFirst % kDay;
  struct Case {
    int64_t seconds;
    int expected;
    const char* what;
  };
  const Case cases[] = {
      {midnight, 1, "the day's first second"},
      {midnight + kDay - 1, 1, "the day's last second"},
      {kMayFirst - 365 * kDay, 0, "2023-05-01: same day of the year, other year"},
      {INT64_MAX, 0, "not convertible"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(upnp::time_format::is_same_local_day(kMayFirst, c.seconds), c.expected) << c.what;
  }
  EXPECT_EQ(upnp_time_is_today(static_cast<int64_t>(time(nullptr))), 1);
}

TEST(TimeFormat, MillisecondClockCountsFromFirstCall) {
  upnp::time_format::reset_ms_base();
  EXPECT_EQ(upnp_time_ms_since_start(), 0);
  EXPECT_EQ(upnp_sleep_ms(150), 0);
  const int64_t later = upnp_time_ms();
  EXPECT_GE(later, 149) << "each part is rounded down to milliseconds";
  EXPECT_LT(later, 60000);
}

}  // namespace
