// Names of the playlist files the importer writes: the media kind letter of
// a track location, the playlist's full name through its folder chain, and
// the file-name base and paths built from them. Pure functions over texts,
// fixed buffers and tracked blocks; nothing here touches a file or takes a
// lock.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

#include "base/memory.h"
#include "importer/import_run.hpp"

namespace importer {

// A file name may hold 255 bytes: "iTunes-playlist-", the base and ".wpl".
constexpr size_t kWplBaseMaxLength = 255 - 16 - 4;
constexpr size_t kWplBaseSize = kWplBaseMaxLength + 1;
constexpr size_t kKindSuffixSize = 3;  // "##" and the kind letter
constexpr size_t kNameHashSize = 9;    // "_" and eight hex digits

// A full name is kept whole up to this many bytes before " (iTunes)". That is
// more than any one name the passes can read (a Name line must fit the line
// scanner's 64 KiB block), so only a chain of several very long names is
// cut. The bound is there because every playlist's title stays in the
// playlist table until the pass ends and is written twice: unbounded, 256
// folder levels of 64 KiB names would let a small library cost gigabytes.
constexpr size_t kFullNameMaxLength = 64 * 1024;

// One playlist or folder seen by the folder pass. Every text is an owned
// tracked copy or null. New nodes go at the head, so the list is in reverse
// file order and the first match in list order is the last in the file.
struct FolderList {
  char* persistent_id;
  char* parent_id;
  char* name;
  uint32_t playlist_id;
  FolderList* next;
};

// Puts a node with copies of the three texts (each may be null) at the head
// of `head`. A failed allocation drops the node, or the one text whose copy
// failed, silently.
void folder_list_push(FolderList*& head, const char* persistent_id, const char* parent_id,
                      const char* name, uint32_t playlist_id);
// Frees every node and its texts; `head` becomes null.
void folder_list_free(FolderList*& head);

// The first node in list order of each persistent identifier, by hash, so
// that a playlist's name costs a lookup per folder level instead of a walk
// of the list. Built once the list is complete; an index that could not be
// allocated is empty and lookups walk the list instead.
struct FolderIndex {
  const FolderList** slots;
  size_t mask;  // size - 1; 0 while there is no index
};
void folder_index_build(FolderIndex& index, const FolderList* folders);
void folder_index_free(FolderIndex& index);

// 'V' for a video extension, 'P' for a picture extension, else 'M' (also
// for no extension, a null location or an extension longer than four
// characters).
[[nodiscard]] char media_kind_letter(const char* location);

// The playlist's full name "Folder/Subfolder/Playlist (iTunes)", built by
// following parent identifiers from `persistent_id` through `folders`, in a
// tracked block of its own size. Before " (iTunes)" it is cut at a character
// boundary at kFullNameMaxLength bytes. Null when the chain holds no
// non-empty name (no folder node carries the identifier, say): such a
// playlist makes no file. Null as well when out of memory.
[[nodiscard]] TrackedPtr<char> build_full_name(const FolderList* folders, std::string_view persistent_id,
                                               const FolderIndex* index = nullptr);

// "%s##%c" of the name and the kind letter with every character that a file
// system or the server's URLs would trip over, and every control character,
// replaced by '_'. A name too long for the file system is cut at a character
// boundary and followed by "_" and a hash of the whole name, so that two long
// names with the same start stay apart.
void wpl_file_base(std::string_view name, char kind, char (&base)[kWplBaseSize]);

// Control characters (bytes 1 to 31 and 127) become spaces: a playlist's
// title and its line in the list stay one line.
void blank_control_characters(char* name);

// "<work_dir>/iTunes-playlist-<base>.wpl".
void wpl_file_path(std::string_view work_dir, std::string_view base,
                   char (&path)[kPathBufferSize]);
// "<work_dir>/itunes.log", the list of the playlists made.
void playlist_list_path(std::string_view work_dir, char (&path)[kPathBufferSize]);

// Playlists that never become files: smart playlists (marked by that name)
// and the library's own distinguished lists. Exact, case-sensitive.
[[nodiscard]] bool is_ignored_playlist_name(std::string_view name);

}  // namespace importer
