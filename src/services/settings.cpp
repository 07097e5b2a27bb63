#include "services/settings.h"

#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <array>
#include <string_view>

#include "base/encoding.h"
#include "base/file.h"
#include "base/file_system.h"
#include "base/locks.h"
#include "base/log.h"
#include "base/memory.h"
#include "base/status.h"
#include "base/string_util.h"

namespace {

#if defined(__aarch64__)
constexpr const char* kPlatform = "linux-arm64";
#elif defined(__x86_64__)
constexpr const char* kPlatform = "linux-x86_64";
#else
constexpr const char* kPlatform = "linux";
#endif
// An administrator and a guest without password: user:password:role.
constexpr const char* kDefaultUsers = "admin:admin:admin;guest::guest";

constexpr upnp_ini_property kRows[] = {
    {0, "friendlyname", nullptr, 0, 0, nullptr},
    {1, "ip", nullptr, 0, 0, nullptr},
    {2, "nicrestart", "0", 0, 0, nullptr},
    {3, "v", "0", 0, 0, "Verbose level for logging"},
    {4, "platform", kPlatform, 0, 1, nullptr},
    {5, "httpport", "0", 0, 0, nullptr},
    {6, "ininame", "orvane.ini", 1, 0, nullptr},
    {7, "inipath", nullptr, 1, 0, nullptr},
    {8, "read_only", "0", 0, 0, nullptr},
    {9, "ssdpttl", "4", 0, 0, nullptr},
    {10, "ssdpheartbeattimeout", "100", 0, 0, nullptr},
    {11, "disablelogrotate", "0", 0, 0, "Do not truncate and rotate the log file"},
    {13, "appdata", nullptr, 0, 0, nullptr},
    {14, "clearclientsonrestart", "0", 0, 0, nullptr},
    {15, "disablelocalssdp", "0", 0, 0, nullptr},
    {16, "enabletls", "0", 0, 0, nullptr},
    {18, "vlevel", "4", 0, 0, "Log level (0:debug, 1:trace, 2:info, 3:warning, 4:error, 5:critical)"},
    {19, "stack_size", "196608", 0, 0, nullptr},
    {20, "language", nullptr, 0, 0, nullptr},
    {25, "enablequeuehandlerdevice", "0", 0, 0, nullptr},
    {26, "enablenmcwebapi", "0", 0, 0, nullptr},
    {27, "followlinks", "1", 0, 0, nullptr},
    {28, "flushlogmsg", "0", 0, 0, nullptr},
    {31, "ignoreip", nullptr, 0, 0, nullptr},
    {33, "mediatypefilter", "A", 0, 0, nullptr},
    {36, "ssdpheartbeatport", "1900", 0, 0, nullptr},
    {37, "contentbase", nullptr, 0, 0, nullptr},
    {38, "iface", nullptr, 0, 0, nullptr},
    {39, "ignoreiface", nullptr, 0, 0, nullptr},
    {40, "maxthreads", "0", 0, 0, nullptr},
    {42, "pdbexpiretime", "14", 0, 0, nullptr},
    {44, "cachedir", nullptr, 0, 0, nullptr},
    {45, "cachemaxsize", "0", 0, 0, nullptr},
    {46, "maccacheleasetime", "24", 0, 0, nullptr},
    {47, "appid", nullptr, 0, 0, nullptr},
    {48, "resourcedir", nullptr, 0, 0, nullptr},
    {49, "enablefriendlyinfoupdate", "1", 0, 0, nullptr},
    {50, "enabledeprecatedjsonandrssfeed", "0", 0, 0, nullptr},
    {51, "multiusersupportenabled", "0", 0, 0, nullptr},
    {52, "multiusersupportdefaults", kDefaultUsers, 0, 0, nullptr},
    {53, "multiusersupportdefaultuser", "guest", 0, 0, nullptr},
    {54, "multiusersupportdefaultrole", "admin", 0, 0, nullptr},
    {56, "disablestringpoolcache", "0", 0, 0, nullptr},
    {57, "limit_devdesc_responses_ua", nullptr, 0, 0, nullptr},
    {58, "limit_devdesc_responses_ip", nullptr, 0, 0, nullptr},
    {59, "http_use_digest_auth", "0", 0, 0, nullptr},
    {63, "keypackpath", nullptr, 0, 0, nullptr},
    {64, "chromecast_receiver_app_id", nullptr, 0, 0, nullptr},
    {65, "httpsport", "9443", 0, 0, nullptr},
    {66, "escape_json", "0", 0, 0, nullptr},
    {67, "ipv6support", "0", 0, 0, nullptr},
    {68, "enable_uda20", "0", 0, 0, nullptr},
    {69, "ssdp_multicast_port", "1900", 0, 0, nullptr},
    {70, "ssdp_beat_time", "1810", 0, 0, nullptr},
    {71, "enable_multihome", "0", 0, 0, nullptr},
    {72, "webuiskin", "0", 0, 0, nullptr},
    {73, "keypacknumber", "0", 0, 0, nullptr},
    {74, "brightoak_staging", "0", 0, 0, nullptr},
    {75, "udn_scheme", "0", 0, 0, nullptr},
    {76, "x_dsf_mimetypes", "0", 0, 0, nullptr},
    {77, "disable_ip_reporting", "0", 0, 0, nullptr},
};
constexpr int kRowCount = sizeof kRows / sizeof kRows[0];
static_assert(kRowCount == 61);

constexpr bool ids_ascend_below_limit() {
  for (int i = 0; i < kRowCount; ++i) {
    if (kRows[i].id < 0 || kRows[i].id >= UPNP_INI_ID_LIMIT) return false;
    if (i > 0 && kRows[i].id <= kRows[i - 1].id) return false;
  }
  return true;
}
static_assert(ids_ascend_below_limit());

constexpr std::array<int16_t, UPNP_INI_ID_LIMIT> make_empty_index() {
  std::array<int16_t, UPNP_INI_ID_LIMIT> index{};
  for (auto& entry : index) entry = -1;
  return index;
}

constexpr std::array<int16_t, UPNP_INI_ID_LIMIT> make_index() {
  std::array<int16_t, UPNP_INI_ID_LIMIT> index = make_empty_index();
  for (int i = 0; i < kRowCount; ++i) index[kRows[i].id] = static_cast<int16_t>(i);
  return index;
}
constexpr std::array<int16_t, UPNP_INI_ID_LIMIT> kIndex = make_index();
static_assert(kIndex[UPNP_INI_V] >= 0 && kRows[kIndex[UPNP_INI_V]].name[0] == 'v');
static_assert(kIndex[12] == -1 && kIndex[78] == -1);
static_assert(std::string_view(kRows[kIndex[UPNP_INI_X_DSF_MIMETYPES]].name) == "x_dsf_mimetypes");
static_assert(std::string_view(kRows[kIndex[UPNP_INI_STACK_SIZE]].default_value) == "196608");
static_assert(kRows[kIndex[UPNP_INI_ININAME]].is_path != 0 && kRows[kIndex[UPNP_INI_INIPATH]].is_path != 0);

struct PropertyState {
  char* value;     // from the file or upnp_ini_set; tracked
  char* expanded;  // the value with its placeholder substituted; tracked
};

upnp_plain_lock* g_settings_lock = nullptr;
// Ids answer only while the module is started: init puts the index in
// place, the last stop resets every entry to -1. Guarded by the lock.
std::array<int16_t, UPNP_INI_ID_LIMIT> g_index = make_empty_index();
PropertyState state[kRowCount];
char file_name[1024];
int32_t g_init_count = 0;
int32_t from_utf16 = 0;
upnp_ini_reader_fn g_external_reader = nullptr;
upnp_user_lookup_fn g_user_lookup = nullptr;

void forget_values() {
  for (PropertyState& s : state) {
    if (s.value != nullptr) upnp_free(s.value);
    if (s.expanded != nullptr) upnp_free(s.expanded);
    s = PropertyState{};
  }
  file_name[0] = '\0';
}

// Trailing separators go (unless protected by a '|' before them), doubled
// slashes become one, doubled backslashes become one unless a '|' precedes
// the pair. The text only shrinks, so this works in place.
void clean_path(char* text) {
  size_t length = strlen(text);
  for (char separator : {'/', '\\'}) {
    if (length > 1 && text[length - 1] == separator && text[length - 2] != '|') text[--length] = '\0';
  }
  size_t out = 0;
  for (size_t in = 0; in < length;) {
    const char c = text[in];
    if (c == '/' && text[in + 1] == '/') {
      text[out++] = '/';
      in += 2;
    } else if (c == '\\' && text[in + 1] == '\\') {
      const bool kept = in > 0 && text[in - 1] == '|';
      text[out++] = '\\';
      if (kept) text[out++] = '\\';
      in += 2;
    } else {
      text[out++] = c;
      ++in;
    }
  }
  text[out] = '\0';
}

int32_t system_user_lookup(char* home, size_t home_size) {
  passwd entry;
  passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr) return -1;
  if (geteuid() == 0) return 0;
  snprintf(home, home_size, "%s", found->pw_dir != nullptr ? found->pw_dir : "");
  return 1;
}

// home_format is applied to a normal user's home directory; root and unknown
// users get the system-wide directory.
char* user_directory(const char* home_format) {
  char home[1024] = "";
  const int32_t kind = (g_user_lookup != nullptr ? g_user_lookup : system_user_lookup)(home, sizeof home);
  char dir[1024];
  if (kind == 1) {
    snprintf(dir, sizeof dir, home_format, home, "orvane");
  } else {
    snprintf(dir, sizeof dir, "%s", "/var/orvane");
  }
  return upnp_strdup(dir);
}

// The expansion of text (cached in s), or text itself without a placeholder.
const char* expand(PropertyState& s, const char* text) {
  static constexpr struct {
    const char* placeholder;
    char* (*directory)();
  } kPlaceholders[] = {{"%APPDATADIR%", upnp_get_appdata_dir}, {"%USERHOMEDIR%", upnp_get_user_home_dir}};
  for (const auto& p : kPlaceholders) {
    if (strstr(text, p.placeholder) == nullptr) continue;
    if (s.expanded != nullptr) return s.expanded;
    TrackedPtr<char> directory(p.directory());
    if (directory == nullptr) return nullptr;
    s.expanded = upnp_string_replace_all(text, p.placeholder, directory.get());
    return s.expanded;
  }
  return text;
}

// Caller holds the settings lock.
const char* effective_value(int row) {
  PropertyState& s = state[row];
  const char* text = s.value;
  if (text != nullptr) {
    if (kRows[row].is_path) clean_path(s.value);
  } else {
    text = kRows[row].default_value;
    if (text == nullptr) return nullptr;
  }
  return expand(s, text);
}

// Ends the line that starts at `key` (nullptr: none started) and sets the
// property when the line holds a known key and a value.
bool take_line(const char* key, const char* value, int32_t flags) {
  if (key == nullptr || value == nullptr || key[0] == '#' || upnp_ini_find(key) == nullptr) return false;
  if (upnp_ini_set(key, value, flags) != 0) return false;
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_ini_file_read_properties_from_file", 0, "%s = %s", key, value);
  return true;
}

// Scans key=value lines in place: every control byte ends a line, the first
// '=' of a line splits key from value, nothing is trimmed.
int32_t read_lines(char* text, size_t length, int32_t flags) {
  int32_t result = UPNP_FAILED;
  char* key = nullptr;
  char* value = nullptr;
  for (size_t i = 0; i < length; ++i) {
    const unsigned char byte = static_cast<unsigned char>(text[i]);
    if (byte < 32) {
      text[i] = '\0';
      if (take_line(key, value, flags)) result = 0;
      key = value = nullptr;
    } else if (byte == '=' && value == nullptr) {
      text[i] = '\0';
      value = text + i + 1;
    } else if (key == nullptr) {
      key = text + i;
    }
  }
  return result;
}

// The whole file with a line feed and three zero bytes behind it, or null.
char* read_whole_file(const char* path, int64_t* length) {
  upnp_file_info info;
  if (path == nullptr || upnp_file_stat(path, &info) != 0 || info.size < 2) return nullptr;
  TrackedPtr<char> buffer(static_cast<char*>(upnp_malloc(static_cast<uint64_t>(info.size) + 4)));
  if (buffer == nullptr) return nullptr;
  upnp_file* file = upnp_file_open_read(path);
  if (file == nullptr) return nullptr;
  char name[sizeof file_name];
  {
    LockGuard guard(&g_settings_lock);
    snprintf(name, sizeof name, "%s", file_name);
  }
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "upnp_ini_file_read_properties_from_file", 0, "reading ini settings from %s",
           name);
  int64_t done = 0;
  for (int64_t got; done < info.size && (got = upnp_file_read(file, buffer.get() + done,
                                                                 static_cast<uint64_t>(info.size - done))) > 0;) {
    done += got;
  }
  upnp_file_close(file);
  memcpy(buffer.get() + done, "\n\0\0\0", 4);
  *length = done + 1;
  return buffer.release();
}

void pass_to_log(int32_t id, const char* value) {
  const int64_t number = upnp_atoi64(value);
  if (id == UPNP_INI_V) upnp_log_set_mask(static_cast<uint32_t>(number));
  if (id == UPNP_INI_VLEVEL) upnp_log_set_level(static_cast<int32_t>(number));
  if (id == UPNP_INI_DISABLELOGROTATE) upnp_log_set_rotation_disabled(number != 0 ? 1 : 0);
}

}  // namespace

extern "C" {

const char* upnp_ini_get(int32_t id) {
  if (id < 0 || id >= UPNP_INI_ID_LIMIT) return nullptr;
  LockGuard guard(&g_settings_lock);
  return g_index[id] < 0 ? nullptr : effective_value(g_index[id]);
}

int64_t upnp_ini_get_int(int32_t id) {
  const int64_t value = upnp_atoi64(upnp_ini_get(id));
  if ((id == UPNP_INI_HTTPPORT || id == UPNP_INI_HTTPSPORT) && value > 65535) return 0;
  return value;
}

const upnp_ini_property* upnp_ini_find(const char* name) {
  if (name == nullptr) return nullptr;
  for (const upnp_ini_property& row : kRows) {
    if (strcasecmp(row.name, name) == 0) return &row;
  }
  return nullptr;
}

int32_t upnp_ini_set(const char* name, const char* value, int32_t flags) {
  (void)flags;
  const upnp_ini_property* row = upnp_ini_find(name);
  if (row == nullptr) return UPNP_INVALID;
  char* copy = nullptr;
  if (value != nullptr && (copy = upnp_strdup(value)) == nullptr) return UPNP_NOMEM;
  {
    LockGuard guard(&g_settings_lock);
    PropertyState& s = state[row - kRows];
    if (s.value != nullptr) upnp_free(s.value);
    if (s.expanded != nullptr) upnp_free(s.expanded);
    s = PropertyState{copy, nullptr};
  }
  pass_to_log(row->id, value);
  return 0;
}

const char* upnp_ini_file_name(void) {
  LockGuard guard(&g_settings_lock);
  if (file_name[0] != '\0') return file_name;
  if (g_index[UPNP_INI_ININAME] < 0) return nullptr;  // stopped
  const char* directory = effective_value(kIndex[UPNP_INI_INIPATH]);
  TrackedPtr<char> appdata;
  if (directory == nullptr) {
    appdata.reset(upnp_get_appdata_dir());
    directory = appdata.get();
  }
  if (directory == nullptr) return nullptr;
  if (!upnp_file_exists(directory)) upnp_file_mkdir_path(directory);
  TrackedPtr<char> path(upnp_file_path_join(directory, effective_value(kIndex[UPNP_INI_ININAME])));
  if (path == nullptr) return nullptr;
  snprintf(file_name, sizeof file_name, "%s", path.get());
  return file_name;
}

int32_t upnp_ini_file_read_properties_from_file(const char* path, int32_t flags) {
  int64_t length = 0;
  TrackedPtr<char> raw(read_whole_file(path, &length));
  if (raw == nullptr || raw.get()[0] == '\0') return UPNP_FAILED;
  const auto* bytes = reinterpret_cast<const unsigned char*>(raw.get());
  if (bytes[0] == 0xFF && bytes[1] == 0xFE) {
    from_utf16 = 1;
    TrackedPtr<char> text(upnp_string_utf16_to_utf8(raw.get()));
    if (text == nullptr || text.get()[0] == '\0') return UPNP_FAILED;
    return read_lines(text.get(), strlen(text.get()), flags);
  }
  return read_lines(raw.get(), static_cast<size_t>(length), flags);
}

void upnp_ini_read_settings(int32_t flags) {
  // The external reader runs without the settings lock held, so that it can
  // store what it reads through upnp_ini_set.
  if (upnp_ini_reader_fn reader = g_external_reader; reader != nullptr) {
    if (reader(flags) == 0) upnp_log_set_settings_read(1);
    return;
  }
  (void)upnp_ini_file_read_properties_from_file(upnp_ini_file_name(), flags);
  upnp_log_set_settings_read(1);  // a missing file still ends start-up mode
}

char* upnp_get_appdata_dir(void) { return user_directory("%s/.%s"); }

char* upnp_get_user_home_dir(void) { return user_directory("%s"); }

void upnp_settings_set_user_lookup(upnp_user_lookup_fn lookup) { g_user_lookup = lookup; }

void upnp_ini_set_external_reader(upnp_ini_reader_fn reader) { g_external_reader = reader; }

int32_t upnp_ini_from_utf16(void) { return from_utf16; }

int32_t upnp_ini_prepare(void) {
  if (upnp_lock_exists(&g_settings_lock)) return 0;
  return upnp_lock_create(&g_settings_lock) == 0 ? UPNP_OK : UPNP_FAILED;
}

void upnp_ini_init(void) {
  LockGuard guard(&g_settings_lock);
  if (g_init_count++ == 0) {
    forget_values();
    from_utf16 = 0;
    g_index = kIndex;
  }
}

void upnp_ini_stop(void) {
  LockGuard guard(&g_settings_lock);
  if (g_init_count > 1) {
    --g_init_count;
  } else if (g_init_count == 1) {
    g_init_count = 0;
    forget_values();
    g_index = make_empty_index();
  }
}

void upnp_ini_release(void) { upnp_lock_destroy(&g_settings_lock); }

}  // extern "C"
