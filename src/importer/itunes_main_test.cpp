// End-to-end tests of the command line: they run the built program in a
// scratch directory and look at its exit status, its log and the files it
// leaves.
#include "importer/itunes_main.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include "runtime/lifecycle.h"
#include "runtime/memory.h"
#include "testing/temp_dir.h"

namespace {

using testing_support::FileExists;
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

TEST(CommandLine, ExitStatuses) {
  struct Case {
    const char* name;
    std::vector<std::string> args;
    int status;
  };
  const std::vector<Case> cases = {
      {"no arguments", {}, 255},
      {"check alone", {"-check"}, 0},
      {"check after options", {"-dbdir", "db", "-check"}, 0},
      {"no database directory", {"-itunes-lib", "lib.xml", "-playlist-dir", "pl"}, 255},
      {"database directory value begins with a dash", {"-dbdir", "-x", "-itunes-lib", "lib.xml", "-playlist-dir", "pl"}, 255},
      {"no playlist directory", {"-dbdir", "db", "-itunes-lib", "lib.xml"}, 255},
      {"library missing", {"-dbdir", "db", "-playlist-dir", "pl", "-itunes-lib", "missing.xml"}, 255},
      {"no library option", {"-dbdir", "db", "-playlist-dir", "pl"}, 255},
      {"complete", {"-dbdir", "db", "-playlist-dir", "pl", "-itunes-lib", "lib.xml"}, 0},
      {"dash value skipped, then examined as an option", {"-dbdir", "db", "-itunes-lib", "-check"}, 0},
      {"init ends the run", {"-init", "init.txt", "-dbdir", "db"}, 0},
  };
  for (const Case& c : cases) {
    TempDir dir;
    WriteFile(dir / "lib.xml", kTinyLibrary);
    mkdir((dir / "db").c_str(), 0755);
    EXPECT_EQ(RunImporter(dir, c.args), c.status) << c.name;
  }
}

TEST(CommandLine, CheckTouchesNoFileBeyondTheLogOpenedBeforeIt) {
  TempDir dir;
  mkdir((dir / "db").c_str(), 0755);
  EXPECT_EQ(RunImporter(dir, {"-logfile", dir / "run.log", "-dbdir", dir / "db", "-check"}), 0);
  EXPECT_TRUE(FileExists(dir / "run.log")) << "the log option before -check took effect";
  EXPECT_EQ(testing_support::ListDir(dir / "db"), std::vector<std::string>{});
}

TEST(CommandLine, InitAppendsElevenBytesOnEveryRun) {
  TempDir dir;
  WriteFile(dir / "server.conf", "ituneslib=/old/place.xml\n");
  for (int run = 1; run <= 2; ++run) {
    EXPECT_EQ(RunImporter(dir, {"-init", dir / "server.conf"}), 0);
  }
  EXPECT_EQ(ReadFile(dir / "server.conf"), "ituneslib=/old/place.xml\nituneslib=\nituneslib=\n");
  // A target that cannot be opened changes nothing about the result.
  EXPECT_EQ(RunImporter(dir, {"-init", dir / "no/such/dir/f"}), 0);
}

// -logfile sets the category mask to the importer's own category and the
// level to errors, so the importer's info lines (start, end, -init) are
// filtered out, while lines of other categories still pass in start-up mode.
TEST(CommandLine, LogFileKeepsErrorsAndOtherCategoriesOnly) {
  TempDir dir;
  WriteFile(dir / "lib.xml", kTinyLibrary);
  // A dangling link beside the library: the clean-up's directory scan cannot
  // stat it and says so under the system category.
  ASSERT_EQ(symlink("nowhere", (dir / "dangling").c_str()), 0);
  const std::string db = dir / "db";
  mkdir(db.c_str(), 0755);
  EXPECT_EQ(RunImporter(dir, {"-logfile", dir / "logs/run.log", "-dbdir", db, "-playlist-dir", db, "-itunes-lib",
                              dir / "lib.xml", "-init", dir / "conf"}),
            0);
  EXPECT_EQ(ReadFile(dir / "logs/run.log"), "") << "info lines of the importer's category are dropped";

  EXPECT_EQ(RunImporter(dir, {"-logfile", dir / "logs/run.log", "-dbdir", db, "-playlist-dir", db, "-itunes-lib",
                              dir / "lib.xml"}),
            0);
  static const std::regex kLine(
      R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:\d{3}  *\d+ \[Startup\] - LOG_SYSTEM: (.*)\n$)");
  std::smatch match;
  const std::string text = ReadFile(dir / "logs/run.log");
  ASSERT_TRUE(std::regex_match(text, match, kLine)) << text;
  EXPECT_EQ(match[1].str(), "upnp_file_find_next_file : File stat for \"" + (dir / "dangling") +
                                "\" failed. (No such file or directory,errno=2)");
}

TEST(CommandLine, UnreadableLibraryFailsWithoutTouchingTheDatabaseDirectory) {
  TempDir dir;
  mkdir((dir / "db").c_str(), 0755);
  WriteFile(dir / "db/itunes.import.items", "old");
  EXPECT_EQ(RunImporter(dir, {"-logfile", dir / "run.log", "-dbdir", dir / "db", "-playlist-dir", "", "-itunes-lib",
                              "nothing.xml"}),
            255);
  EXPECT_EQ(testing_support::ListDir(dir / "db"), std::vector<std::string>{"itunes.import.items"});
  EXPECT_EQ(ReadFile(dir / "db/itunes.import.items"), "old");
}

// Which library a run read shows in the clean-up beside it: stale "iT*.tmp"
// files go from that library's directory only.
TEST(CommandLine, BaseFallsBackToTheLibraryAsPassed) {
  TempDir dir;
  mkdir((dir / "base").c_str(), 0755);
  mkdir((dir / "db").c_str(), 0755);
  struct Case {
    const char* name;
    std::string base;
    bool library_under_base;
    bool expect_cleaned_under_base;
  };
  const std::vector<Case> cases = {
      {"missing under the base, present as passed", dir / "base", false, false},
      {"present under the base", dir / "base", true, true},
      {"empty base", "", true, false},
  };
  for (const Case& c : cases) {
    WriteFile(dir / "lib.xml", kTinyLibrary);
    std::remove((dir / "base/lib.xml").c_str());
    if (c.library_under_base) WriteFile(dir / "base/lib.xml", kTinyLibrary);
    WriteFile(dir / "iTunes.tmp", "");
    WriteFile(dir / "base/iTunes.tmp", "");
    EXPECT_EQ(RunImporter(dir, {"-dbdir", dir / "db", "-playlist-dir", "", "-base", c.base, "-itunes-lib", "lib.xml"}),
              0)
        << c.name;
    EXPECT_EQ(FileExists(dir / "base/iTunes.tmp"), !c.expect_cleaned_under_base) << c.name;
    // "lib.xml" as passed has no directory part: the scan of "lib.xml" as a
    // directory finds nothing, so the working directory's file stays.
    EXPECT_TRUE(FileExists(dir / "iTunes.tmp")) << c.name;
  }
}

TEST(CommandLine, StaleLibraryTemporariesAreRemoved) {
  TempDir dir;
  WriteFile(dir / "lib.xml", kTinyLibrary);
  for (const char* name : {"iTunes Library.xml.tmp", "iT.tmp.old", "Library.tmp", "it.tmp", "iTunes.xml"}) {
    WriteFile(dir / name, "");
  }
  EXPECT_EQ(RunImporter(dir, {"-dbdir", dir.path(), "-playlist-dir", "", "-itunes-lib", dir / "lib.xml"}), 0);
  EXPECT_EQ(testing_support::ListDir(dir.path()),
            (std::vector<std::string>{"Library.tmp", "iTunes.xml", "it.tmp", "itunes.import.items", "lib.xml"}));
}

TEST(CommandLine, WorkDirectoryIsMadeAndRemoved) {
  TempDir dir;
  WriteFile(dir / "lib.xml", kTinyLibrary);
  mkdir((dir / "db").c_str(), 0755);
  EXPECT_EQ(RunImporter(dir, {"-dbdir", dir / "db", "-playlist-dir", "", "-itunes-lib", "lib.xml"}), 0);
  EXPECT_EQ(testing_support::ListDir(dir / "db"), std::vector<std::string>{"itunes.import.items"});
  EXPECT_EQ(ReadFile(dir / "db/itunes.import.items"), "") << "a library without tracks gives an empty items file";
}

// A whole start-up, run and shut-down in this process returns every tracked
// byte, and the runtime starts again after a shut-down.
TEST(Runtime, WholeRunReturnsEveryTrackedByte) {
  TempDir dir;
  WriteFile(dir / "lib.xml", kTinyLibrary);
  const std::string db = dir / "db", lib = dir / "lib.xml";
  for (int round = 0; round < 2; ++round) {
    upnp_runtime_exit();
    upnp_runtime_init();
    std::vector<std::string> args = {"itunes-import", "-dbdir", db, "-playlist-dir", db, "-itunes-lib", lib};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    EXPECT_EQ(itunes_main(static_cast<int32_t>(argv.size()), argv.data()), 0);
    upnp_runtime_exit();
    EXPECT_EQ(g_memUsed, 0) << "round " << round;
    EXPECT_EQ(runtime_prepared, 0);
    EXPECT_EQ(runtime_started, 0);
  }
  upnp_runtime_init();
}

}  // namespace
