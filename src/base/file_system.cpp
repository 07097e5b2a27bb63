#include "base/file_system.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "base/file_faults.h"
#include "base/log.h"
#include "base/memory.h"

namespace {

constexpr size_t kFindPathSize = 2048;

bool is_separator(char c) { return c == '/' || c == '\\'; }

// Creates one directory the recursive walk found missing.
bool make_missing(const char* path, uint32_t mode, int32_t set_mode) {
  if (upnp_file_mkdir(path) != 0) return false;
  if (set_mode) upnp_file_chmod(path, mode);
  return true;
}

// Replaces an owned text; false (text kept) when out of memory.
bool replace_text(char** slot, const char* text) {
  char* copy = upnp_strdup(text);
  if (copy == nullptr) return false;
  TrackedFree()(*slot);
  *slot = copy;
  return true;
}

// A media scan never descends into hidden directories or lost+found.
bool skipped_directory(std::string_view name) { return name.starts_with('.') || name == "lost+found"; }

}  // namespace

extern "C" {

int32_t upnp_file_stat(const char* path, upnp_file_info* info) {
  if (path == nullptr || info == nullptr) return -1;
  struct stat st;
  const int result = stat(path, &st);
  if (result != 0) return result;
  info->modified = st.st_mtime;
  info->changed = st.st_mtime;
  info->accessed = st.st_atime;
  info->size = st.st_size;
  info->mode = st.st_mode;
  return 0;
}

int32_t upnp_file_exists(const char* path) {
  upnp_file_info info;
  return upnp_file_stat(path, &info) == 0 ? 1 : 0;
}

int32_t upnp_file_mode_test(const char* path, uint32_t mask) {
  upnp_file_info info;
  return upnp_file_stat(path, &info) == 0 && (info.mode & mask) != 0 ? 1 : 0;
}

int32_t upnp_file_is_regular(const char* path) { return upnp_file_mode_test(path, 0x8000); }

int32_t upnp_file_mkdir(const char* path) {
  if (path == nullptr) return -1;
  return mkdir(path, 0777) == 0 || errno == EEXIST ? 0 : -1;
}

int32_t upnp_file_mkdir_recursive(const char* path, uint32_t mode, int32_t set_mode) {
  if (path == nullptr) return -1;
  size_t start = 1;
  if (path[0] != '\0' && path[1] == ':') start = path[2] == '/' ? 3 : 2;
  if (upnp_file_exists(path)) return 0;
  TrackedPtr<char> copy(upnp_strdup(path));
  if (copy == nullptr) return -1;
  char* text = copy.get();
  const size_t length = strlen(text);
  for (size_t i = start; i < length; ++i) {
    if (text[i] != '/') continue;
    text[i] = '\0';
    const bool ok = upnp_file_exists(text) || make_missing(text, mode, set_mode);
    text[i] = '/';
    if (!ok) return -1;
  }
  if (upnp_file_exists(path)) return 0;
  return make_missing(path, mode, set_mode) ? 0 : -1;
}

int32_t upnp_file_mkdir_path(const char* path) { return upnp_file_mkdir_recursive(path, 0, 0); }

int32_t upnp_file_chmod(const char* path, uint32_t mode) {
  if (path == nullptr) return -1;
  return chmod(path, mode) == 0 ? 0 : -1;
}

int32_t upnp_file_unlink(const char* path) { return path == nullptr ? -1 : unlink(path); }

int32_t upnp_file_rmdir(const char* path) { return path == nullptr ? -1 : rmdir(path); }

int32_t upnp_file_rename(const char* old_path, const char* new_path) {
  if (old_path == nullptr || new_path == nullptr) return -1;
  if (upnp_file_fault_hit(UPNP_FILE_CALL_RENAME)) return -1;
  return rename(old_path, new_path);
}

char* upnp_file_path_join(const char* directory, const char* name) {
  if (directory == nullptr || name == nullptr || directory[0] == '\0' || name[0] == '\0') return nullptr;
  std::string_view dir(directory);
  std::string_view leaf(name);
  if (is_separator(dir.back())) dir.remove_suffix(1);
  if (is_separator(leaf.front())) leaf.remove_prefix(1);
  const size_t size = dir.size() + 1 + leaf.size() + 1;
  auto* joined = static_cast<char*>(upnp_calloc(1, size));
  if (joined == nullptr) return nullptr;
  memcpy(joined, dir.data(), dir.size());
  joined[dir.size()] = '/';
  memcpy(joined + dir.size() + 1, leaf.data(), leaf.size());
  return joined;
}

upnp_file_find* upnp_file_find_first_file(const char* directory) {
  if (directory == nullptr || directory[0] == '\0') return nullptr;
  if (strncmp(directory, "/proc", 5) == 0) return nullptr;
  char dot_path[kFindPathSize];
  snprintf(dot_path, sizeof dot_path, "%s/.", directory);
  DIR* dir = opendir(dot_path);
  if (dir == nullptr) return nullptr;
  auto* find = static_cast<upnp_file_find*>(upnp_calloc(1, sizeof(upnp_file_find)));
  char* base = find != nullptr ? upnp_strdup(directory) : nullptr;
  if (base == nullptr) {
    TrackedFree()(find);
    closedir(dir);
    return nullptr;
  }
  const size_t length = strlen(base);
  if (length > 0 && base[length - 1] == '/') base[length - 1] = '\0';
  find->dir = dir;
  find->base = base;
  return upnp_file_find_next_file(find);
}

upnp_file_find* upnp_file_find_next_file(upnp_file_find* find) {
  if (find == nullptr) return nullptr;
  for (;;) {
    const struct dirent* entry = readdir(find->dir);
    if (entry == nullptr || entry->d_name[0] == '\0') break;
    char path[kFindPathSize];
    snprintf(path, sizeof path, "%s%c%s", find->base, '/', entry->d_name);
    struct stat followed;
    if (stat(path, &followed) != 0) {
      const int error = errno;
      upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "upnp_file_find_next_file", 0,
               "File stat for \"%s\" failed. (%s,errno=%d)", path, strerror(error), error);
      continue;
    }
    const bool is_dir = S_ISDIR(followed.st_mode);
    if (is_dir && skipped_directory(entry->d_name)) continue;
    if (!replace_text(&find->path, path) || !replace_text(&find->name, entry->d_name)) break;
    struct stat own;
    find->is_dir = is_dir ? 1 : 0;
    find->is_link = lstat(path, &own) == 0 && S_ISLNK(own.st_mode) ? 1 : 0;
    return find;
  }
  upnp_file_find_close(find);
  return nullptr;
}

void upnp_file_find_close(upnp_file_find* find) {
  if (find == nullptr) return;
  if (find->dir != nullptr) closedir(find->dir);
  TrackedFree()(find->base);
  TrackedFree()(find->path);
  TrackedFree()(find->name);
  upnp_free(find);
}

}  // extern "C"
