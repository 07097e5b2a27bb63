// Lifetime of media object records and their child lists.
#include "records/object.h"

#include <string.h>

#include "base/memory.h"
#include "records/setters.h"

namespace {

constexpr int kListId = DB_PROP_RES_ADDITIONAL;

void FreeChildren(db_object_list* list) {
  if (list == nullptr) return;
  db_object** children = db_object_list_children(list);
  for (int32_t i = 0; i < list->count; ++i) db_object_free(children[i]);
}

// Clones `record` into a new record, adding to *bytes; null on any failure.
db_object* CloneInto(const db_object* record, int64_t* bytes) {
  db_object* copy = db_object_new();
  if (copy == nullptr) return nullptr;
  *bytes += static_cast<int64_t>(sizeof(db_object));
  for (int id = record->first_prop; id <= record->last_prop && id < DB_PROPERTY_ID_LIMIT; ++id) {
    if (record->value[id] == nullptr) continue;
    if (id == kListId) {
      db_object_list* from = db_object_get_list(record);
      db_object_list* list = db_object_list_new(from->count);
      if (list == nullptr) {
        db_object_free(copy);
        return nullptr;
      }
      db_object** source = db_object_list_children(from);
      db_object** target = db_object_list_children(list);
      for (int32_t i = 0; i < from->count; ++i) {
        if (source[i] == nullptr) continue;
        target[i] = CloneInto(source[i], bytes);
        if (target[i] == nullptr) {
          db_object_list_free(list);
          db_object_free(copy);
          return nullptr;
        }
      }
      copy = db_object_set_prop(copy, id, reinterpret_cast<char*>(list), 0);
      continue;
    }
    const size_t length = strlen(record->value[id]);
    char* value = upnp_strndup(record->value[id], length);
    if (value == nullptr) {
      // A copy missing a value would pass for a whole one.
      db_object_free(copy);
      return nullptr;
    }
    *bytes += static_cast<int64_t>(length);
    copy = db_object_set_prop(copy, id, value, 0);
  }
  return copy;
}

}  // namespace

db_object_list* db_object_list_new(int32_t count) {
  if (count < 0) return nullptr;
  // One slot for the count, the children, one spare null slot.
  auto* list = static_cast<db_object_list*>(upnp_calloc(static_cast<uint32_t>(count) + 2, sizeof(db_object*)));
  if (list != nullptr) list->count = count;
  return list;
}

db_object** db_object_list_children(db_object_list* list) {
  if (list == nullptr) return nullptr;
  return reinterpret_cast<db_object**>(list) + 1;
}

db_object_list* db_object_get_list(const db_object* record) {
  if (record == nullptr) return nullptr;
  return reinterpret_cast<db_object_list*>(record->value[kListId]);
}

void db_object_list_free(db_object_list* list) {
  if (list == nullptr) return;
  FreeChildren(list);
  upnp_free(list);
}

db_object* db_object_new(void) {
  auto* record = static_cast<db_object*>(upnp_calloc(1, sizeof(db_object)));
  if (record == nullptr) return nullptr;
  record->first_prop = DB_PROPERTY_ID_LIMIT;
  record->last_prop = 0;
  return record;
}

void db_object_clear(db_object* record) {
  if (record == nullptr) return;
  for (int id = record->first_prop; id <= record->last_prop && id < DB_PROPERTY_ID_LIMIT; ++id) {
    if (record->value[id] != nullptr) {
      if (id == kListId) FreeChildren(db_object_get_list(record));
      if (record->borrowed[id] == 0) upnp_free(record->value[id]);
    }
    record->value[id] = nullptr;
    record->borrowed[id] = 0;
  }
  record->first_prop = DB_PROPERTY_ID_LIMIT;
  record->last_prop = 0;
}

void db_object_free(db_object* record) {
  if (record == nullptr) return;
  db_object_clear(record);
  memset(record, 0, sizeof(*record));
  upnp_free(record);
}

db_object* db_object_remove_prop(db_object* record, int32_t id) {
  if (record == nullptr || id < 0 || id >= DB_PROPERTY_ID_LIMIT) return record;
  if (id == DB_PROP_SIZE) db_object_remove_prop(record, DB_PROP_SHORTSIZE);
  if (record->value[id] == nullptr) return record;
  if (id == kListId) {
    // Freed whatever the borrowed flag says: removing a list is only ever the
    // first half of replacing it. The slot is cleared rather than left
    // dangling, so a stray removal cannot turn into a double free.
    db_object_list_free(db_object_get_list(record));
    record->value[id] = nullptr;
    return record;
  }
  if (record->borrowed[id] == 0) upnp_free(record->value[id]);
  record->value[id] = nullptr;
  record->borrowed[id] = 0;
  return record;
}

db_object* db_object_clone(const db_object* record, int64_t* bytes_out) {
  if (record == nullptr) return nullptr;
  int64_t bytes = 0;
  db_object* copy = CloneInto(record, &bytes);
  if (bytes_out != nullptr) *bytes_out = bytes;
  return copy;
}
