/* The playlist table: process-wide playlist objects, identified from 1 (0
 * means none), each a title, a type, a source and an ordered list of media
 * locations, rendered as WPL (Windows Media playlist) text.
 *
 * Locking: the table and every object are guarded by one process-wide plain
 * lock, created by upnp_wpl_prepare; every operation holds it for its whole
 * duration and takes no other module's lock except the tracked allocator's
 * (and that of the escaping it renders through). The ".fromcds" marker is
 * made before the lock is taken.
 *
 * Ownership: the table owns copies of every text handed in.
 * Failure: UPNP_FAILED is the status of every failing operation (module not started,
 * unknown identifier, out of memory); nothing is logged. */
#ifndef UPNP_IMPORTER_WPL_H
#define UPNP_IMPORTER_WPL_H

#include <stdint.h>

#include "base/upnp_string.h"

struct upnp_file;

#ifdef __cplusplus
extern "C" {
#endif

/* Playlist types, written as the letters M, P, V and X. */
enum {
  UPNP_WPL_TYPE_MUSIC = 1,
  UPNP_WPL_TYPE_PICTURES = 2,
  UPNP_WPL_TYPE_VIDEO = 3,
  UPNP_WPL_TYPE_OTHER = 4
};

/* Where a playlist came from, written as "file", "iTunes", "CDS", "online". */
enum {
  UPNP_WPL_SOURCE_FILE = 1,
  UPNP_WPL_SOURCE_ITUNES = 2,
  UPNP_WPL_SOURCE_CDS = 3,
  UPNP_WPL_SOURCE_ONLINE = 4
};

/* Makes a playlist and enters it in the table; *identifier receives its
 * identifier (0 on failure). A playlist of the same title (exact) and type
 * already in the table absorbs the new one: its identifier is given back, so
 * later entries go to it, and a CDS source carries over to it. With an origin
 * file name and the CDS source, an empty marker file "<origin>.fromcds" is
 * made beside it when missing. title, generator and origin may be null.
 * UPNP_OK, or UPNP_FAILED when out of memory or the module is not started. */
int32_t upnp_wpl_create(const char* title, uint32_t type, uint32_t source, const char* generator,
                        const char* origin_file_name, uint32_t* identifier);

/* Appends a copy of the location as the playlist's last entry. UPNP_OK, or UPNP_FAILED for
 * an unknown identifier, a null location or out of memory (the entry is
 * dropped). */
int32_t upnp_wpl_add_entry(uint32_t identifier, const char* location);

/* Turns a reference into its location: writes at most `size` bytes with the
 * NUL into `location`; non-zero when it could. */
typedef int32_t (*upnp_wpl_location_reader)(void* context, uint64_t reference, char* location, uint32_t size);

/* Appends an entry whose location is read back through the location reader
 * when the playlist is rendered (an unreadable one is written empty), so that
 * the entry costs 8 bytes however long its location. `reference` is below
 * 2^63. UPNP_OK, or UPNP_FAILED as upnp_wpl_add_entry. */
int32_t upnp_wpl_add_entry_ref(uint32_t identifier, uint64_t reference);

/* Sets the reader of referenced entries and its context (null for none). */
void upnp_wpl_set_location_reader(upnp_wpl_location_reader reader, void* context);

/* Appends the playlist's WPL text to *text (a null *text becomes a new
 * record). UPNP_OK, or UPNP_FAILED for an unknown identifier or an object without title
 * (*text untouched) or when out of memory (the record is freed and *text set
 * to null). Titles, origin file names and locations are XML-escaped as
 * they are written, without a heap block of their own. */
int32_t upnp_wpl_to_text(uint32_t identifier, upnp_string** text);

/* Writes the same text to the file as it is rendered, through a small
 * buffer. UPNP_OK; UPNP_INVALID for a null file, an unknown identifier or an
 * object without title (nothing written); UPNP_FAILED when a write failed
 * (errno tells why). */
int32_t upnp_wpl_write_file(uint32_t identifier, struct upnp_file* file);

/* Forgets every playlist: the next identifier is 1 again. */
void upnp_wpl_reset(void);

/* Start-up and shut-down steps: create the lock; start with an empty table;
 * free the table; destroy the lock. */
int32_t upnp_wpl_prepare(void);
void upnp_wpl_init(void);
void upnp_wpl_stop(void);
void upnp_wpl_release(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_IMPORTER_WPL_H */
