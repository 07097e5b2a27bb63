// The one setter every write goes through, and the typed setters on it.
#include "records/setters.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/log.h"
#include "base/memory.h"
#include "base/number_text.h"
#include "base/string_util.h"
#include "base/time_format.h"
#include "records/getters.hpp"

namespace {

constexpr int kListId = DB_PROP_RES_ADDITIONAL;

// Releases a value the record was given but does not keep.
void Drop(int32_t id, char* value, int32_t borrowed) {
  if (borrowed != 0) return;
  if (id == kListId) {
    db_object_list_free(reinterpret_cast<db_object_list*>(value));
  } else {
    upnp_free(value);
  }
}

db_object* Store(db_object* record, int32_t id, char* value, int32_t borrowed) {
  // A child list is not text: trimming would rewrite its count.
  if (id != kListId) upnp_string_trim(value);
  if (record->value[id] != nullptr && record->value[id] != value) db_object_remove_prop(record, id);
  record->value[id] = value;
  record->borrowed[id] = borrowed;
  if (id < record->first_prop) record->first_prop = static_cast<int16_t>(id);
  if (id > record->last_prop) record->last_prop = static_cast<int16_t>(id);
  return record;
}

bool SameText(const char* a, const char* b) { return a != nullptr && b != nullptr && strcmp(a, b) == 0; }

}  // namespace

db_object* db_object_set_prop(db_object* record, int32_t id, char* value, int32_t borrowed) {
  if (value == nullptr) return record;
  if (id < 0 || id >= DB_PROPERTY_ID_LIMIT) {
    Drop(id, value, borrowed);
    return record;
  }
  if (record == nullptr) {
    record = db_object_new();
    if (record == nullptr) {
      Drop(id, value, borrowed);
      return nullptr;
    }
  }
  if (id == kListId) return Store(record, id, value, borrowed);
  for (;;) {
    if (value[0] == '\0') break;
    if (id == DB_PROP_DATE) {
      // Only a full date (YYYY-MM-DD or more) is kept.
      if (strlen(value) <= 9) break;
    } else if (id == DB_PROP_RATING) {
      // Deliberately rewritten in the caller's buffer, borrowed or not.
      const long rating = strtol(value, nullptr, 10);
      if (rating < 0) {
        strcpy(value, "0");
      } else if (rating >= 6) {
        strcpy(value, "5");
      }
    } else if (id == DB_PROP_EXTENSION) {
      // An extension that the resource already shows is not stored.
      if (SameText(dbobject::DerivedExtension(record), value)) break;
    } else if (id == DB_PROP_MIME_TYPE) {
      if (SameText(dbobject::DerivedMimeType(record), value)) break;
    } else if (id == DB_PROP_SIZE) {
      // Sizes that fit in 32 bits live under zq:shortsize; the two never coexist.
      if (strtoull(value, nullptr, 10) <= 0xFFFFFFFFull) {
        db_object_remove_prop(record, DB_PROP_SIZE);
        id = DB_PROP_SHORTSIZE;
        continue;
      }
    }
    return Store(record, id, value, borrowed);
  }
  Drop(id, value, borrowed);
  return record;
}

namespace {

db_object* OutOfMemory(db_object* record, const char* function_name) {
  upnp_log(UPNP_LOG_ERROR, LOG_DB, function_name, 0, "out of memory");
  return record;
}

db_object* SetFormattedInt(db_object* record, int32_t id, int32_t number, bool zero_prefix,
                           const char* function_name) {
  char* text = static_cast<char*>(upnp_malloc(32));
  if (text == nullptr) return OutOfMemory(record, function_name);
  // Only 1 to 8 get the leading zero; 9 and 0 are written as they are.
  if (zero_prefix && number >= 1 && number <= 8) {
    (void)upnp_uint32_to_text(static_cast<uint32_t>(number), 2, text);
  } else {
    (void)upnp_int32_to_text(number, text);
  }
  return db_object_set_prop(record, id, text, 0);
}

}  // namespace

db_object* db_object_set_numprop(db_object* record, int32_t id, int32_t number) {
  return SetFormattedInt(record, id, number, false, "db_object_set_numprop");
}

db_object* db_object_set_numprop_with_zero_prefix(db_object* record, int32_t id, int32_t number) {
  return SetFormattedInt(record, id, number, true, "db_object_set_numprop_with_zero_prefix");
}

db_object* db_object_set_num64prop(db_object* record, int32_t id, int64_t number) {
  TrackedPtr<char> buffer(static_cast<char*>(upnp_calloc(1, 32)));
  if (buffer == nullptr) return OutOfMemory(record, "db_object_set_num64prop");
  snprintf(buffer.get(), 32, "%ld", static_cast<long>(number));
  buffer.get()[31] = '\0';
  char* text = upnp_strdup(buffer.get());
  if (text == nullptr) return OutOfMemory(record, "db_object_set_num64prop");
  return db_object_set_prop(record, id, text, 0);
}

db_object* db_object_set_dateprop(db_object* record, int32_t id, int64_t seconds) {
  TrackedPtr<char> buffer(static_cast<char*>(upnp_calloc(1, 20)));
  if (buffer == nullptr) return OutOfMemory(record, "db_object_set_dateprop");
  // A time that cannot be converted leaves the buffer empty; the setter drops it.
  upnp_time_format_iso_local(seconds, buffer.get(), 20);
  char* text = upnp_strdup(buffer.get());
  if (text == nullptr) return OutOfMemory(record, "db_object_set_dateprop");
  return db_object_set_prop(record, id, text, 0);
}

db_object* db_object_merge(db_object* main_record, const db_object* add, int32_t override) {
  if (add == nullptr) return main_record;
  if (main_record == nullptr) {
    main_record = db_object_new();
    if (main_record == nullptr) return nullptr;
  }
  const int32_t main_location = db_object_get_numprop(main_record, DB_PROP_LOCATION, 0);
  const int32_t add_location = db_object_get_numprop(add, DB_PROP_LOCATION, 0);
  if (main_location != 0 && add_location != 0 && override != 0 && main_location != add_location) {
    upnp_log(UPNP_LOG_ERROR, LOG_DB, "db_object_merge", 0,
             "%s location mismatch: %d (pMain) / %d (pAdd), assume %d is correct\n", "db_object_merge",
             main_location, add_location, add_location);
    db_object_remove_prop(main_record, DB_PROP_LOCATION);
  }
  for (int id = add->first_prop; id <= add->last_prop && id < DB_PROPERTY_ID_LIMIT; ++id) {
    if (add->value[id] == nullptr) continue;
    if (main_record->value[id] != nullptr && override == 0) continue;
    if (id == kListId) {
      db_object_list* from = db_object_get_list(add);
      db_object_list* list = db_object_list_new(from->count);
      if (list == nullptr) continue;
      db_object** source = db_object_list_children(from);
      db_object** target = db_object_list_children(list);
      bool complete = true;
      for (int32_t i = 0; i < from->count && complete; ++i) {
        if (source[i] == nullptr) continue;
        target[i] = db_object_clone(source[i], nullptr);
        complete = target[i] != nullptr;
      }
      if (!complete) {
        // A list short of a child would pass for a whole one.
        db_object_list_free(list);
        continue;
      }
      main_record = db_object_set_prop(main_record, id, reinterpret_cast<char*>(list), 0);
      continue;
    }
    main_record = db_object_set_prop(main_record, id, upnp_strdup(add->value[id]), 0);
  }
  return main_record;
}
