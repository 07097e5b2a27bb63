// The writer of the record text form.
#include "records/object_text.h"

#include <string.h>

#include "base/file.h"
#include "base/upnp_string.h"

namespace {

constexpr uint32_t kLeadSize = 5;  // ">>>>\n"

// "%02X%03X" of id and length, cut to nine characters as a 10-byte buffer
// would cut it: lengths of 4096 or more give four or more digits, which the
// reader misparses; past 16 MiB the header is cut. Returns its length.
uint32_t FormatHeader(char (&header)[10], int id, uint32_t length) {
  constexpr char kHex[] = "0123456789ABCDEF";
  char digits[16];
  uint32_t n = 0;
  const auto hex = [&](uint32_t value, uint32_t width) {
    char reversed[8];
    uint32_t count = 0;
    do {
      reversed[count++] = kHex[value & 0xF];
      value >>= 4;
    } while (value != 0);
    while (count < width) reversed[count++] = '0';
    while (count > 0) digits[n++] = reversed[--count];
  };
  hex(static_cast<uint32_t>(id), 2);
  hex(length, 3);
  const uint32_t kept = n < sizeof header - 1 ? n : sizeof header - 1;
  memcpy(header, digits, kept);
  header[kept] = '\0';
  return kept;
}

upnp_string* AppendHeader(upnp_string* text, int id, uint32_t length) {
  char header[10];
  return upnp_string_append_bytes(text, header, FormatHeader(header, id, length));
}

}  // namespace

upnp_string* db_object_to_string(const db_object* record) {
  if (record == nullptr) return nullptr;
  upnp_string* text = upnp_string_append(nullptr, ">>>>\n");
  for (int id = record->first_prop; id <= record->last_prop && id < DB_PROPERTY_ID_LIMIT && text != nullptr;
       ++id) {
    const char* value = record->value[id];
    if (value == nullptr) continue;
    if (id == DB_PROP_RES_ADDITIONAL) {
      upnp_string* list = db_object_list_to_string(db_object_get_list(record));
      if (list == nullptr) continue;
      text = upnp_string_append_string(text, list);
      upnp_string_free(list);
      continue;
    }
    const auto length = static_cast<uint32_t>(strlen(value));
    if (length == 0) continue;
    text = AppendHeader(text, id, length);
    text = upnp_string_append_bytes(text, value, length);
    text = upnp_string_append(text, "\n");
  }
  return text;
}

uint32_t db_object_text_write(const db_object* record, char* out, uint32_t capacity) {
  if (record == nullptr) return 0;
  uint32_t length = kLeadSize;
  if (length <= capacity) memcpy(out, ">>>>\n", kLeadSize);
  for (int id = record->first_prop; id <= record->last_prop && id < DB_PROPERTY_ID_LIMIT; ++id) {
    const char* value = record->value[id];
    if (value == nullptr) continue;
    if (id == DB_PROP_RES_ADDITIONAL) return UINT32_MAX;
    const auto size = static_cast<uint32_t>(strlen(value));
    if (size == 0) continue;
    char header[10];
    const uint32_t header_size = FormatHeader(header, id, size);
    const uint32_t end = length + header_size + size + 1;
    if (end <= capacity) {
      memcpy(out + length, header, header_size);
      memcpy(out + length + header_size, value, size);
      out[end - 1] = '\n';
    }
    length = end;
  }
  return length;
}

upnp_string* db_object_list_to_string(const db_object_list* list) {
  if (list == nullptr) return nullptr;
  upnp_string* text = upnp_string_sprintf_append(nullptr, "%02X%03X\n", DB_PROP_RES_ADDITIONAL,
                                                 static_cast<unsigned>(list->count));
  db_object* const* children = db_object_list_children(const_cast<db_object_list*>(list));
  for (int32_t i = 0; i < list->count && text != nullptr; ++i) {
    upnp_string* child = db_object_to_string(children[i]);
    if (child == nullptr || child->length < kLeadSize) {
      upnp_string_free(child);
      text = upnp_string_append(text, "57000\n");
      continue;
    }
    // Inside a list a child's fields end with ":", so its own newlines go too.
    for (uint32_t at = 0; at < child->length; ++at) {
      if (child->data[at] == '\n') child->data[at] = ':';
    }
    text = AppendHeader(text, DB_PROP_RES_ADDITIONAL, child->length - kLeadSize);
    text = upnp_string_append_bytes(text, child->data + kLeadSize, child->length - kLeadSize);
    text = upnp_string_append(text, "\n");
    upnp_string_free(child);
  }
  return text;
}

void db_object_write(const db_object* record, struct upnp_file* file) {
  if (record == nullptr || file == nullptr) return;
  upnp_string* text = db_object_to_string(record);
  if (!upnp_string_is_empty(text)) (void)upnp_file_write(file, text->data, text->length);
  upnp_string_free(text);
}
