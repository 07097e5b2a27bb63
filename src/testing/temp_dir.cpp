#include "testing/temp_dir.hpp"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace testing_support {

TempDir::TempDir() {
  const char* base = getenv("TMPDIR");
  std::string tmpl = std::string(base && *base ? base : "/tmp") + "/itunes-import-test-XXXXXX";
  if (mkdtemp(tmpl.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = tmpl;
}

TempDir::~TempDir() {
  std::error_code ec;
  // Tests may leave directories without write permission behind.
  for (auto it = std::filesystem::recursive_directory_iterator(path_, ec);
       !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
    if (it->is_directory(ec) && !it->is_symlink(ec)) chmod(it->path().c_str(), 0700);
  }
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::operator/(const std::string& name) const { return path_ + "/" + name; }

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteFile(const std::string& path, const std::string& contents) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << contents;
}

std::string Utf16Le(const std::string& bytes) {
  std::string out("\xFF\xFE", 2);
  for (const char c : bytes) out += std::string{c, '\0'};
  return out;
}

bool FileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

std::vector<std::string> ListDir(const std::string& path) {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(path, ec)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::map<std::string, std::string> DirContents(const std::string& path) {
  std::map<std::string, std::string> files;
  for (const std::string& name : ListDir(path)) files[name] = ReadFile(path + "/" + name);
  return files;
}

std::vector<std::string> EmulatorPrefix() {
  std::vector<std::string> words;
#ifdef ITUNES_IMPORT_EMULATOR
  std::istringstream emulator(ITUNES_IMPORT_EMULATOR);
  for (std::string word; emulator >> word;) words.push_back(word);
#endif
  return words;
}

namespace {

// Starts argv with standard output and error on out_fd. Everything the
// child needs is built before fork: the child only calls async-signal-safe
// functions.
pid_t Spawn(const std::vector<std::string>& argv, const std::string& cwd, int out_fd, int close_fd) {
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
#ifdef ITUNES_IMPORT_EMULATOR
  // A cross-built program that the kernel cannot start by itself (no
  // binfmt_misc registration for the target) runs through the emulator.
  std::vector<std::string> emulator_words = EmulatorPrefix();
  std::vector<char*> emulated;
  for (auto& word : emulator_words) emulated.push_back(word.data());
  emulated.insert(emulated.end(), args.begin(), args.end());
#endif
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(out_fd, 1);
    dup2(out_fd, 2);
    close(out_fd);
    if (close_fd >= 0) close(close_fd);
    if (!cwd.empty() && chdir(cwd.c_str()) != 0) _exit(127);
    execv(args[0], args.data());
#ifdef ITUNES_IMPORT_EMULATOR
    if (errno == ENOEXEC) execv(emulated[0], emulated.data());
#endif
    _exit(127);
  }
  return pid;
}

}  // namespace

RunResult Run(const std::vector<std::string>& argv, const std::string& cwd) {
  RunResult result;
  int fds[2];
  if (pipe(fds) != 0) return result;
  const pid_t pid = Spawn(argv, cwd, fds[1], fds[0]);
  close(fds[1]);
  char buf[4096];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) result.output.append(buf, static_cast<size_t>(n));
  close(fds[0]);
  result.exit_status = Wait(pid);
  return result;
}

pid_t Start(const std::vector<std::string>& argv, const std::string& cwd, const std::string& output_path) {
  const int fd = open(output_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  const pid_t pid = Spawn(argv, cwd, fd, -1);
  close(fd);
  return pid;
}

int Wait(pid_t pid) {
  int status = 0;
  if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) return WEXITSTATUS(status);
  return -1;
}

}  // namespace testing_support
