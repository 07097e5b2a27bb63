// Object class texts and the tests on a record's class.
#include "records/object_class.h"

#include <string.h>

#include <initializer_list>

#include "records/setters.h"

extern "C" constexpr const char* db_object_class_names[DB_CLASS_COUNT] = {
    "object.item",
    "object.item.imageItem.photo",
    "object.item.audioItem.musicTrack",
    "object.item.audioItem.audioBook",
    "object.item.videoItem.movie",
    "object.container",
    "object.container.playlistContainer",
    "object.container.musicContainer",
    "object.container.pictureContainer",
    "object.container.videoContainer",
    "object.container.storageFolder",
    "object.container.album.musicAlbum",
    "object.container.album.photoAlbum",
    "object.container.person.musicArtist",
    "object.container.genre.musicGenre",
    "object.item.imageItem.playlist.photo",
    "object.item.audioItem.playlist.musicTrack",
    "object.item.videoItem.playlist.movie",
    "object.container.audiobookContainer",
    "object.item.videoItem.online.movie",
    "object.item.audioItem.online.musicTrack",
    "object.item.imageItem.online.photo",
    "object.item.videoItem.classified.movie",
    "object.item.videoItem.videoBroadcast",
    "object.item.audioItem.audioBroadcast",
};
static_assert(db_object_class_names[DB_CLASS_COUNT - 1] != nullptr, "every class has its text");

namespace {

int32_t ClassContains(const db_object* record, const char* part) {
  const char* upnp_class = db_object_get_prop(record, DB_PROP_CLASS);
  return upnp_class != nullptr && strstr(upnp_class, part) != nullptr;
}

int32_t ClassIsOneOf(const db_object* record, std::initializer_list<db_object_class_index> classes) {
  const char* upnp_class = db_object_get_prop(record, DB_PROP_CLASS);
  if (upnp_class == nullptr) return 0;
  for (const db_object_class_index index : classes) {
    if (strcmp(upnp_class, db_object_class_names[index]) == 0) return 1;
  }
  return 0;
}

}  // namespace

int32_t db_object_is_audio(const db_object* record) { return ClassContains(record, "audio"); }
int32_t db_object_is_image(const db_object* record) { return ClassContains(record, "image"); }
int32_t db_object_is_video(const db_object* record) { return ClassContains(record, "video"); }
int32_t db_object_is_online(const db_object* record) { return ClassContains(record, "online"); }

int32_t db_object_is_broadcast(const db_object* record) {
  return ClassIsOneOf(record, {DB_CLASS_VIDEO_BROADCAST, DB_CLASS_AUDIO_BROADCAST});
}

int32_t db_object_is_playlist_item(const db_object* record) {
  return ClassIsOneOf(record, {DB_CLASS_PLAYLIST_PHOTO, DB_CLASS_PLAYLIST_MUSIC_TRACK, DB_CLASS_PLAYLIST_MOVIE});
}

int32_t db_object_is_dtcp(const db_object* record) {
  const char* protection = db_object_get_prop(record, DB_PROP_PROTECTION);
  return protection != nullptr && protection[0] != '\0' && strcmp(protection, "DTCP") == 0;
}
