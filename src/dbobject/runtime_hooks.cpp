#include "dbobject/runtime_hooks.hpp"

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

int64_t WriteToFile(struct upnp_file* file, const void* data, uint64_t length) {
  // Moves to upnp_file_write(file, data, length) once the file module is in;
  // until then nothing is written.
  (void)file;
  (void)data;
  (void)length;
  return -1;
}

}  // namespace dbobject

