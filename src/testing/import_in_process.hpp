// Runs the importer inside the test process, where the tracked byte count
// and the file layer's fault seam can be reached. Tests only.
#pragma once

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "importer/itunes_main.h"
#include "testing/temp_dir.hpp"

namespace testing_support {

struct InProcessRun {
  int32_t status;
  std::string error_output;
};

// Track locations are relative to the working directory, so the run is made
// from inside `dir`; standard error is caught for the time of the run.
inline InProcessRun ImportInProcess(const TempDir& dir, const std::string& database_dir,
                                    const std::string& playlist_dir, const std::string& library) {
  const std::filesystem::path previous = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  std::vector<std::string> args = {"itunes-import", "-dbdir", database_dir, "-playlist-dir", playlist_dir,
                                   "-itunes-lib", library};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  fflush(stderr);
  const int saved = dup(2);
  const int caught = open((dir / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  dup2(caught, 2);
  const int32_t status = itunes_main(static_cast<int32_t>(argv.size()), argv.data());
  fflush(stderr);
  dup2(saved, 2);
  close(saved);
  close(caught);
  std::filesystem::current_path(previous);
  InProcessRun run = {status, ReadFile(dir / "stderr")};
  unlink((dir / "stderr").c_str());
  return run;
}

}  // namespace testing_support
