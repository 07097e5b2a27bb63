#include "importer/track_lists.hpp"

#include <string.h>

#include <algorithm>

#include "base/memory.h"

namespace importer {

namespace {

bool id_before(const TrackEntry& a, const TrackEntry& b) { return a.id < b.id; }

// Stable merge sort through a tracked buffer of the same size.
[[nodiscard]] bool merge_sort(TrackEntry* entries, size_t count) {
  if (count < 2) return true;
  auto* scratch = static_cast<TrackEntry*>(upnp_malloc(count * sizeof(TrackEntry)));
  if (scratch == nullptr) return false;
  TrackEntry* from = entries;
  TrackEntry* to = scratch;
  for (size_t width = 1; width < count; width *= 2) {
    for (size_t left = 0; left < count; left += 2 * width) {
      const size_t middle = std::min(left + width, count);
      const size_t right = std::min(left + 2 * width, count);
      std::merge(from + left, from + middle, from + middle, from + right, to + left, id_before);
    }
    std::swap(from, to);
  }
  if (from != entries) memcpy(entries, from, count * sizeof(TrackEntry));
  upnp_free(scratch);
  return true;
}

// Without memory for a merge: insertion, stable and in place, slow only on
// ids that do not ascend.
void insertion_sort(TrackEntry* entries, size_t count) {
  for (size_t i = 1; i < count; ++i) {
    const TrackEntry entry = entries[i];
    size_t at = i;
    for (; at > 0 && entry.id < entries[at - 1].id; --at) entries[at] = entries[at - 1];
    entries[at] = entry;
  }
}

}  // namespace

void track_list_insert(TrackList& list, uint32_t id, uint64_t location) {
  if (list.count == list.capacity) {
    // Half as much again: the old and new arrays live side by side while
    // copying, and a million tracks must stay well inside a small box.
    const size_t capacity = list.capacity < 1024 ? 1024 : list.capacity + list.capacity / 2;
    // A fresh block rather than upnp_realloc, which stops counting the old
    // block when it fails.
    auto* entries = static_cast<TrackEntry*>(upnp_malloc(capacity * sizeof(TrackEntry)));
    if (entries == nullptr) return;
    if (list.entries != nullptr) {
      memcpy(entries, list.entries, list.count * sizeof(TrackEntry));
      upnp_free(list.entries);
    }
    list.entries = entries;
    list.capacity = capacity;
  }
  if (list.count > 0 && id < list.entries[list.count - 1].id) list.unsorted = true;
  list.entries[list.count++] = TrackEntry{id, location};
}

const TrackEntry* track_list_find(TrackList& list, uint32_t id) {
  if (list.unsorted) {
    if (!merge_sort(list.entries, list.count)) insertion_sort(list.entries, list.count);
    list.unsorted = false;
  }
  const TrackEntry* const begin = list.entries;
  const TrackEntry* const end = begin + list.count;
  const TrackEntry* first =
      std::lower_bound(begin, end, id, [](const TrackEntry& entry, uint32_t key) { return entry.id < key; });
  return first != end && first->id == id ? first : nullptr;
}

void track_list_free(TrackList& list) {
  if (list.entries != nullptr) upnp_free(list.entries);
  list = TrackList{};
}

void audiobook_list_add(AudiobookList& list, uint32_t id) {
  if (list.count == list.capacity) {
    const size_t capacity = list.capacity == 0 ? 64 : list.capacity * 2;
    // A fresh block rather than upnp_realloc: a failed realloc stops counting
    // the old block, and this list must keep the byte count true.
    auto* ids = static_cast<uint32_t*>(upnp_malloc(capacity * sizeof(uint32_t)));
    if (ids == nullptr) return;
    if (list.ids != nullptr) {
      memcpy(ids, list.ids, list.count * sizeof(uint32_t));
      upnp_free(list.ids);
    }
    list.ids = ids;
    list.capacity = capacity;
  }
  list.ids[list.count++] = id;
  list.sorted = false;
}

bool audiobook_list_contains(AudiobookList& list, uint32_t id) {
  if (!list.sorted) {
    std::sort(list.ids, list.ids + list.count);
    list.sorted = true;
  }
  return std::binary_search(list.ids, list.ids + list.count, id);
}

void audiobook_list_free(AudiobookList& list) {
  if (list.ids != nullptr) upnp_free(list.ids);
  list = AudiobookList{};
}

}  // namespace importer
