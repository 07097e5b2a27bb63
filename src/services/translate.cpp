#include "services/translate.h"

#include <stdio.h>
#include <string.h>

#include "base/encoding.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "services/resource.h"
#include "services/settings.h"

namespace {

char g_loaded_language[10];
char* g_language_table = nullptr;
char* g_fallback_table = nullptr;

// Fetches a translation file and converts it to UTF-8; null when it is
// missing (*found false) or out of memory.
char* load_table(const char* file_name, char** second_copy, bool* found) {
  *found = false;
  char name[128];
  snprintf(name, sizeof name, "%s", file_name);
  uint32_t length = 0;
  char* content = nullptr;
  if (!upnp_get_resource_file(name, &length, &content)) return nullptr;
  *found = true;
  char* table = nullptr;
  // A UTF-16 CR, LF and 0 unit behind the content end the last line and the
  // text; the conversion starts behind the two bytes of the byte-order mark,
  // whatever they are.
  static constexpr unsigned char kEnd[6] = {0x0D, 0x00, 0x0A, 0x00, 0x00, 0x00};
  if (auto* utf16 = static_cast<unsigned char*>(upnp_calloc(1, uint64_t{length} + sizeof kEnd)); utf16 != nullptr) {
    memcpy(utf16, content, length);
    memcpy(utf16 + length, kEnd, sizeof kEnd);
    table = upnp_string_utf16_to_utf8(utf16 + 2);
    if (table != nullptr && second_copy != nullptr) *second_copy = upnp_string_utf16_to_utf8(utf16 + 2);
    upnp_free(utf16);
  }
  upnp_free(content);
  return table;
}

void replace_table(char*& table, char* replacement) {
  if (table != nullptr) upnp_free(table);
  table = replacement;
}

}  // namespace

extern "C" {

void upnp_translate_load(void) {
  const char* language = upnp_ini_get(UPNP_INI_LANGUAGE);
  if (language == nullptr || strcmp(language, g_loaded_language) == 0) return;
  snprintf(g_loaded_language, sizeof g_loaded_language, "%s", language);
  char file_name[128];
  snprintf(file_name, sizeof file_name, "strings-%s.txt", g_loaded_language);
  // A missing or unconvertible file keeps the previous table.
  bool found;
  if (char* table = load_table(file_name, nullptr, &found); table != nullptr) replace_table(g_language_table, table);
  upnp_ini_read_settings(0);
}

char* upnp_translate(const char* key) {
  if (key == nullptr) return nullptr;
  upnp_translate_load();
  char pattern[1024];
  snprintf(pattern, sizeof pattern, "|%s|", key);
  const char* found = g_language_table != nullptr ? strstr(g_language_table, pattern) : nullptr;
  if (found == nullptr && g_fallback_table != nullptr) found = strstr(g_fallback_table, pattern);
  if (found == nullptr) {
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_translate", 0, "NO TRANSLATION FOR %s", key);
    return upnp_strdup(key);
  }
  const char* from = found + strlen(pattern);
  char text[1024];
  size_t n = 0;
  // The first byte is taken whatever it is, so an empty translation yields
  // the CR that ends its line.
  if (*from != '\0') text[n++] = *from++;
  for (; n < sizeof text - 1 && *from != '\0'; ++from) {
    const unsigned char byte = static_cast<unsigned char>(*from);
    if (byte >= 1 && byte <= 31) break;
    text[n++] = *from;
  }
  text[n] = '\0';
  return upnp_strdup(text);
}

int32_t upnp_translate_init(int32_t flag) {
  if (g_fallback_table != nullptr) return 0;
  char* second = nullptr;
  bool found;
  char* table = load_table("strings-en.txt", g_language_table == nullptr ? &second : nullptr, &found);
  if (table == nullptr && found) return UPNP_NOMEM;  // out of memory: the tables stay as they were
  if (table == nullptr) {
    if (flag) {
      upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, "upnp_translate_init", 0, "Translation file strings-en.txt is missing");
    } else {
      upnp_log(UPNP_LOG_CRITICAL, LOG_SYSTEM, "upnp_translate_init", 0,
               "123: A translation file strings-en.txt is missing.");
    }
    return UPNP_MISSING;
  }
  g_fallback_table = table;
  if (g_language_table == nullptr) g_language_table = second;
  return 0;
}

void upnp_translate_clear(void) {
  replace_table(g_language_table, nullptr);
  replace_table(g_fallback_table, nullptr);
}

void upnp_translate_reset(void) {
  g_loaded_language[0] = '\0';
  g_language_table = nullptr;
  g_fallback_table = nullptr;
}

void upnp_translate_module_init(void) { upnp_translate_reset(); }

void upnp_translate_module_stop(void) { upnp_translate_clear(); }

}  // extern "C"
