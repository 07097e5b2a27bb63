// The few calls this subsystem makes into runtime modules that are still
// being written. Each is one small function here so that switching to the
// real call touches one line.
#ifndef UPNP_DBOBJECT_RUNTIME_HOOKS_HPP
#define UPNP_DBOBJECT_RUNTIME_HOOKS_HPP

#include <stddef.h>
#include <stdint.h>

namespace dbobject {

// The user's-language text for `key` as a new tracked text (the caller frees
// it); null only for a null key or when out of memory.
char* TranslateKey(const char* key);

// Whether the configuration keeps the DSD MIME types "audio/x-dsf" and
// "audio/x-dff" rather than reporting both as "audio/dsd".
bool KeepDsdMimeTypes();

// Strips tabs, line feeds, carriage returns and blanks from both ends of
// `text` in place; returns `text`.
char* TrimInPlace(char* text);

// The extension of a path or URL: a pointer into it, or null.
const char* PathExtension(const char* path);

// `seconds` as local "YYYY-MM-DDTHH:MM:SS" into `buffer`; the formatted
// length, or 0 (buffer untouched) when the time cannot be converted.
int FormatLocalTime(int64_t seconds, char* buffer, size_t size);

// Whether `seconds` falls on the current local day (same year and day of year).
bool IsToday(int64_t seconds);

}  // namespace dbobject

#endif  // UPNP_DBOBJECT_RUNTIME_HOOKS_HPP
