// Builds iTunes library files for tests, one key per line as iTunes writes
// them. Tests only.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

namespace testing_support {

// One key line of a track entry.
inline std::string Key(const std::string& key, const std::string& element, const std::string& value) {
  return "\t\t\t<key>" + key + "</key><" + element + ">" + value + "</" + element + ">\n";
}
inline std::string Str(const std::string& key, const std::string& value) { return Key(key, "string", value); }
inline std::string Int(const std::string& key, long value) { return Key(key, "integer", std::to_string(value)); }
inline std::string True(const std::string& key) { return "\t\t\t<key>" + key + "</key><true/>\n"; }
inline const std::string kFileTrack = Str("Track Type", "File");

struct LibraryTrack {
  uint32_t id = 0;
  std::string name;
  std::string location;  // the "Location" value as written; empty for none
  std::string extra;     // further key lines, written before the location
};

struct LibraryPlaylist {
  std::string name;
  std::string persistent_id;
  std::string parent_id;  // empty for a top-level playlist
  bool folder = false;
  std::vector<uint32_t> items;
  std::string extra;  // further key lines (smart, hidden, distinguished kind...)
};

inline std::string LibraryTrackXml(const LibraryTrack& t) {
  std::string s = "\t\t<key>" + std::to_string(t.id) + "</key>\n\t\t<dict>\n" + Int("Track ID", t.id);
  if (!t.name.empty()) s += Str("Name", t.name);
  s += t.extra;
  if (!t.location.empty()) s += Str("Location", t.location);
  return s + "\t\t</dict>\n";
}

inline std::string LibraryPlaylistXml(const LibraryPlaylist& p) {
  std::string s = "\t\t<dict>\n" + Str("Name", p.name) + Int("Playlist ID", 1);
  if (!p.persistent_id.empty()) s += Str("Playlist Persistent ID", p.persistent_id);
  if (!p.parent_id.empty()) s += Str("Parent Persistent ID", p.parent_id);
  s += p.extra;
  if (p.folder) s += True("Folder");
  s += True("All Items");
  if (!p.folder) {
    s += "\t\t\t<key>Playlist Items</key>\n\t\t\t<array>\n";
    for (uint32_t id : p.items)
      s += "\t\t\t\t<dict>\n\t\t\t\t\t<key>Track ID</key><integer>" + std::to_string(id) + "</integer>\n\t\t\t\t</dict>\n";
    s += "\t\t\t</array>\n";
  }
  return s + "\t\t</dict>\n";
}

inline std::string LibraryXml(const std::vector<LibraryTrack>& tracks, const std::vector<LibraryPlaylist>& playlists) {
  std::string s =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
      "\t<key>Major Version</key><integer>1</integer>\n\t<key>Tracks</key>\n\t<dict>\n";
  for (const LibraryTrack& t : tracks) s += LibraryTrackXml(t);
  s += "\t</dict>\n\t<key>Playlists</key>\n\t<array>\n";
  for (const LibraryPlaylist& p : playlists) s += LibraryPlaylistXml(p);
  return s + "\t</array>\n</dict>\n</plist>\n";
}

// The WPL text the importer writes for one playlist of its own.
inline std::string ImportedWpl(const std::string& escaped_title, char type, const std::vector<std::string>& sources) {
  std::string s =
      "<?wpl version=\"1.0\"?>\n<smil>\n  <head>\n    <meta name=\"Generator\" content=\"Orvane\"/>\n"
      "    <meta name=\"ItemCount\" content=\"" +
      std::to_string(sources.size()) + "\"/>\n    <meta name=\"Type\" content=\"" + std::string(1, type) +
      "\"/>\n    <meta name=\"Source\" content=\"iTunes\"/>\n    <title>" + escaped_title +
      "</title>\n  </head>\n  <body>\n";
  if (!sources.empty()) {
    s += "    <seq>\n";
    for (const std::string& src : sources) s += "      <media src=\"" + src + "\"/>\n";
    s += "    </seq>\n";
  }
  return s + "  </body>\n</smil>\n";
}

}  // namespace testing_support
