#include "importer/track_mapping.hpp"

#include <gtest/gtest.h>

#include <string>

namespace importer {
namespace {

TEST(TrackMapping, FileUrlToPath) {
  const struct {
    const char* url;
    const char* path;
  } cases[] = {
      {"file://localhost/Users/a.mp3", "Users/a.mp3"},
      {"file:///Users/a.mp3", "Users/a.mp3"},
      {"file://localhost/C:/Music/a.mp3", "C:/Music/a.mp3"},
      {"file://server/share/a.mp3", "share/a.mp3"},
      {"file:\\\\server\\share\\a.mp3", "share\\a.mp3"},
      {"file://localhost/Music/Album/", "Music/Album"},
      {"file://server", ""},
      {"file:", ""},
  };
  for (const auto& c : cases) {
    std::string url = c.url;
    EXPECT_STREQ(path_of_file_url(url.data()), c.path) << c.url;
  }
}

}  // namespace
}  // namespace importer
