// Reading cost of the three passes over a library file, beside the floor the
// line rules allow: the file read three times in 1024-byte line chunks with a
// sched_yield per line, through one large block buffer and nothing else.
//
//   read_floor LIBRARY.xml [BLOCK_KIB]
//   read_floor --passes LIBRARY.xml    (the floor of the passes, nothing printed)
//
// Each row runs in its own child process (peak RSS is the child's), on a warm
// page cache. Make a library with generate_library.py.
#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "importer/line_scanner.hpp"
#include "importer/track_keys.hpp"

namespace {

using importer::LinePass;
using importer::LineScanner;

constexpr size_t kChunk = 1024;
size_t g_block = LineScanner::kDefaultBlockSize;
volatile unsigned g_sink;  // keeps the loops from being optimised away

// The floor: block reads, a newline search per chunk, a yield per line.
uint64_t floor_pass(const char* path, bool yield) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) return 0;
  char* block = static_cast<char*>(malloc(g_block));
  size_t begin = 0, end = 0;
  bool drained = false;
  uint64_t lines = 0;
  for (;;) {
    if (end - begin < kChunk && !drained) {
      memmove(block, block + begin, end - begin);
      end -= begin;
      begin = 0;
      while (end < kChunk && !drained) {
        const ssize_t got = read(fd, block + end, g_block - end);
        if (got <= 0) drained = true;
        else end += static_cast<size_t>(got);
      }
    }
    const size_t available = std::min(end - begin, kChunk);
    if (available == 0) break;
    const auto* newline = static_cast<const char*>(memchr(block + begin, '\n', available));
    begin += newline != nullptr ? static_cast<size_t>(newline - (block + begin)) + 1 : available;
    g_sink = g_sink + static_cast<unsigned char>(block[begin - 1]);
    ++lines;
    if (yield) sched_yield();
  }
  free(block);
  close(fd);
  return lines;
}

uint64_t floor_three(const char* path) {
  return floor_pass(path, true) + floor_pass(path, true) + floor_pass(path, true);
}

uint64_t floor_as_passes(const char* path) {
  return floor_pass(path, false) + floor_pass(path, true) + floor_pass(path, true);
}

uint64_t floor_unyielding(const char* path) {
  return floor_pass(path, false) + floor_pass(path, false) + floor_pass(path, false);
}

// The key rule read literally, to show what the matcher saves.
unsigned naive_match(const char* line) {
  for (const importer::TrackKeyMarker& m : importer::kTrackKeyMarkers) {
    char marker[64];
    memcpy(marker, m.marker.data(), m.marker.size());
    marker[m.marker.size()] = 0;
    if (strstr(line, marker) != nullptr) return static_cast<unsigned>(m.key);
  }
  return static_cast<unsigned>(importer::TrackKey::kNone);
}

enum class Match { kNone, kMatcher, kNaive };

uint64_t scanner_pass(const char* path, LinePass pass, Match match) {
  LineScanner scanner(pass, g_block);
  if (!scanner.open(path)) return 0;
  uint64_t lines = 0;
  while (!scanner.at_end()) {
    const importer::LineChunk line = scanner.next();
    switch (match) {
      case Match::kNone: g_sink = g_sink + static_cast<unsigned>(line.length); break;
      case Match::kMatcher: g_sink = g_sink + static_cast<unsigned>(importer::match_track_key(importer::split_classic_line(line.text, line.length))); break;
      case Match::kNaive: g_sink = g_sink + naive_match(line.text); break;
    }
    ++lines;
  }
  return lines;
}

uint64_t scanner_passes(const char* path) {
  return scanner_pass(path, LinePass::kAudiobooks, Match::kNone) + scanner_pass(path, LinePass::kFoldersAndTracks, Match::kNone) +
         scanner_pass(path, LinePass::kFoldersAndTracks, Match::kNone);
}

uint64_t scanner_three_yielding(const char* path) {
  return scanner_pass(path, LinePass::kFoldersAndTracks, Match::kNone) +
         scanner_pass(path, LinePass::kFoldersAndTracks, Match::kNone) +
         scanner_pass(path, LinePass::kFoldersAndTracks, Match::kNone);
}

uint64_t scanner_unyielding(const char* path) {
  return scanner_pass(path, LinePass::kAudiobooks, Match::kNone) + scanner_pass(path, LinePass::kAudiobooks, Match::kNone) +
         scanner_pass(path, LinePass::kAudiobooks, Match::kNone);
}

uint64_t matcher_unyielding(const char* path) { return scanner_pass(path, LinePass::kAudiobooks, Match::kMatcher); }
uint64_t naive_unyielding(const char* path) { return scanner_pass(path, LinePass::kAudiobooks, Match::kNaive); }

uint64_t scanner_passes_matching(const char* path) {
  return scanner_pass(path, LinePass::kAudiobooks, Match::kNone) + scanner_pass(path, LinePass::kFoldersAndTracks, Match::kNone) +
         scanner_pass(path, LinePass::kFoldersAndTracks, Match::kMatcher);
}

// The line rules read literally: a read of the chunk size and a seek back
// behind the newline for every line.
uint64_t gets_pass(const char* path, size_t size, bool yield) {
  const int fd = open(path, O_RDONLY);
  if (fd < 0) return 0;
  char buffer[kChunk];
  uint64_t lines = 0;
  off_t position = 0;
  for (;;) {
    memset(buffer, 0, size);
    const ssize_t got = read(fd, buffer, size);
    if (got <= 0) break;
    const auto* newline = static_cast<const char*>(memchr(buffer, '\n', static_cast<size_t>(got)));
    position += newline != nullptr ? newline - buffer + 1 : got;
    if (newline != nullptr) lseek(fd, position, SEEK_SET);
    g_sink = g_sink + static_cast<unsigned char>(buffer[0]);
    ++lines;
    if (yield) sched_yield();
  }
  close(fd);
  return lines;
}

uint64_t gets_passes(const char* path) {
  return gets_pass(path, kChunk - 1, false) + gets_pass(path, kChunk, true) + gets_pass(path, kChunk, true);
}

double now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

void row(const char* name, uint64_t (*run)(const char*), const char* path, double bytes) {
  int pipe_fds[2];
  if (pipe(pipe_fds) != 0) return;
  const pid_t child = fork();
  if (child == 0) {
    close(pipe_fds[0]);
    const double start = now();
    const uint64_t lines = run(path);
    const double result[2] = {now() - start, static_cast<double>(lines)};
    ssize_t ignored = write(pipe_fds[1], result, sizeof result);
    (void)ignored;
    _exit(0);
  }
  close(pipe_fds[1]);
  double result[2] = {0, 0};
  ssize_t got = read(pipe_fds[0], result, sizeof result);
  close(pipe_fds[0]);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (got != static_cast<ssize_t>(sizeof result)) {
    printf("%-58s failed\n", name);
    return;
  }
  printf("%-58s %8.3f s %9.1f MB/s %10.0f lines %7ld KiB peak RSS\n", name, result[0], 3 * bytes / 1e6 / result[0],
         result[1], usage.ru_maxrss);
  fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s LIBRARY.xml [BLOCK_KIB] | --passes LIBRARY.xml\n", argv[0]);
    return 2;
  }
  // The floor alone, as a whole process to time beside a whole import.
  if (strcmp(argv[1], "--passes") == 0 && argc > 2) return floor_as_passes(argv[2]) > 0 ? 0 : 1;
  const char* path = argv[1];
  if (argc > 2) g_block = std::max<size_t>(kChunk, strtoul(argv[2], nullptr, 10) * 1024);
  struct stat info;
  if (stat(path, &info) != 0) {
    perror(path);
    return 1;
  }
  const double bytes = static_cast<double>(info.st_size);
  printf("%s: %.1f MB, block %zu KiB, each row reads it 3 times\n", path, bytes / 1e6, g_block / 1024);
  floor_pass(path, false);  // warm the page cache

  // Without yields, the reading itself; the yields cost what the machine's
  // load makes them cost.
  row("floor without yields (3 passes)", floor_unyielding, path, bytes);
  row("line scanner without yields (3 passes of pass 1's kind)", scanner_unyielding, path, bytes);
  row("one pass: line scanner + key matcher on every line", matcher_unyielding, path, bytes / 3);
  row("one pass: line scanner + 22 substring searches per line", naive_unyielding, path, bytes / 3);
  row("floor: 1024-byte line chunks, yield per line (3 passes)", floor_three, path, bytes);
  row("line scanner, yield per line (3 passes)", scanner_three_yielding, path, bytes);
  row("floor as the passes yield (none in pass 1)", floor_as_passes, path, bytes);
  row("line scanner as the passes (pass 1 + passes 2, 3)", scanner_passes, path, bytes);
  row("line scanner as the passes, key matcher in pass 3", scanner_passes_matching, path, bytes);
  row("read + lseek per line as the passes (literal reader)", gets_passes, path, bytes);
  return 0;
}
