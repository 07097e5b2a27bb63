#include "base/file_guard.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Leftovers are the program's own files, a few levels deep at most; deeper
// trees are not followed down.
constexpr int kMaxDepth = 8;

bool remove_entries(int dir_fd, const char* prefix, int depth);

// Removes one entry of dir_fd: a directory after its contents, anything
// else (links included) by unlinking the name itself.
bool remove_entry(int dir_fd, const char* name, int depth) {
  if (unlinkat(dir_fd, name, 0) == 0 || errno == ENOENT) return true;
  if (errno != EISDIR && errno != EPERM) return false;
  if (depth >= kMaxDepth) return false;
  const int child = openat(dir_fd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (child < 0) return false;
  const bool emptied = remove_entries(child, nullptr, depth + 1);
  return emptied && unlinkat(dir_fd, name, AT_REMOVEDIR) == 0;
}

// Takes over dir_fd and closes it.
bool remove_entries(int dir_fd, const char* prefix, int depth) {
  DIR* dir = fdopendir(dir_fd);
  if (dir == nullptr) {
    close(dir_fd);
    return false;
  }
  bool all = true;
  const size_t prefix_length = prefix != nullptr ? strlen(prefix) : 0;
  while (const dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
    if (prefix_length > 0 && strncmp(name, prefix, prefix_length) != 0) continue;
    if (!remove_entry(dirfd(dir), name, depth)) all = false;
  }
  closedir(dir);
  return all;
}

int open_directory(const char* path) { return open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }

}  // namespace

extern "C" {

int32_t upnp_file_lock_exclusive(const char* path) {
  if (path == nullptr) return -1;
  // Created exclusively so that only a new file gets its mode set, whatever
  // the process's mask; an existing one is opened as it is.
  int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (fd >= 0) {
    (void)fchmod(fd, 0644);
  } else if (errno == EEXIST) {
    fd = open(path, O_RDWR | O_NOFOLLOW | O_CLOEXEC);
  }
  if (fd < 0) return -1;
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    const int saved = errno;
    close(fd);
    errno = saved;
    return -1;
  }
  return fd;
}

void upnp_file_unlock(int32_t fd) {
  if (fd >= 0) close(fd);
}

int32_t upnp_file_is_symlink(const char* path) {
  struct stat info;
  return path != nullptr && lstat(path, &info) == 0 && S_ISLNK(info.st_mode) ? 1 : 0;
}

int32_t upnp_file_clear_dir(const char* path) {
  if (path == nullptr) return -1;
  const int fd = open_directory(path);
  return fd >= 0 && remove_entries(fd, nullptr, 0) ? 0 : -1;
}

int32_t upnp_file_remove_prefixed(const char* directory, const char* prefix) {
  if (directory == nullptr || prefix == nullptr || prefix[0] == '\0') return -1;
  const int fd = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return fd >= 0 && remove_entries(fd, prefix, 0) ? 0 : -1;
}

int32_t upnp_file_link(const char* old_path, const char* new_path) {
  if (old_path == nullptr || new_path == nullptr) return -1;
  return link(old_path, new_path);
}

}  // extern "C"
