#include "base/xml_escape.h"

#include <stdio.h>
#include <string.h>

#include <iterator>
#include <string_view>

namespace {

struct Entity {
  unsigned char byte;
  std::string_view single;
  std::string_view doubled;
};

constexpr Entity kEntities[] = {
    {'\'', "&apos;", "&amp;apos;"}, {'<', "&lt;", "&amp;lt;"},     {'>', "&gt;", "&amp;gt;"},
    {'"', "&quot;", "&amp;quot;"},  {'&', "&amp;", "&amp;amp;"},
};
static_assert(std::size(kEntities) == 5);

// A control byte's reference is reserved at its longest ("&#31;" plus one),
// whatever its number of digits, so the room check does not depend on it.
constexpr uint32_t kControlRoom = 6;
constexpr uint32_t kControlRoomDoubled = 10;

constexpr uint32_t kUnlimitedCapacity = 1024;
constexpr uint32_t kEmptyCapacity = 2;

const Entity* entity_for(unsigned char byte) {
  for (const Entity& entity : kEntities) {
    if (entity.byte == byte) return &entity;
  }
  return nullptr;
}

// The length of the UTF-8 sequence a byte would start, judged from its top
// bits alone; continuation and invalid bytes count as one.
constexpr uint32_t utf8_sequence_length(unsigned char byte) {
  if (byte >= 0xFC) return 6;
  if (byte >= 0xF8) return 5;
  if (byte >= 0xF0) return 4;
  if (byte >= 0xE0) return 3;
  if (byte >= 0xC0) return 2;
  return 1;
}
static_assert(utf8_sequence_length(0xC3) == 2 && utf8_sequence_length(0xA9) == 1);

}  // namespace

extern "C" {

upnp_string* upnp_xml_escape(const char* text, int32_t double_escape, uint32_t limit,
                             int32_t control_to_space) {
  if (text == nullptr) return nullptr;
  if (text[0] == '\0') return upnp_string_new("", kEmptyCapacity);
  const uint32_t capacity = limit == 0 ? kUnlimitedCapacity : (limit < UINT32_MAX ? limit + 1 : limit);
  upnp_string* out = upnp_string_new("", capacity);
  if (out == nullptr) return nullptr;

  for (const char* p = text; *p != '\0'; ++p) {
    const auto byte = static_cast<unsigned char>(*p);
    char reference[16];
    std::string_view replacement;
    uint32_t room;
    if (const Entity* entity = entity_for(byte)) {
      replacement = double_escape ? entity->doubled : entity->single;
      room = static_cast<uint32_t>(replacement.size());
    } else if (byte < 32) {
      const int written = snprintf(reference, sizeof reference, double_escape ? "&amp;#%d;" : "&#%d;",
                                   control_to_space ? 32 : static_cast<int>(byte));
      replacement = std::string_view(reference, static_cast<size_t>(written));
      room = double_escape ? kControlRoomDoubled : kControlRoom;
    } else {
      replacement = std::string_view(p, 1);
      room = utf8_sequence_length(byte);
    }
    if (limit != 0 && static_cast<uint64_t>(out->length) + room > limit) break;
    out = upnp_string_append_bytes(out, replacement.data(), static_cast<uint32_t>(replacement.size()));
    if (out == nullptr) return nullptr;  // the append released the builder
  }
  return out;
}

void upnp_xml_escape_pieces(const char* text, int32_t double_escape, upnp_xml_piece_sink sink, void* context) {
  if (text == nullptr || sink == nullptr) return;
  const char* run = text;  // bytes that pass through, handed on in one piece
  for (const char* p = text; *p != '\0'; ++p) {
    const auto byte = static_cast<unsigned char>(*p);
    const Entity* entity = entity_for(byte);
    if (entity == nullptr && byte >= 32) continue;
    if (p > run) sink(context, run, static_cast<uint32_t>(p - run));
    run = p + 1;
    if (entity != nullptr) {
      const std::string_view replacement = double_escape ? entity->doubled : entity->single;
      sink(context, replacement.data(), static_cast<uint32_t>(replacement.size()));
    } else {
      char reference[16];
      const int written = snprintf(reference, sizeof reference, double_escape ? "&amp;#%d;" : "&#%d;", static_cast<int>(byte));
      sink(context, reference, static_cast<uint32_t>(written));
    }
  }
  const char* end = run + strlen(run);
  if (end > run) sink(context, run, static_cast<uint32_t>(end - run));
}

char* upnp_xml_escape_text(const char* text, int32_t double_escape) {
  upnp_string* escaped = upnp_xml_escape(text, double_escape, 0, 0);
  return upnp_string_detach(&escaped);
}

}  // extern "C"
