// The folders under src/ are layers: each file may include its own folder and
// the ones below it, never one above; tests beside the code keep to the same
// rule. Tests may also include the shared helpers of testing/, which no
// product file may. testing/ itself may use every layer.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Layer {
  const char* folder;
  int height;
};

// Lowest first. src/main.cpp stands above them all.
constexpr Layer kLayers[] = {
    {"base", 0},      // memory, locks, time, strings, encodings, XML escaping, files, log
    {"services", 1},  // settings, threads, mutexes, worker pool, scheduler, translations, resources, string pool
    {"records", 2},   // the media object record and its text form
    {"importer", 3},  // the iTunes library importer
    {"process", 4},   // start-up and shut-down: the only code that knows every subsystem
};
constexpr int kMainHeight = 5;
constexpr int kUnknown = -1;

int HeightOf(const std::string& folder) {
  for (const Layer& layer : kLayers) {
    if (folder == layer.folder) return layer.height;
  }
  return kUnknown;
}

bool IsTest(const fs::path& file) {
  return file.parent_path().filename() == "testing" || file.stem().string().ends_with("_test");
}

TEST(Layout, IncludesPointDownOnly) {
  const fs::path src = fs::path(ITUNES_IMPORT_SOURCE_DIR) / "src";
  const std::regex include_line(R"(^\s*#\s*include\s+"([^/"]+)/[^"]+")");
  int files = 0;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(src)) {
    const fs::path& file = entry.path();
    const std::string ext = file.extension().string();
    if (!entry.is_regular_file() || (ext != ".cpp" && ext != ".h" && ext != ".hpp")) continue;
    ++files;
    const std::string relative = fs::relative(file, src).string();
    const std::string folder = fs::relative(file.parent_path(), src).string();
    const bool test = IsTest(file);
    const int height = folder == "." ? kMainHeight : HeightOf(folder);
    if (folder != "testing") {
      ASSERT_NE(height, kUnknown) << relative << ": its folder is not in the table of layers";
    }

    std::ifstream in(file);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      std::smatch match;
      if (!std::regex_search(line, match, include_line)) continue;
      const std::string target = match[1];
      if (target == "testing") {
        EXPECT_TRUE(test) << relative << ":" << number << ": product code includes a test helper: " << line;
        continue;
      }
      const int target_height = HeightOf(target);
      EXPECT_NE(target_height, kUnknown) << relative << ":" << number << ": includes an unknown folder: " << line;
      if (folder == "testing") continue;
      EXPECT_LE(target_height, height) << relative << ":" << number << " includes a layer above its own ("
                                       << folder << " may use its own layer and those below): " << line;
    }
  }
  EXPECT_GT(files, 100);
}

}  // namespace
