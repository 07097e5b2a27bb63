// The one getter every read goes through: stored values first, then
// defaults, derived values and placeholders by object class.
#include "records/getters.hpp"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "base/memory.h"
#include "base/string_util.h"
#include "base/time_format.h"
#include "records/mime.h"
#include "records/setters.h"
#include "services/translate.h"

namespace {

constexpr int64_t kRecentlyAddedSeconds = 5270400;  // 61 days
constexpr const char* kAudioItem = "object.item.audioItem";
constexpr const char* kImageItem = "object.item.imageItem";
constexpr const char* kVideoItem = "object.item.videoItem";
// Not a prefix of "object.container.album.musicAlbum": this rule never fires
// for the container class, and is kept as it is.
constexpr const char* kMusicAlbum = "object.album.musicAlbum";
constexpr const char* kVideoBroadcast = "object.item.videoItem.videoBroadcast";
constexpr const char* kAudioBroadcast = "object.item.audioItem.audioBroadcast";

// The placeholder for a text a media item should have but lacks, in the
// user's language. Fetched on first use and again while it comes back empty.
char g_missing_text[50];

const char* MissingText() {
  if (g_missing_text[0] == '\0') {
    char* translated = upnp_translate("missingvalue");
    if (translated != nullptr) {
      strncpy(g_missing_text, translated, sizeof(g_missing_text) - 1);
      upnp_free(translated);
    }
  }
  return g_missing_text;
}

bool Contains(const char* text, const char* part) { return text != nullptr && strstr(text, part) != nullptr; }

// `upnp:artist` when it is a real name, else null.
const char* RealArtist(const db_object* record) {
  const char* artist = record->value[DB_PROP_ARTIST];
  if (artist == nullptr || artist[0] == '\0' || strcmp(artist, MissingText()) == 0) return nullptr;
  return artist;
}

const char* Placeholder(const char* upnp_class, int32_t id) {
  if (upnp_class == nullptr) return nullptr;
  if (Contains(upnp_class, kAudioItem)) {
    if (id == DB_PROP_ARTIST || id == DB_PROP_GENRE || id == DB_PROP_ALBUM) return MissingText();
    return id == DB_PROP_DURATION ? "0" : nullptr;
  }
  if (Contains(upnp_class, kImageItem)) {
    if (id == DB_PROP_DATE) return "1900-01-01";
    return id == DB_PROP_RESOLUTION ? "0x0" : nullptr;
  }
  if (Contains(upnp_class, kVideoItem)) {
    if (id == DB_PROP_DATE) return "1900-01-01";
    if (id == DB_PROP_DURATION) return "0";
    return id == DB_PROP_GENRE ? MissingText() : nullptr;
  }
  if (Contains(upnp_class, kMusicAlbum)) {
    return id == DB_PROP_ARTIST || id == DB_PROP_GENRE ? MissingText() : nullptr;
  }
  // Both broadcast classes are items and decided above; kept for the record.
  if (Contains(upnp_class, kVideoBroadcast) || Contains(upnp_class, kAudioBroadcast)) {
    if (id == DB_PROP_CHANNEL_NR) return "0";
    return id == DB_PROP_CHANNEL_NAME || id == DB_PROP_GENRE ? MissingText() : nullptr;
  }
  return nullptr;
}

// Defaults that only an audio item reads.
bool AudioOnlyDefault(int32_t id) {
  return id == DB_PROP_ORIGINAL_TRACK_NUMBER || id == DB_PROP_BITRATE || id == DB_PROP_SAMPLE_FREQUENCY ||
         id == DB_PROP_NR_AUDIO_CHANNELS;
}

}  // namespace

namespace dbobject {

const char* DerivedExtension(const db_object* record) {
  const char* extension = upnp_get_file_extension(record->value[DB_PROP_RES]);
  if (extension == nullptr || strchr(extension, '?') != nullptr) return nullptr;
  return extension;
}

const char* DerivedMimeType(const db_object* record) {
  return db_mime_type_for_extension(db_object_get_prop(record, DB_PROP_EXTENSION));
}

}  // namespace dbobject

const char* db_object_get_prop(const db_object* record, int32_t id) {
  MissingText();
  if (record == nullptr || id < 0 || id >= DB_PROPERTY_ID_LIMIT) return nullptr;
  const char* added = record->value[DB_PROP_ADDED_TIME];
  switch (id) {
    case DB_PROP_ADDED_LAST60:
      if (added == nullptr) return nullptr;
      return time(nullptr) - strtoll(added, nullptr, 10) < kRecentlyAddedSeconds ? added : nullptr;
    case DB_PROP_ADDED_TODAY:
      if (added == nullptr) return nullptr;
      return upnp_time_is_today(strtoll(added, nullptr, 10)) != 0 ? added : nullptr;
    case DB_PROP_HIGHRATED: {
      const char* rating = record->value[DB_PROP_RATING];
      return rating != nullptr && static_cast<unsigned char>(rating[0]) > '3' ? rating : nullptr;
    }
    default:
      break;
  }
  if (record->value[id] != nullptr) return record->value[id];

  const char* upnp_class = record->value[DB_PROP_CLASS];
  const char* fallback = db_property_by_id[id].default_value;
  // A default of "0" reads as no value.
  if (fallback != nullptr && strcmp(fallback, "0") != 0) {
    if (!AudioOnlyDefault(id) || Contains(upnp_class, kAudioItem)) return fallback;
  }

  switch (id) {
    case DB_PROP_CREATOR:
      if (Contains(upnp_class, kAudioItem) && RealArtist(record) != nullptr) return RealArtist(record);
      break;
    case DB_PROP_TITLE:
      // Deliberately, a title-less object reads its artist as its title.
      if (RealArtist(record) != nullptr) return RealArtist(record);
      break;
    case DB_PROP_EXTENSION:
      if (const char* extension = dbobject::DerivedExtension(record)) return extension;
      break;
    case DB_PROP_MIME_TYPE:
      if (const char* type = dbobject::DerivedMimeType(record)) return type;
      break;
    case DB_PROP_SIZE:
      if (record->value[DB_PROP_SHORTSIZE] != nullptr) return record->value[DB_PROP_SHORTSIZE];
      break;
    default:
      break;
  }
  return Placeholder(upnp_class, id);
}

int32_t db_object_get_numprop(const db_object* record, int32_t id, int32_t fallback) {
  const char* value = db_object_get_prop(record, id);
  if (value == nullptr || value[0] == '\0') return fallback;
  return static_cast<int32_t>(strtol(value, nullptr, 10));
}
