#include "importer/items_writer.hpp"

#include <errno.h>
#include <stdint.h>
#include <string.h>

#include "base/file.h"
#include "base/memory.h"
#include "base/upnp_string.h"
#include "records/object_text.h"

namespace importer {

ItemsWriter::ItemsWriter(upnp_file* file)
    : file_(file), buffer_(static_cast<char*>(upnp_malloc(kBufferSize))) {}

ItemsWriter::~ItemsWriter() {
  flush();
  if (buffer_ != nullptr) upnp_free(buffer_);
}

void ItemsWriter::write(const char* data, size_t length) {
  if (buffer_ != nullptr && length_ + length > kBufferSize) flush();
  if (buffer_ == nullptr || length > kBufferSize) {
    write_through(data, length);
    return;
  }
  memcpy(buffer_ + length_, data, length);
  length_ += length;
}

void ItemsWriter::write_record(const db_object* record) {
  if (record == nullptr) return;
  if (buffer_ != nullptr) {
    // Straight into the buffer; when it does not fit, once more after a
    // flush.
    uint32_t length = db_object_text_write(record, buffer_ + length_, static_cast<uint32_t>(kBufferSize - length_));
    if (length != UINT32_MAX && length > kBufferSize - length_ && length <= kBufferSize) {
      flush();
      length = db_object_text_write(record, buffer_, kBufferSize);
    }
    if (length <= kBufferSize - length_) {
      length_ += length;
      return;
    }
  }
  upnp_string* text = db_object_to_string(record);
  if (!upnp_string_is_empty(text)) write(text->data, text->length);
  upnp_string_free(text);
}

void ItemsWriter::flush() {
  if (length_ == 0) return;
  write_through(buffer_, length_);
  length_ = 0;
}

void ItemsWriter::write_through(const char* data, size_t length) {
  if (error_ == 0 && upnp_file_write_all(file_, data, length) != 0) error_ = errno;
}

}  // namespace importer
