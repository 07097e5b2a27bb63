#include "importer/file_existence.hpp"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file_system.h"

namespace importer {

FileExistence::~FileExistence() {
  if (dir_fd_ >= 0) close(dir_fd_);
}

bool FileExistence::exists(const char* path) {
  const char* slash = strrchr(path, '/');
  // A path without a directory, with the root as its directory or ending in
  // "/" is looked up whole.
  if (slash == nullptr || slash == path || slash[1] == '\0') return upnp_file_exists(path) != 0;
  const size_t length = static_cast<size_t>(slash - path);
  if (length >= kDirSize) return upnp_file_exists(path) != 0;
  if (length != dir_length_ || memcmp(dir_, path, length) != 0) {
    if (dir_fd_ >= 0) close(dir_fd_);
    memcpy(dir_, path, length);
    dir_[length] = '\0';
    dir_length_ = length;
    dir_fd_ = open(dir_, O_PATH | O_DIRECTORY | O_CLOEXEC);
  }
  // A directory that cannot be opened answers as the whole path does.
  if (dir_fd_ < 0) return upnp_file_exists(path) != 0;
  struct stat info;
  return fstatat(dir_fd_, slash + 1, &info, 0) == 0;
}

}  // namespace importer
