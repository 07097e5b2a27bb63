/* Writing media object records in their text form: ">>>>\n", then for each
 * property with a non-empty value, in ascending id order, two upper-case hex
 * digits of id, three of value length, the value bytes and "\n". The child
 * list (id 87) is written as "57", its count and "\n", then per child "57",
 * the length and the child's text without its lead, with every "\n" in it
 * turned into ":" (lossy by design), and "\n".
 *
 * The form cannot carry a value of 4096 bytes or more; keeping values shorter
 * is the duty of whoever sets them. No lock is taken. The reader is in
 * record_reader.h. */
#ifndef UPNP_RECORDS_OBJECT_TEXT_H
#define UPNP_RECORDS_OBJECT_TEXT_H

#include "records/object.h"

#ifdef __cplusplus
extern "C" {
#endif

struct upnp_string;
struct upnp_file;

/* A new growable text holding the record's form (the caller frees it with
 * upnp_string_free); null for a null record or when out of memory. */
struct upnp_string* db_object_to_string(const db_object* record);
/* The same for a child list alone; a child that cannot be written becomes
 * "57000\n". */
struct upnp_string* db_object_list_to_string(const db_object_list* list);
/* Writes the record's form into `out` when it fits in `capacity` bytes and
 * returns its length either way, so that a caller can make room and call
 * again; 0 for a null record. A record holding a child list is not written
 * here: UINT32_MAX (db_object_to_string writes it). No heap block is used. */
uint32_t db_object_text_write(const db_object* record, char* out, uint32_t capacity);
/* Writes the record's form to an open file; nothing for a null file or
 * record. */
void db_object_write(const db_object* record, struct upnp_file* file);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_OBJECT_TEXT_H */
