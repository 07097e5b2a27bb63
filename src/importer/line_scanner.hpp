// Line reader for the three passes over the iTunes library file.
//
// The passes read lines as the file utilities' line reader (upnp_file_gets)
// gives them: one read of up to 1023 or 1024 bytes per line, then a seek
// back to just behind the first newline. That costs two system calls per
// line. LineScanner hands out exactly the same lines, cut from one large
// block buffer instead, so a 150 MB library costs a few thousand reads.
//
// What "the same lines" means, for a pass reading with `size` bytes into a
// 1024-byte line buffer, from the current position p:
//   - raw = the bytes up to and including the first newline among the next
//     `size` bytes, or all of those bytes when none is a newline (an overlong
//     line comes back in several pieces); the position moves behind them;
//   - the text handed out is raw cut to 1023 bytes: passes 2 and 3 read 1024
//     bytes and force byte 1023 of their buffer to NUL, so the 1024th byte of
//     a full chunk (possibly its newline) is lost, deliberately;
//   - NUL bytes of the file are ordinary bytes for the newline search, but a
//     C-string reader of the text stops at the first one.
// At the end of the file next() gives an empty text and the position stays.
//
// A pass that needs the whole value of a line it has just been given asks
// whole_line(): every other line, however long, keeps the pieces above.
//
// Not thread-safe; one scanner per pass. The text handed out is writable (the
// value extraction decodes in place) and stays valid until the next call of
// next(), whole_line() or close(); it must not be written beyond its
// terminating NUL.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "base/file.h"

namespace importer {

enum class LinePass : uint8_t {
  // Pass 1 (audiobook ids): reads of 1023 bytes, nothing lost, no yield.
  kAudiobooks,
  // Passes 2 and 3 (folders, tracks, playlist contents): reads of 1024 bytes
  // with the 1024th byte dropped, and sched_yield after every line so that
  // the media server beside the importer keeps its processor share. The
  // scanner yields inside next(); the pass loops must not yield again.
  kFoldersAndTracks,
};

struct LineChunk {
  char* text;     // NUL-terminated at text[length]
  size_t length;  // bytes of the chunk kept, NULs of the file included; <= 1023 from next()
};

class LineScanner {
 public:
  // The line buffer of the passes; a chunk never holds more than this - 1.
  static constexpr size_t kLineBufferSize = 1024;
  static constexpr size_t kDefaultBlockSize = 64 * 1024;

  // block_size is raised to the read size when smaller (tests use small
  // blocks to put many lines across the block's edge).
  explicit LineScanner(LinePass pass, size_t block_size = kDefaultBlockSize);
  ~LineScanner();
  LineScanner(const LineScanner&) = delete;
  LineScanner& operator=(const LineScanner&) = delete;

  // Opens `path` with upnp_file_open_read (so a permission failure gets its
  // diagnostic in the log); the scanner closes the handle. False, with
  // nothing open, when the file cannot be opened or the block allocated.
  [[nodiscard]] bool open(const char* path);
  void close();

  // True when the position has reached the recorded size, when nothing is
  // open, and also when the file ended or failed before that size (a file
  // cut short while being read), so that no pass loop can spin forever.
  [[nodiscard]] bool at_end() const;
  // The next line; see the top of this file. Empty when nothing is open.
  LineChunk next();
  // Right after next(), with the chunk it gave: when that chunk was cut, the
  // whole line up to and including its newline (or the end of the file),
  // with the position moved behind it, so that its other pieces are not read
  // as lines of their own. The line may have moved in the block: use the
  // chunk returned. A line longer than the block (64 KiB unless a test asks
  // for less) cannot be held whole and is left as next() cut it. A chunk
  // shorter than the keep limit was never cut, so the passes pay one
  // comparison for a line that needs nothing.
  [[nodiscard]] LineChunk whole_line(LineChunk chunk) {
    return chunk.length < keep_limit_ ? chunk : extend_to_line(chunk);
  }
  // Offset in the file of the next line's first byte.
  [[nodiscard]] int64_t position() const { return position_; }
  // The file being read; null when nothing is open.
  [[nodiscard]] const upnp_file* file() const { return file_; }

 private:
  bool start(upnp_file* file);
  // Moves the unread bytes to the front and reads until at least `wanted`
  // bytes are buffered or the file has no more.
  void refill(size_t wanted);
  LineChunk extend_to_line(LineChunk chunk);
  // Ends the line at begin_ + kept with a NUL and moves behind its raw bytes.
  LineChunk hand_out(size_t kept, size_t raw);

  const size_t read_size_;
  const size_t keep_limit_;
  const bool yield_per_line_;
  const size_t block_size_;
  char* block_ = nullptr;  // block_size_ + 1 bytes: room for a NUL behind a full block
  size_t begin_ = 0;       // next unread byte in block_
  size_t end_ = 0;         // end of the buffered bytes
  size_t nul_at_ = 0;      // where the last chunk's NUL was written
  char saved_ = 0;         // the byte it replaced
  upnp_file* file_ = nullptr;
  bool drained_ = false;   // the descriptor gave 0 bytes or failed
  int64_t size_ = 0;      // the handle's size at open time
  int64_t position_ = 0;
};

}  // namespace importer
