#include "records/setters.h"

#include <gtest/gtest.h>
#include <time.h>

#include <string>

#include "base/memory.h"
#include "records/mime.h"
#include "testing/memory_fail.hpp"

namespace {

char* Owned(const char* text) { return upnp_strdup(text); }

std::string Get(const db_object* record, int32_t id) {
  const char* value = db_object_get_prop(record, id);
  return value == nullptr ? "(null)" : value;
}

class Setters : public ::testing::Test {
 protected:
  void SetUp() override {
    db_property_table_init();
    before_ = upnp_mem_used();
  }
  void TearDown() override { EXPECT_EQ(upnp_mem_used(), before_); }
  int64_t before_ = 0;
};

TEST_F(Setters, Normalisations) {
  const struct {
    int32_t id;
    const char* value;
    int32_t read_id;
    const char* stored;  // raw slot content, null for nothing stored
  } cases[] = {
      {DB_PROP_RATING, "-3", DB_PROP_RATING, "0"},
      {DB_PROP_RATING, "9", DB_PROP_RATING, "5"},
      {DB_PROP_DATE, "2020-01-0", DB_PROP_DATE, nullptr},
      {DB_PROP_TITLE, "", DB_PROP_TITLE, nullptr},
      {DB_PROP_TITLE, "   ", DB_PROP_TITLE, ""},  // emptied by the trim, after the empty test
      {DB_PROP_SIZE, "1000", DB_PROP_SHORTSIZE, "1000"},
      {DB_PROP_SIZE, "4294967295", DB_PROP_SHORTSIZE, "4294967295"},
      {DB_PROP_SIZE, "5000000000", DB_PROP_SIZE, "5000000000"},
  };
  for (const auto& c : cases) {
    const std::string label = std::to_string(c.id) + "=" + c.value;
    db_object* record = db_object_set_prop(nullptr, c.id, Owned(c.value), 0);
    ASSERT_NE(record, nullptr) << label;
    EXPECT_STREQ(record->value[c.read_id], c.stored) << label;
    db_object_free(record);
  }
}

TEST_F(Setters, RejectedArgumentsLeaveTheRecord) {
  EXPECT_EQ(db_object_set_prop(nullptr, DB_PROP_TITLE, nullptr, 0), nullptr);
  EXPECT_EQ(db_object_set_prop(nullptr, 255, Owned("x"), 0), nullptr);  // freed, not leaked
}

TEST_F(Setters, SizeAndShortsizeNeverCoexist) {
  db_object* record = db_object_set_prop(nullptr, DB_PROP_SIZE, Owned("5000000000"), 0);
  record = db_object_set_prop(record, DB_PROP_SIZE, Owned("1000"), 0);
  EXPECT_EQ(record->value[DB_PROP_SIZE], nullptr);
  EXPECT_EQ(Get(record, DB_PROP_SIZE), "1000");
  record = db_object_set_prop(record, DB_PROP_SIZE, Owned("6000000000"), 0);
  record = db_object_set_prop(record, DB_PROP_SIZE, Owned("7000000000"), 0);
  EXPECT_EQ(record->value[DB_PROP_SHORTSIZE], nullptr);  // replacing size removed it
  EXPECT_EQ(Get(record, DB_PROP_SIZE), "7000000000");
  db_object_free(record);
}

TEST_F(Setters, BorrowedValuesStayWithTheCaller) {
  char rating[] = "-7";
  char title[] = " kept ";
  db_object* record = db_object_set_prop(nullptr, DB_PROP_RATING, rating, 1);
  record = db_object_set_prop(record, DB_PROP_TITLE, title, 1);
  EXPECT_STREQ(rating, "0");  // clamped in the caller's buffer, deliberately
  EXPECT_EQ(record->value[DB_PROP_TITLE], title);
  EXPECT_STREQ(title, "kept");
  record = db_object_set_prop(record, DB_PROP_TITLE, Owned("other"), 0);  // replacing frees nothing borrowed
  db_object_free(record);
}

TEST_F(Setters, DerivableExtensionAndMimeTypeAreNotStored) {
  db_object* record = db_object_set_prop(nullptr, DB_PROP_RES, Owned("/music/a.flac"), 0);
  record = db_object_set_prop(record, DB_PROP_EXTENSION, Owned("flac"), 0);
  record = db_object_set_prop(record, DB_PROP_MIME_TYPE, Owned("audio/x-flac"), 0);
  EXPECT_EQ(record->value[DB_PROP_EXTENSION], nullptr);
  EXPECT_EQ(record->value[DB_PROP_MIME_TYPE], nullptr);
  EXPECT_EQ(Get(record, DB_PROP_EXTENSION), "flac");
  EXPECT_EQ(Get(record, DB_PROP_MIME_TYPE), "audio/x-flac");
  record = db_object_set_prop(record, DB_PROP_EXTENSION, Owned("FLAC"), 0);  // differs: kept
  record = db_object_set_prop(record, DB_PROP_MIME_TYPE, Owned("audio/flac"), 0);
  EXPECT_EQ(Get(record, DB_PROP_EXTENSION), "FLAC");
  EXPECT_EQ(Get(record, DB_PROP_MIME_TYPE), "audio/flac");
  db_object_free(record);
}

TEST_F(Setters, TypedSetters) {
  const struct {
    int32_t number;
    const char* plain;
    const char* zero_prefixed;
  } cases[] = {{1, "1", "01"}, {-1, "-1", "-1"}};
  for (const auto& c : cases) {
    db_object* record = db_object_set_numprop(nullptr, DB_PROP_TITLE, c.number);
    record = db_object_set_numprop_with_zero_prefix(record, DB_PROP_ALBUM, c.number);
    EXPECT_EQ(Get(record, DB_PROP_TITLE), c.plain) << c.number;
    EXPECT_EQ(Get(record, DB_PROP_ALBUM), c.zero_prefixed) << c.number;
    db_object_free(record);
  }
  db_object* record = db_object_set_num64prop(nullptr, DB_PROP_SIZE, 5000000000LL);
  EXPECT_EQ(Get(record, DB_PROP_SIZE), "5000000000");
  EXPECT_EQ(db_object_get_numprop(record, DB_PROP_TITLE, -9), -9);
  record = db_object_set_numprop(record, DB_PROP_TITLE, -42);
  EXPECT_EQ(db_object_get_numprop(record, DB_PROP_TITLE, -9), -42);
  setenv("TZ", "UTC", 1);
  tzset();
  record = db_object_set_dateprop(record, DB_PROP_DATE, 1700000000);
  EXPECT_EQ(Get(record, DB_PROP_DATE), "2023-11-14T22:13:20");
  db_object_free(record);
}

TEST_F(Setters, GetterDefaultsAndPlaceholdersByClass) {
  const char* kMissing = "missingvalue";  // the key itself while no translation is loaded
  const struct {
    const char* upnp_class;
    int32_t id;
    const char* expected;
  } cases[] = {
      {"object.item.audioItem.musicTrack", DB_PROP_SAMPLE_FREQUENCY, "44100"},
      {"object.item.audioItem.musicTrack", DB_PROP_DURATION, "0"},
      {"object.item.audioItem.musicTrack", DB_PROP_ARTIST, kMissing},
      {"object.item.audioItem.audioBroadcast", DB_PROP_CHANNEL_NR, "(null)"},  // audio rule decides
      {"object.item.videoItem.movie", DB_PROP_SAMPLE_FREQUENCY, "(null)"},
      {"object.item.videoItem.movie", DB_PROP_DATE, "1900-01-01"},
      {"object.item.videoItem.movie", DB_PROP_ARTIST, "(null)"},
      {"object.item.imageItem.photo", DB_PROP_RESOLUTION, "0x0"},
      {"object.album.musicAlbum", DB_PROP_ARTIST, kMissing},
      {"object.container.album.musicAlbum", DB_PROP_ARTIST, "(null)"},
      {"object.container", 14, "+dc:title"},      // zq:sort, an unconditional default
      {"object.container", DB_PROP_RATING, "(null)"},  // a default of "0" reads as nothing
  };
  for (const auto& c : cases) {
    db_object* record = db_object_set_prop(nullptr, DB_PROP_CLASS, upnp_strdup(c.upnp_class), 0);
    EXPECT_EQ(Get(record, c.id), c.expected) << c.upnp_class << " id " << c.id;
    db_object_free(record);
  }
}

TEST_F(Setters, DerivedValues) {
  db_object* record = db_object_set_prop(nullptr, DB_PROP_ARTIST, upnp_strdup("Band"), 0);
  EXPECT_EQ(Get(record, DB_PROP_TITLE), "Band");      // deliberately, even without a class
  EXPECT_EQ(Get(record, DB_PROP_CREATOR), "(null)");  // only audio items
  record = db_object_set_prop(record, DB_PROP_CLASS, upnp_strdup("object.item.audioItem.musicTrack"), 0);
  EXPECT_EQ(Get(record, DB_PROP_CREATOR), "Band");
  record = db_object_set_prop(record, DB_PROP_ARTIST, upnp_strdup("missingvalue"), 0);
  EXPECT_EQ(Get(record, DB_PROP_CREATOR), "(null)");
  record = db_object_set_prop(record, DB_PROP_RES, upnp_strdup("http://h/x.mp3?sid=1"), 0);
  EXPECT_EQ(Get(record, DB_PROP_EXTENSION), "(null)");  // holds a "?"
  record = db_object_set_prop(record, DB_PROP_RES, upnp_strdup("/m/x.dsf"), 0);
  EXPECT_EQ(Get(record, DB_PROP_MIME_TYPE), "audio/dsd");
  record = db_object_set_prop(record, DB_PROP_RATING, upnp_strdup("4"), 0);
  EXPECT_EQ(Get(record, DB_PROP_HIGHRATED), "4");
  record = db_object_set_prop(record, DB_PROP_RATING, upnp_strdup("3"), 0);
  EXPECT_EQ(Get(record, DB_PROP_HIGHRATED), "(null)");
  // Added 60 days ago to the second: outside the window; and not today.
  record = db_object_set_num64prop(record, DB_PROP_ADDED_TIME, time(nullptr) - 5270400);
  EXPECT_EQ(Get(record, DB_PROP_ADDED_LAST60), "(null)");
  EXPECT_EQ(Get(record, DB_PROP_ADDED_TODAY), "(null)");
  db_object_free(record);
}

TEST_F(Setters, MergeFillsGapsOrOverrides) {
  db_object* main_record = db_object_set_numprop(nullptr, DB_PROP_LOCATION, 3);
  main_record = db_object_set_prop(main_record, DB_PROP_TITLE, upnp_strdup("Main"), 0);
  db_object* add = db_object_set_numprop(nullptr, DB_PROP_LOCATION, 5);
  add = db_object_set_prop(add, DB_PROP_TITLE, upnp_strdup("Add"), 0);
  add = db_object_set_prop(add, DB_PROP_ALBUM, upnp_strdup("Album"), 0);

  main_record = db_object_merge(main_record, add, 0);
  EXPECT_EQ(Get(main_record, DB_PROP_LOCATION), "3");
  EXPECT_EQ(Get(main_record, DB_PROP_TITLE), "Main");
  EXPECT_EQ(Get(main_record, DB_PROP_ALBUM), "Album");

  main_record = db_object_merge(main_record, add, 1);
  EXPECT_EQ(Get(main_record, DB_PROP_LOCATION), "5");
  EXPECT_EQ(Get(main_record, DB_PROP_TITLE), "Add");
  EXPECT_NE(main_record->value[DB_PROP_ALBUM], add->value[DB_PROP_ALBUM]);  // copies, not shared

  db_object* fresh = db_object_merge(nullptr, add, 0);
  EXPECT_EQ(Get(fresh, DB_PROP_ALBUM), "Album");
  db_object_free(fresh);
  db_object_free(main_record);
  db_object_free(add);
}

TEST_F(Setters, MergeCopiesChildLists) {
  db_object_list* list = db_object_list_new(2);  // the second child slot stays empty
  db_object_list_children(list)[0] = db_object_set_prop(nullptr, DB_PROP_RES, upnp_strdup("/a.mp3"), 0);
  db_object* add = db_object_set_prop(nullptr, DB_PROP_RES_ADDITIONAL, reinterpret_cast<char*>(list), 0);
  db_object* merged = db_object_merge(nullptr, add, 0);
  db_object_list* copy = db_object_get_list(merged);
  ASSERT_NE(copy, nullptr);
  ASSERT_NE(copy, list);
  EXPECT_EQ(copy->count, 2);
  EXPECT_EQ(Get(db_object_list_children(copy)[0], DB_PROP_RES), "/a.mp3");
  EXPECT_EQ(db_object_list_children(copy)[1], nullptr);
  merged = db_object_merge(merged, add, 1);  // replaces the list
  db_object_free(merged);
  ForEachAllocationFailure([&] { db_object_free(db_object_merge(nullptr, add, 1)); });
  db_object_free(add);
}

TEST(Mime, TypeForExtension) {
  const struct {
    const char* extension;
    const char* type;
  } cases[] = {
      {"MP3", "audio/mpeg"},      {"ogg", "video/ogg"},   {"oga", "audio/ogg"},
      {"mp4.a", "audio/mp4"},     {"dff", "audio/dsd"},   {"xml", "text/xml; charset=\"utf-8\""},
      {"", "application/octet-stream"},
      {"mp", "application/octet-stream"},  // whole extensions only
  };
  for (const auto& c : cases) EXPECT_STREQ(db_mime_type_for_extension(c.extension), c.type) << c.extension;
  EXPECT_EQ(db_mime_type_for_extension(nullptr), nullptr);
}

}  // namespace
