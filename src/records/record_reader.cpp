// The reader of the record text form, bounded by the size it is given.
#include "records/record_reader.h"

#include <string.h>

#include <string_view>

#include "base/log.h"
#include "base/memory.h"
#include "records/setters.h"

namespace {

constexpr size_t kLeadSize = 5;    // ">>>>\n"
constexpr size_t kHeaderSize = 5;  // two id digits, three length digits

// Not-hex digits read as 0: the form is not validated, only bounded.
constexpr uint32_t HexDigit(char c) {
  const auto u = static_cast<unsigned char>(c);
  if (u >= '0' && u <= '9') return u - '0';
  if (u >= 'A' && u <= 'F') return u - 'A' + 10;
  if (u >= 'a' && u <= 'f') return u - 'a' + 10;
  return 0;
}

constexpr uint32_t Hex(std::string_view digits) {
  uint32_t value = 0;
  for (const char c : digits) value = value * 16 + HexDigit(c);
  return value;
}
static_assert(Hex("57") == 87 && Hex("FFF") == 4095 && Hex("0x1") == 1, "hex fields");

struct FieldHeader {
  uint32_t id;
  uint32_t length;
};

// The caller has checked that five bytes are there.
FieldHeader ReadHeader(std::string_view text) { return {Hex(text.substr(0, 2)), Hex(text.substr(2, 3))}; }

void LogCorrupted(uint32_t value_size) {
  upnp_log(UPNP_LOG_INFO, LOG_DB, "upnp_database_object_create_from_data", 0, "database corrupted, value size %d",
           static_cast<int>(value_size));
}

enum class ListRead { kOk, kCorrupted, kOutOfMemory };

ListRead ReadList(std::string_view text, int32_t count, db_object_list** list_out, uint32_t* consumed) {
  *list_out = nullptr;
  *consumed = 0;
  db_object_list* list = db_object_list_new(count);
  if (list == nullptr) return ListRead::kOutOfMemory;
  db_object** children = db_object_list_children(list);
  size_t q = 0;
  for (int32_t i = 0; i < count; ++i) {
    // The child's id digits are not checked: only its length is read.
    if (q + kHeaderSize > text.size()) {
      LogCorrupted(static_cast<uint32_t>(count));
      db_object_list_free(list);
      return ListRead::kCorrupted;
    }
    const FieldHeader header = ReadHeader(text.substr(q));
    if (q + kHeaderSize + header.length > text.size()) {
      LogCorrupted(header.length);
      db_object_list_free(list);
      return ListRead::kCorrupted;
    }
    children[i] = upnp_database_object_create_from_data(text.data() + q + kHeaderSize, header.length);
    q += header.length + kHeaderSize + 1;
  }
  *list_out = list;
  *consumed = static_cast<uint32_t>(q);
  return ListRead::kOk;
}

}  // namespace

db_object* upnp_database_object_create_from_data(const char* data, uint32_t size) {
  if (data == nullptr || size == 0) return nullptr;
  const std::string_view text(data, size);
  db_object* record = nullptr;
  size_t p = text[0] == '>' ? kLeadSize : 0;
  while (p + kHeaderSize - 1 < text.size()) {
    const FieldHeader header = ReadHeader(text.substr(p));
    if (header.id == 0 && header.length == 0) break;
    if (header.id == DB_PROP_RES_ADDITIONAL) {
      // The length digits count children; they start behind the separator.
      const size_t start = p + kHeaderSize + 1;
      if (start > text.size()) {
        LogCorrupted(header.length);
        return record;
      }
      db_object_list* list = nullptr;
      uint32_t consumed = 0;
      if (ReadList(text.substr(start), static_cast<int32_t>(header.length), &list, &consumed) != ListRead::kOk) {
        return record;
      }
      db_object* grown = db_object_set_prop(record, DB_PROP_RES_ADDITIONAL, reinterpret_cast<char*>(list), 0);
      if (grown == nullptr) return record;
      record = grown;
      p = start + consumed;
      continue;
    }
    if (p + kHeaderSize + header.length > text.size()) {
      LogCorrupted(header.length);
      return record;
    }
    if (header.id == DB_PROP_BOOKMARK || header.id >= DB_PROPERTY_ID_LIMIT) {
      // A bookmark is never loaded from stored text; "FF" names no property.
      p += kHeaderSize + header.length + 1;
      continue;
    }
    char* value = static_cast<char*>(upnp_malloc(header.length + 1));
    if (value == nullptr) return record;
    memcpy(value, text.data() + p + kHeaderSize, header.length);
    value[header.length] = '\0';
    // The setter owns the value from here, stored or not.
    db_object* grown = db_object_set_prop(record, static_cast<int32_t>(header.id), value, 0);
    if (grown == nullptr) return record;
    record = grown;
    // The separator byte is skipped unseen: "\n" and ":" both serve.
    p += kHeaderSize + header.length + 1;
  }
  return record;
}

db_object_list* db_object_list_create_from_data(const char* data, uint32_t size, int32_t count,
                                                uint32_t* consumed_out) {
  if (data == nullptr) return nullptr;
  db_object_list* list = nullptr;
  uint32_t consumed = 0;
  ReadList(std::string_view(data, size), count, &list, &consumed);
  if (consumed_out != nullptr) *consumed_out = consumed;
  return list;
}

db_object_list* db_object_list_from_string(const char* text) {
  if (text == nullptr) return nullptr;
  const std::string_view whole(text);
  if (whole.size() < kHeaderSize + 1) return nullptr;
  const FieldHeader header = ReadHeader(whole);
  const std::string_view rest = whole.substr(kHeaderSize + 1);
  return db_object_list_create_from_data(rest.data(), static_cast<uint32_t>(rest.size()),
                                         static_cast<int32_t>(header.length), nullptr);
}
