#include "importer/line_scanner.hpp"

#include <errno.h>
#include <sched.h>
#include <string.h>
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
  return true;
}

void LineScanner::close() {
  if (file_ != nullptr) upnp_file_close(file_);
  file_ = nullptr;
  if (block_ != nullptr) upnp_free(block_);
  block_ = nullptr;
  begin_ = end_ = nul_at_ = 0;
  size_ = position_ = 0;
}

bool LineScanner::at_end() const {
  return file_ == nullptr || position_ >= size_ || (drained_ && begin_ == end_);
}

void LineScanner::refill(size_t wanted) {
  if (begin_ > 0) {
    memmove(block_, block_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  while (end_ < wanted && !drained_) {
    const ssize_t got = read(file_->fd, block_ + end_, block_size_ - end_);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      drained_ = true;
      break;
    }
    end_ += static_cast<size_t>(got);
  }
}

inline LineChunk LineScanner::hand_out(size_t kept, size_t raw) {
  char* const line = block_ + begin_;
  nul_at_ = begin_ + kept;  // at most end_, and the block has a spare byte behind end_
  saved_ = block_[nul_at_];
  block_[nul_at_] = 0;
  begin_ += raw;
  position_ += static_cast<int64_t>(raw);
  return {line, kept};
}

LineChunk LineScanner::next() {
  static char empty[1] = {0};
  if (block_ == nullptr) return {empty, 0};
  block_[nul_at_] = saved_;
  if (end_ - begin_ < read_size_ && !drained_) refill(read_size_);

  const char* const line = block_ + begin_;
  const size_t available = std::min(end_ - begin_, read_size_);
  const auto* newline = static_cast<const char*>(memchr(line, '\n', available));
  const size_t raw = newline != nullptr ? static_cast<size_t>(newline - line) + 1 : available;
  const LineChunk chunk = hand_out(std::min(raw, keep_limit_), raw);
  if (yield_per_line_) sched_yield();
  return chunk;
}

// The chunk's bytes are still in the block, from where the line starts: back
// there, then forward to the newline, reading on into the rest of the block
// when the line goes past the bytes buffered. The whole line must fit in the
// block, so a line costs no memory beyond the block already held; a longer
// one is handed out again as the chunk it was.
LineChunk LineScanner::extend_to_line(LineChunk chunk) {
  block_[nul_at_] = saved_;
  const size_t raw = static_cast<size_t>(block_ + begin_ - chunk.text);
  begin_ -= raw;
  position_ -= static_cast<int64_t>(raw);
  if (block_[begin_ + raw - 1] == '\n') return hand_out(raw, raw);  // whole, or only its newline cut

  const auto newline_from = [&](size_t offset) {
    return static_cast<const char*>(memchr(block_ + begin_ + offset, '\n', end_ - begin_ - offset));
  };
  const char* newline = newline_from(raw);
  if (newline == nullptr && !drained_ && end_ - begin_ < block_size_) {
    refill(block_size_);
    newline = newline_from(raw);
  }
  if (newline != nullptr) {
    const size_t length = static_cast<size_t>(newline - (block_ + begin_)) + 1;
    return hand_out(length, length);
  }
  if (drained_) return hand_out(end_ - begin_, end_ - begin_);  // the last line, without a newline
  return hand_out(chunk.length, raw);
}

}  // namespace importer
