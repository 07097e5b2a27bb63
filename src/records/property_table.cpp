// The property table and the name-to-id hash over it.
#include "records/property_table.h"

#include <string.h>
#include <strings.h>

#include <string_view>

#include "base/log.h"
#include "base/memory.h"

namespace {

constexpr db_property_def Row(int16_t id, int16_t sort_caps, int16_t lookup_enabled, const char* name,
                              int16_t internal, char separator, int32_t kind, const char* default_value,
                              int32_t search_caps) {
  // `standard` and `extra` are carried for the server side; this program never reads them.
  return db_property_def{id, sort_caps, lookup_enabled, name, internal, separator, kind, default_value,
                         0, search_caps, 0};
}

}  // namespace

// clang-format off
extern "C" constexpr db_property_def db_property_table[] = {
    Row(1, 0, 0, "id", 0, '\0', DB_KIND_NUMBER32, nullptr, 1),
    Row(2, 0, 0, "parentID", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(3, 0, 0, "upnp:class", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(5, 0, 0, "refID", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(6, 0, 0, "restricted", 0, '\0', DB_KIND_FLAG, "1", 0),
    Row(7, 0, 0, "childCount", 0, '\0', DB_KIND_NUMBER32, nullptr, 0),
    Row(16, 0, 0, "duplicates", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(8, 0, 0, "searchable", 0, '\0', DB_KIND_FLAG, "1", 0),
    Row(10, 0, 0, "updateID", 0, '\0', DB_KIND_NUMBER32, nullptr, 0),
    Row(12, 0, 0, "DLNA_PN", 0, ',', DB_KIND_TEXT, nullptr, 0),
    Row(13, 0, 0, "dlna.managed", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(14, 0, 0, "zq:sort", 0, '\0', DB_KIND_TEXT, "+dc:title", 0),
    Row(15, 0, 0, "zq:childCountContainer", 0, '\0', DB_KIND_COUNTER, "0", 0),
    Row(17, 0, 0, "zq:MaxItems", 0, '\0', DB_KIND_COUNTER, "0", 0),
    Row(18, 0, 0, "zq:currentsort", 0, '\0', DB_KIND_TEXT, "+dc:title", 0),
    Row(19, 0, 0, "zq:containercacheindex", 0, '\0', DB_KIND_COUNTER, "0", 0),
    Row(20, 1, 1, "dc:title", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(21, 1, 1, "dc:creator", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(22, 1, 1, "upnp:artist", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(23, 1, 1, "upnp:actor", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(24, 1, 1, "upnp:author", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(25, 1, 1, "upnp:genre", 0, ',', DB_KIND_TEXT, nullptr, 1),
    Row(26, 1, 1, "upnp:album", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(27, 1, 1, "upnp:albumArtist", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(28, 1, 1, "dc:description", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(30, 1, 1, "upnp:originalTrackNumber", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(29, 0, 0, "zq:audiobook", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(31, 1, 1, "zq:playcount", 0, '\0', DB_KIND_COUNTER, "0", 0),
    Row(32, 1, 1, "zq:rating", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 1),
    Row(33, 1, 1, "dc:date", 0, '\0', DB_KIND_DATE, nullptr, 1),
    Row(34, 1, 0, "zq:modificationTime", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(49, 1, 0, "zq:addedTime", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(50, 0, 0, "zq:addedLast60", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(52, 0, 0, "zq:addedToday", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(51, 0, 0, "zq:highrated", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(35, 1, 1, "zq:lastPlayedTime", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(53, 1, 1, "zq:lastUpdated", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(54, 0, 1, "zq:userGeneratedPlaylist", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(55, 0, 0, "zq:protected", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(56, 0, 0, "zq:dash_segment", 0, '\0', DB_KIND_FLAG, nullptr, 0),
    Row(36, 0, 0, "zq:albumArtAllowed", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(37, 0, 0, "zq:albumArtOffset", 0, '\0', DB_KIND_NUMBER32, nullptr, 0),
    Row(38, 0, 0, "zq:albumArtLength", 0, '\0', DB_KIND_NUMBER32, nullptr, 0),
    Row(46, 0, 0, "zq:albumArtLengthLong", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(39, 0, 0, "zq:albumArtResolution", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(92, 0, 0, "zq:albumArtUnsync", 0, '\0', DB_KIND_FLAG, nullptr, 0),
    Row(58, 0, 0, "zq:albumArtIsPng", 0, '\0', DB_KIND_FLAG, nullptr, 0),
    Row(40, 0, 1, "zq:avKeywords", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(41, 0, 1, "zq:orientation", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(43, 0, 1, "zq:compilation", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(44, 0, 1, "zq:albumArtGuid", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(45, 0, 1, "zq:aspectRatio", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(47, 0, 1, "zq:numberOfThisDisc", 0, '\0', DB_KIND_SMALL_NUMBER, nullptr, 0),
    Row(60, 0, 0, "res", 0, '\0', DB_KIND_RESOURCE, nullptr, 0),
    Row(61, 0, 0, "size", 0, '\0', DB_KIND_SIZE, nullptr, 0),
    Row(96, 0, 0, "zq:shortsize", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(97, 0, 0, "zq:filename", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(62, 1, 0, "duration", 0, '\0', DB_KIND_NUMBER64, nullptr, 1),
    Row(63, 0, 0, "bitrate", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(64, 0, 0, "sampleFrequency", 0, '\0', DB_KIND_NUMBER32, "44100", 0),
    Row(65, 0, 0, "bitsPerSample", 0, '\0', DB_KIND_SMALL_NUMBER, nullptr, 0),
    Row(66, 0, 0, "nrAudioChannels", 0, '\0', DB_KIND_SMALL_NUMBER, "2", 0),
    Row(67, 0, 0, "resolution", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(68, 0, 0, "colorDepth", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(69, 0, 0, "protocol", 0, '\0', DB_KIND_LETTER, "d", 0),
    Row(70, 0, 1, "importUri", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(71, 0, 0, "subtitle", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(72, 0, 0, "chapterFile", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(73, 0, 0, "chapterNumber", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(74, 0, 0, "chapterOffset", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(75, 0, 0, "chapterDuration", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(76, 1, 0, "zq:extension", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(77, 0, 0, "resdir", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(78, 0, 0, "bitrateConstant", 0, '\0', DB_KIND_FLAG, "1", 0),
    Row(79, 0, 0, "protection", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(90, 0, 0, "zq:framesPerSecondNumerator", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(91, 0, 0, "zq:framesPerSecondDenominator", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(57, 0, 1, "upnp:albumArtURI", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(80, 0, 0, "ifo", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(81, 0, 1, "ifoimportUri", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(82, 0, 0, "timeseekInfo", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(83, 0, 0, "timeseekState", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(84, 0, 0, "mimeType", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(85, 0, 0, "resOnline", 0, '\0', DB_KIND_RESOURCE, nullptr, 0),
    Row(86, 0, 0, "nowPlayingInfoUrl", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(87, 0, 0, "zq:resAdditional", 0, '\0', DB_KIND_RESOURCE, nullptr, 0),
    Row(88, 0, 0, "zq:res4thField", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(89, 0, 0, "arib:res4thField", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(93, 0, 0, "zq:interlaced", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(94, 0, 0, "zq:scaledImageSizes", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(104, 0, 0, "zq:bookmark", 0, '\0', DB_KIND_RESOURCE, nullptr, 0),
    Row(105, 0, 0, "zq:containerContent", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(106, 0, 0, "zq:playbackObjectId", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(107, 0, 0, "zq:playbackTimeOffset", 0, '\0', DB_KIND_NUMBER64, nullptr, 0),
    Row(108, 0, 0, "zq:playbackByteOffset", 0, '\0', DB_KIND_SIZE, nullptr, 0),
    Row(180, 0, 0, "zq:format", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(159, 0, 0, "zq:geoCoordinateLat", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(160, 0, 0, "zq:geoCoordinateLong", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(161, 0, 0, "zq:geoCoordinateAlt", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(164, 0, 1, "zq:geoNames", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(181, 0, 0, "zq:smartplaylist", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(190, 0, 1, "zq:capturedate", 0, '\0', DB_KIND_DATE, nullptr, 1),
    Row(154, 0, 1, "zq:custom", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(192, 0, 0, "zq:location", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(200, 0, 0, "zq:reselem_id", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(203, 0, 0, "zq:oem_user_id", 1, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(206, 0, 0, "zq:source", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(207, 0, 0, "zq:wav_header_size", 0, '\0', DB_KIND_NUMBER32, "0", 0),
    Row(155, 0, 0, "arib:objectType", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(157, 0, 0, "upnp:channelName", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(156, 0, 0, "upnp:channelNr", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(182, 0, 0, "dtcp:uploadinfo", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(183, 0, 0, "upnp:radioBand", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(162, 0, 1, "dlna:cleartextSize", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(140, 1, 1, "upnp:seriesTitle", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(141, 1, 1, "upnp:seriesID", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(142, 1, 1, "upnp:episodeCount", 0, '\0', DB_KIND_SMALL_NUMBER, nullptr, 0),
    Row(143, 1, 1, "upnp:episodeNumber", 0, '\0', DB_KIND_SMALL_NUMBER, nullptr, 1),
    Row(144, 0, 1, "upnp:longDescription", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(145, 0, 1, "upnp:director", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(158, 1, 1, "upnp:rating", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(147, 0, 1, "zq:lastPlaybackPosition", 0, '\0', DB_KIND_SIZE, "0", 0),
    Row(210, 0, 1, "dlna:resumeUpload", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(211, 0, 1, "dlna:uploadedSize", 0, '\0', DB_KIND_NUMBER64, "0", 0),
    Row(250, 0, 1, "dtcp:pcpur:ast", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(251, 0, 1, "dtcp:pcpur:ict", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(252, 0, 1, "dtcp:pcpur:aps", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(253, 0, 1, "dtcp:pcpur:isvalid", 0, '\0', DB_KIND_SMALL_NUMBER, "0", 0),
    Row(212, 0, 0, "zq:playspeed", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(166, 0, 0, "zq:hls", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(167, 0, 0, "zq:liveURL", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(165, 0, 0, "zq:liveTranscod", 0, '\0', DB_KIND_FLAG, "0", 0),
    Row(170, 0, 0, "upnp:scheduledStartTime", 0, '\0', DB_KIND_DATE, nullptr, 0),
    Row(171, 0, 0, "upnp:scheduledEndTime", 0, '\0', DB_KIND_DATE, nullptr, 0),
    Row(172, 0, 0, "arib:longDescription", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(217, 0, 0, "visible_roles", 0, '\0', DB_KIND_SMALL_NUMBER, nullptr, 0),
    Row(98, 0, 0, "sec:CaptionInfo", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(99, 0, 0, "sec:CaptionInfoEx", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(100, 0, 0, "sec:contentAttr", 0, '\0', DB_KIND_TEXT, nullptr, 0),
    Row(150, 0, 0, "zq:album_furigana", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(151, 0, 0, "zq:albumartist_furigana", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(153, 0, 0, "zq:artist_furigana", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(152, 0, 0, "zq:title_furigana", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(109, 0, 0, "zq:media360", 0, '\0', DB_KIND_SMALL_NUMBER, nullptr, 1),
    Row(101, 0, 0, "zq:audioenc", 0, '\0', DB_KIND_TEXT, nullptr, 1),
    Row(0, 0, 0, nullptr, 0, '\0', DB_KIND_TEXT, nullptr, 0),
};
// clang-format on

namespace {

constexpr int kRowCount = static_cast<int>(sizeof(db_property_table) / sizeof(db_property_table[0])) - 1;
static_assert(kRowCount == 145, "the property table has 145 named rows");
static_assert(db_property_table[kRowCount].name == nullptr, "the table ends with a row without a name");

constexpr bool IdsInRangeAndUnique() {
  bool seen[DB_PROPERTY_ID_LIMIT] = {};
  for (int i = 0; i < kRowCount; ++i) {
    const int id = db_property_table[i].id;
    if (id < 1 || id >= DB_PROPERTY_ID_LIMIT || seen[id]) return false;
    seen[id] = true;
  }
  return true;
}
static_assert(IdsInRangeAndUnique(), "property ids are 1..254 and unique");

constexpr int IdOf(std::string_view name) {
  for (int i = 0; i < kRowCount; ++i) {
    if (name == db_property_table[i].name) return db_property_table[i].id;
  }
  return -1;
}
static_assert(IdOf("upnp:class") == DB_PROP_CLASS && IdOf("dc:title") == DB_PROP_TITLE &&
              IdOf("dc:creator") == DB_PROP_CREATOR && IdOf("upnp:artist") == DB_PROP_ARTIST &&
              IdOf("upnp:genre") == DB_PROP_GENRE && IdOf("upnp:album") == DB_PROP_ALBUM &&
              IdOf("upnp:originalTrackNumber") == DB_PROP_ORIGINAL_TRACK_NUMBER &&
              IdOf("zq:rating") == DB_PROP_RATING && IdOf("dc:date") == DB_PROP_DATE &&
              IdOf("zq:addedTime") == DB_PROP_ADDED_TIME && IdOf("zq:addedLast60") == DB_PROP_ADDED_LAST60 &&
              IdOf("zq:highrated") == DB_PROP_HIGHRATED && IdOf("zq:addedToday") == DB_PROP_ADDED_TODAY &&
              IdOf("res") == DB_PROP_RES && IdOf("size") == DB_PROP_SIZE && IdOf("duration") == DB_PROP_DURATION &&
              IdOf("bitrate") == DB_PROP_BITRATE && IdOf("sampleFrequency") == DB_PROP_SAMPLE_FREQUENCY &&
              IdOf("nrAudioChannels") == DB_PROP_NR_AUDIO_CHANNELS && IdOf("resolution") == DB_PROP_RESOLUTION &&
              IdOf("zq:extension") == DB_PROP_EXTENSION && IdOf("protection") == DB_PROP_PROTECTION &&
              IdOf("mimeType") == DB_PROP_MIME_TYPE && IdOf("zq:resAdditional") == DB_PROP_RES_ADDITIONAL &&
              IdOf("zq:shortsize") == DB_PROP_SHORTSIZE && IdOf("zq:bookmark") == DB_PROP_BOOKMARK &&
              IdOf("upnp:channelNr") == DB_PROP_CHANNEL_NR && IdOf("upnp:channelName") == DB_PROP_CHANNEL_NAME &&
              IdOf("zq:location") == DB_PROP_LOCATION,
              "well-known ids match their rows");

constexpr int CountRows(int16_t db_property_def::*flag) {
  int n = 0;
  for (int i = 0; i < kRowCount; ++i) n += db_property_table[i].*flag != 0;
  return n;
}
static_assert(CountRows(&db_property_def::sort_caps) == 24, "24 sortable rows");
static_assert(CountRows(&db_property_def::lookup_enabled) == 43, "43 rows open to lookup by name");

constexpr uint32_t kEmptySlot = 0xFFFFFFFFu;
constexpr int kBucketCount = 256;
constexpr int kSlotsPerBucket = 4;

constexpr uint32_t NameHash(std::string_view name) {
  const size_t end = name.find(',');
  if (end != std::string_view::npos) name = name.substr(0, end);
  if (name.empty()) return 77;
  uint32_t h = 0xBB40E64Du;
  for (const char c : name) h = h + static_cast<unsigned char>(c) + (h << 4);
  return h & 0xFFu;
}

constexpr bool BucketsHoldEveryRow() {
  int fill[kBucketCount] = {};
  for (int i = 0; i < kRowCount; ++i) {
    if (++fill[NameHash(db_property_table[i].name)] > kSlotsPerBucket) return false;
  }
  return true;
}
static_assert(BucketsHoldEveryRow(), "no hash bucket overflows, so every row is found by its bucket");

struct NameHashTable {
  uint32_t bucket[kBucketCount][kSlotsPerBucket];
  uint32_t name_length[kRowCount];
  bool initialised;
};
NameHashTable g_names;
bool g_by_id_built = false;

// The compare both the bucket probe and the fallback use: a row matches when
// the given name starts with the row's whole name.
bool RowIsPrefixOf(int row, const char* name, size_t row_length) {
  return strncmp(name, db_property_table[row].name, row_length) == 0;
}

}  // namespace

db_property_def db_property_by_id[DB_PROPERTY_ID_LIMIT];

extern "C" constexpr db_property_alias_def db_property_aliases[DB_PROPERTY_ALIAS_COUNT] = {
    {"resolution", "res@resolution"},
    {"duration", "res@duration"},
    {"id", "@id"},
    {"refID", "@refID"},
};

const char* db_property_alias(const char* name) {
  if (name == nullptr) return nullptr;
  for (const auto& alias : db_property_aliases) {
    if (strcmp(alias.name, name) == 0) return alias.alias;
  }
  return name;
}

int32_t db_property_table_init(void) {
  if (g_by_id_built) return 1;
  for (int i = 0; i < kRowCount; ++i) db_property_by_id[db_property_table[i].id] = db_property_table[i];
  g_by_id_built = true;
  return 1;
}

uint32_t db_property_name_hash(const char* name) {
  if (name == nullptr) return 77;
  return NameHash(name);
}

int32_t db_upnp_string_to_property_init(void) {
  for (auto& bucket : g_names.bucket) {
    for (uint32_t& slot : bucket) slot = kEmptySlot;
  }
  for (int row = 0; row < kRowCount; ++row) {
    uint32_t* bucket = g_names.bucket[db_property_name_hash(db_property_table[row].name)];
    int slot = 0;
    while (slot < kSlotsPerBucket && bucket[slot] != kEmptySlot) ++slot;
    if (slot == kSlotsPerBucket) {
      upnp_log(UPNP_LOG_CRITICAL, LOG_DB, "db_upnp_string_to_property_init", 0, "14: adjust hash size");
      break;
    }
    bucket[slot] = static_cast<uint32_t>(row);
    g_names.name_length[row] = static_cast<uint32_t>(strlen(db_property_table[row].name));
  }
  g_names.initialised = true;
  return 1;
}

void db_upnp_string_to_property_exit(void) {
  memset(&g_names, 0, sizeof(g_names));
}

int32_t db_upnp_string_to_property(const char* name) {
  if (!g_names.initialised) {
    upnp_log(UPNP_LOG_CRITICAL, LOG_DB, "db_upnp_string_to_property", 0, "14: not initialized");
    return 0;
  }
  if (name == nullptr) return 0;
  // Names a client may send that stand for no property.
  for (const char* unmapped : {"zq:day", "zq:month", "zq:year", "zq:friendlyname"}) {
    if (strcasecmp(name, unmapped) == 0) return 0;
  }
  for (const uint32_t row : g_names.bucket[db_property_name_hash(name)]) {
    if (row == kEmptySlot) break;
    if (row >= static_cast<uint32_t>(kRowCount)) {
      upnp_log(UPNP_LOG_ERROR, LOG_DB, "db_upnp_string_to_property", 0, "wrong index value (%d)",
               static_cast<int>(row));
      break;
    }
    if (RowIsPrefixOf(static_cast<int>(row), name, g_names.name_length[row])) return db_property_table[row].id;
  }
  // A name can miss its bucket yet match a row by prefix (a longer name, a
  // comma-separated list); those resolve to the first such row.
  for (int row = 0; row < kRowCount; ++row) {
    if (RowIsPrefixOf(row, name, strlen(db_property_table[row].name))) return db_property_table[row].id;
  }
  if (strncmp(name, "res@duration", strlen("res@duration")) == 0) return DB_PROP_DURATION;
  return 0;
}

int32_t db_property_id_from_name(const char* name) {
  if (name == nullptr) return 0;
  for (int row = 0; row < kRowCount; ++row) {
    if (db_property_table[row].lookup_enabled != 0 && strcmp(name, db_property_table[row].name) == 0) {
      return db_property_table[row].id;
    }
  }
  return 0;
}

namespace {

// Builds "a,b,c" from the rows `pick` selects, each written as `spell` says.
template <class Pick, class Spell>
char* JoinRowNames(Pick pick, Spell spell, const char* tail) {
  size_t length = strlen(tail);
  bool first = true;
  for (int row = 0; row < kRowCount; ++row) {
    if (!pick(db_property_table[row])) continue;
    length += strlen(spell(db_property_table[row])) + (first ? 0 : 1);
    first = false;
  }
  char* text = static_cast<char*>(upnp_malloc(length + 1));
  if (text == nullptr) return nullptr;
  char* out = text;
  first = true;
  for (int row = 0; row < kRowCount; ++row) {
    if (!pick(db_property_table[row])) continue;
    if (!first) *out++ = ',';
    const char* word = spell(db_property_table[row]);
    const size_t n = strlen(word);
    memcpy(out, word, n);
    out += n;
    first = false;
  }
  memcpy(out, tail, strlen(tail) + 1);
  return text;
}

}  // namespace

char* db_property_sort_capabilities(void) {
  return JoinRowNames([](const db_property_def& row) { return row.sort_caps != 0; },
                      [](const db_property_def& row) {
                        return row.id == DB_PROP_DURATION ? "res@duration" : row.name;
                      },
                      "");
}

char* db_property_search_capabilities(void) {
  return JoinRowNames([](const db_property_def& row) { return row.search_caps != 0; },
                      [](const db_property_def& row) { return db_property_alias(row.name); }, ",@protocolInfo");
}
