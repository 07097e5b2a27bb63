#include "importer/line_scanner.hpp"

#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "base/file.h"
#include "base/memory.h"
#include "testing/temp_dir.hpp"

namespace importer {
namespace {

using testing_support::TempDir;
using testing_support::WriteFile;

struct Line {
  std::string text;  // as a C-string reader of the line buffer sees it
  int64_t position;  // file position behind the line
  bool operator==(const Line&) const = default;
};

// The passes as the line rules define them: the file utilities' reader, one
// read and one seek per line.
std::vector<Line> LinesByGets(const std::string& path, LinePass pass) {
  std::vector<Line> lines;
  upnp_file* file = upnp_file_open_read(path.c_str());
  if (file == nullptr) return lines;
  char buffer[LineScanner::kLineBufferSize] = {};
  while (!upnp_file_eof(file)) {
    if (pass == LinePass::kAudiobooks) {
      upnp_file_gets(buffer, sizeof buffer - 1, file);
    } else {
      upnp_file_gets(buffer, sizeof buffer, file);
      buffer[sizeof buffer - 1] = 0;
    }
    lines.push_back({std::string(buffer, strnlen(buffer, sizeof buffer)), file->position});
  }
  upnp_file_close(file);
  return lines;
}

std::vector<Line> LinesByScanner(const std::string& path, LinePass pass, size_t block) {
  std::vector<Line> lines;
  LineScanner scanner(pass, block);
  if (!scanner.open(path.c_str())) return lines;
  while (!scanner.at_end()) {
    const LineChunk chunk = scanner.next();
    EXPECT_EQ(chunk.text[chunk.length], '\0');
    lines.push_back({std::string(chunk.text), scanner.position()});
    // The importer decodes values in place: scribbling over a line must not
    // change the next.
    memset(chunk.text, 'x', chunk.length);
  }
  return lines;
}

// Random line lengths concentrated around the chunk sizes and block edges.
std::string RandomLibrary(std::mt19937& rng, bool trailing_newline, bool with_nul) {
  static const size_t kLengths[] = {0, 1, 2, 40, 1021, 1022, 1023, 1024, 1025, 2046, 2047, 2048, 3000};
  std::string text;
  const size_t lines = 50 + rng() % 200;
  for (size_t i = 0; i < lines; ++i) {
    size_t length = rng() % 3 ? rng() % 120 : kLengths[rng() % std::size(kLengths)];
    for (size_t k = 0; k < length; ++k) {
      const unsigned r = rng() % 64;
      text += with_nul && r == 0 ? '\0' : r == 1 ? '\r' : static_cast<char>('a' + r % 26);
    }
    text += '\n';
  }
  if (!trailing_newline) text += std::string(1 + rng() % 1500, 'z');
  return text;
}

TEST(LineScanner, SameLinesAsGetsAcrossBlockEdges) {
  TempDir dir;
  std::mt19937 rng(20240611);
  const size_t kBlocks[] = {1, 1024, 1025, 1500, 4096, 4099, LineScanner::kDefaultBlockSize};
  for (int round = 0; round < 24; ++round) {
    const bool trailing = round % 2 == 0;
    const bool with_nul = round % 3 == 0;
    const std::string path = dir / ("lib" + std::to_string(round) + ".xml");
    WriteFile(path, RandomLibrary(rng, trailing, with_nul));
    for (const LinePass pass : {LinePass::kAudiobooks, LinePass::kFoldersAndTracks}) {
      const auto expected = LinesByGets(path, pass);
      ASSERT_FALSE(expected.empty());
      for (const size_t block : kBlocks) {
        const auto got = LinesByScanner(path, pass, block);
        ASSERT_EQ(got.size(), expected.size()) << "round " << round << " block " << block;
        for (size_t i = 0; i < got.size(); ++i) {
          ASSERT_EQ(got[i], expected[i]) << "round " << round << " pass " << static_cast<int>(pass)
                                         << " block " << block << " line " << i;
        }
      }
    }
  }
}

// Lines starting with "W" are asked for whole; a 4 KiB block is the limit.
TEST(LineScanner, WholeLineAfterACutChunk) {
  TempDir dir;
  constexpr size_t kBlock = 4096;
  const std::string p = std::string(1000, 'a') + "\n", x = "W" + std::string(1022, 'x');
  const std::string w = "W" + std::string(kBlock - 2, 'w'), cut(1023, 'w');
  const struct {
    const char* name;
    std::string text;
    std::vector<std::string> lines;
  } cases[] = {
      {"as long as the block, past the bytes buffered", p + p + w + "\nb\n", {p, p, w + "\n", "b\n"}},
      {"only the newline was cut", x + "\nb\n", {x + "\n", "b\n"}},
      {"the last line, without a newline", p + p + w, {p, p, w}},
      {"a byte longer than the block: the pieces next() cuts",
       p + p + w + "-\nb\n",
       {p, p, "W" + cut.substr(1), cut, cut, cut, "\n", "b\n"}},
  };
  for (const auto& c : cases) {
    const std::string path = dir / "lib.xml";
    WriteFile(path, c.text);
    LineScanner scanner(LinePass::kFoldersAndTracks, kBlock);
    ASSERT_TRUE(scanner.open(path.c_str()));
    std::vector<std::string> lines;
    while (!scanner.at_end()) {
      LineChunk chunk = scanner.next();
      if (chunk.text[0] == 'W') chunk = scanner.whole_line(chunk);
      lines.emplace_back(chunk.text, chunk.length);
    }
    EXPECT_EQ(lines, c.lines) << c.name;
    EXPECT_EQ(scanner.position(), static_cast<int64_t>(c.text.size())) << c.name;
  }
}

TEST(LineScanner, MissingFileOrShrunkFileEndsThePass) {
  TempDir dir;
  const int64_t used_before = upnp_mem_used();
  LineScanner scanner(LinePass::kAudiobooks);
  EXPECT_FALSE(scanner.open((dir / "absent.xml").c_str()));
  EXPECT_TRUE(scanner.at_end());
  EXPECT_STREQ(scanner.next().text, "") << "reading at the end gives an empty line";

  // A file cut short after it was opened must not make a pass loop spin.
  const std::string path = dir / "lib.xml";
  WriteFile(path, "one\ntwo\n");
  ASSERT_TRUE(scanner.open(path.c_str()));
  ASSERT_EQ(truncate(path.c_str(), 4), 0);
  int lines = 0;
  while (!scanner.at_end() && lines < 10) {
    scanner.next();
    ++lines;
  }
  EXPECT_EQ(lines, 1);
  scanner.close();
  EXPECT_EQ(upnp_mem_used(), used_before) << "the block is released at close";
}

}  // namespace
}  // namespace importer
