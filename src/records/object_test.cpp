#include "records/object.h"

#include <gtest/gtest.h>

#include "base/memory.h"
#include "records/setters.h"
#include "testing/memory_fail.hpp"

namespace {

db_object* Set(db_object* record, int32_t id, const char* text) {
  return db_object_set_prop(record, id, upnp_strdup(text), 0);
}

db_object* WithList(db_object* record, db_object* child, int32_t count) {
  db_object_list* list = db_object_list_new(count);
  db_object_list_children(list)[0] = child;
  return db_object_set_prop(record, DB_PROP_RES_ADDITIONAL, reinterpret_cast<char*>(list), 0);
}

// A track with a child list whose first child has a list of its own.
db_object* Sample() {
  db_object* record = Set(nullptr, DB_PROP_CLASS, "object.item.audioItem.musicTrack");
  record = Set(record, DB_PROP_TITLE, "Song");
  record = Set(record, DB_PROP_SIZE, "5000000000");
  db_object* child = WithList(Set(nullptr, DB_PROP_RES, "/b.mp3"), Set(nullptr, DB_PROP_RES, "/c.mp3"), 1);
  return WithList(record, child, 2);
}

TEST(Object, NewRecordWalksNothing) {
  db_object* record = db_object_new();
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->first_prop, 255);
  EXPECT_EQ(record->last_prop, 0);
  record = Set(record, 40, "k");
  record = Set(record, 30, "3");
  EXPECT_EQ(record->first_prop, 30);
  EXPECT_EQ(record->last_prop, 40);
  db_object_remove_prop(record, 40);
  EXPECT_EQ(record->last_prop, 40);  // never narrowed
  db_object_free(record);
}

TEST(Object, RemovalRules) {
  const int64_t before = upnp_mem_used();
  db_object* record = Set(nullptr, DB_PROP_SIZE, "1000");  // lands in zq:shortsize
  record = db_object_remove_prop(record, DB_PROP_SIZE);
  EXPECT_EQ(record->value[DB_PROP_SHORTSIZE], nullptr);
  char borrowed[] = "mine";
  record = db_object_set_prop(record, DB_PROP_TITLE, borrowed, 1);
  db_object_remove_prop(record, DB_PROP_TITLE);  // not freed: the caller's
  EXPECT_EQ(record->value[DB_PROP_TITLE], nullptr);
  db_object_list* list = db_object_list_new(1);
  db_object_list_children(list)[0] = Set(nullptr, DB_PROP_RES, "/a");
  record = db_object_set_prop(record, DB_PROP_RES_ADDITIONAL, reinterpret_cast<char*>(list), 1);
  db_object_remove_prop(record, DB_PROP_RES_ADDITIONAL);  // freed even though borrowed
  db_object_free(record);
  EXPECT_EQ(upnp_mem_used(), before);
}

TEST(Object, CloneIsDeepAndCountsItsBytes) {
  const int64_t before = upnp_mem_used();
  db_object* record = Sample();
  int64_t bytes = -1;
  db_object* copy = db_object_clone(record, &bytes);
  ASSERT_NE(copy, nullptr);
  const int64_t values = 32 + 4 + 10 + 6 + 6;  // class, title, size, two resources
  EXPECT_EQ(bytes, values + 3 * static_cast<int64_t>(sizeof(db_object)));
  EXPECT_STREQ(copy->value[DB_PROP_TITLE], "Song");
  EXPECT_NE(copy->value[DB_PROP_TITLE], record->value[DB_PROP_TITLE]);
  db_object_list* list = db_object_get_list(copy);
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->count, 2);
  EXPECT_EQ(db_object_list_children(list)[1], nullptr);
  db_object* child = db_object_list_children(list)[0];
  EXPECT_STREQ(child->value[DB_PROP_RES], "/b.mp3");
  EXPECT_STREQ(db_object_list_children(db_object_get_list(child))[0]->value[DB_PROP_RES], "/c.mp3");
  db_object_free(copy);
  EXPECT_EQ(db_object_clone(nullptr, &bytes), nullptr);
  db_object_free(record);
  EXPECT_EQ(upnp_mem_used(), before);
}

TEST(Object, OutOfMemoryInCloning) {
  const int64_t before = upnp_mem_used();
  db_object* record = Sample();
  ForEachAllocationFailure([&] {
    int64_t bytes = 0;
    db_object* copy = db_object_clone(record, &bytes);
    if (copy != nullptr) {  // whole or nothing
      EXPECT_STREQ(copy->value[DB_PROP_TITLE], "Song");
      EXPECT_NE(db_object_list_children(db_object_get_list(copy))[0], nullptr);
    }
    db_object_free(copy);
  });
  db_object_free(record);
  EXPECT_EQ(upnp_mem_used(), before);
}

}  // namespace
