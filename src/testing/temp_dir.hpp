// Test helpers: a scratch directory that removes itself, whole-file reads and
// writes, and running the built program. Tests only; product code never
// includes this.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace testing_support {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + name
  std::string operator/(const std::string& name) const;

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& contents);
// `bytes` as UTF-16LE text with its byte-order mark, each byte one unit.
std::string Utf16Le(const std::string& bytes);
bool FileExists(const std::string& path);
// Names of the entries of a directory, sorted, without "." and "..".
std::vector<std::string> ListDir(const std::string& path);
// Every entry of a directory and its content (a directory or a dangling
// link reads as empty).
std::map<std::string, std::string> DirContents(const std::string& path);

struct RunResult {
  int exit_status = -1;  // 0..255, or -1 when the child did not exit normally
  std::string output;    // standard output and standard error, merged
};
// The words that run a program of the target when it was cross-built (the
// emulator and its options), else none. For tests that start the program
// through another native program, such as setpriv.
std::vector<std::string> EmulatorPrefix();

// Runs argv[0] with the arguments in `cwd` (when not empty), no shell.
RunResult Run(const std::vector<std::string>& argv, const std::string& cwd = "");
// Starts the same way without waiting, output (both streams) into a file;
// the child's pid or -1.
pid_t Start(const std::vector<std::string>& argv, const std::string& cwd, const std::string& output_path);
// The exit status 0..255 of a started child, -1 when it did not exit
// normally (killed).
int Wait(pid_t pid);

}  // namespace testing_support
