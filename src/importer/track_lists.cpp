#include "importer/track_lists.hpp"

#include <string.h>

#include <algorithm>

#include "base/memory.h"

namespace importer {

void track_list_insert(TrackList& list, uint32_t id, const char* location, const char* name) {
  auto* node = static_cast<TrackNode*>(upnp_malloc(sizeof(TrackNode)));
  if (node == nullptr) return;
  node->location = upnp_strdup(location);
  node->name = upnp_strdup(name);
  node->id = id;
  node->next = nullptr;
  ++list.count;

  // In front of the first node with a larger id. Libraries list their tracks
  // in ascending order, so the tail is nearly always the place.
  if (list.tail == nullptr || list.tail->id <= id) {
    if (list.tail != nullptr) {
      list.tail->next = node;
    } else {
      list.head = node;
    }
    list.tail = node;
    return;
  }
  TrackNode** link = &list.head;
  while ((*link)->id <= id) link = &(*link)->next;
  node->next = *link;
  *link = node;
}

const TrackNode* track_list_find(TrackList& list, uint32_t id) {
  if (list.index == nullptr && list.count > 0) {
    list.index = static_cast<TrackNode**>(upnp_malloc(list.count * sizeof(TrackNode*)));
    if (list.index != nullptr) {
      size_t n = 0;
      for (TrackNode* node = list.head; node != nullptr; node = node->next) list.index[n++] = node;
      list.indexed = n;
    }
  }
  if (list.index == nullptr) {  // no memory for the index: walk as the list allows
    for (const TrackNode* node = list.head; node != nullptr && node->id <= id; node = node->next) {
      if (node->id == id) return node;
    }
    return nullptr;
  }
  TrackNode** end = list.index + list.indexed;
  TrackNode** first =
      std::lower_bound(list.index, end, id, [](const TrackNode* node, uint32_t key) { return node->id < key; });
  return first != end && (*first)->id == id ? *first : nullptr;
}

void track_list_free(TrackList& list) {
  for (TrackNode* node = list.head; node != nullptr;) {
    TrackNode* next = node->next;
    if (node->location != nullptr) upnp_free(node->location);
    if (node->name != nullptr) upnp_free(node->name);
    upnp_free(node);
    node = next;
  }
  if (list.index != nullptr) upnp_free(list.index);
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
