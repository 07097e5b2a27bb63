// The temporary items file, written through one buffer: the file receives
// exactly the bytes of writing each command line and record as it comes, in
// a few hundred write calls instead of four per track.
#pragma once

#include <stddef.h>

struct upnp_file;
struct db_object;

namespace importer {

class ItemsWriter {
 public:
  static constexpr size_t kBufferSize = 64 * 1024;

  // The file stays the caller's; the writer flushes into it when destroyed.
  explicit ItemsWriter(upnp_file* file);
  ~ItemsWriter();
  ItemsWriter(const ItemsWriter&) = delete;
  ItemsWriter& operator=(const ItemsWriter&) = delete;

  void write(const char* data, size_t length);
  // The record in its text form; nothing for a record without one.
  void write_record(const db_object* record);
  void flush();
  // errno of the first failed write, 0 while all went well; after a failure
  // nothing more is written.
  int error() const { return error_; }

 private:
  void write_through(const char* data, size_t length);

  upnp_file* file_;
  char* buffer_;  // tracked; null when it could not be had: writes go straight through
  size_t length_ = 0;
  int error_ = 0;
};

}  // namespace importer
