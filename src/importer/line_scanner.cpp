#include "importer/line_scanner.hpp"

#include <errno.h>
#include <sched.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/memory.h"

namespace importer {

namespace {

// Pass 1 reads one byte less than its buffer so that the text always ends in
// a NUL; passes 2 and 3 read the whole buffer and cut its last byte.
constexpr size_t read_size_of(LinePass pass) {
  return pass == LinePass::kAudiobooks ? LineScanner::kLineBufferSize - 1 : LineScanner::kLineBufferSize;
}

}  // namespace

LineScanner::LineScanner(LinePass pass, size_t block_size)
    : read_size_(read_size_of(pass)),
      keep_limit_(kLineBufferSize - 1),
      yield_per_line_(pass == LinePass::kFoldersAndTracks),
      block_size_(std::max(block_size, read_size_of(pass))) {}

LineScanner::~LineScanner() { close(); }

bool LineScanner::open(const char* path) {
  close();
  upnp_file* file = upnp_file_open_read(path);
  if (file == nullptr) return false;
  if (!start(file)) {
    upnp_file_close(file);
    return false;
  }
  return true;
}

bool LineScanner::start(upnp_file* file) {
  block_ = static_cast<char*>(upnp_malloc(block_size_ + 1));
  if (block_ == nullptr) return false;
  file_ = file;
  size_ = file->size;
  position_ = file->position;
  begin_ = end_ = nul_at_ = 0;
  block_[0] = 0;
  saved_ = 0;
  drained_ = false;
  struct stat info;
  identity_ = fstat(file->fd, &info) == 0
                  ? FileIdentity{info.st_dev, info.st_ino, info.st_size, info.st_mtim.tv_sec, info.st_mtim.tv_nsec}
                  : FileIdentity{};
  return true;
}

void LineScanner::close() {
  if (file_ != nullptr) upnp_file_close(file_);
  file_ = nullptr;
  if (block_ != nullptr) upnp_free(block_);
  block_ = nullptr;
  begin_ = end_ = nul_at_ = 0;
  size_ = position_ = 0;
  identity_ = FileIdentity{};
}

bool LineScanner::at_end() const {
  return file_ == nullptr || position_ >= size_ || (drained_ && begin_ == end_);
}

void LineScanner::refill() {
  if (begin_ > 0) {
    memmove(block_, block_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  while (end_ < read_size_ && !drained_) {
    const ssize_t got = read(file_->fd, block_ + end_, block_size_ - end_);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      drained_ = true;
      break;
    }
    end_ += static_cast<size_t>(got);
  }
}

LineChunk LineScanner::next() {
  static char empty[1] = {0};
  if (block_ == nullptr) return {empty, 0};
  block_[nul_at_] = saved_;
  if (end_ - begin_ < read_size_ && !drained_) refill();

  char* const line = block_ + begin_;
  const size_t available = std::min(end_ - begin_, read_size_);
  const auto* newline = static_cast<const char*>(memchr(line, '\n', available));
  const size_t raw = newline != nullptr ? static_cast<size_t>(newline - line) + 1 : available;
  const size_t kept = std::min(raw, keep_limit_);

  nul_at_ = begin_ + kept;  // at most end_, and the block has a spare byte behind end_
  saved_ = block_[nul_at_];
  block_[nul_at_] = 0;
  begin_ += raw;
  position_ += static_cast<int64_t>(raw);
  if (yield_per_line_) sched_yield();
  return {line, kept};
}

}  // namespace importer
