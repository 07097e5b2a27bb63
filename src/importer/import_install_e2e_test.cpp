// What a run promises about the files it replaces, tried on the built
// program: it refuses bad directories and planted links before touching
// anything, lets one import run at a time, and when killed anywhere leaves
// every target with its old or its new complete content.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "testing/itunes_library.hpp"
#include "testing/temp_dir.hpp"

namespace {

using namespace testing_support;
using Files = std::map<std::string, std::string>;

constexpr char kPause[] = "ITUNES_IMPORT_TEST_INSTALL_PAUSE_MS";

// A scratch tree with the database, playlist and media directories.
class Box {
 public:
  Box() {
    for (const char* d : {"db", "playlists", "media", "elsewhere"}) mkdir((dir_ / d).c_str(), 0755);
    WriteFile(dir_ / "elsewhere/keep", "keep");
  }
  std::vector<std::string> Args(const std::string& library) const {
    return {ITUNES_IMPORT_BINARY, "-dbdir", dir_ / "db", "-playlist-dir", dir_ / "playlists", "-itunes-lib",
            dir_ / library};
  }
  RunResult Import(const std::string& library) const { return Run(Args(library), dir_.path()); }
  // The database directory and, under "playlists/", the playlist directory.
  Files Outputs() const {
    Files files = DirContents(dir_ / "db");
    for (const auto& [name, content] : DirContents(dir_ / "playlists")) files["playlists/" + name] = content;
    return files;
  }
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
};

std::string SmallLibrary() {
  return LibraryXml({{1, "A", "file://localhost/media/a.mp3", kFileTrack}},
                    {{"P", "P1", "", false, {1}, ""}, {"Q", "P2", "", false, {1, 1}, ""}});
}

TEST(ImportInstall, RefusesBadDirectoriesAndPlantedLinksAndNeverWritesThroughALink) {
  const auto link = [](const Box& box, const std::string& target, const std::string& name) {
    ASSERT_EQ(symlink((box.dir() / target).c_str(), (box.dir() / name).c_str()), 0) << name;
  };
  const struct {
    const char* name;
    std::function<void(const Box&)> plant;
    int status;
    const char* message;
  } cases[] = {
      {"no database directory", [](const Box& b) { rmdir((b.dir() / "db").c_str()); }, 255,
       "can not use directory"},
      {"no playlist directory", [](const Box& b) { rmdir((b.dir() / "playlists").c_str()); }, 255,
       "can not use directory"},
      {"a link as work directory", [&](const Box& b) { link(b, "elsewhere", "db/itunes-import-temp"); }, 255,
       "can not use work directory"},
      {"a link as lock file", [&](const Box& b) { link(b, "elsewhere/keep", "db/itunes-import.lock"); }, 255,
       "can not lock"},
      {"a link left beside a target", [&](const Box& b) { link(b, "elsewhere/keep", "playlists/.itunes-import-9-9-9"); },
       0, ""},
      {"a link in a leftover work directory",
       [&](const Box& b) {
         mkdir((b.dir() / "db/itunes-import-temp").c_str(), 0755);
         link(b, "elsewhere/keep", "db/itunes-import-temp/itunes.import.temp.items");
         link(b, "elsewhere", "db/itunes-import-temp/sub");
       },
       0, ""},
      {"a link as the items file", [&](const Box& b) { link(b, "elsewhere/keep", "db/itunes.import.items"); }, 0, ""},
  };
  Box reference;
  WriteFile(reference.dir() / "media/a.mp3", "a");
  WriteFile(reference.dir() / "lib.xml", SmallLibrary());
  ASSERT_EQ(reference.Import("lib.xml").exit_status, 0);
  for (const auto& c : cases) {
    Box box;
    WriteFile(box.dir() / "media/a.mp3", "a");
    WriteFile(box.dir() / "lib.xml", SmallLibrary());
    c.plant(box);
    const Files before = box.Outputs();
    const RunResult result = box.Import("lib.xml");
    EXPECT_EQ(result.exit_status, c.status) << c.name << ": " << result.output;
    EXPECT_EQ(DirContents(box.dir() / "elsewhere"), (Files{{"keep", "keep"}})) << c.name;
    if (c.status == 0) {
      EXPECT_EQ(box.Outputs(), reference.Outputs()) << c.name;
    } else {
      EXPECT_NE(result.output.find(c.message), std::string::npos) << c.name << ": " << result.output;
      // The lock file is taken before the work directory is looked at.
      Files after = box.Outputs();
      Files untouched = before;
      for (Files* files : {&after, &untouched}) files->erase("itunes-import.lock");
      EXPECT_EQ(after, untouched) << c.name;
    }
  }
}

TEST(ImportInstall, OfTwoImportsAtOnceOneRunsAndTheOtherExits255) {
  Box box;
  Box single;
  for (const Box* b : {&box, &single}) {
    WriteFile(b->dir() / "media/a.mp3", "a");
    WriteFile(b->dir() / "lib.xml", SmallLibrary());
  }
  ASSERT_EQ(single.Import("lib.xml").exit_status, 0);
  // Both hold their install for a while, so their runs overlap whichever
  // starts first.
  setenv(kPause, "150", 1);
  const pid_t first = Start(box.Args("lib.xml"), box.dir().path(), box.dir() / "first.out");
  const pid_t second = Start(box.Args("lib.xml"), box.dir().path(), box.dir() / "second.out");
  const int statuses[] = {Wait(first), Wait(second)};
  unsetenv(kPause);
  const std::string outputs[] = {ReadFile(box.dir() / "first.out"), ReadFile(box.dir() / "second.out")};
  const int loser = statuses[0] == 0 ? 1 : 0;
  EXPECT_EQ(statuses[1 - loser], 0) << outputs[1 - loser];
  EXPECT_EQ(statuses[loser], 255) << outputs[loser];
  EXPECT_NE(outputs[loser].find("another import is running on " + box.dir() / "db"), std::string::npos)
      << outputs[loser];
  EXPECT_EQ(box.Outputs(), single.Outputs());
}

// 20,000 tracks over 100 media files, 20 playlists of 100 tracks with the
// same names; the tag changes every title and which tracks each playlist
// holds. Lines are kept few: the run yields the processor at each one.
std::string BigLibrary(const std::string& tag, int shift) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // Sanitized runs are many times slower; a smaller library keeps the kills
  // as many within the test's time limit.
  constexpr int kTracks = 4000;
#else
  constexpr int kTracks = 20000;
#endif
  constexpr int kLists = 20;
  std::vector<LibraryTrack> tracks;
  for (int i = 1; i <= kTracks; ++i) {
    tracks.push_back({static_cast<uint32_t>(i), tag + std::to_string(i),
                      "file://localhost/media/" + std::to_string(i % 100) + ".mp3", ""});
  }
  std::vector<LibraryPlaylist> playlists;
  for (int p = 0; p < kLists; ++p) {
    LibraryPlaylist list{"List " + std::to_string(p), "L" + std::to_string(p), "", false, {}, ""};
    for (int i = 1; i <= 2000; ++i) {
      if ((i + shift) % kLists == p) list.items.push_back(static_cast<uint32_t>(i));
    }
    playlists.push_back(list);
  }
  playlists.push_back({tag + " only", "X", "", false, {1, 2, 3}, ""});
  return LibraryXml(tracks, playlists);
}

bool IsLeftover(const std::string& name) {
  return name.rfind("itunes-import-temp", 0) == 0 || name.find(".itunes-import-") != std::string::npos;
}

// The items file, installed first, stands beside its target.
bool InstallStarted(const Box& box) {
  for (const std::string& name : ListDir(box.dir() / "db")) {
    if (name.rfind(".itunes-import-", 0) == 0) return true;
  }
  return false;
}

TEST(ImportInstall, KilledAnywhereEveryTargetIsOldOrNewAndTheNextRunInstallsCleanly) {
  Box box;
  for (int i = 0; i < 100; ++i) WriteFile(box.dir() / ("media/" + std::to_string(i) + ".mp3"), "m");
  WriteFile(box.dir() / "a.xml", BigLibrary("A", 0));
  WriteFile(box.dir() / "b.xml", BigLibrary("B", 7));
  // Each library's import, from the other's, ends in a fixed state.
  for (const char* library : {"a.xml", "b.xml"}) ASSERT_EQ(box.Import(library).exit_status, 0);
  const Files after_b = box.Outputs();
  constexpr int kPauseMs = 5;
  setenv(kPause, std::to_string(kPauseMs).c_str(), 1);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(box.Import("a.xml").exit_status, 0);
  const auto run_us = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  const Files after_a = box.Outputs();
  ASSERT_NE(after_a, after_b);

  std::mt19937 random(14);
  int killed = 0;
  int mixed = 0;
  // A run that ends before its kill counts as a run, not as a kill.
  for (int k = 0; killed < 20 && k < 60; ++k) {
    const bool to_b = k % 2 == 0;
    const Files& from = to_b ? after_a : after_b;
    const Files& to = to_b ? after_b : after_a;
    const std::string library = to_b ? "b.xml" : "a.xml";
    const pid_t pid = Start(box.Args(library), box.dir().path(), box.dir() / "out");
    if (k % 4 < 2) {
      // Anywhere in the run.
      std::uniform_int_distribution<long> at(0, run_us.count() * 3 / 4);
      usleep(static_cast<useconds_t>(at(random)));
    } else {
      // In the final step: once the first output stands beside its target.
      for (int wait = 0; wait < 20000 && !InstallStarted(box); ++wait) usleep(200);
      std::uniform_int_distribution<long> at(0, 22 * kPauseMs * 1000);
      usleep(static_cast<useconds_t>(at(random)));
    }
    kill(pid, SIGKILL);
    if (Wait(pid) == -1) ++killed;
    const Files now = box.Outputs();
    bool changed = false;
    bool unchanged = false;
    for (const auto& [name, content] : from) {
      if (IsLeftover(name)) continue;
      ASSERT_EQ(now.count(name), 1u) << "kill " << k << ": " << name << " missing";
      EXPECT_TRUE(now.at(name) == content || now.at(name) == to.at(name)) << "kill " << k << ": " << name;
      if (content != to.at(name)) (now.at(name) == content ? unchanged : changed) = true;
    }
    if (changed && unchanged) ++mixed;
    ASSERT_EQ(box.Import(library).exit_status, 0) << "after kill " << k;
    ASSERT_EQ(box.Outputs(), to) << "after kill " << k;
  }
  unsetenv(kPause);
  EXPECT_GE(killed, 20);
  EXPECT_GT(mixed, 0) << "no kill fell between two installs";
}

}  // namespace
