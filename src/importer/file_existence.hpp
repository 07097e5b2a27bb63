// Whether a track's file exists, as upnp_file_exists answers for its path,
// looked up from the file's directory, which stays open while the tracks
// that follow are in it too. The tracks of an album come one after another,
// so a track costs the lookup of one path component instead of the walk of
// its whole path.
//
// Answers as stat(2) on the path would, as long as no directory on the way
// is replaced during the run. One per pass; not thread-safe.
#pragma once

#include <stddef.h>

namespace importer {

class FileExistence {
 public:
  FileExistence() = default;
  ~FileExistence();
  FileExistence(const FileExistence&) = delete;
  FileExistence& operator=(const FileExistence&) = delete;

  [[nodiscard]] bool exists(const char* path);

 private:
  static constexpr size_t kDirSize = 1024;
  int dir_fd_ = -1;  // of dir_; -1 for none
  size_t dir_length_ = 0;
  char dir_[kDirSize] = {};
};

}  // namespace importer
