#include "importer/playlist_naming.hpp"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "base/memory.h"
#include "base/string_util.h"

namespace importer {
namespace {

// Extensions are compared without regard to case. "mpeg4" and "mpeg2" can
// never match, since extensions longer than four characters count as none;
// they stay listed because the server's own table lists them.
constexpr const char* kVideoExtensions[] = {
    "mov", "mp4",   "m4v", "avi",  "xvid",  "divx", "3gp", "asf", "wmv",
    "mkv", "mpeg4", "mpg", "mpeg", "mpeg2", "mts",  "m2ts", "ts",
};
constexpr const char* kPictureExtensions[] = {
    "jpg", "jpe", "jpeg", "tiff", "tif", "gif", "png", "bmp",
};
static_assert(std::size(kVideoExtensions) == 17);
static_assert(std::size(kPictureExtensions) == 8);
constexpr size_t kLongestExtension = 4;

constexpr std::string_view kItunesSuffix = " (iTunes)";

// Characters that become '_' in a file-name base.
constexpr std::string_view kUnsafeFileNameChars = " \\/+:*<>|@$\"'&?~";
static_assert(kUnsafeFileNameChars.size() == 16);

// A folder chain deeper than this is cut; it guards the walk against
// parent cycles the library file should not hold but might.
constexpr size_t kMaxFolderDepth = 256;

template <size_t N>
bool listed(const char* const (&table)[N], const char* extension) {
  for (const char* entry : table) {
    if (strcasecmp(entry, extension) == 0) return true;
  }
  return false;
}

size_t text_hash(std::string_view text) {
  size_t hash = 14695981039346656037ull;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
  return hash;
}

const FolderList* find_folder(const FolderList* folders, std::string_view persistent_id,
                              const FolderIndex* index) {
  if (index != nullptr && index->mask != 0) {
    for (size_t at = text_hash(persistent_id) & index->mask; index->slots[at] != nullptr;
         at = (at + 1) & index->mask) {
      if (persistent_id == index->slots[at]->persistent_id) return index->slots[at];
    }
    return nullptr;
  }
  for (const FolderList* node = folders; node != nullptr; node = node->next) {
    if (node->persistent_id != nullptr && persistent_id == node->persistent_id) return node;
  }
  return nullptr;
}

// The folders met on one walk up the chain, to stop at a parent cycle.
class VisitedSet {
 public:
  // False when the node was already there.
  bool insert(const FolderList* node) {
    size_t at = (reinterpret_cast<uintptr_t>(node) >> 4) & (kSize - 1);
    while (slots_[at] != nullptr) {
      if (slots_[at] == node) return false;
      at = (at + 1) & (kSize - 1);
    }
    slots_[at] = node;
    return true;
  }

 private:
  static constexpr size_t kSize = 2 * kMaxFolderDepth;
  const FolderList* slots_[kSize] = {};
};

// The length of the longest start of `text` of at most `limit` bytes that
// does not end inside a UTF-8 sequence.
size_t whole_characters(std::string_view text, size_t limit) {
  if (text.size() <= limit) return text.size();
  while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) --limit;
  return limit;
}

}  // namespace

void folder_list_push(FolderList*& head, const char* persistent_id, const char* parent_id,
                      const char* name, uint32_t playlist_id) {
  auto* node = static_cast<FolderList*>(upnp_malloc(sizeof(FolderList)));
  if (node == nullptr) return;
  node->persistent_id = persistent_id != nullptr ? upnp_strdup(persistent_id) : nullptr;
  node->parent_id = parent_id != nullptr ? upnp_strdup(parent_id) : nullptr;
  node->name = name != nullptr ? upnp_strdup(name) : nullptr;
  node->playlist_id = playlist_id;
  node->next = head;
  head = node;
}

void folder_list_free(FolderList*& head) {
  while (head != nullptr) {
    FolderList* next = head->next;
    for (char* text : {head->persistent_id, head->parent_id, head->name}) {
      if (text != nullptr) upnp_free(text);
    }
    upnp_free(head);
    head = next;
  }
}

char media_kind_letter(const char* location) {
  // An extension that holds a '.' or '/' (the fallbacks of the extension
  // rule) matches no entry, so it counts as none as it should.
  const char* extension = upnp_get_file_extension(location);
  if (extension == nullptr || extension[0] == '\0' || strlen(extension) > kLongestExtension) return 'M';
  if (listed(kVideoExtensions, extension)) return 'V';
  if (listed(kPictureExtensions, extension)) return 'P';
  return 'M';
}

void folder_index_build(FolderIndex& index, const FolderList* folders) {
  index = FolderIndex{nullptr, 0};
  size_t count = 0;
  for (const FolderList* node = folders; node != nullptr; node = node->next) ++count;
  size_t size = 16;
  while (size < 2 * count) size *= 2;
  auto* slots = static_cast<const FolderList**>(upnp_calloc(1, size * sizeof(FolderList*)));
  if (slots == nullptr) return;
  index = FolderIndex{slots, size - 1};
  for (const FolderList* node = folders; node != nullptr; node = node->next) {
    if (node->persistent_id == nullptr) continue;
    const std::string_view id = node->persistent_id;
    size_t at = text_hash(id) & index.mask;
    while (slots[at] != nullptr && id != slots[at]->persistent_id) at = (at + 1) & index.mask;
    if (slots[at] == nullptr) slots[at] = node;  // a later node of the same id is never found
  }
}

void folder_index_free(FolderIndex& index) {
  if (index.slots != nullptr) upnp_free(index.slots);
  index = FolderIndex{nullptr, 0};
}

TrackedPtr<char> build_full_name(const FolderList* folders, std::string_view persistent_id,
                                 const FolderIndex* index) {
  // The names from the playlist up to the top folder; joined top first, a
  // "/" behind every name that has a non-empty name below it.
  std::string_view names[kMaxFolderDepth];
  size_t count = 0;
  VisitedSet visited;
  std::string_view id = persistent_id;
  for (size_t depth = 0; depth < kMaxFolderDepth; ++depth) {
    const FolderList* node = find_folder(folders, id, index);
    if (node == nullptr || !visited.insert(node)) break;
    if (node->name != nullptr) names[count++] = node->name;
    if (node->parent_id == nullptr || id == node->parent_id) break;
    id = node->parent_id;
  }
  size_t below = 0;  // names[0, below) are empty
  while (below < count && names[below].empty()) ++below;
  if (below == count) return nullptr;
  size_t joined = 0;
  for (size_t i = 0; i < count; ++i) joined += names[i].size() + (i > below ? 1 : 0);
  // One byte past the limit tells whether the cut falls inside a character.
  joined = std::min(joined, kFullNameMaxLength + 1);
  TrackedPtr<char> name(static_cast<char*>(upnp_malloc(joined + kItunesSuffix.size() + 1)));
  if (name == nullptr) return nullptr;
  size_t length = 0;
  for (size_t i = count; i-- > 0 && length < joined;) {
    const size_t piece = std::min(names[i].size(), joined - length);
    memcpy(name.get() + length, names[i].data(), piece);
    length += piece;
    if (i > below && length < joined) name.get()[length++] = '/';
  }
  length = whole_characters({name.get(), length}, kFullNameMaxLength);
  memcpy(name.get() + length, kItunesSuffix.data(), kItunesSuffix.size());
  name.get()[length + kItunesSuffix.size()] = '\0';
  return name;
}

void wpl_file_base(std::string_view name, char kind, char (&base)[kWplBaseSize]) {
  size_t kept = name.size();
  uint32_t hash = 2166136261u;  // FNV-1a of the whole name
  if (kept + kKindSuffixSize > kWplBaseMaxLength) {
    for (unsigned char c : name) hash = (hash ^ c) * 16777619u;
    kept = whole_characters(name, kWplBaseMaxLength - kKindSuffixSize - kNameHashSize);
  }
  int length;
  if (kept == name.size()) {
    length = snprintf(base, sizeof base, "%.*s##%c", static_cast<int>(kept), name.data(), kind);
  } else {
    length = snprintf(base, sizeof base, "%.*s_%08x##%c", static_cast<int>(kept), name.data(), hash, kind);
  }
  (void)length;
  for (char* c = base; *c != '\0'; ++c) {
    const unsigned char byte = static_cast<unsigned char>(*c);
    if (byte < 32 || byte == 127 || kUnsafeFileNameChars.find(*c) != std::string_view::npos) *c = '_';
  }
}

void blank_control_characters(char* name) {
  for (; *name != '\0'; ++name) {
    if (static_cast<unsigned char>(*name) < 32 || *name == 127) *name = ' ';
  }
}

void wpl_file_path(std::string_view work_dir, std::string_view base,
                   char (&path)[kPathBufferSize]) {
  snprintf(path, sizeof path, "%.*s%ciTunes-playlist-%.*s.wpl", static_cast<int>(work_dir.size()),
           work_dir.data(), '/', static_cast<int>(base.size()), base.data());
}

void playlist_list_path(std::string_view work_dir, char (&path)[kPathBufferSize]) {
  snprintf(path, sizeof path, "%.*s%citunes.log", static_cast<int>(work_dir.size()),
           work_dir.data(), '/');
}

bool is_ignored_playlist_name(std::string_view name) {
  constexpr std::string_view kIgnored[] = {"smartplaylist", "Library", "Recently Added", "Music",
                                           "Podcasts"};
  for (std::string_view ignored : kIgnored) {
    if (name == ignored) return true;
  }
  return false;
}

}  // namespace importer
