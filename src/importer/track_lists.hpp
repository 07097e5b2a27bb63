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

// A track as the playlists need it: its id and where its location can be
// read back, so that what grows with the library is 12 bytes per track
// rather than a copy of every location (a library of a million tracks
// would otherwise hold half a gigabyte of them).
struct __attribute__((packed)) TrackEntry {
  uint32_t id;
  // The file offset of the Location line the track's location came from,
  // shifted left by one, the low bit set when it was read as a URL (kept as
  // it stands rather than made a path); kNoLocation for none.
  uint64_t location;
};
static_assert(sizeof(TrackEntry) == 12, "a few bytes per track");
inline constexpr uint64_t kNoLocation = ~uint64_t{0};

// In arrival order until the first find sorts it (stably: equal ids keep
// their arrival order). It answers as a list kept in ascending order by
// inserting each node in front of the first larger id would, without that
// list's quadratic cost on ids that do not ascend.
struct TrackList {
  TrackEntry* entries;
  size_t count;
  size_t capacity;
  bool unsorted;  // an id arrived below its predecessor since the last sort
};

// Enters a track. A failed allocation drops it silently, as every list of
// the passes does.
void track_list_insert(TrackList& list, uint32_t id, uint64_t location);
// The first entry with this id, or null. Entries inserted after a find are
// found too (the list is sorted again when needed).
const TrackEntry* track_list_find(TrackList& list, uint32_t id);
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
