#include "services/resource.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/memory.h"
#include "services/settings.h"
#include "testing/log_recorder.hpp"
#include "testing/memory_fail.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::LogRecorder;
using testing_support::TempDir;
using testing_support::WriteFile;

class Resources : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_ini_prepare();
    upnp_ini_init();
    upnp_resource_prepare();
    upnp_resource_init();
    upnp_ini_set("resourcedir", dir_.path().c_str(), 0);
  }
  void TearDown() override {
    upnp_resource_stop();
    upnp_ini_stop();
  }

  // The content read, "<none>" when the lookup failed.
  std::string Read(std::string name) {
    uint32_t length = 99;
    char* content = reinterpret_cast<char*>(1);
    if (!upnp_get_resource_file(name.data(), &length, &content)) {
      EXPECT_EQ(length, 0u);
      EXPECT_EQ(content, nullptr);
      return "<none>";
    }
    EXPECT_EQ(content[length], '\0');
    EXPECT_EQ(content[length + 1], '\0');
    std::string result(content, length);
    upnp_free(content);
    return result;
  }

  std::string PathOf(const char* name) {
    upnp_string* path = get_resource_file_path(name);
    std::string result = path != nullptr ? upnp_string_get(path) : "<null>";
    upnp_string_free(path);
    return result;
  }

  TempDir dir_;
};

TEST_F(Resources, SkinsReplaceTheBaseNameAndAnOverrideTakesOverAfterTheChecks) {
  std::filesystem::create_directories(dir_ / "img");
  WriteFile(dir_ / "img/logo.png", "plain");
  WriteFile(dir_ / "img/logo-3.png", "skin 3");
  upnp_ini_set("webuiskin", "3", 0);
  EXPECT_EQ(PathOf("img/logo.png"), dir_ / "img/logo-3.png");
  EXPECT_EQ(PathOf("img/logo"), dir_ / "img/logo") << "no extension, no skin";
  upnp_ini_set("webuiskin", "4", 0);
  EXPECT_EQ(PathOf("img/logo.png"), dir_ / "img/logo.png") << "no such skin file";
  LogRecorder log;
  upnp_ini_set("webuiskin", "10", 0);
  EXPECT_EQ(PathOf("img/logo.png"), dir_ / "img/logo.png");
  EXPECT_TRUE(log.contains("get_resource_file_path : Invalid webuiskin ini value - it must be a digit in [0-9]"));

  upnp_resource_set_override([](const char* name, uint32_t* length, char** content) -> int32_t {
    *length = static_cast<uint32_t>(strlen(name));
    *content = static_cast<char*>(upnp_calloc(*length + 2, 1));  // ends in two zero bytes, as files do
    memcpy(*content, name, *length);
    return 1;
  });
  EXPECT_EQ(Read("x.txt?q"), "x.txt") << "the override sees the cut name";
  EXPECT_EQ(Read("../x.txt"), "<none>");
  upnp_resource_init();  // removes the override
  EXPECT_EQ(Read("x.txt"), "<none>");
  upnp_ini_set("resourcedir", nullptr, 0);
  EXPECT_EQ(PathOf("img/logo.png"), "<null>");
}

TEST_F(Resources, NamesAreCutAndRefused) {
  WriteFile(dir_ / "b.txt", "bee");
  EXPECT_EQ(Read("b.txt?x=1?y=2"), "<none>") << "only the last '?' cuts";
  EXPECT_EQ(Read("b.txt?x=1"), "bee");
  EXPECT_EQ(Read("missing.txt"), "<none>");
  EXPECT_EQ(upnp_get_resource_file(nullptr, nullptr, nullptr), 0);
  // A path with a '/' that names an existing file is read as it is.
  WriteFile(dir_ / "elsewhere.xml", "<x/>");
  EXPECT_EQ(Read(dir_ / "elsewhere.xml"), "<x/>");
}

TEST_F(Resources, CacheRulesAndLimit) {
  const struct {
    const char* name;
    bool cached;
  } files[] = {
      {"a.png", true},          {"a.PNG", false},       {"strings-de.txt", false}, {"views-x.txt", true},
      {"noext", false},         {"a.jpeg", false},      {"empty.xml", false},      {"b.ico", true},
  };
  for (const auto& f : files) {
    WriteFile(dir_ / f.name, std::string(f.name) == "empty.xml" ? "" : "old");
    Read(f.name);
    WriteFile(dir_ / f.name, "new");
    EXPECT_EQ(Read(f.name), f.cached ? "old" : "new") << f.name;
  }
  std::filesystem::create_directories(dir_ / "views");
  WriteFile(dir_ / "views/v.xml", "old");
  Read("views/v.xml");
  WriteFile(dir_ / "views/v.xml", "new");
  EXPECT_EQ(Read("views/v.xml"), "new");

  upnp_resource_cache_clear();
  for (int i = 0; i < 100; ++i) WriteFile(dir_ / ("f" + std::to_string(i) + ".txt"), "x");
  WriteFile(dir_ / "f100.txt", "last");
  LogRecorder log;
  for (int i = 0; i < 100; ++i) Read("f" + std::to_string(i) + ".txt");
  EXPECT_FALSE(log.contains("too many files"));
  EXPECT_EQ(Read("f100.txt"), "last") << "the 101st file is still returned";
  EXPECT_TRUE(log.contains("add_to_cache : too many files (100)"));
}

TEST_F(Resources, OutOfMemoryLeavesNothing) {
  WriteFile(dir_ / "c.png", "png bytes");
  const int64_t before = g_memUsed;
  ForEachAllocationFailure([&] {
    Read("c.png");
    upnp_resource_cache_clear();
  });
  EXPECT_EQ(g_memUsed, before);
}

}  // namespace
