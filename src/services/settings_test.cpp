#include "services/settings.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "base/log.h"
#include "base/memory.h"
#include "testing/log_recorder.hpp"
#include "testing/memory_fail.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::LogRecorder;
using testing_support::TempDir;
using testing_support::Utf16Le;
using testing_support::WriteFile;

std::string Get(int32_t id) {
  const char* value = upnp_ini_get(id);
  return value != nullptr ? value : "<null>";
}

// Each test starts from the compiled-in defaults: the started runtime's
// reference is dropped for the test, so the fixture is the only user.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_ini_stop();
    upnp_ini_init();
  }
  void TearDown() override {
    upnp_ini_stop();
    upnp_ini_init();
    upnp_settings_set_user_lookup(nullptr);
    upnp_log_set_settings_read(0);
  }
};

int32_t NormalUser(char* home, size_t size) {
  snprintf(home, size, "%s", "/home/anna");
  return 1;
}
int32_t RootUser(char*, size_t) { return 0; }

// The table itself is checked at compile time; here only the lookup rules.
TEST_F(Settings, LookupRules) {
  EXPECT_EQ(Get(UPNP_INI_STACK_SIZE), "196608");
  EXPECT_EQ(Get(UPNP_INI_INIPATH), "<null>");
  EXPECT_EQ(upnp_ini_find("VLEVEL")->id, UPNP_INI_VLEVEL) << "names ignore case";
  EXPECT_EQ(upnp_ini_find(" vlevel"), nullptr);
  EXPECT_EQ(upnp_ini_find(nullptr), nullptr);
  for (int32_t id : {-1, 12, 78, 335, 336, 10000}) EXPECT_EQ(upnp_ini_get(id), nullptr) << id;
  EXPECT_EQ(upnp_ini_set("nosuchkey", "1", 0), 2);
  EXPECT_EQ(upnp_ini_set(nullptr, "1", 0), 2);
  ASSERT_EQ(upnp_ini_set("vlevel", "2", 0), 0);
  ASSERT_EQ(upnp_ini_set("vlevel", nullptr, 0), 0);
  EXPECT_EQ(Get(UPNP_INI_VLEVEL), "4") << "a forgotten value falls back to the default";
}

TEST_F(Settings, NumbersAndPortLimits) {
  const struct {
    const char* name;
    const char* value;
    int32_t id;
    int64_t number;
  } cases[] = {
      {"httpport", "65535", UPNP_INI_HTTPPORT, 65535}, {"httpsport", "65536", UPNP_INI_HTTPSPORT, 0},
      {"maxthreads", "70000", UPNP_INI_MAXTHREADS, 70000},
      {"maxthreads", "", UPNP_INI_MAXTHREADS, 0},      {"maxthreads", " 5", UPNP_INI_MAXTHREADS, 0},
      {"ssdpttl", "-3x", UPNP_INI_SSDPTTL, -3},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(upnp_ini_set(c.name, c.value, 0), 0);
    EXPECT_EQ(upnp_ini_get_int(c.id), c.number) << c.name << "=" << c.value;
  }
  EXPECT_EQ(upnp_ini_get_int(UPNP_INI_LANGUAGE), 0) << "absent";
}

TEST_F(Settings, PathValuesAreCleanedUp) {
  const struct {
    const char* value;
    const char* cleaned;
  } cases[] = {
      {"/data//conf/", "/data/conf"},
      {"a|/", "a|/"},
      {"C:\\dir\\", "C:\\dir"},
      {"a\\\\b", "a\\b"},
      {"x|\\\\y", "x|\\\\y"},
      {"//srv//share//", "/srv/share/"},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(upnp_ini_set("inipath", c.value, 0), 0);
    EXPECT_EQ(Get(UPNP_INI_INIPATH), c.cleaned) << c.value;
  }
  ASSERT_EQ(upnp_ini_set("friendlyname", "a//b/", 0), 0);
  EXPECT_EQ(Get(UPNP_INI_FRIENDLYNAME), "a//b/") << "not a path property";
}

TEST_F(Settings, DirectoryPlaceholdersExpandOnceAndFollowTheUser) {
  upnp_settings_set_user_lookup(NormalUser);
  ASSERT_EQ(upnp_ini_set("cachedir", "%APPDATADIR%/cache", 0), 0);
  ASSERT_EQ(upnp_ini_set("contentbase", "%USERHOMEDIR%/Music", 0), 0);
  const char* first = upnp_ini_get(UPNP_INI_CACHEDIR);
  EXPECT_STREQ(first, "/home/anna/.orvane/cache");
  EXPECT_EQ(Get(UPNP_INI_CONTENTBASE), "/home/anna/Music");

  upnp_settings_set_user_lookup(RootUser);
  EXPECT_EQ(upnp_ini_get(UPNP_INI_CACHEDIR), first) << "the expansion is cached";
  ASSERT_EQ(upnp_ini_set("cachedir", "%APPDATADIR%/cache", 0), 0);
  EXPECT_EQ(Get(UPNP_INI_CACHEDIR), "/var/orvane/cache") << "a new value is expanded anew";
}

TEST_F(Settings, OutOfMemoryKeepsTheOldValue) {
  ASSERT_EQ(upnp_ini_set("friendlyname", "old", 0), 0);
  {
    MemFailAfter fail(0);
    EXPECT_EQ(upnp_ini_set("friendlyname", "new", 0), 8);
  }
  EXPECT_EQ(Get(UPNP_INI_FRIENDLYNAME), "old");
  upnp_settings_set_user_lookup(RootUser);
  ASSERT_EQ(upnp_ini_set("cachedir", "%APPDATADIR%", 0), 0);
  {
    MemFailAfter fail(0);
    EXPECT_EQ(upnp_ini_get(UPNP_INI_CACHEDIR), nullptr);
  }
  EXPECT_EQ(Get(UPNP_INI_CACHEDIR), "/var/orvane") << "a failed expansion is tried again";
}

TEST_F(Settings, StopIsReferenceCounted) {
  upnp_ini_init();  // a second user of the module
  ASSERT_EQ(upnp_ini_set("language", "de", 0), 0);
  upnp_ini_stop();
  EXPECT_EQ(Get(UPNP_INI_LANGUAGE), "de") << "still in use";
  upnp_ini_stop();
  EXPECT_EQ(Get(UPNP_INI_LANGUAGE), "<null>");
  EXPECT_EQ(Get(UPNP_INI_STACK_SIZE), "<null>") << "no defaults either once stopped";
  EXPECT_EQ(upnp_ini_file_name(), nullptr);
  upnp_ini_init();  // balances the fixture's stop
}

const char kLines[] =
    "# a comment\n"
    "v=128\r\n"
    "vlevel=2\n"
    "  vlevel=5\n"
    "#vlevel=5\n"
    "VLEVEL=3\n"
    "nosuchkey=1\n"
    "friendlyname=a=b\n"
    "ip = 10.0.0.1\n"
    "language=\n"
    "noequals\n"
    "maxthreads=\t7\n"
    "\tstack_size=300000\n"
    "mediatypefilter=V";  // no line break at the end

void ExpectLinesApplied(const LogRecorder& log) {
  // VLEVEL=3: leading blanks make an unknown key and case is ignored; later '='
  // belong to the value; blanks belong to the key; an empty value is a value;
  // a tab ends the line; a last line needs no line break.
  EXPECT_EQ((std::vector<std::string>{Get(UPNP_INI_VLEVEL), Get(UPNP_INI_FRIENDLYNAME), Get(UPNP_INI_IP),
                                      Get(UPNP_INI_LANGUAGE), Get(UPNP_INI_MAXTHREADS), Get(UPNP_INI_STACK_SIZE),
                                      Get(UPNP_INI_MEDIATYPEFILTER)}),
            (std::vector<std::string>{"3", "a=b", "<null>", "", "", "300000", "V"}));
  const char* kFn = "upnp_ini_file_read_properties_from_file : ";
  for (const char* line : {"v = 128", "vlevel = 2", "VLEVEL = 3", "friendlyname = a=b", "language = "}) {
    EXPECT_TRUE(log.contains(std::string(kFn) + line + "\n")) << line;
  }
  EXPECT_FALSE(log.contains("vlevel = 5"));
  EXPECT_FALSE(log.contains("nosuchkey"));
  upnp_log_set_settings_read(1);
  EXPECT_EQ(upnp_log_should_write(UPNP_LOG_WARNING, LOG_PLUGIN), 1) << "mask 128, level 3 passed on";
  upnp_log_set_mask(0);
  upnp_log_set_level(4);
}

TEST_F(Settings, FileLinesInEitherEncoding) {
  for (const bool utf16 : {false, true}) {
    SCOPED_TRACE(utf16 ? "UTF-16" : "UTF-8");
    upnp_ini_stop();
    upnp_ini_init();
    TempDir dir;
    WriteFile(dir / "orvane.ini", utf16 ? Utf16Le(kLines) : std::string(kLines));
    LogRecorder log;
    EXPECT_EQ(upnp_ini_file_read_properties_from_file((dir / "orvane.ini").c_str(), 0), 0);
    ExpectLinesApplied(log);
    EXPECT_EQ(upnp_ini_from_utf16(), utf16 ? 1 : 0);
  }
}

TEST_F(Settings, FilesThatSetNothing) {
  TempDir dir;
  const struct {
    const char* name;
    std::string content;
  } files[] = {
      {"one byte", "v"},
      {"leading zero byte", std::string("\0v=1\n", 5)},
      {"only unknown keys and comments", "#v=1\nfoo=bar\n"},
      {"UTF-16 mark alone", "\xFF\xFE"},
  };
  for (const auto& f : files) {
    WriteFile(dir / "f.ini", f.content);
    EXPECT_EQ(upnp_ini_file_read_properties_from_file((dir / "f.ini").c_str(), 0), 14) << f.name;
  }
  EXPECT_EQ(upnp_ini_file_read_properties_from_file((dir / "missing.ini").c_str(), 0), 14);
  EXPECT_EQ(upnp_ini_file_read_properties_from_file(nullptr, 0), 14);
  EXPECT_EQ(Get(UPNP_INI_V), "0");
}

TEST_F(Settings, FileNameFromInipathAndReadSettingsOrExternalReader) {
  TempDir dir;
  ASSERT_EQ(upnp_ini_set("inipath", (dir.path() + "//conf/").c_str(), 0), 0);
  const char* name = upnp_ini_file_name();
  ASSERT_NE(name, nullptr);
  EXPECT_EQ(std::string(name), dir.path() + "/conf/orvane.ini");
  EXPECT_TRUE(testing_support::FileExists(dir / "conf")) << "the directory is created";
  ASSERT_EQ(upnp_ini_set("ininame", "other.ini", 0), 0);
  EXPECT_EQ(upnp_ini_file_name(), name) << "built once";

  upnp_log_set_settings_read(0);
  upnp_ini_read_settings(0);
  EXPECT_EQ(upnp_log_settings_read(), 1) << "a missing file still ends start-up mode";

  WriteFile(dir / "conf/orvane.ini", "language=de\n");
  LogRecorder log;
  upnp_ini_read_settings(0);
  EXPECT_EQ(Get(UPNP_INI_LANGUAGE), "de");
  EXPECT_TRUE(log.contains("reading ini settings from " + dir.path() + "/conf/orvane.ini"));

  // An external reader, when set, decides instead of the file.
  upnp_ini_set_external_reader([](int32_t) -> int32_t { return upnp_ini_set("ip", "1.2.3.4", 0) == 0 ? 14 : 0; });
  upnp_log_set_settings_read(0);
  upnp_ini_read_settings(0);
  EXPECT_EQ(upnp_log_settings_read(), 0) << "the reader found nothing";
  EXPECT_EQ(Get(UPNP_INI_IP), "1.2.3.4");
  upnp_ini_set_external_reader(nullptr);
}

TEST_F(Settings, FileReadingOutOfMemoryLeavesNothing) {
  TempDir dir;
  WriteFile(dir / "a.ini", Utf16Le("friendlyname=x\nip=y\n"));
  const int64_t before = g_memUsed;
  const int64_t failing_runs = ForEachAllocationFailure([&] {
    upnp_ini_file_read_properties_from_file((dir / "a.ini").c_str(), 0);
    upnp_ini_set("friendlyname", nullptr, 0);
    upnp_ini_set("ip", nullptr, 0);
  });
  EXPECT_GT(failing_runs, 2);
  EXPECT_EQ(g_memUsed, before);
}

}  // namespace
