// Saving the pool's persistent entries to an image file and restoring such
// an image into a still-empty pool, so that indices kept in saved records
// keep their meaning across runs. All integers are unsigned 32-bit in the
// machine's byte order.
#include <string.h>

#include "base/file.h"
#include "base/log.h"
#include "base/memory.h"
#include "services/string_pool.h"
#include "services/string_pool_state.hpp"

namespace {

using string_pool::g_pool;

const char* file_name(const upnp_file* file) { return file->path != nullptr ? file->path : "unknown file"; }

bool write_all(upnp_file* file, const void* data, uint64_t length) {
  return upnp_file_write(file, data, length) == static_cast<int64_t>(length);
}

bool write_u32(upnp_file* file, uint32_t value) { return write_all(file, &value, sizeof value); }

// Each failing step of a save names itself by a fixed number, so that a
// report from the field says which write went wrong.
int32_t save_failure(const upnp_file* file, int step, const char* reason) {
  upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "save_failure", 0, "%s:%d [%s] %s\n", "upnp_string_pool_save", step,
           file_name(file), reason);
  return 0;
}

struct SaveCounts {
  uint32_t saved = 0;
  uint32_t skipped = 0;
  uint32_t bucket_saved = 0;
  uint32_t bucket_skipped = 0;
};

bool is_persistent(uint32_t index) {
  const upnp_string_pool_entry* entry = string_pool::entry_at(index);
  return entry != nullptr && entry->persist_count != 0;
}

// Returns 0 for success, else the failing step.
int write_entries(upnp_file* file, uint32_t n, SaveCounts& counts, const char** reason) {
  *reason = "write error";
  static constexpr upnp_string_pool_entry kFreeSlot{};
  for (uint32_t i = 0; i < n; ++i) {
    // A cleared pool has no table but still writes index 0.
    const upnp_string_pool_entry& entry = g_pool.entries != nullptr ? g_pool.entries[i] : kFreeSlot;
    if (!write_u32(file, entry.persist_count)) return 395;
    if (entry.persist_count == 0) {
      if (entry.refcount != 0) ++counts.skipped;
      continue;
    }
    ++counts.saved;
    const uint64_t length = entry.text != nullptr ? strlen(entry.text) : 0;
    if (!write_u32(file, static_cast<uint32_t>(length))) return 398;
    if (length == 0) {
      *reason = "size is 0";
      return 404;
    }
    if (!write_all(file, entry.text, length)) return 402;
  }
  return 0;
}

int write_buckets(upnp_file* file, SaveCounts& counts, const char** reason) {
  for (const upnp_string_pool_bucket& bucket : g_pool.buckets) {
    if (bucket.count == 0 || (bucket.count == 1 && !is_persistent(bucket.indices[0]))) {
      counts.bucket_skipped += bucket.count;
      *reason = "write error";
      if (!write_u32(file, 0)) return 438;
      continue;
    }
    TrackedPtr<uint32_t> kept(static_cast<uint32_t*>(upnp_malloc(uint64_t{bucket.count} * sizeof(uint32_t))));
    if (!kept) {
      *reason = "out of memory";
      return 421;
    }
    uint32_t k = 0;
    for (uint32_t i = 0; i < bucket.count; ++i) {
      if (is_persistent(bucket.indices[i])) {
        kept.get()[k++] = bucket.indices[i];
      } else {
        ++counts.bucket_skipped;
      }
    }
    counts.bucket_saved += k;
    *reason = "write error";
    if (!write_u32(file, k)) return 438;
    if (k > 0 && !write_all(file, kept.get(), uint64_t{k} * sizeof(uint32_t))) {
      *reason = "rwrite error";  // spelled so in the field reports
      return 442;
    }
  }
  return 0;
}

// A restored image while it is being read; frees everything unless adopted.
struct Image {
  uint32_t n = 0;
  upnp_string_pool_entry* entries = nullptr;
  upnp_string_pool_bucket* buckets = nullptr;
  uint32_t loaded = 0;
  uint32_t indices_total = 0;

  Image() = default;
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  ~Image() {
    if (entries != nullptr) {
      for (uint32_t i = 0; i < n; ++i) {
        if (entries[i].text != nullptr) upnp_free(entries[i].text);
      }
      upnp_free(entries);
    }
    if (buckets != nullptr) {
      for (uint32_t i = 0; i < UPNP_STRING_POOL_BUCKETS; ++i) {
        if (buckets[i].indices != nullptr) upnp_free(buckets[i].indices);
      }
      upnp_free(buckets);
    }
  }
};

// Reads exactly `length` bytes. Lengths are first checked against what the
// file still holds, so a corrupt count fails like the short read it would
// end in, without asking the heap for gigabytes first.
class Reader {
 public:
  explicit Reader(upnp_file* file) : file_(file) {}
  bool fits(uint64_t length) const { return file_->size >= file_->position && length <= remaining(); }
  bool read(void* buffer, uint64_t length) {
    return fits(length) && upnp_file_read(file_, buffer, length) == static_cast<int64_t>(length);
  }
  bool read_u32(uint32_t* value) { return read(value, sizeof *value); }

 private:
  uint64_t remaining() const { return static_cast<uint64_t>(file_->size - file_->position); }
  upnp_file* file_;
};

bool read_entries(Reader& reader, Image& image) {
  image.entries = static_cast<upnp_string_pool_entry*>(upnp_calloc(image.n, sizeof(upnp_string_pool_entry)));
  if (image.entries == nullptr) return false;
  for (uint32_t i = 0; i < image.n; ++i) {
    upnp_string_pool_entry& entry = image.entries[i];
    uint32_t persist_count = 0;
    if (!reader.read_u32(&persist_count)) return false;
    // A restored entry starts with its persistent references only.
    entry.refcount = persist_count;
    entry.persist_count = persist_count;
    if (persist_count == 0) continue;
    uint32_t length = 0;
    if (!reader.read_u32(&length)) return false;
    if (length == 0) continue;
    if (!reader.fits(length)) return false;
    entry.text = static_cast<char*>(upnp_malloc(uint64_t{length} + 1));
    if (entry.text == nullptr || !reader.read(entry.text, length)) return false;
    entry.text[length] = '\0';
    ++image.loaded;
  }
  return true;
}

bool read_buckets(Reader& reader, Image& image) {
  image.buckets =
      static_cast<upnp_string_pool_bucket*>(upnp_calloc(UPNP_STRING_POOL_BUCKETS, sizeof(upnp_string_pool_bucket)));
  if (image.buckets == nullptr) return false;
  for (uint32_t i = 0; i < UPNP_STRING_POOL_BUCKETS; ++i) {
    upnp_string_pool_bucket& bucket = image.buckets[i];
    uint32_t k = 0;
    if (!reader.read_u32(&k)) return false;
    bucket.count = k;
    bucket.capacity = k;
    if (k == 0) continue;
    const uint64_t bytes = uint64_t{k} * sizeof(uint32_t);
    if (!reader.fits(bytes)) return false;
    bucket.indices = static_cast<uint32_t*>(upnp_malloc(bytes));
    if (bucket.indices == nullptr || !reader.read(bucket.indices, bytes)) return false;
    image.indices_total += k;
  }
  return true;
}

// Deliberately narrow: only entry 0 and bucket 0 are looked at one by one
// (an index equal to n passes), then the totals must agree.
bool image_is_valid(const Image& image) {
  const upnp_string_pool_entry& first = image.entries[0];
  if (first.refcount != first.persist_count) return false;
  if (first.refcount != 0 && first.text == nullptr) return false;
  const upnp_string_pool_bucket& bucket = image.buckets[0];
  for (uint32_t i = 0; i < bucket.count; ++i) {
    if (bucket.indices[i] < 1 || bucket.indices[i] > image.n) return false;
  }
  return image.indices_total == image.loaded;
}

// Caller holds the pool lock and has checked that the pool is empty.
void adopt(Image& image) {
  upnp_string_pool_clear();
  g_pool.entries = image.entries;
  g_pool.capacity = image.n;
  g_pool.count = image.n;
  memcpy(g_pool.buckets, image.buckets, sizeof g_pool.buckets);
  image.entries = nullptr;
  upnp_free(image.buckets);  // the arrays it pointed to now belong to the pool
  image.buckets = nullptr;
}

}  // namespace

extern "C" {

int32_t upnp_string_pool_save(upnp_file* file, uint32_t* saved, uint32_t* skipped) {
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_string_pool_save", 0, "saving string pool");
  if (file == nullptr) return 0;
  SaveCounts counts;
  {
    StringPoolGuard guard;
    uint32_t n = 1;
    for (uint32_t i = 1; i < g_pool.count && g_pool.entries != nullptr; ++i) {
      if (g_pool.entries[i].persist_count != 0) n = i + 1;
    }
    for (uint32_t i = n; i < g_pool.count && g_pool.entries != nullptr; ++i) {
      if (g_pool.entries[i].refcount != 0) ++counts.skipped;
    }
    if (!write_u32(file, n)) return save_failure(file, 392, "write error");
    const char* reason = "";
    int step = write_entries(file, n, counts, &reason);
    if (step == 0) step = write_buckets(file, counts, &reason);
    if (step != 0) return save_failure(file, step, reason);
    if (counts.saved != counts.bucket_saved) return save_failure(file, 448, "nCountSave != nHashCountSave");
    if (counts.skipped != counts.bucket_skipped) return save_failure(file, 450, "nCountSkip != nHashCountSkip");
  }
  if (saved != nullptr) *saved = counts.saved;
  if (skipped != nullptr) *skipped = counts.skipped;
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_string_pool_save", 0, "string pool saved ok");
  return 1;
}

int32_t upnp_string_pool_restore(upnp_file* file, uint32_t* restored) {
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_string_pool_restore", 0, "restoring string pool");
  if (file == nullptr) return 0;
  Reader reader(file);
  Image image;
  if (!reader.read_u32(&image.n) || image.n == 0) return 0;
  // Every entry record takes at least 4 bytes and every bucket record too.
  if (!reader.fits((uint64_t{image.n} + UPNP_STRING_POOL_BUCKETS) * sizeof(uint32_t))) return 0;
  if (!read_entries(reader, image) || !read_buckets(reader, image) || !image_is_valid(image)) return 0;
  {
    StringPoolGuard guard;
    if (g_pool.count != 1) return 0;
    adopt(image);
  }
  if (restored != nullptr) *restored = image.indices_total;
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_string_pool_restore", 0, "string pool restored ok");
  return 1;
}

}  // extern "C"
