/* The object classes (upnp:class texts) that the rest of the system compares
 * against, and the class tests on a record. Constant data; no lock. */
#ifndef UPNP_RECORDS_OBJECT_CLASS_H
#define UPNP_RECORDS_OBJECT_CLASS_H

#include <stdint.h>

#include "records/object.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum db_object_class_index {
  DB_CLASS_ITEM,
  DB_CLASS_PHOTO,
  DB_CLASS_MUSIC_TRACK,
  DB_CLASS_AUDIO_BOOK,
  DB_CLASS_MOVIE,
  DB_CLASS_CONTAINER,
  DB_CLASS_PLAYLIST_CONTAINER,
  DB_CLASS_MUSIC_CONTAINER,
  DB_CLASS_PICTURE_CONTAINER,
  DB_CLASS_VIDEO_CONTAINER,
  DB_CLASS_STORAGE_FOLDER,
  DB_CLASS_MUSIC_ALBUM,
  DB_CLASS_PHOTO_ALBUM,
  DB_CLASS_MUSIC_ARTIST,
  DB_CLASS_MUSIC_GENRE,
  DB_CLASS_PLAYLIST_PHOTO,
  DB_CLASS_PLAYLIST_MUSIC_TRACK,
  DB_CLASS_PLAYLIST_MOVIE,
  DB_CLASS_AUDIOBOOK_CONTAINER,
  DB_CLASS_ONLINE_MOVIE,
  DB_CLASS_ONLINE_MUSIC_TRACK,
  DB_CLASS_ONLINE_PHOTO,
  DB_CLASS_CLASSIFIED_MOVIE,
  DB_CLASS_VIDEO_BROADCAST,
  DB_CLASS_AUDIO_BROADCAST,
  DB_CLASS_COUNT
} db_object_class_index;

/* The class texts, indexed by db_object_class_index. */
extern const char* const db_object_class_names[DB_CLASS_COUNT];

/* Tests on the record's upnp:class; 0 when it has none. */
int32_t db_object_is_audio(const db_object* record);     /* class contains "audio" */
int32_t db_object_is_image(const db_object* record);     /* "image" */
int32_t db_object_is_video(const db_object* record);     /* "video" */
int32_t db_object_is_online(const db_object* record);    /* "online" */
int32_t db_object_is_broadcast(const db_object* record); /* a broadcast class */
int32_t db_object_is_playlist_item(const db_object* record);
/* protection (id 79) is "DTCP". */
int32_t db_object_is_dtcp(const db_object* record);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_OBJECT_CLASS_H */
