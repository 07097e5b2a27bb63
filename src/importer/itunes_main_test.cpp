// End-to-end tests of the command line: they run the built program in a
// scratch directory and look at its exit status, its log and the files it
// leaves.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include "testing/itunes_library.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::FileExists;
using testing_support::ListDir;
using testing_support::ReadFile;
using testing_support::Run;
using testing_support::TempDir;
using testing_support::WriteFile;

const char kTinyLibrary[] =
    "<plist version=\"1.0\">\n<dict>\n\t<key>Tracks</key>\n\t<dict>\n\t</dict>\n</dict>\n</plist>\n";

int RunImporter(const TempDir& dir, std::vector<std::string> args) {
  args.insert(args.begin(), ITUNES_IMPORT_BINARY);
  return Run(args, dir.path()).exit_status;
}

// Each case starts with a library and an old items file; what is left shows
// how far the run went.
TEST(CommandLine, ExitStatusesAndWhatTheRunTouched) {
  const std::vector<std::string> untouched = {"db", "lib.xml"};
  const struct {
    const char* name;
    std::vector<std::string> args;
    int status;
    const char* items;
    std::vector<std::string> files;
  } cases[] = {
      {"no arguments", {}, 255, "old", untouched},
      {"check alone", {"-check"}, 0, "old", untouched},
      {"check after options, the log opened before it", {"-logfile", "run.log", "-dbdir", "db", "-check"}, 0, "old",
       {"db", "lib.xml", "run.log"}},
      {"no database directory", {"-itunes-lib", "lib.xml", "-playlist-dir", "pl"}, 255, "old", untouched},
      {"library missing", {"-dbdir", "db", "-playlist-dir", "pl", "-itunes-lib", "missing.xml"}, 255, "old", untouched},
      {"no library option", {"-dbdir", "db", "-playlist-dir", "pl"}, 255, "old", untouched},
      {"playlist directory missing", {"-dbdir", "db", "-playlist-dir", "pl", "-itunes-lib", "lib.xml"}, 255, "old",
       untouched},
      {"complete", {"-dbdir", "db", "-playlist-dir", "", "-itunes-lib", "lib.xml"}, 0, "", untouched},
      {"dash value skipped, then examined as an option", {"-dbdir", "db", "-itunes-lib", "-check"}, 0, "old",
       untouched},
      {"init ends the run", {"-init", "init.txt", "-dbdir", "db"}, 0, "old", {"db", "init.txt", "lib.xml"}},
  };
  for (const auto& c : cases) {
    TempDir dir;
    WriteFile(dir / "lib.xml", kTinyLibrary);
    mkdir((dir / "db").c_str(), 0755);
    WriteFile(dir / "db/itunes.import.items", "old");
    EXPECT_EQ(RunImporter(dir, c.args), c.status) << c.name;
    EXPECT_EQ(ListDir(dir.path()), c.files) << c.name;
    std::vector<std::string> db = ListDir(dir / "db");
    std::erase(db, "itunes-import.lock");  // taken by a run that got as far as the directories
    EXPECT_EQ(db, std::vector<std::string>{"itunes.import.items"}) << c.name;
    EXPECT_EQ(ReadFile(dir / "db/itunes.import.items"), c.items) << c.name;
  }
}

TEST(CommandLine, InitAppendsElevenBytesOnEveryRun) {
  TempDir dir;
  WriteFile(dir / "server.conf", "ituneslib=/old/place.xml\n");
  for (int run = 1; run <= 2; ++run) EXPECT_EQ(RunImporter(dir, {"-init", dir / "server.conf"}), 0);
  EXPECT_EQ(ReadFile(dir / "server.conf"), "ituneslib=/old/place.xml\nituneslib=\nituneslib=\n");
}

// The settings are never read during an import, so the log stays in
// start-up mode: -logfile's mask and level filter nothing, every line is
// tagged "[Startup]". Headers are matched by pattern, messages byte for byte.
TEST(CommandLine, LogFileHoldsTheImportersOwnLines) {
  const std::string header = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:\d{3}  *\d+ \[Startup\] - LOG_PLUGIN: )";
  constexpr size_t kHeaderBytes = 58;  // stamp with its blank, 8-place byte count, tag, category
  const auto lines = [&](const std::vector<std::string>& messages) {
    std::string pattern;
    for (const std::string& m : messages)
      pattern += header + std::regex_replace(m, std::regex(R"([\\^$.|?*+()\[\]{}])"), R"(\$&)") + "\n";
    return std::regex(pattern);
  };
  const std::vector<std::string> run = {"-logfile", "logs/run.log", "-dbdir", "db", "-playlist-dir", "db"};
  const auto with = [&](std::vector<std::string> more) {
    more.insert(more.begin(), run.begin(), run.end());
    return more;
  };
  const std::string start = "itunes_main : iTunes-import: starting with (lib.xml) (db)";
  const std::string imported = "itunes_main : iTunes-import: lib.xml imported";
  const std::string masked = "[HTTP Authentication details not logged]\n";
  const struct {
    const char* name;
    std::vector<std::string> args;
    int status;
    std::vector<std::string> messages;
    size_t prefill = 0;        // bytes already in the log file
    size_t rotated_lines = 0;  // of the messages, how many end up in the rotated part
  } cases[] = {
      {"normal run", with({"-itunes-lib", "lib.xml"}), 0, {start, imported}},
      {"-init", {"-logfile", "logs/run.log", "-init", "conf"}, 0,
       {"locateItunesLib : iTunes-import: setting lib to (ituneslib=\n)"}},
      {"authentication text", with({"-itunes-lib", "WWW-Authenticate.xml"}), 0, {masked, masked}},
      // The first line ends exactly at 1 MiB; its newline passes the limit.
      {"rotation", with({"-itunes-lib", "lib.xml"}), 0, {start, imported},
       1048576 - kHeaderBytes - start.size(), 1},
  };
  for (const auto& c : cases) {
    TempDir dir;
    for (const char* library : {"lib.xml", "WWW-Authenticate.xml"})
      WriteFile(dir / library, kTinyLibrary);
    mkdir((dir / "db").c_str(), 0755);
    mkdir((dir / "logs").c_str(), 0755);
    const std::string prefill(c.prefill, 'x');
    if (c.prefill > 0) WriteFile(dir / "logs/run.log", prefill);
    std::vector<std::string> args = c.args;
    args.insert(args.begin(), ITUNES_IMPORT_BINARY);
    const testing_support::RunResult result = testing_support::Run(args, dir.path());
    EXPECT_EQ(result.exit_status, c.status) << c.name;
    EXPECT_EQ(result.output, "") << c.name;
    const std::vector<std::string> rotated(c.messages.begin(), c.messages.begin() + c.rotated_lines);
    const std::vector<std::string> current(c.messages.begin() + c.rotated_lines, c.messages.end());
    const std::string text = ReadFile(dir / "logs/run.log");
    EXPECT_TRUE(std::regex_match(text, lines(current))) << c.name << ":\n" << text;
    const std::vector<std::string> logs = ListDir(dir / "logs");
    ASSERT_EQ(logs.size(), c.rotated_lines > 0 ? 2u : 1u) << c.name;
    if (c.rotated_lines == 0) continue;
    EXPECT_TRUE(std::regex_match(logs[1], std::regex(R"(run\.log-\d{4}(-\d\d){5}-log\.txt)"))) << logs[1];
    const std::string part = ReadFile(dir / ("logs/" + logs[1]));
    EXPECT_EQ(part.substr(0, c.prefill), prefill) << c.name;
    const std::string after = part.substr(c.prefill);
    EXPECT_TRUE(std::regex_match(after, lines(rotated))) << c.name << ":\n" << after;
  }
}

// "-base" goes in front of the library path, with the library as passed as
// the fallback; an empty "-playlist-dir" puts the playlists into the
// database directory. Which library was read shows in the playlist made and
// in the clean-up beside it: stale "iT*.tmp" files go from that library's
// directory only.
TEST(CommandLine, BaseFallsBackToTheLibraryAsPassed) {
  const auto library = [](const char* playlist) {
    return testing_support::LibraryXml({{1, "", "file://localhost/x.mp3", ""}}, {{playlist, "P1", "", false, {1}, ""}});
  };
  const struct {
    const char* name;
    bool under_base, empty_base;
    std::string read;
  } cases[] = {
      {"missing under the base, present as passed", false, false, "Passed"},
      {"present under the base", true, false, "Base"},
      {"empty base", true, true, "Passed"},
  };
  for (const auto& c : cases) {
    TempDir dir;
    mkdir((dir / "base").c_str(), 0755);
    mkdir((dir / "db").c_str(), 0755);
    WriteFile(dir / "lib.xml", library("Passed"));
    if (c.under_base) WriteFile(dir / "base/lib.xml", library("Base"));
    WriteFile(dir / "iTunes.tmp", "");
    WriteFile(dir / "base/iTunes.tmp", "");
    const std::string base = c.empty_base ? "" : dir / "base";
    EXPECT_EQ(RunImporter(dir, {"-dbdir", dir / "db", "-playlist-dir", "", "-base", base, "-itunes-lib", "lib.xml"}),
              0)
        << c.name;
    EXPECT_EQ(ListDir(dir / "db"), (std::vector<std::string>{"iTunes-playlist-" + c.read + "_(iTunes)##M.wpl",
                                                             "itunes-import.lock", "itunes.import.items", "itunes.log"}))
        << c.name;
    EXPECT_EQ(FileExists(dir / "base/iTunes.tmp"), c.read == "Passed") << c.name;
    // "lib.xml" as passed has no directory part: the scan of "lib.xml" as a
    // directory finds nothing, so the working directory's file stays.
    EXPECT_TRUE(FileExists(dir / "iTunes.tmp")) << c.name;
  }
}

}  // namespace
