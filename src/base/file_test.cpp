#include "base/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/memory.h"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

// Reads the whole file with upnp_file_gets; each piece as it came back.
std::vector<std::string> ReadPieces(const std::string& path, int32_t size) {
  std::vector<std::string> pieces;
  upnp_file* file = upnp_file_open_read(path.c_str());
  if (file == nullptr) return pieces;
  std::vector<char> buffer(static_cast<size_t>(size) + 1, 'X');
  for (int guard = 0; guard < 100; ++guard) {
    upnp_file_gets(buffer.data(), size, file);
    // One byte more than passed is never touched; a full read has no NUL.
    EXPECT_EQ(buffer[static_cast<size_t>(size)], 'X');
    std::string piece(buffer.data(), strnlen(buffer.data(), static_cast<size_t>(size)));
    if (piece.empty()) break;
    pieces.push_back(piece);
  }
  EXPECT_EQ(upnp_file_eof(file), 1);
  upnp_file_close(file);
  return pieces;
}

TEST(FileGets, SplitsLinesAndChunksLongOnes) {
  struct Case {
    const char* name;
    std::string contents;
    int32_t size;
    std::vector<std::string> pieces;
  };
  const Case cases[] = {
      {"empty lines come back as a newline each", "\n\nx\n", 10, {"\n", "\n", "x\n"}},
      {"long line in pieces", "abcdefgh\n", 3, {"abc", "def", "gh\n"}},
      {"newline exactly at the end of the chunk", "abc\nd", 4, {"abc\n", "d"}},
      {"newline just past the chunk", "abcd\ne", 4, {"abcd", "\n", "e"}},
      {"buffer of one byte", "a\nb", 1, {"a", "\n", "b"}},
      {"empty file", "", 8, {}},
  };
  TempDir dir;
  for (const Case& c : cases) {
    WriteFile(dir / "f", c.contents);
    EXPECT_EQ(ReadPieces(dir / "f", c.size), c.pieces) << c.name;
  }
}

TEST(File, ReadSeekAndEofFollowThePosition) {
  TempDir dir;
  WriteFile(dir / "f", "0123456789");
  upnp_file* file = upnp_file_open_read((dir / "f").c_str());
  ASSERT_NE(file, nullptr);
  char buffer[4];
  EXPECT_EQ(upnp_file_read(file, buffer, 4), 4);
  EXPECT_EQ(file->position, 4);
  EXPECT_EQ(upnp_file_eof(file), 0);
  EXPECT_EQ(upnp_file_seek(file, -100, SEEK_CUR), -1);
  EXPECT_EQ(file->position, 4) << "a failed seek keeps the position";
  EXPECT_EQ(upnp_file_seek(file, 0, SEEK_END), 10);
  EXPECT_EQ(upnp_file_eof(file), 1);
  upnp_file_close(file);
}

TEST(File, WriteKeepsTheOldTailAppendCreatesAndFailuresKeepErrno) {
  TempDir dir;
  WriteFile(dir / "f", "long old content");
  upnp_file* file = upnp_file_open_write((dir / "f").c_str());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(upnp_file_write(file, "NEW", 3), 3);
  EXPECT_EQ(file->position, 0) << "writes leave the position alone";
  upnp_file_close(file);
  EXPECT_EQ(ReadFile(dir / "f"), "NEWg old content");

  file = upnp_file_open_append((dir / "f").c_str());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->size, 16);
  EXPECT_EQ(upnp_file_write(file, "de", 2), 2);
  EXPECT_EQ(upnp_file_sync(file), 0);
  upnp_file_close(file);
  EXPECT_EQ(ReadFile(dir / "f"), "NEWg old contentde");
  upnp_file_close(upnp_file_open_append((dir / "new").c_str()));
  EXPECT_TRUE(testing_support::FileExists(dir / "new"));
  EXPECT_EQ(upnp_file_open_read((dir / "missing").c_str()), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(upnp_file_open_write((dir / "no/such/dir").c_str()), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
