#include "services/resource.h"

#include <string.h>

#include <string_view>

#include "base/file.h"
#include "base/file_system.h"
#include "base/locks.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/string_util.h"
#include "services/settings.h"

namespace {

struct CacheSlot {
  char* name;  // null while the slot is free
  char* content;
  uint32_t content_length;
};

upnp_plain_lock* g_cache_lock = nullptr;
CacheSlot g_cache[UPNP_RESOURCE_CACHE_SLOTS];
upnp_resource_override_fn g_override_hook = nullptr;

constexpr std::string_view kCachedExtensions[] = {"xml", "txt", "ico", "jpg", "png"};

// Content plus the two zero bytes that end both UTF-8 and UTF-16 text.
char* terminated_copy(const char* content, uint32_t length) {
  auto* copy = static_cast<char*>(upnp_malloc(uint64_t{length} + 2));
  if (copy == nullptr) return nullptr;
  memcpy(copy, content, length);
  copy[length] = copy[length + 1] = '\0';
  return copy;
}

// Translation tables and views change under a running server, so they are
// always read fresh; so are names whose extension is not one of the few
// small static kinds.
bool cacheable(const char* name, uint32_t length) {
  if (length == 0) return false;
  const char* dot = strrchr(name, '.');
  if (dot == nullptr || strstr(name, "strings-") != nullptr || strstr(name, "views/") != nullptr) return false;
  for (std::string_view extension : kCachedExtensions) {
    if (extension == dot + 1) return true;
  }
  return false;
}

// Caller holds the g_cache lock. The matching slot, or null.
CacheSlot* find_cached(const char* name) {
  for (CacheSlot& slot : g_cache) {
    if (slot.name == nullptr) return nullptr;
    if (strcmp(slot.name, name) == 0) return &slot;
  }
  return nullptr;
}

void add_to_cache(const char* name, const char* content, uint32_t length) {
  LockGuard guard(&g_cache_lock);
  for (CacheSlot& slot : g_cache) {
    if (slot.name != nullptr) {
      if (strcmp(slot.name, name) == 0) return;
      continue;
    }
    char* copy = upnp_strdup(name);
    auto* bytes = static_cast<char*>(upnp_malloc(length));
    if (copy == nullptr || bytes == nullptr) {  // not cached; the caller still has the content
      if (copy != nullptr) upnp_free(copy);
      if (bytes != nullptr) upnp_free(bytes);
      return;
    }
    memcpy(bytes, content, length);
    slot = CacheSlot{copy, bytes, length};
    return;
  }
  upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "add_to_cache", 0, "too many files (%d)", UPNP_RESOURCE_CACHE_SLOTS);
}

// The whole file plus two zero bytes, or null.
char* read_file(const char* path, uint32_t* length) {
  upnp_file* file = upnp_file_open_read(path);
  if (file == nullptr) return nullptr;
  const int64_t size = file->size;
  char* buffer = size >= 0 && size <= UINT32_MAX - 2 ? static_cast<char*>(upnp_malloc(uint64_t(size) + 2)) : nullptr;
  int64_t done = 0;
  for (int64_t got; buffer != nullptr && done < size &&
                    (got = upnp_file_read(file, buffer + done, static_cast<uint64_t>(size - done))) > 0;) {
    done += got;
  }
  upnp_file_close(file);
  if (buffer == nullptr) return nullptr;
  if (done != size) {  // the file shrank or a read failed: not a whole file
    upnp_free(buffer);
    return nullptr;
  }
  buffer[size] = buffer[size + 1] = '\0';
  *length = static_cast<uint32_t>(size);
  return buffer;
}

}  // namespace

extern "C" {

upnp_string* get_resource_file_path(const char* name) {
  const char* directory = upnp_ini_get(UPNP_INI_RESOURCEDIR);
  if (directory == nullptr || name == nullptr) return nullptr;
  upnp_string* path = upnp_string_sprintf_append(nullptr, "%s%c%s", directory, '/', name);
  if (path == nullptr) return nullptr;
  const int64_t skin = upnp_ini_get_int(UPNP_INI_WEBUISKIN);
  if (skin < 1) return path;
  if (skin > 9) {
    upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, "get_resource_file_path", 0,
             "Invalid webuiskin ini value - it must be a digit in [0-9]");
    return path;
  }
  if (upnp_get_file_extension(name) == nullptr) return path;
  char base[256];
  upnp_get_file_basename(name, base, sizeof base, 1);
  char skinned_base[sizeof base + 8];
  snprintf(skinned_base, sizeof skinned_base, "%s-%i", base, static_cast<int>(skin));
  char* skinned = upnp_string_replace(upnp_string_get(path), base, skinned_base, 0, nullptr);
  if (skinned == nullptr || skinned == upnp_string_get(path)) return path;
  if (upnp_file_exists(skinned)) {
    upnp_string* result = upnp_string_new(skinned, static_cast<uint32_t>(strlen(skinned) + 1));
    if (result != nullptr) {
      upnp_string_free(path);
      path = result;
    }
  }
  upnp_free(skinned);
  return path;
}

int32_t upnp_get_resource_file(char* name, uint32_t* length, char** content) {
  if (length != nullptr) *length = 0;
  if (content != nullptr) *content = nullptr;
  if (name == nullptr || length == nullptr || content == nullptr) return 0;
  if (char* query = strrchr(name, '?'); query != nullptr) *query = '\0';
  if (strstr(name, "..") != nullptr) return 0;
  if (g_override_hook != nullptr) return g_override_hook(name, length, content);
  {
    LockGuard guard(&g_cache_lock);
    if (const CacheSlot* slot = find_cached(name); slot != nullptr) {
      *content = terminated_copy(slot->content, slot->content_length);
      if (*content == nullptr) return 0;
      *length = slot->content_length;
      return 1;
    }
  }
  upnp_string* resolved = nullptr;
  const char* path = name;
  if (strchr(name, '/') == nullptr || !upnp_file_exists(name)) {
    resolved = get_resource_file_path(name);
    path = upnp_string_get(resolved);
  }
  uint32_t size = 0;
  char* buffer = path != nullptr && upnp_file_exists(path) ? read_file(path, &size) : nullptr;
  upnp_string_free(resolved);
  if (buffer == nullptr) return 0;
  if (cacheable(name, size)) add_to_cache(name, buffer, size);
  *length = size;
  *content = buffer;
  return 1;
}

void upnp_resource_cache_clear(void) {
  LockGuard guard(&g_cache_lock);
  for (CacheSlot& slot : g_cache) {
    if (slot.name != nullptr) upnp_free(slot.name);
    if (slot.content != nullptr) upnp_free(slot.content);
    slot = CacheSlot{};
  }
}

void upnp_resource_set_override(upnp_resource_override_fn hook) { g_override_hook = hook; }

int32_t upnp_resource_prepare(void) {
  if (upnp_lock_exists(&g_cache_lock)) return 0;
  return upnp_lock_create(&g_cache_lock) == 0 ? UPNP_OK : UPNP_FAILED;
}

void upnp_resource_init(void) {
  upnp_resource_cache_clear();
  g_override_hook = nullptr;
}

void upnp_resource_stop(void) { upnp_resource_cache_clear(); }

void upnp_resource_release(void) { upnp_lock_destroy(&g_cache_lock); }

}  // extern "C"
