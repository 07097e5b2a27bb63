#include "base/number_text.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>

namespace {

TEST(NumberText, SameCharactersAsPrintf) {
  for (const int32_t value : {0, 7, -7, 10, 99, 1000000, INT32_MAX, INT32_MIN}) {
    char expected[UPNP_INT32_TEXT_SIZE];
    snprintf(expected, sizeof expected, "%d", value);
    char text[UPNP_INT32_TEXT_SIZE];
    EXPECT_EQ(upnp_int32_to_text(value, text), strlen(expected)) << value;
    EXPECT_STREQ(text, expected) << value;
  }
  for (const uint32_t width : {0u, 2u, 3u}) {
    for (const uint32_t value : {0u, 5u, 59u, 999u, 1193u, UINT32_MAX}) {
      char expected[16];
      snprintf(expected, sizeof expected, "%0*u", static_cast<int>(width), value);
      char text[16];
      EXPECT_EQ(upnp_uint32_to_text(value, width, text), strlen(expected)) << value << " width " << width;
      EXPECT_STREQ(text, expected) << value << " width " << width;
    }
  }
}

}  // namespace
