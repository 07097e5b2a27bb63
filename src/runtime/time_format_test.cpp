#include "runtime/time_format.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>

namespace {

// Runs a test body in a fixed time zone and puts the old one back.
class InZone {
 public:
  explicit InZone(const char* zone) {
    const char* old = getenv("TZ");
    had_zone_ = old != nullptr;
    if (had_zone_) old_zone_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~InZone() {
    if (had_zone_) {
      setenv("TZ", old_zone_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  bool had_zone_ = false;
  std::string old_zone_;
};

// 2024-05-01 13:45:09 UTC.
constexpr int64_t kMayFirst = 1714571109;

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
      {kMayFirst, 0, 32, "2024-05-01 13:45:09:000 ", 24},
      {kMayFirst, 999999, 32, "2024-05-01 13:45:09:999 ", 24},
      {kMayFirst, 42000, 10, "2024-05-0", 24},  // cut, but the full length returned
      {kMayFirst, 42000, 25, "2024-05-01 13:45:09:042 ", 24},
      {INT64_MAX, 42000, 32, ":042 ", 5},  // no local time: the date part stays empty
  };
  for (const Case& c : cases) {
    struct timeval now {};
    now.tv_sec = static_cast<time_t>(c.seconds);
    now.tv_usec = c.microseconds;
    char buffer[32];
    EXPECT_EQ(upnp::time_format::format_log_stamp(&now, buffer, c.size), c.returned) << c.expected;
    EXPECT_STREQ(buffer, c.expected);
  }
  char buffer[32];
  EXPECT_EQ(upnp::time_format::format_log_stamp(nullptr, buffer, sizeof buffer), 5);
  EXPECT_STREQ(buffer, ":000 ") << "a failed clock read";
  EXPECT_EQ(upnp::time_format::format_log_stamp(nullptr, nullptr, 8), 5);
}

TEST(TimeFormat, LogStampOfTheLiveClock) {
  char buffer[32];
  ASSERT_EQ(upnp_time_log_stamp(buffer, sizeof buffer), 24);
  const std::string stamp = buffer;
  const std::string shape = "dddd-dd-dd dd:dd:dd:ddd ";
  ASSERT_EQ(stamp.size(), shape.size());
  for (size_t i = 0; i < shape.size(); ++i) {
    if (shape[i] == 'd') {
      EXPECT_TRUE(stamp[i] >= '0' && stamp[i] <= '9') << stamp;
    } else {
      EXPECT_EQ(stamp[i], shape[i]) << stamp;
    }
  }
}

TEST(TimeFormat, IsoLocalDateTime) {
  struct Case {
    const char* zone;
    int64_t seconds;
    const char* expected;
  };
  const Case cases[] = {
      {"UTC", 0, "1970-01-01T00:00:00"},
      {"UTC", kMayFirst, "2024-05-01T13:45:09"},
      {"CET-1", 0, "1970-01-01T01:00:00"},  // local time, no zone designator
      {"UTC", -1, "1969-12-31T23:59:59"},
      {"UTC", 253402300799, "9999-12-31T23:59:59"},
  };
  for (const Case& c : cases) {
    InZone zone(c.zone);
    char buffer[20];
    EXPECT_EQ(upnp_time_format_iso_local(c.seconds, buffer, sizeof buffer), 19) << c.expected;
    EXPECT_STREQ(buffer, c.expected);
  }
}

TEST(TimeFormat, IsoLocalLeavesBufferOnFailure) {
  char buffer[20] = "untouched";
  EXPECT_EQ(upnp_time_format_iso_local(INT64_MAX, buffer, sizeof buffer), 0);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(upnp_time_format_iso_local(0, nullptr, 20), 0);
}

TEST(TimeFormat, SameLocalDay) {
  InZone utc("UTC");
  constexpr int64_t kDay = 86400;
  const int64_t midnight = kMayFirst - (kMayFirst % kDay);
  struct Case {
    int64_t seconds;
    int expected;
    const char* what;
  };
  const Case cases[] = {
      {kMayFirst, 1, "the same moment"},
      {midnight, 1, "the day's first second"},
      {midnight + kDay - 1, 1, "the day's last second"},
      {midnight - 1, 0, "the day before"},
      {midnight + kDay, 0, "the day after"},
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
  EXPECT_EQ(upnp_sleep_ms(0), 0);
}

}  // namespace
