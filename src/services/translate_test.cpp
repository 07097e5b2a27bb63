#include "services/translate.h"

#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "base/memory.h"
#include "services/resource.h"
#include "services/settings.h"
#include "testing/log_recorder.hpp"
#include "testing/memory_fail.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::LogRecorder;
using testing_support::TempDir;
using testing_support::Utf16Le;
using testing_support::WriteFile;

class Translations : public ::testing::Test {
 protected:
  void SetUp() override {
    upnp_ini_prepare();
    upnp_ini_init();
    upnp_resource_prepare();
    upnp_resource_init();
    upnp_translate_module_init();
    upnp_ini_set("resourcedir", dir_.path().c_str(), 0);
    // The settings file is read again after every language load: keep it here.
    upnp_ini_set("inipath", dir_.path().c_str(), 0);
  }
  void TearDown() override {
    upnp_translate_module_stop();
    upnp_resource_stop();
    upnp_ini_stop();
    upnp_log_set_settings_read(0);
  }

  std::string Translate(const char* key) {
    char* text = upnp_translate(key);
    std::string result = text != nullptr ? text : "<null>";
    if (text != nullptr) upnp_free(text);
    return result;
  }

  TempDir dir_;
};

TEST_F(Translations, LanguageFileWithEnglishFallback) {
  WriteFile(dir_ / "strings-de.txt", Utf16Le("|Music|Musik\r\n|Empty|\r\n|Tab|a\tb\r\n|Video|Vid\xE9o\r\n|Long|" +
                                                std::string(2000, 'x') + "\r\n"));
  WriteFile(dir_ / "strings-en.txt", Utf16Le("|Music|Music\r\n|Photos|Pictures\r\n|Music|Second\r\n"));
  ASSERT_EQ(upnp_translate_init(1), 0);
  upnp_ini_set("language", "de", 0);
  EXPECT_EQ(Translate("Music"), "Musik");
  EXPECT_EQ(Translate("Video"), "Vid\xC3\xA9o") << "converted to UTF-8";
  EXPECT_EQ(Translate("Photos"), "Pictures") << "from the English fallback";
  EXPECT_EQ(Translate("Empty"), "\r") << "an empty translation keeps its CR";
  EXPECT_EQ(Translate("Tab"), "a");
  EXPECT_EQ(Translate("Long"), std::string(1023, 'x')) << "cut to the buffer";
  EXPECT_EQ(upnp_log_settings_read(), 1) << "loading a language reads the settings";

  LogRecorder log;
  EXPECT_EQ(Translate("Mus"), "Mus") << "a prefix of a key does not match";
  EXPECT_TRUE(log.contains("upnp_translate : NO TRANSLATION FOR Mus"));
  EXPECT_EQ(upnp_translate(nullptr), nullptr);
}

TEST_F(Translations, ReloadOnlyWhenTheLanguageChanges) {
  WriteFile(dir_ / "strings-de.txt", Utf16Le("|Music|Musik\r\n"));
  WriteFile(dir_ / "strings-fr.txt", Utf16Le("|Music|Musique\r\n"));
  upnp_ini_set("language", "de", 0);
  EXPECT_EQ(Translate("Music"), "Musik");
  WriteFile(dir_ / "strings-de.txt", Utf16Le("|Music|Neu\r\n"));
  upnp_ini_set("language", "de", 0);
  EXPECT_EQ(Translate("Music"), "Musik") << "same language: not reloaded";
  upnp_ini_set("language", "fr", 0);
  EXPECT_EQ(Translate("Music"), "Musique");
  upnp_ini_set("language", "xx", 0);
  EXPECT_EQ(Translate("Music"), "Musique") << "a missing file keeps the previous table";
}

TEST_F(Translations, NoFilesGiveTheKeysBack) {
  EXPECT_EQ(upnp_translate_init(1), 123);
  upnp_ini_set("language", "de", 0);
  EXPECT_EQ(Translate("Music"), "Music");
}

TEST_F(Translations, OutOfMemoryKeepsTheTables) {
  WriteFile(dir_ / "strings-en.txt", Utf16Le("|Music|Music\r\n"));
  const int64_t before = g_memUsed;
  ForEachAllocationFailure([&] {
    upnp_translate_init(1);
    upnp_translate_clear();
  });
  EXPECT_EQ(g_memUsed, before);
  ASSERT_EQ(upnp_translate_init(1), 0);
  EXPECT_EQ(Translate("Music"), "Music");
}

}  // namespace
