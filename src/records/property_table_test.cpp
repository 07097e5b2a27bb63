#include "records/property_table.h"

#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <string>

#include "base/memory.h"
#include "records/object_class.h"
#include "records/setters.h"

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
      {"upnp:genre,dc:title", 25},  // a list resolves by its first member
      {"dc:titleX", 20},            // prefix compare, deliberate
      {"nothing", 0},
      {"DC:TITLE", 0},  // names are case-sensitive
      {"resOnline", 85},
      // The row "res" is a prefix of it and is reached before the special rule.
      {"res@duration", 60},
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

TEST(PropertyTable, ExactLookupOnlyOverEnabledRows) {
  EXPECT_EQ(db_property_id_from_name("dc:title"), 20);
  EXPECT_EQ(db_property_id_from_name("dc:titleX"), 0);
  EXPECT_EQ(db_property_id_from_name("upnp:class"), 0);  // not open to lookup
  EXPECT_EQ(db_property_id_from_name(nullptr), 0);
}

// The lists follow the table's flags in table order; the ends and the size
// show a dropped or misplaced flag without copying the lists out.
TEST(PropertyTable, CapabilityLists) {
  const int64_t before = upnp_mem_used();
  const struct {
    char* list;
    const char *first, *last;
    int members;
  } cases[] = {{db_property_sort_capabilities(), "dc:title,dc:creator,", ",upnp:rating", 24},
               {db_property_search_capabilities(), "@id,upnp:class,@refID,", ",zq:audioenc,@protocolInfo", 32}};
  for (const auto& c : cases) {
    ASSERT_NE(c.list, nullptr);
    const std::string list = c.list;
    EXPECT_EQ(list.rfind(c.first, 0), 0u) << list;
    EXPECT_EQ(list.substr(list.size() - strlen(c.last)), c.last) << list;
    EXPECT_EQ(std::count(list.begin(), list.end(), ',') + 1, c.members) << list;
    upnp_free(c.list);
  }
  EXPECT_EQ(upnp_mem_used(), before);
}

// Flags, in order: audio, image, video, online, broadcast, playlist item, DTCP.
TEST(ObjectClass, TestsOnTheRecordClass) {
  const char* const cases[][3] = {
      {"object.item.imageItem.online.photo", "", "0101000"},
      {"object.item.videoItem.playlist.movie", "DTCP", "0010011"},
      {"object.item.audioItem.playlist.musicTrackX", "", "1000000"},  // equality, not prefix
  };
  for (const auto& c : cases) {
    db_object* record = db_object_set_prop(nullptr, DB_PROP_CLASS, const_cast<char*>(c[0]), 1);
    if (*c[1] != '\0') record = db_object_set_prop(record, DB_PROP_PROTECTION, const_cast<char*>(c[1]), 1);
    const int flags[] = {db_object_is_audio(record),     db_object_is_image(record),
                         db_object_is_video(record),     db_object_is_online(record),
                         db_object_is_broadcast(record), db_object_is_playlist_item(record),
                         db_object_is_dtcp(record)};
    std::string got;
    for (int flag : flags) got += static_cast<char>('0' + flag);
    EXPECT_EQ(got, c[2]) << c[0];
    db_object_free(record);
  }
}

}  // namespace
