// The two id lists the passes share: the audiobook ids of pass 1 and the
// track list of pass 3, which the playlists look their entries up in.
//
// Both are used in ways that would be quadratic as plain linked lists on a
// library of 100,000 tracks (every track inserted in order, every playlist
// entry looked up), so each keeps what makes its common case cheap: the track
// list a tail pointer and a sorted index built at the first lookup, the
// audiobook list a sorted array. What they answer is what the plain lists
// would answer.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace importer {

struct TrackNode {
  char* location;  // owned copy, or null for a track without one
  char* name;      // owned copy, or null
  uint32_t id;
  TrackNode* next;
};

// Ascending by id; equal ids keep their arrival order.
struct TrackList {
  TrackNode* head;
  TrackNode* tail;
  size_t count;
  TrackNode** index;  // count nodes in list order, built by the first find
  size_t indexed;     // nodes the index holds; 0 while none is built
};

// Enters a track with copies of its location and name. A failed allocation
// drops the node (or the copy) silently, as every list of the passes does.
void track_list_insert(TrackList& list, uint32_t id, const char* location, const char* name);
// The first node with this id, or null. Insertions after a find are not
// seen by later finds until the index is rebuilt (the playlists only look up
// once all tracks are in).
const TrackNode* track_list_find(TrackList& list, uint32_t id);
void track_list_free(TrackList& list);

struct AudiobookList {
  uint32_t* ids;  // sorted on the first lookup
  size_t count;
  size_t capacity;
  bool sorted;
};

void audiobook_list_add(AudiobookList& list, uint32_t id);
bool audiobook_list_contains(AudiobookList& list, uint32_t id);
void audiobook_list_free(AudiobookList& list);

}  // namespace importer
