#include "dbobject/property_table.h"

#include <gtest/gtest.h>

#include <string>

#include "dbobject/object_class.h"
#include "dbobject/setters.h"
#include "runtime/log.h"
#include "runtime/memory.h"
#include "testing/temp_dir.h"

namespace {

class PropertyNames : public ::testing::Test {
 protected:
  void SetUp() override { db_upnp_string_to_property_init(); }
  void TearDown() override { db_upnp_string_to_property_exit(); }
};

TEST_F(PropertyNames, LookupByName) {
  const struct {
    const char* name;
    int32_t id;
  } cases[] = {
      {"dc:title", 20},
      {"upnp:class", 3},
      {"zq:resAdditional", 87},
      {"dtcp:pcpur:isvalid", 253},
      {"upnp:genre,dc:title", 25},  // a list resolves by its first member
      {"dc:titleX", 20},            // prefix compare, deliberate
      {"ZQ:DAY", 0},
      {"zq:Month", 0},
      {"zq:year", 0},
      {"zq:friendlyname", 0},
      {"nothing", 0},
      {"", 0},
      {"DC:TITLE", 0},  // names are case-sensitive
      {"resolution", 67},
      {"resOnline", 85},
      // The row "res" is a prefix of it and is reached before the special rule.
      {"res@duration", 60},
      {"idx", 1},
  };
  for (const auto& c : cases) EXPECT_EQ(db_upnp_string_to_property(c.name), c.id) << c.name;
  EXPECT_EQ(db_upnp_string_to_property(nullptr), 0);
}

TEST_F(PropertyNames, EveryRowFindsItsOwnId) {
  for (const db_property_def* row = db_property_table; row->name != nullptr; ++row) {
    const int32_t id = db_upnp_string_to_property(row->name);
    // Found through its bucket, so no earlier row that is a prefix of its
    // name (such as "res" for "resolution") can shadow it.
    EXPECT_EQ(id, row->id) << row->name;
  }
}

TEST(PropertyNamesUninitialised, EveryLookupFailsAndSaysWhy) {
  testing_support::TempDir dir;
  upnp_log_init();
  upnp_log_open((dir / "log.txt").c_str());
  // The message is critical: keep the process alive past it.
  upnp_log_set_exit_hook([](int) {});
  db_upnp_string_to_property_exit();
  EXPECT_EQ(db_upnp_string_to_property("dc:title"), 0);
  upnp_log_set_exit_hook(nullptr);
  upnp_log_open(nullptr);
  EXPECT_NE(testing_support::ReadFile(dir / "log.txt").find("14: not initialized (db_upnp_string_to_property)"),
            std::string::npos);
}

TEST(PropertyNameHash, FollowsTheRule) {
  EXPECT_EQ(db_property_name_hash(""), 77u);
  EXPECT_EQ(db_property_name_hash(",x"), 77u);
  EXPECT_EQ(db_property_name_hash(nullptr), 77u);
  EXPECT_EQ(db_property_name_hash("dc:title,x"), db_property_name_hash("dc:title"));
  uint32_t h = 0xBB40E64Du;
  for (const unsigned char c : std::string("dc:title\xE9")) h = h + c + (h << 4);
  EXPECT_EQ(db_property_name_hash("dc:title\xE9"), h & 0xFFu);
}

TEST(PropertyTable, ExactLookupOnlyOverEnabledRows) {
  EXPECT_EQ(db_property_id_from_name("dc:title"), 20);
  EXPECT_EQ(db_property_id_from_name("upnp:rating"), 158);
  EXPECT_EQ(db_property_id_from_name("dc:titleX"), 0);
  EXPECT_EQ(db_property_id_from_name("upnp:class"), 0);  // not open to lookup
  EXPECT_EQ(db_property_id_from_name(nullptr), 0);
}

TEST(PropertyTable, RowsById) {
  db_property_table_init();
  db_property_table_init();  // a second run changes nothing
  EXPECT_STREQ(db_property_by_id[64].name, "sampleFrequency");
  EXPECT_STREQ(db_property_by_id[64].default_value, "44100");
  EXPECT_EQ(db_property_by_id[64].kind, DB_KIND_NUMBER32);
  EXPECT_EQ(db_property_by_id[25].separator, ',');
  EXPECT_EQ(db_property_by_id[203].internal, 1);
  EXPECT_EQ(db_property_by_id[4].name, nullptr);  // unused id
  EXPECT_EQ(db_property_by_id[0].name, nullptr);
  EXPECT_EQ(db_property_by_id[87].kind, DB_KIND_RESOURCE);
}

TEST(PropertyTable, CapabilityLists) {
  const int64_t before = upnp_mem_used();
  char* sort = db_property_sort_capabilities();
  ASSERT_NE(sort, nullptr);
  EXPECT_EQ(std::string(sort),
            "dc:title,dc:creator,upnp:artist,upnp:actor,upnp:author,upnp:genre,upnp:album,upnp:albumArtist,"
            "dc:description,upnp:originalTrackNumber,zq:playcount,zq:rating,dc:date,zq:modificationTime,"
            "zq:addedTime,zq:lastPlayedTime,zq:lastUpdated,res@duration,zq:extension,upnp:seriesTitle,"
            "upnp:seriesID,upnp:episodeCount,upnp:episodeNumber,upnp:rating");
  char* search = db_property_search_capabilities();
  ASSERT_NE(search, nullptr);
  EXPECT_EQ(std::string(search),
            "@id,upnp:class,@refID,dc:title,dc:creator,upnp:artist,upnp:actor,upnp:author,upnp:genre,upnp:album,"
            "dc:description,zq:rating,dc:date,zq:avKeywords,res@duration,res@resolution,zq:capturedate,zq:custom,"
            "upnp:channelName,upnp:channelNr,upnp:seriesTitle,upnp:episodeNumber,upnp:longDescription,"
            "upnp:director,upnp:rating,zq:album_furigana,zq:albumartist_furigana,zq:artist_furigana,"
            "zq:title_furigana,zq:media360,zq:audioenc,@protocolInfo");
  upnp_free(sort);
  upnp_free(search);
  EXPECT_EQ(upnp_mem_used(), before);
}

TEST(ObjectClass, TestsOnTheRecordClass) {
  const struct {
    const char* upnp_class;
    int audio, image, video, online, broadcast, playlist_item;
  } cases[] = {
      {"object.item.audioItem.musicTrack", 1, 0, 0, 0, 0, 0},
      {"object.item.imageItem.online.photo", 0, 1, 0, 1, 0, 0},
      {"object.item.videoItem.videoBroadcast", 0, 0, 1, 0, 1, 0},
      {"object.item.audioItem.audioBroadcast", 1, 0, 0, 0, 1, 0},
      {"object.item.videoItem.playlist.movie", 0, 0, 1, 0, 0, 1},
      {"object.item.audioItem.playlist.musicTrackX", 1, 0, 0, 0, 0, 0},  // equality, not prefix
      {"object.container", 0, 0, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    db_object* record = db_object_set_prop(nullptr, DB_PROP_CLASS, const_cast<char*>(c.upnp_class), 1);
    EXPECT_EQ(db_object_is_audio(record), c.audio) << c.upnp_class;
    EXPECT_EQ(db_object_is_image(record), c.image) << c.upnp_class;
    EXPECT_EQ(db_object_is_video(record), c.video) << c.upnp_class;
    EXPECT_EQ(db_object_is_online(record), c.online) << c.upnp_class;
    EXPECT_EQ(db_object_is_broadcast(record), c.broadcast) << c.upnp_class;
    EXPECT_EQ(db_object_is_playlist_item(record), c.playlist_item) << c.upnp_class;
    db_object_free(record);
  }
  db_object* bare = db_object_new();
  EXPECT_EQ(db_object_is_audio(bare), 0);
  EXPECT_EQ(db_object_is_dtcp(bare), 0);
  bare = db_object_set_prop(bare, DB_PROP_PROTECTION, const_cast<char*>("DTCP"), 1);
  EXPECT_EQ(db_object_is_dtcp(bare), 1);
  db_object_free(bare);
  EXPECT_EQ(db_object_is_video(nullptr), 0);
}

}  // namespace
