#include "runtime/settings.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "runtime/log.h"
#include "runtime/memory.h"
#include "runtime/memory_fail.h"
#include "testing/log_capture.h"
#include "testing/temp_dir.h"

namespace {

using testing_support::LogCapture;
using testing_support::TempDir;
using testing_support::WriteFile;

std::string Get(int32_t id) {
  const char* value = upnp_ini_get(id);
  return value != nullptr ? value : "<null>";
}

// Each test starts from the compiled-in defaults.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_ini_prepare();
    upnp_ini_init();
  }
  void TearDown() override {
    upnp_ini_stop();
    upnp_settings_set_user_lookup(nullptr);
    upnp_log_set_settings_read(0);
  }
};

int32_t NormalUser(char* home, size_t size) {
  snprintf(home, size, "%s", "/home/anna");
  return 1;
}
int32_t RootUser(char*, size_t) { return 0; }
int32_t NoUser(char*, size_t) { return -1; }

TEST_F(Settings, TableAndDefaults) {
  const struct {
    int32_t id;
    const char* name;
    const char* value;
  } rows[] = {
      {UPNP_INI_V, "v", "0"},
      {UPNP_INI_ININAME, "ininame", "orvane.ini"},
      {UPNP_INI_INIPATH, "inipath", "<null>"},
      {UPNP_INI_DISABLELOGROTATE, "disablelogrotate", "0"},
      {UPNP_INI_VLEVEL, "vlevel", "4"},
      {UPNP_INI_STACK_SIZE, "stack_size", "196608"},
      {UPNP_INI_LANGUAGE, "language", "<null>"},
      {UPNP_INI_SSDPTTL, "ssdpttl", "4"},
      {UPNP_INI_MEDIATYPEFILTER, "mediatypefilter", "A"},
      {UPNP_INI_MAXTHREADS, "maxthreads", "0"},
      {UPNP_INI_MULTIUSERSUPPORTDEFAULTUSER, "multiusersupportdefaultuser", "guest"},
      {UPNP_INI_HTTPSPORT, "httpsport", "9443"},
      {UPNP_INI_SSDP_BEAT_TIME, "ssdp_beat_time", "1810"},
      {UPNP_INI_X_DSF_MIMETYPES, "x_dsf_mimetypes", "0"},
      {UPNP_INI_DISABLE_IP_REPORTING, "disable_ip_reporting", "0"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Get(row.id), row.value) << row.name;
    const upnp_ini_property* found = upnp_ini_find(row.name);
    ASSERT_NE(found, nullptr) << row.name;
    EXPECT_EQ(found->id, row.id) << row.name;
  }
  EXPECT_EQ(upnp_ini_find("VLEVEL"), upnp_ini_find("vlevel")) << "names ignore case";
  EXPECT_EQ(upnp_ini_find(" vlevel"), nullptr);
  EXPECT_EQ(upnp_ini_find(nullptr), nullptr);
  for (int32_t id : {-1, 12, 78, 335, 336, 10000}) EXPECT_EQ(upnp_ini_get(id), nullptr) << id;
  EXPECT_STREQ(upnp_ini_find("v")->description, "Verbose level for logging");
}

TEST_F(Settings, SetPassesLogSettingsAtOnce) {
  ASSERT_EQ(upnp_ini_set("v", "128", 0), 0);
  ASSERT_EQ(upnp_ini_set("VLevel", "2", 0), 0);
  upnp_log_set_settings_read(1);
  EXPECT_EQ(upnp_log_should_write(UPNP_LOG_INFO, LOG_PLUGIN), 1);
  EXPECT_EQ(upnp_log_should_write(UPNP_LOG_TRACE, LOG_PLUGIN), 0);
  EXPECT_EQ(upnp_log_should_write(UPNP_LOG_ERROR, LOG_SYSTEM), 0) << "outside the mask";
  EXPECT_EQ(Get(UPNP_INI_VLEVEL), "2");
  EXPECT_EQ(upnp_ini_set("nosuchkey", "1", 0), 2);
  EXPECT_EQ(upnp_ini_set(nullptr, "1", 0), 2);
  ASSERT_EQ(upnp_ini_set("vlevel", nullptr, 0), 0);
  EXPECT_EQ(Get(UPNP_INI_VLEVEL), "4") << "a forgotten value falls back to the default";
  upnp_log_set_mask(0);
  upnp_log_set_level(4);
}

TEST_F(Settings, NumbersAndPortLimits) {
  const struct {
    const char* name;
    const char* value;
    int32_t id;
    int64_t number;
  } cases[] = {
      {"httpport", "65535", UPNP_INI_HTTPPORT, 65535}, {"httpport", "65536", UPNP_INI_HTTPPORT, 0},
      {"httpsport", "70000", UPNP_INI_HTTPSPORT, 0},   {"maxthreads", "70000", UPNP_INI_MAXTHREADS, 70000},
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
      {"/", "/"},
      {"/data/conf", "/data/conf"},
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
  ASSERT_EQ(upnp_ini_set("contentbase", "%USERHOMEDIR%", 0), 0);
  EXPECT_EQ(Get(UPNP_INI_CONTENTBASE), "/var/orvane");

  upnp_settings_set_user_lookup(NoUser);
  TrackedPtr<char> appdata(upnp_get_appdata_dir());
  EXPECT_STREQ(appdata.get(), "/var/orvane");
  upnp_settings_set_user_lookup(NormalUser);
  TrackedPtr<char> home(upnp_get_user_home_dir());
  EXPECT_STREQ(home.get(), "/home/anna");
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
  upnp_ini_init();  // balances the fixture's stop
}

}  // namespace
