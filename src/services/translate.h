/* Translations: fixed keys turned into the text of the configured language
 * ("language" setting) from the resource files "strings-<language>.txt",
 * with "strings-en.txt" as the fallback. The files are UTF-16 little-endian
 * with a byte-order mark; each entry is a line "|KEY|translated text".
 *
 * The tables are kept without a lock: translations are loaded and looked up
 * from one thread at a time (the importer's main thread). */
#ifndef UPNP_SERVICES_TRANSLATE_H
#define UPNP_SERVICES_TRANSLATE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A new text (freed with upnp_free): the translation of `key`, or a copy of
 * the key itself when neither table has it. Null only for a null key or
 * when out of memory. An empty translation gives the one byte (CR) that
 * ends its line, as it always has. */
char* upnp_translate(const char* key);
/* Loads the configured language's file when the language differs from the
 * loaded one, then has the settings file read again. */
void upnp_translate_load(void);
/* Loads the English fallback once: UPNP_OK, or UPNP_MISSING when "strings-en.txt" is
 * missing (a warning with `flag` set, a critical message without), or 8
 * when out of memory. */
int32_t upnp_translate_init(int32_t flag);
/* Frees both tables. */
void upnp_translate_clear(void);
/* Forgets the loaded language and the tables (without freeing: start-up). */
void upnp_translate_reset(void);

/* Start-up and shut-down steps: init resets, stop clears. */
void upnp_translate_module_init(void);
void upnp_translate_module_stop(void);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif /* UPNP_SERVICES_TRANSLATE_H */
