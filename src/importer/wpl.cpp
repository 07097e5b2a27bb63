#include "importer/wpl.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "base/file.h"
#include "base/file_system.h"
#include "base/locks.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/xml_escape.h"
#include "importer/bounded_format.hpp"

namespace {

// The slot array grows by at least this many slots, and by half its size
// once larger, so that a library of many playlists is not copied over and
// over.
constexpr uint32_t kSlotGrowth = 5;
// The title index keeps at most this share of its slots in use.
constexpr uint32_t kIndexLoadDivisor = 2;
// Small: a library may hold a hundred thousand playlists of a few tracks.
constexpr uint32_t kFirstEntryCapacity = 4;
constexpr char kDefaultGenerator[] = "Orvane";

// An entry is a location copy (a tracked block, so its address is even) or,
// with the low bit set, a reference shifted left by one that the location
// reader turns into the location when the playlist is rendered: 8 bytes
// an entry, whatever the location's length.
using WplEntry = uint64_t;
constexpr size_t kLocationSize = 1024;

bool is_reference(WplEntry entry) { return (entry & 1u) != 0; }
char* copy_of(WplEntry entry) { return reinterpret_cast<char*>(static_cast<uintptr_t>(entry)); }

struct WplPlaylist {
  uint32_t type;
  uint32_t source;
  char* generator;
  char* origin_file_name;
  char* title;
  uint32_t entry_count;
  uint32_t entry_capacity;
  WplEntry* entries;
};

// Identifiers of the titled playlists by title and type, beside the slots,
// so that entering a playlist does not compare it with every one before it.
// Open addressing; 0 marks a free slot. Without memory for it (mask 0 after
// a failure) the table is searched slot by slot, as the index would answer.
struct TitleIndex {
  uint32_t* ids;
  uint32_t mask;  // size - 1; 0 while there is no index
  bool failed;    // no index until the next reset
};

struct PlaylistTable {
  WplPlaylist** slots;  // identifier i lives in slots[i - 1]
  uint32_t count;
  uint32_t capacity;
  bool initialised;
  TitleIndex index;
};

upnp_plain_lock* g_wpl_lock = nullptr;
PlaylistTable g_table = {};
upnp_wpl_location_reader g_reader = nullptr;
void* g_reader_context = nullptr;

void free_text(char* text) {
  if (text != nullptr) upnp_free(text);
}

// A copy of an optional text; false when the text was given but could not
// be copied.
[[nodiscard]] bool copy_optional(const char* text, char*& copy) {
  copy = text != nullptr ? upnp_strdup(text) : nullptr;
  return text == nullptr || copy != nullptr;
}

void free_playlist(WplPlaylist* playlist) {
  if (playlist == nullptr) return;
  for (uint32_t i = 0; i < playlist->entry_count; ++i) {
    if (!is_reference(playlist->entries[i])) free_text(copy_of(playlist->entries[i]));
  }
  if (playlist->entries != nullptr) upnp_free(playlist->entries);
  free_text(playlist->generator);
  free_text(playlist->origin_file_name);
  free_text(playlist->title);
  upnp_free(playlist);
}

WplPlaylist* new_playlist(const char* title, uint32_t type, uint32_t source, const char* generator,
                          const char* origin_file_name) {
  auto* playlist = static_cast<WplPlaylist*>(upnp_calloc(1, sizeof(WplPlaylist)));
  if (playlist == nullptr) return nullptr;
  playlist->type = type;
  playlist->source = source;
  if (!copy_optional(title, playlist->title) || !copy_optional(generator, playlist->generator) ||
      !copy_optional(origin_file_name, playlist->origin_file_name)) {
    free_playlist(playlist);
    return nullptr;
  }
  return playlist;
}

// A playlist that came from a CDS leaves an empty marker beside its origin
// file, made once; an existing marker is left as it is.
void mark_from_cds(const char* origin_file_name) {
  char marker[1024];
  importer::format_cut(marker, sizeof marker, "%s.fromcds", origin_file_name);
  if (!upnp_file_exists(marker)) upnp_file_close(upnp_file_open_write(marker));
}

// Frees every playlist and the slot array. Called with the lock held.
void clear_table() {
  for (uint32_t i = 0; i < g_table.count; ++i) free_playlist(g_table.slots[i]);
  if (g_table.slots != nullptr) upnp_free(g_table.slots);
  if (g_table.index.ids != nullptr) upnp_free(g_table.index.ids);
  g_table.slots = nullptr;
  g_table.count = 0;
  g_table.capacity = 0;
  g_table.index = TitleIndex{};
}

WplPlaylist* find_playlist(uint32_t identifier) {
  if (identifier == 0 || identifier > g_table.count) return nullptr;
  return g_table.slots[identifier - 1];
}

uint32_t title_hash(const char* title, uint32_t type) {
  uint32_t hash = 2166136261u ^ type;
  for (const char* c = title; *c != '\0'; ++c) hash = (hash ^ static_cast<unsigned char>(*c)) * 16777619u;
  return hash;
}

bool same_playlist(const WplPlaylist& a, const WplPlaylist& b) {
  return a.type == b.type && a.title != nullptr && b.title != nullptr && strcmp(a.title, b.title) == 0;
}

// The index slot holding this playlist's title and type, or the free slot
// where it belongs.
uint32_t index_slot(const WplPlaylist& playlist) {
  const TitleIndex& index = g_table.index;
  uint32_t at = title_hash(playlist.title, playlist.type) & index.mask;
  while (index.ids[at] != 0 && !same_playlist(*g_table.slots[index.ids[at] - 1], playlist)) at = (at + 1) & index.mask;
  return at;
}

// Makes room for one more identifier, rehashing into a table twice the size.
[[nodiscard]] bool reserve_index() {
  TitleIndex& index = g_table.index;
  if (index.failed) return false;
  if (index.mask != 0 && (g_table.count + 1) * kIndexLoadDivisor <= index.mask + 1) return true;
  const uint32_t size = index.mask == 0 ? 64 : (index.mask + 1) * 2;
  auto* ids = static_cast<uint32_t*>(upnp_calloc(size, sizeof(uint32_t)));
  if (ids == nullptr) {
    if (index.ids != nullptr) upnp_free(index.ids);
    index = TitleIndex{nullptr, 0, true};
    return false;
  }
  uint32_t* const old = index.ids;
  const uint32_t old_size = index.mask == 0 ? 0 : index.mask + 1;
  index.ids = ids;
  index.mask = size - 1;
  for (uint32_t i = 0; i < old_size; ++i) {
    if (old[i] != 0) index.ids[index_slot(*g_table.slots[old[i] - 1])] = old[i];
  }
  if (old != nullptr) upnp_free(old);
  return true;
}

// An identifier in the table of the same title and type, or 0: the first
// from identifier 1 upward, which is the only one, since a playlist that
// matches is never entered. Playlists without title never merge.
uint32_t find_same(const WplPlaylist& playlist) {
  if (playlist.title == nullptr) return 0;
  if (g_table.index.mask != 0) return g_table.index.ids[index_slot(playlist)];
  for (uint32_t i = 0; i < g_table.count; ++i) {
    if (same_playlist(*g_table.slots[i], playlist)) return i + 1;
  }
  return 0;
}

[[nodiscard]] bool grow_slots() {
  const uint32_t capacity = g_table.capacity + (g_table.capacity / 2 > kSlotGrowth ? g_table.capacity / 2 : kSlotGrowth);
  auto* slots = static_cast<WplPlaylist**>(upnp_malloc(uint64_t{capacity} * sizeof(WplPlaylist*)));
  if (slots == nullptr) return false;
  if (g_table.slots != nullptr) {
    memcpy(slots, g_table.slots, g_table.count * sizeof(WplPlaylist*));
    upnp_free(g_table.slots);
  }
  g_table.slots = slots;
  g_table.capacity = capacity;
  return true;
}

[[nodiscard]] bool grow_entries(WplPlaylist& playlist) {
  const uint32_t capacity =
      playlist.entry_capacity == 0 ? kFirstEntryCapacity : playlist.entry_capacity * 2;
  void* entries = upnp_malloc(uint64_t{capacity} * sizeof(WplEntry));
  if (entries == nullptr) return false;
  if (playlist.entries != nullptr) {
    memcpy(entries, playlist.entries, playlist.entry_count * sizeof(WplEntry));
    upnp_free(playlist.entries);
  }
  playlist.entries = static_cast<WplEntry*>(entries);
  playlist.entry_capacity = capacity;
  return true;
}

// Holds the playlist lock for a scope when the module is started.
class TableLock {
 public:
  TableLock() : held_(upnp_lock(&g_wpl_lock) == 0) {}
  ~TableLock() {
    if (held_) upnp_unlock(&g_wpl_lock);
  }
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;
  bool usable() const { return held_ && g_table.initialised; }

 private:
  bool held_;
};

const char* type_letter(uint32_t type) {
  switch (type) {
    case UPNP_WPL_TYPE_PICTURES: return "P";
    case UPNP_WPL_TYPE_VIDEO: return "V";
    case UPNP_WPL_TYPE_OTHER: return "X";
    default: return "M";
  }
}

const char* source_name(uint32_t source) {
  switch (source) {
    case UPNP_WPL_SOURCE_ITUNES: return "iTunes";
    case UPNP_WPL_SOURCE_CDS: return "CDS";
    case UPNP_WPL_SOURCE_ONLINE: return "online";
    default: return "file";
  }
}

// The pieces of the text every sink takes: plain, formatted, escaped.
// Sink::put(piece, length) does the rest.
template <class Sink>
class Pieces {
 public:
  void add(const char* piece) { sink().put(piece, strlen(piece)); }
  void addf(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    char line[256];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (length >= 0) sink().put(line, length < static_cast<int>(sizeof line) ? static_cast<size_t>(length) : sizeof line - 1);
  }
  // prefix, the escaped value, suffix.
  void add_escaped(const char* prefix, const char* value, const char* suffix) {
    add(prefix);
    upnp_xml_escape_pieces(
        value, 0, [](void* sink, const char* piece, uint32_t length) { static_cast<Sink*>(sink)->put(piece, length); },
        &sink());
    add(suffix);
  }

 private:
  Sink& sink() { return static_cast<Sink&>(*this); }
};

// Appends to a growable string until the first failure, after which the
// record is gone (the failing append freed it) and every later call is
// ignored, so a failure cannot restart the text as a fresh record.
class TextWriter : public Pieces<TextWriter> {
 public:
  explicit TextWriter(upnp_string* text) : text_(text) {}
  void put(const char* piece, size_t length) {
    if (!failed_) text_ = upnp_string_append_bytes(text_, piece, static_cast<uint32_t>(length));
    failed_ = failed_ || text_ == nullptr;
  }
  bool failed() const { return failed_; }
  upnp_string* text() const { return text_; }

 private:
  upnp_string* text_;
  bool failed_ = false;
};

// Writes to a file through a small buffer as the text is rendered, so that
// a playlist of any length costs the same memory.
class FileWriter : public Pieces<FileWriter> {
 public:
  explicit FileWriter(upnp_file* file) : file_(file) {}
  ~FileWriter() { flush(); }
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;
  void put(const char* piece, size_t length) {
    if (length_ + length > sizeof buffer_) flush();
    if (length > sizeof buffer_) {
      write(piece, length);
      return;
    }
    memcpy(buffer_ + length_, piece, length);
    length_ += length;
  }
  void flush() {
    write(buffer_, length_);
    length_ = 0;
  }
  bool failed() const { return failed_; }

 private:
  void write(const char* data, size_t length) {
    // After a failure nothing more is written, so errno still tells why.
    if (length > 0 && !failed_ && upnp_file_write_all(file_, data, length) != 0) failed_ = true;
  }
  upnp_file* file_;
  char buffer_[8192];
  size_t length_ = 0;
  bool failed_ = false;
};

template <class Out>
void render(const WplPlaylist& playlist, Out& out) {
  out.add("<?wpl version=\"1.0\"?>\n");
  out.add("<smil>\n");
  out.add("  <head>\n");
  out.add("    <meta name=\"Generator\" content=\"");
  out.add(playlist.generator != nullptr ? playlist.generator : kDefaultGenerator);
  out.add("\"/>\n");
  if (playlist.origin_file_name != nullptr)
    out.add_escaped("    <meta name=\"OrigFilename\" content=\"", playlist.origin_file_name, "\"/>\n");
  out.addf("    <meta name=\"ItemCount\" content=\"%d\"/>\n", static_cast<int>(playlist.entry_count));
  out.addf("    <meta name=\"Type\" content=\"%s\"/>\n", type_letter(playlist.type));
  out.addf("    <meta name=\"Source\" content=\"%s\"/>\n", source_name(playlist.source));
  if (playlist.title != nullptr) out.add_escaped("    <title>", playlist.title, "</title>\n");
  out.add("  </head>\n");
  out.add("  <body>\n");
  if (playlist.entry_count > 0) {
    out.add("    <seq>\n");
    char location[kLocationSize];
    for (uint32_t i = 0; i < playlist.entry_count; ++i) {
      const WplEntry entry = playlist.entries[i];
      const char* text = copy_of(entry);
      if (is_reference(entry)) {
        // A location that cannot be read back is written empty.
        location[0] = '\0';
        if (g_reader != nullptr) (void)g_reader(g_reader_context, entry >> 1, location, sizeof location);
        location[sizeof location - 1] = '\0';
        text = location;
      }
      out.add_escaped("      <media src=\"", text, "\"/>\n");
    }
    out.add("    </seq>\n");
  }
  out.add("  </body>\n");
  out.add("</smil>\n");
}

}  // namespace

extern "C" {

int32_t upnp_wpl_create(const char* title, uint32_t type, uint32_t source, const char* generator,
                        const char* origin_file_name, uint32_t* identifier) {
  if (identifier != nullptr) *identifier = 0;
  WplPlaylist* playlist = new_playlist(title, type, source, generator, origin_file_name);
  if (playlist == nullptr) return UPNP_FAILED;
  if (origin_file_name != nullptr && source == UPNP_WPL_SOURCE_CDS) mark_from_cds(origin_file_name);

  TableLock lock;
  if (!lock.usable()) {
    free_playlist(playlist);
    return UPNP_FAILED;
  }
  uint32_t id = find_same(*playlist);
  if (id != 0) {
    WplPlaylist* existing = g_table.slots[id - 1];
    if (playlist->source == UPNP_WPL_SOURCE_CDS) existing->source = UPNP_WPL_SOURCE_CDS;
    free_playlist(playlist);
  } else {
    if (g_table.count == g_table.capacity && !grow_slots()) {
      free_playlist(playlist);
      return UPNP_FAILED;
    }
    // Without an index the table is searched slot by slot from now on.
    const bool indexed = playlist->title != nullptr && reserve_index();
    g_table.slots[g_table.count++] = playlist;
    id = g_table.count;
    if (indexed) g_table.index.ids[index_slot(*playlist)] = id;
  }
  if (identifier != nullptr) *identifier = id;
  return 0;
}

int32_t upnp_wpl_add_entry(uint32_t identifier, const char* location) {
  if (location == nullptr) return UPNP_FAILED;
  TableLock lock;
  if (!lock.usable()) return UPNP_FAILED;
  WplPlaylist* playlist = find_playlist(identifier);
  if (playlist == nullptr) return UPNP_FAILED;
  if (playlist->entry_count == playlist->entry_capacity && !grow_entries(*playlist)) return UPNP_FAILED;
  char* copy = upnp_strdup(location);
  if (copy == nullptr) return UPNP_FAILED;
  playlist->entries[playlist->entry_count++] = static_cast<WplEntry>(reinterpret_cast<uintptr_t>(copy));
  return 0;
}

int32_t upnp_wpl_add_entry_ref(uint32_t identifier, uint64_t reference) {
  if (reference >> 63 != 0) return UPNP_FAILED;
  TableLock lock;
  if (!lock.usable()) return UPNP_FAILED;
  WplPlaylist* playlist = find_playlist(identifier);
  if (playlist == nullptr) return UPNP_FAILED;
  if (playlist->entry_count == playlist->entry_capacity && !grow_entries(*playlist)) return UPNP_FAILED;
  playlist->entries[playlist->entry_count++] = reference << 1 | 1u;
  return 0;
}

void upnp_wpl_set_location_reader(upnp_wpl_location_reader reader, void* context) {
  TableLock lock;
  g_reader = reader;
  g_reader_context = context;
}

int32_t upnp_wpl_to_text(uint32_t identifier, upnp_string** text) {
  if (text == nullptr) return UPNP_FAILED;
  TableLock lock;
  if (!lock.usable()) return UPNP_FAILED;
  const WplPlaylist* playlist = find_playlist(identifier);
  if (playlist == nullptr || playlist->title == nullptr) return UPNP_FAILED;
  TextWriter out(*text);
  render(*playlist, out);
  *text = out.text();
  return out.failed() ? UPNP_FAILED : 0;
}

int32_t upnp_wpl_write_file(uint32_t identifier, upnp_file* file) {
  if (file == nullptr) return UPNP_INVALID;
  TableLock lock;
  if (!lock.usable()) return UPNP_INVALID;
  const WplPlaylist* playlist = find_playlist(identifier);
  if (playlist == nullptr || playlist->title == nullptr) return UPNP_INVALID;
  FileWriter out(file);
  render(*playlist, out);
  out.flush();
  return out.failed() ? UPNP_FAILED : 0;
}

void upnp_wpl_reset(void) {
  TableLock lock;
  clear_table();
}

int32_t upnp_wpl_prepare(void) {
  if (upnp_lock_exists(&g_wpl_lock)) return 0;
  return upnp_lock_create(&g_wpl_lock) == 0 ? 0 : UPNP_FAILED;
}

void upnp_wpl_init(void) {
  TableLock lock;
  clear_table();
  g_table.initialised = true;
}

void upnp_wpl_stop(void) {
  TableLock lock;
  clear_table();
  g_table.initialised = false;
}

void upnp_wpl_release(void) { (void)upnp_lock_destroy(&g_wpl_lock); }

}  // extern "C"
