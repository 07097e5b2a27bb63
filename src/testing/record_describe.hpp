// Test helper: a record as one comparable text, every set slot as
// "id=value " in id order, a child list as "[child;child;]". Tests only.
#pragma once

#include <string>

#include "records/object.h"

inline std::string DescribeRecord(const db_object* record) {
  if (record == nullptr) return "null";
  std::string out;
  for (int id = record->first_prop; id <= record->last_prop && id < DB_PROPERTY_ID_LIMIT; ++id) {
    if (record->value[id] == nullptr) continue;
    out += std::to_string(id) + "=";
    if (id == DB_PROP_RES_ADDITIONAL) {
      db_object_list* list = db_object_get_list(record);
      out += "[";
      for (int32_t i = 0; i < list->count; ++i) out += DescribeRecord(db_object_list_children(list)[i]) + ";";
      out += "]";
    } else {
      out += record->value[id];
    }
    out += " ";
  }
  return out;
}
