#include "base/case_map.h"

namespace {

constexpr unsigned char fold_lower(unsigned c) {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}
constexpr unsigned char fold_upper(unsigned c) {
  return static_cast<unsigned char>(c >= 'a' && c <= 'z' ? c - ('a' - 'A') : c);
}

static_assert(fold_lower('A') == 'a' && fold_lower('Z') == 'z' && fold_lower('@') == '@' &&
              fold_lower('[') == '[' && fold_lower(0xC4) == 0xC4);
static_assert(fold_upper('a') == 'A' && fold_upper('z') == 'Z' && fold_upper('`') == '`' &&
              fold_upper('{') == '{' && fold_upper(0xE4) == 0xE4);

}  // namespace

// Spelled out by expansion so that both tables are constant-initialised C
// arrays, readable before any start-up step has run.
#define CASE_ROW4(f, n) f(n), f(n + 1), f(n + 2), f(n + 3)
#define CASE_ROW16(f, n) CASE_ROW4(f, n), CASE_ROW4(f, n + 4), CASE_ROW4(f, n + 8), CASE_ROW4(f, n + 12)
#define CASE_ROW64(f, n) \
  CASE_ROW16(f, n), CASE_ROW16(f, n + 16), CASE_ROW16(f, n + 32), CASE_ROW16(f, n + 48)
#define CASE_TABLE(f) CASE_ROW64(f, 0u), CASE_ROW64(f, 64u), CASE_ROW64(f, 128u), CASE_ROW64(f, 192u)

extern "C" {
constinit const unsigned char upnp_lower_case_map[256] = {CASE_TABLE(fold_lower)};
constinit const unsigned char upnp_upper_case_map[256] = {CASE_TABLE(fold_upper)};
}

#undef CASE_TABLE
#undef CASE_ROW64
#undef CASE_ROW16
#undef CASE_ROW4
