#include "importer/wpl.h"

#include <gtest/gtest.h>

#include <string>

#include "base/file.h"
#include "base/memory.h"
#include "testing/itunes_library.hpp"
#include "testing/temp_dir.hpp"

namespace {

class Wpl : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(upnp_wpl_prepare(), 0);
    upnp_wpl_init();
    mem_before_ = g_memUsed;
  }
  void TearDown() override {
    upnp_wpl_stop();
    upnp_wpl_release();
    EXPECT_EQ(g_memUsed, mem_before_) << "the table frees everything it holds";
  }

  static uint32_t create(const char* title, uint32_t type = UPNP_WPL_TYPE_MUSIC,
                         uint32_t source = UPNP_WPL_SOURCE_ITUNES, const char* generator = nullptr,
                         const char* origin = nullptr) {
    uint32_t id = 99;
    EXPECT_EQ(upnp_wpl_create(title, type, source, generator, origin, &id), 0) << title;
    return id;
  }
  static std::string text(uint32_t id) {
    upnp_string* out = nullptr;
    const int32_t status = upnp_wpl_to_text(id, &out);
    std::string result = status == 0 ? std::string(out->data, out->length) : "<" + std::to_string(status) + ">";
    upnp_string_free(out);
    return result;
  }

  int64_t mem_before_ = 0;
};

TEST_F(Wpl, TextByteForByte) {
  // As the importer makes them: title and entries escaped, duplicates kept.
  const uint32_t id = create("Old: 80s/Rock & \"Roll\" (iTunes)", UPNP_WPL_TYPE_VIDEO);
  EXPECT_EQ(id, 1u) << "identifiers start at 1";
  for (const char* entry : {"/v/Tom &amp; Jerry.m4v", "/v/<it's>.mov", "/v/<it's>.mov"})
    ASSERT_EQ(upnp_wpl_add_entry(id, entry), 0);
  EXPECT_EQ(text(id), testing_support::ImportedWpl("Old: 80s/Rock &amp; &quot;Roll&quot; (iTunes)", 'V',
                                                  {"/v/Tom &amp;amp; Jerry.m4v", "/v/&lt;it&apos;s&gt;.mov",
                                                   "/v/&lt;it&apos;s&gt;.mov"}));
  // Every line, literally: a generator as given, an origin escaped; no
  // entries, no sequence.
  EXPECT_EQ(text(create("T", UPNP_WPL_TYPE_PICTURES, UPNP_WPL_SOURCE_FILE, "Gen<1>", "/p/a&b.wpl")),
            "<?wpl version=\"1.0\"?>\n"
            "<smil>\n"
            "  <head>\n"
            "    <meta name=\"Generator\" content=\"Gen<1>\"/>\n"
            "    <meta name=\"OrigFilename\" content=\"/p/a&amp;b.wpl\"/>\n"
            "    <meta name=\"ItemCount\" content=\"0\"/>\n"
            "    <meta name=\"Type\" content=\"P\"/>\n"
            "    <meta name=\"Source\" content=\"file\"/>\n"
            "    <title>T</title>\n"
            "  </head>\n"
            "  <body>\n"
            "  </body>\n"
            "</smil>\n");
}

// Entries by reference are read back when rendered, an unreadable one
// written empty; the file gets the same text as the string.
TEST_F(Wpl, ReferencedEntriesAreReadBackAndStreamedToTheFile) {
  upnp_wpl_set_location_reader(
      [](void*, uint64_t reference, char* location, uint32_t size) -> int32_t {
        if (reference == 0) return 0;
        return snprintf(location, size, "/r/%d&.mp3", static_cast<int>(reference)) > 0;
      },
      nullptr);
  const uint32_t id = create("Refs");
  ASSERT_EQ(upnp_wpl_add_entry_ref(id, 7), 0);
  ASSERT_EQ(upnp_wpl_add_entry(id, "/c.mp3"), 0);
  ASSERT_EQ(upnp_wpl_add_entry_ref(id, 0), 0);
  EXPECT_EQ(upnp_wpl_add_entry_ref(id, uint64_t{1} << 63), 14);
  const std::string expected = testing_support::ImportedWpl("Refs", 'M', {"/r/7&amp;.mp3", "/c.mp3", ""});
  EXPECT_EQ(text(id), expected);
  const testing_support::TempDir dir;
  upnp_file* file = upnp_file_open_write((dir / "refs.wpl").c_str());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(upnp_wpl_write_file(id, file), 0);
  upnp_file_close(file);
  EXPECT_EQ(testing_support::ReadFile(dir / "refs.wpl"), expected);
  upnp_wpl_set_location_reader(nullptr, nullptr);
}

TEST_F(Wpl, CdsPlaylistsLeaveAMarkerBesideTheirOrigin) {
  testing_support::TempDir dir;
  testing_support::WriteFile(dir / "kept.wpl.fromcds", "kept");
  create("A", UPNP_WPL_TYPE_MUSIC, UPNP_WPL_SOURCE_CDS, nullptr, (dir / "a.wpl").c_str());
  create("B", UPNP_WPL_TYPE_MUSIC, UPNP_WPL_SOURCE_ITUNES, nullptr, (dir / "b.wpl").c_str());
  create("C", UPNP_WPL_TYPE_MUSIC, UPNP_WPL_SOURCE_CDS, nullptr, (dir / "kept.wpl").c_str());
  EXPECT_EQ(testing_support::ListDir(dir.path()),
            (std::vector<std::string>{"a.wpl.fromcds", "kept.wpl.fromcds"}));
  EXPECT_EQ(testing_support::ReadFile(dir / "a.wpl.fromcds"), "");
  EXPECT_EQ(testing_support::ReadFile(dir / "kept.wpl.fromcds"), "kept");
}

TEST_F(Wpl, SameTitleAndTypeMerge) {
  // Merged entries show byte for byte in the whole import's outputs.
  const uint32_t first = create("Mix (iTunes)");
  EXPECT_EQ(create("Mix (iTunes)"), first);
  EXPECT_NE(create("Mix (iTunes)", UPNP_WPL_TYPE_VIDEO), first) << "not across types";
  EXPECT_NE(create("mix (iTunes)"), first) << "titles compare exactly";

  const uint32_t cds = create("Mix (iTunes)", UPNP_WPL_TYPE_MUSIC, UPNP_WPL_SOURCE_CDS);
  EXPECT_EQ(cds, first);
  EXPECT_NE(text(first).find("content=\"CDS\""), std::string::npos) << "a CDS source carries over";
  EXPECT_EQ(create("Mix (iTunes)", UPNP_WPL_TYPE_MUSIC, UPNP_WPL_SOURCE_FILE), first);
  EXPECT_NE(text(first).find("content=\"CDS\""), std::string::npos) << "and stays";
}

TEST_F(Wpl, IdentifiersAndFailures) {
  for (uint32_t i = 1; i <= 12; ++i) {  // across the table's growth
    const std::string title = "P" + std::to_string(i);
    ASSERT_EQ(create(title.c_str()), i);
    ASSERT_EQ(upnp_wpl_add_entry(i, title.c_str()), 0);
  }
  for (uint32_t i = 1; i <= 12; ++i) EXPECT_NE(text(i).find("<title>P" + std::to_string(i) + "<"), std::string::npos);
  upnp_string* out = upnp_string_append(nullptr, "before\n");
  ASSERT_EQ(upnp_wpl_to_text(3, &out), 0);
  EXPECT_EQ(std::string(out->data).rfind("before\n<?wpl", 0), 0u) << "appended to the caller's text";
  upnp_string_free(out);

  EXPECT_EQ(upnp_wpl_add_entry(0, "/x"), 14);
  EXPECT_EQ(upnp_wpl_add_entry(1, nullptr), 14);
  EXPECT_EQ(upnp_wpl_to_text(1, nullptr), 14);
  const uint32_t untitled = create(nullptr);
  EXPECT_EQ(text(untitled), "<14>") << "no title, no text";
  EXPECT_NE(create(nullptr), untitled) << "untitled playlists never merge";

  upnp_wpl_reset();
  EXPECT_EQ(text(1), "<14>") << "forgotten";
  EXPECT_EQ(create("P5"), 1u) << "counted from 1 again";

  upnp_wpl_stop();
  uint32_t id = 7;
  EXPECT_EQ(upnp_wpl_create("B", 1, 2, nullptr, nullptr, &id), 14) << "stopped";
  EXPECT_EQ(id, 0u);
  EXPECT_EQ(upnp_wpl_add_entry(1, "/x"), 14);
  upnp_wpl_init();
}

}  // namespace
