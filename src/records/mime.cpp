// The built-in extension-to-MIME-type map.
#include "records/mime.h"

#include <strings.h>

#include <string_view>

#include "services/settings.h"

namespace {

struct MimeGroup {
  const char* type;
  const char* extensions;  // blank-separated
};

// Order matters: the first group listing an extension wins ("ogg" is video).
constexpr MimeGroup kBuiltInMap[] = {
    {"text/plain; charset=utf-8", "txt"},
    {"text/html; charset=utf-8", "htm html"},
    {"audio/mpeg", "mp3"},
    {"audio/MPA", "mpa"},
    {"audio/x-mpeg", "mp2"},
    {"audio/mp1", "mp1"},
    {"audio/x-ms-wma", "wma"},
    {"audio/L16", "lpcm pcm"},
    {"audio/x-wav", "wav"},
    {"image/jpeg", "jpg jpeg jpe thm jps"},
    {"image/tiff", "tif tiff"},
    {"image/gif", "gif"},
    {"image/png", "png"},
    {"audio/x-mpegurl", "m3u m3u8"},
    {"image/x-ycbcr-yuv420", "yuv"},
    {"video/x-msvideo", "avi divx"},
    {"video/mpeg", "mpg mpe m1v vob mts m2t m2p m2v mp2t mp2p mpg2 mod mpv 265 hevc dat"},
    {"video/mpeg2", "mpeg mpeg2 vdr spts tp ts m2ts tts zts evo trp"},
    {"video/mp4", "mp4 m4v ismv mpeg4 f4v lrv"},
    {"video/quicktime", "mov qt dv"},
    {"video/x-ms-wmv", "wmv"},
    {"audio/mp4", "m4a mp4.a 3gp.a m4b isma m4p"},
    {"audio/x-aac", "aac apl"},
    {"audio/x-ac3", "ac3"},
    {"video/x-ms-asf", "asf"},
    {"audio/x-aiff", "aif aiff aifc"},
    {"audio/x-flac", "flac"},
    {"video/ogg", "ogg ogv ogm"},
    {"audio/ogg", "ogg oga"},
    {"text/css", "css"},
    {"text/javascript", "js"},
    {"image/bmp", "bmp"},
    {"video/x-ms-dvr", "dvr-ms"},
    {"video/x-ms-wtv", "wtv"},
    {"video/x-xvid", "xvid"},
    {"application/x-shockwave-flash", "swf"},
    {"video/flv", "flv"},
    {"text/xml; charset=\"utf-8\"", "xml"},
    {"audio/amr", "amr"},
    {"audio/amr-wb", "awb"},
    {"video/x-matroska", "mkv"},
    {"audio/x-matroska", "mka"},
    {"video/webm", "webm"},
    {"audio/webm", "webm"},
    {"video/3gpp", "3gp 3gpp 3g2 3gp2"},
    {"audio/3gpp", "3gp 3gpp 3g2 3gp2"},
    {"application/vnd.ms-wpl", "wpl"},
    {"application/x-srt", "srt"},
    {"application/x-sub", "sub"},
    {"application/x-ssa", "ssa"},
    {"application/smil", "smi"},
    {"application/x-psb", "psb"},
    {"application/x-ass", "ass"},
    {"application/sla", "stl"},
    {"application/processing", "pjs"},
    {"video/vnd.dlna.mpeg-tts", "mpg-tts dtcp"},
    {"audio/vnd.dlna.adts", "adts"},
    {"audio/vnd.ms-playready.media.pya", "pya"},
    {"video/vnd.ms-playready.media.pyv", "pyv"},
    {"application/vnd.rn-realmedia", "rm"},
    {"application/vnd.rn-realmedia-vbr", "rmvb"},
    {"application/x-ndsvgdrm", "vgdrm"},
    {"audio/x-midi", "mid midi"},
    {"audio/dsd", "dsd"},
    {"audio/x-dsf", "dsf"},
    {"audio/x-dff", "dff"},
    {"application/vnd.apple.mpegurl", "hls"},
    {"application/octet-stream", ""},
};
static_assert(sizeof(kBuiltInMap) / sizeof(kBuiltInMap[0]) == 68, "67 groups and the catch-all");
static_assert(std::string_view(kBuiltInMap[67].type) == "application/octet-stream" &&
                  std::string_view(kBuiltInMap[67].extensions).empty(),
              "the map ends with the catch-all group");

bool GroupLists(const MimeGroup& group, std::string_view extension) {
  std::string_view rest = group.extensions;
  while (!rest.empty()) {
    const size_t end = rest.find(' ');
    const std::string_view listed = rest.substr(0, end);
    if (listed.size() == extension.size() && strncasecmp(listed.data(), extension.data(), listed.size()) == 0) {
      return true;
    }
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  return false;
}

const char* LookUp(const MimeGroup* map, size_t groups, std::string_view extension) {
  if (groups == 0) return nullptr;
  for (size_t i = 0; i < groups; ++i) {
    if (GroupLists(map[i], extension)) return map[i].type;
  }
  return map[groups - 1].type;
}

}  // namespace

const char* db_mime_type_for_extension(const char* extension) {
  if (extension == nullptr) return nullptr;
  // The server side may load a second map from the user's configuration and
  // consult it for the catch-all answer; this program loads none.
  const char* type = LookUp(kBuiltInMap, sizeof(kBuiltInMap) / sizeof(kBuiltInMap[0]), extension);
  if (type == nullptr || upnp_ini_get_int(UPNP_INI_X_DSF_MIMETYPES) != 0) return type;
  const std::string_view answer = type;
  if (answer == "audio/x-dsf" || answer == "audio/x-dff") return "audio/dsd";
  return type;
}
