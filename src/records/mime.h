/* MIME types of media files by their extension, from a built-in map of
 * groups (a type and its extensions, compared without regard to case) that
 * ends with the catch-all "application/octet-stream". The map is constant;
 * no lock is taken. */
#ifndef UPNP_RECORDS_MIME_H
#define UPNP_RECORDS_MIME_H

#ifdef __cplusplus
extern "C" {
#endif

/* The type for an extension ("mp3", no dot); the catch-all type for one no
 * group lists; null for null. Unless the configuration keeps DSD types,
 * "audio/x-dsf" and "audio/x-dff" come back as "audio/dsd". The text is a
 * constant: not to be freed. */
const char* db_mime_type_for_extension(const char* extension);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_RECORDS_MIME_H */
