#include "dbobject/runtime_hooks.hpp"

#include <stdio.h>
#include <string.h>
#include <time.h>

#include "runtime/memory.h"

namespace dbobject {

char* TranslateKey(const char* key) {
  // Moves to upnp_translate(key) once the translations module is in. Until
  // then this answers as that call does when no translation file is loaded,
  // which is the import flow's case: the key itself.
  if (key == nullptr) return nullptr;
  return upnp_strdup(key);
}

bool KeepDsdMimeTypes() {
  // Moves to upnp_ini_get_int(76) ("x_dsf_mimetypes") once the settings
  // module is in; until then its default, "0": off.
  return false;
}

}  // namespace dbobject

// The string and time helpers below move to upnp_string_trim,
// upnp_get_file_extension, upnp_time_format_iso_local and upnp_time_is_today
// once the string and time modules are in; each follows that module's rule.
namespace dbobject {

namespace {
bool IsTrimmed(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }
}  // namespace

char* TrimInPlace(char* text) {
  if (text == nullptr) return nullptr;
  size_t end = strlen(text);
  while (end > 0 && IsTrimmed(text[end - 1])) text[--end] = '\0';
  size_t start = 0;
  while (start < end && IsTrimmed(text[start])) ++start;
  if (start > 0) memmove(text, text + start, end - start + 1);
  return text;
}

const char* PathExtension(const char* path) {
  if (path == nullptr) return nullptr;
  const char* last_dot = strrchr(path, '.');
  if (last_dot == nullptr) return nullptr;
  const size_t length = strlen(path);
  // A very short suffix may be the tail of a two-part ending ("x.ab.c").
  if (strlen(last_dot) < 3 && length > 5) {
    const char* earlier = strchr(path + length - 6, '.');
    if (earlier != nullptr && earlier != last_dot) return earlier + 1;
  }
  if (strchr(last_dot + 1, '/') != nullptr) return nullptr;
  return last_dot + 1;
}

int FormatLocalTime(int64_t seconds, char* buffer, size_t size) {
  const time_t when = static_cast<time_t>(seconds);
  struct tm local;
  if (localtime_r(&when, &local) == nullptr) return 0;
  return snprintf(buffer, size, "%04d-%02d-%02dT%02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

bool IsToday(int64_t seconds) {
  const time_t now = time(nullptr);
  const time_t when = static_cast<time_t>(seconds);
  struct tm today;
  struct tm then;
  if (localtime_r(&now, &today) == nullptr || localtime_r(&when, &then) == nullptr) return false;
  return today.tm_year == then.tm_year && today.tm_yday == then.tm_yday;
}

}  // namespace dbobject
