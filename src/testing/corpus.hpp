// Test helper: the saved inputs of a fuzz target, so that builds without
// libFuzzer replay them too. Tests only.
#pragma once

#include <dirent.h>

#include <string>
#include <utility>
#include <vector>

#include "testing/temp_dir.hpp"

namespace testing_support {

// {file name, contents} of every input under fuzz/corpus/<target>; empty when
// the directory is missing.
inline std::vector<std::pair<std::string, std::string>> CorpusInputs(const std::string& target) {
  const std::string corpus = std::string(ITUNES_IMPORT_SOURCE_DIR) + "/fuzz/corpus/" + target;
  std::vector<std::pair<std::string, std::string>> inputs;
  DIR* dir = opendir(corpus.c_str());
  if (dir == nullptr) return inputs;
  while (const dirent* entry = readdir(dir)) {
    if (entry->d_name[0] != '.') inputs.emplace_back(entry->d_name, ReadFile(corpus + "/" + entry->d_name));
  }
  closedir(dir);
  return inputs;
}

}  // namespace testing_support
