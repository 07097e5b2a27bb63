// The few calls this subsystem makes into runtime modules that are still
// being written. Each is one small function here so that switching to the
// real call touches one line.
#ifndef UPNP_DBOBJECT_RUNTIME_HOOKS_HPP
#define UPNP_DBOBJECT_RUNTIME_HOOKS_HPP

#include <stdint.h>

struct upnp_file;

namespace dbobject {

// The user's-language text for `key` as a new tracked text (the caller frees
// it); null only for a null key or when out of memory.
char* TranslateKey(const char* key);

// Whether the configuration keeps the DSD MIME types "audio/x-dsf" and
// "audio/x-dff" rather than reporting both as "audio/dsd".
bool KeepDsdMimeTypes();

// Writes `length` bytes to an open file handle; the bytes written or -1.
int64_t WriteToFile(struct upnp_file* file, const void* data, uint64_t length);

}  // namespace dbobject

#endif  // UPNP_DBOBJECT_RUNTIME_HOOKS_HPP
