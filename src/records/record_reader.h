/* Reading media object records back from their text form: ">>>>\n", then
 * per property two hex digits of id, three of value length, the value and one
 * separator byte; a child list (id 87) is "57", its count, a separator, and
 * per child "57", its length, its text without the lead and a separator.
 *
 * The readers never look outside the bytes they are given: a field whose
 * header or value would run past the end is taken as corruption, logged
 * ("database corrupted, value size %d") and ends the read with what was built
 * so far. Running out of memory ends the read the same way, silently. Values
 * pass through db_object_set_prop; a stored zq:bookmark is never loaded.
 * No lock is taken; the results belong to the caller. */
#ifndef UPNP_RECORDS_RECORD_READER_H
#define UPNP_RECORDS_RECORD_READER_H

#include <stdint.h>

#include "records/object.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One record from `size` bytes of text (with or without its lead); null when
 * the text holds no field or memory runs out before the first one. */
db_object* upnp_database_object_create_from_data(const char* data, uint32_t size);

/* `count` children from `size` bytes; `consumed_out`, when given, receives
 * the bytes read. Null for null data, out of memory, or a child that would
 * run past the end (logged). A child written as "57000" reads as null. */
db_object_list* db_object_list_create_from_data(const char* data, uint32_t size, int32_t count,
                                                uint32_t* consumed_out);

/* A child list that stands alone, its "57" count header first. */
db_object_list* db_object_list_from_string(const char* text);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_RECORD_READER_H */
