#include "importer/plist_rewrite.hpp"

#include <errno.h>
#include <fcntl.h>
#include <expat.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "base/file_system.h"
#include "base/memory.h"
#include "base/status.h"
#include "importer/bounded_format.hpp"
#include "importer/plist_layout.hpp"

namespace importer {
namespace {

using namespace std::string_view_literals;

constexpr size_t kBlockSize = 64 * 1024;

// A growable byte buffer of the tracked allocator. A failed growth sets
// `failed` and drops the bytes; the caller checks once at the end.
struct Bytes {
  char* data = nullptr;
  size_t size = 0;
  size_t capacity = 0;
  bool failed = false;

  Bytes() = default;
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;
  ~Bytes() {
    if (data != nullptr) upnp_free(data);
  }

  bool reserve(size_t wanted) {
    if (wanted <= capacity) return true;
    const size_t grown = std::max(wanted, capacity * 2 + 256);
    void* block = upnp_realloc(data, grown);
    if (block == nullptr) {
      failed = true;
      return false;
    }
    data = static_cast<char*>(block);
    capacity = grown;
    return true;
  }
  void append(std::string_view text) {
    if (text.empty() || !reserve(size + text.size())) return;
    memcpy(data + size, text.data(), text.size());
    size += text.size();
  }
  void push(char c) { append(std::string_view(&c, 1)); }
  std::string_view view() const { return {data, size}; }
};

// Buffered writes to one file; `offset` counts every byte handed over. The
// descriptor is plain: no allocation stands between an out-of-memory run and
// a failed write, which are told apart.
class Output {
 public:
  explicit Output(const char* path) : fd_(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)) {
    if (fd_ >= 0 && !buffer_.reserve(kBlockSize)) out_of_memory = true;
  }
  ~Output() { (void)finish(); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  bool opened() const { return fd_ >= 0; }
  uint64_t offset() const { return offset_; }
  void write(std::string_view text) {
    if (text.empty()) return;  // also a buffer that never got memory
    offset_ += text.size();
    if (buffer_.size + text.size() > buffer_.capacity) flush();
    if (text.size() >= buffer_.capacity) {
      put(text);
    } else {
      memcpy(buffer_.data + buffer_.size, text.data(), text.size());
      buffer_.size += text.size();
    }
  }
  // Flushes and closes; false when any write failed.
  bool finish() {
    if (fd_ < 0) return false;
    flush();
    if (close(fd_) != 0) failed_ = true;
    fd_ = -1;
    return !failed_ && !out_of_memory;
  }
  bool out_of_memory = false;

 private:
  void flush() {
    put(buffer_.view());
    buffer_.size = 0;
  }
  void put(std::string_view text) {
    while (!text.empty() && !failed_ && !out_of_memory) {
      const ssize_t wrote = ::write(fd_, text.data(), text.size());
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) {
        failed_ = true;
        break;
      }
      text.remove_prefix(static_cast<size_t>(wrote));
    }
  }

  int fd_;
  Bytes buffer_;
  uint64_t offset_ = 0;
  bool failed_ = false;
};

enum class Role : uint8_t { kPlist, kRoot, kTracks, kTrack, kPlaylists, kPlaylist, kOther };

struct Frame {
  Role role;
  bool is_dict;
};

// A track entry's place in the first copy.
struct TrackSpan {
  uint32_t id;
  uint32_t length;
  uint64_t offset;
};

// A key of the entry being read and where its lines start in the entry.
struct Chunk {
  uint8_t rank;
  size_t start;
};

enum class RootSpanKind : uint8_t { kOther, kPlaylists, kTracks };
struct RootSpan {
  RootSpanKind kind;
  uint64_t start;
  uint64_t end;
};

template <typename T>
class TrackedArray {
 public:
  ~TrackedArray() {
    if (items_ != nullptr) upnp_free(items_);
  }
  bool push(const T& item) {
    if (count_ == capacity_) {
      const size_t grown = capacity_ * 2 + 16;
      void* block = upnp_realloc(items_, grown * sizeof(T));
      if (block == nullptr) return false;
      items_ = static_cast<T*>(block);
      capacity_ = grown;
    }
    items_[count_++] = item;
    return true;
  }
  T* begin() { return items_; }
  T* end() { return items_ + count_; }
  size_t size() const { return count_; }
  void clear() { count_ = 0; }
  T& operator[](size_t i) { return items_[i]; }

 private:
  T* items_ = nullptr;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

void append_escaped(Bytes& out, std::string_view text) {
  size_t plain = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char* reference = nullptr;
    switch (text[i]) {
      case '&': reference = "&#38;"; break;
      case '<': reference = "&#60;"; break;
      case '>': reference = "&#62;"; break;
      case '\n': reference = "&#10;"; break;
      case '\r': reference = "&#13;"; break;
      default: continue;
    }
    out.append(text.substr(plain, i - plain));
    out.append(reference);
    plain = i + 1;
  }
  out.append(text.substr(plain));
}

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\n\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\n\r") - first + 1);
}

uint32_t leading_number(std::string_view text) {
  text = trimmed(text);
  uint32_t id = 0;
  for (char c : text) {
    if (c < '0' || c > '9') break;
    id = id * 10 + static_cast<uint32_t>(c - '0');
  }
  return id;
}

bool is_scalar(std::string_view name) {
  return name == "string"sv || name == "integer"sv || name == "real"sv || name == "date"sv || name == "data"sv ||
         name == "true"sv || name == "false"sv;
}

class Rewriter {
 public:
  Rewriter(XML_Parser parser, Output& copy) : parser_(parser), copy_(copy) {}

  // Expat still reports the end of an empty element after a start handler
  // stopped it; once stopped, nothing more is read.
  void start(std::string_view name) {
    if (!stopped_) open_element(name);
  }
  void end(std::string_view name) {
    if (!stopped_) close_element(name);
  }
  void text(std::string_view data) {
    if (collecting_ && !stopped_) text_.append(data);
  }

  // Filled when a callback stopped the parser.
  char problem[kRewriteProblemSize] = {};
  TrackedArray<TrackSpan> tracks;
  TrackedArray<RootSpan> sections;
  bool tracks_seen = false;
  bool out_of_memory = false;
  // A buffer that could not grow dropped bytes: the copy is not whole.
  bool short_of_memory() const {
    return out_of_memory || text_.failed || key_.failed || line_.failed || entry_.failed;
  }

 private:
  void open_element(std::string_view name);
  void close_element(std::string_view name);
  void fail(const char* what);
  Bytes& sink() { return in_entry_ ? entry_ : line_; }
  void indent() {
    for (size_t i = 1; i < depth_; ++i) sink().push('\t');
  }
  void key_line_prefix() {
    indent();
    if (has_key_) {
      sink().append("<key>"sv);
      append_escaped(sink(), key_.view());
      sink().append("</key>"sv);
    }
  }
  void line_done();
  void key_seen();
  void open_container(bool is_dict);
  void close_container();
  void scalar(std::string_view name);
  void end_entry();
  void root_value_done();

  XML_Parser parser_;
  Output& copy_;
  Frame frames_[64] = {};
  size_t depth_ = 0;
  bool stopped_ = false;
  bool collecting_ = false;
  bool has_key_ = false;
  bool in_entry_ = false;
  Bytes text_;
  Bytes key_;
  Bytes line_;   // lines outside entries, handed to the copy at once
  Bytes entry_;  // the entry being read: its head, its keys' lines, its tail
  size_t entry_depth_ = 0;
  size_t head_size_ = 0;
  TrackedArray<Chunk> chunks_;
  uint8_t last_rank_ = 0;
  uint32_t entry_id_ = 0;
  uint64_t root_child_start_ = 0;
  RootSpanKind root_child_kind_ = RootSpanKind::kOther;
};

void Rewriter::fail(const char* what) {
  if (problem[0] == '\0') {
    format_cut(problem, sizeof problem, "line %lu: %s", static_cast<unsigned long>(XML_GetCurrentLineNumber(parser_)),
               what);
  }
  stopped_ = true;
  XML_StopParser(parser_, XML_FALSE);
}

void Rewriter::line_done() {
  if (in_entry_) return;
  copy_.write(line_.view());
  line_.size = 0;
}

void Rewriter::open_element(std::string_view name) {
  if (collecting_) return fail("markup inside a value");
  if (depth_ == 0) {
    if (name != "plist"sv) return fail("not a property list");
    frames_[depth_++] = {Role::kPlist, false};
    return;
  }
  if (name == "key"sv) {
    if (!frames_[depth_ - 1].is_dict || has_key_) return fail("a key outside a dict");
    collecting_ = true;
    text_.size = 0;
    return;
  }
  if (frames_[depth_ - 1].is_dict && !has_key_) return fail("a value without a key");
  if (name == "dict"sv || name == "array"sv) return open_container(name == "dict"sv);
  if (!is_scalar(name)) return fail("an element a property list does not have");
  if (frames_[depth_ - 1].role == Role::kPlist) return fail("not a dict in the property list");
  collecting_ = true;
  text_.size = 0;
}

void Rewriter::close_element(std::string_view name) {
  if (name == "plist"sv) {
    --depth_;
    return;
  }
  if (name == "key"sv) {
    collecting_ = false;
    key_.size = 0;
    key_.append(text_.view());
    has_key_ = true;
    key_seen();
    return;
  }
  if (name == "dict"sv || name == "array"sv) return close_container();
  collecting_ = false;
  scalar(name);
}

// A key of the root dict opens a section; a key of an entry starts a chunk
// ranked by where the passes need it.
void Rewriter::key_seen() {
  const Role role = frames_[depth_ - 1].role;
  if (role == Role::kRoot) {
    root_child_start_ = copy_.offset();
    root_child_kind_ = RootSpanKind::kOther;
    return;
  }
  if (!in_entry_ || depth_ != entry_depth_) return;
  uint8_t rank = 1;
  if (role == Role::kTrack) {
    rank = static_cast<uint8_t>(track_key_rank(key_.view()));
  } else {
    const PlaylistKeyRank playlist_rank = playlist_key_rank(key_.view());
    // Keys no pass reads stay beside the key before them.
    rank = playlist_rank == PlaylistKeyRank::kAny ? last_rank_ : static_cast<uint8_t>(playlist_rank);
  }
  last_rank_ = rank;
  if (!chunks_.push({rank, entry_.size})) out_of_memory = true;
}

void Rewriter::open_container(bool is_dict) {
  if (depth_ == sizeof frames_ / sizeof frames_[0]) return fail("nested too deeply");
  const Role parent = frames_[depth_ - 1].role;
  Role role = Role::kOther;
  if (parent == Role::kPlist) {
    if (!is_dict) return fail("not a dict in the property list");
    role = Role::kRoot;
  } else if (parent == Role::kRoot && is_dict && key_.view() == "Tracks"sv) {
    role = Role::kTracks;
    root_child_kind_ = RootSpanKind::kTracks;
    tracks_seen = true;
  } else if (parent == Role::kRoot && !is_dict && key_.view() == "Playlists"sv) {
    role = Role::kPlaylists;
    root_child_kind_ = RootSpanKind::kPlaylists;
  } else if (parent == Role::kTracks && is_dict) {
    role = Role::kTrack;
  } else if (parent == Role::kPlaylists && is_dict) {
    role = Role::kPlaylist;
  }
  if (role == Role::kTrack || role == Role::kPlaylist) {
    in_entry_ = true;
    entry_.size = 0;
    chunks_.clear();
    last_rank_ = 1;
    entry_id_ = role == Role::kTrack ? leading_number(key_.view()) : 0;
  }
  // iTunes puts a container on the line after its key.
  if (has_key_) {
    key_line_prefix();
    sink().push('\n');
    has_key_ = false;
  }
  indent();
  sink().append(is_dict ? "<dict>\n"sv : "<array>\n"sv);
  line_done();
  frames_[depth_++] = {role, is_dict};
  if (in_entry_ && (role == Role::kTrack || role == Role::kPlaylist)) {
    entry_depth_ = depth_;
    head_size_ = entry_.size;
  }
}

void Rewriter::close_container() {
  const Frame frame = frames_[--depth_];
  if (has_key_) return fail("a key without a value");
  indent();
  sink().append(frame.is_dict ? "</dict>\n"sv : "</array>\n"sv);
  if (in_entry_ && depth_ + 1 == entry_depth_) return end_entry();
  line_done();
  if (frames_[depth_ - 1].role == Role::kRoot) root_value_done();
}

void Rewriter::scalar(std::string_view name) {
  const Role role = frames_[depth_ - 1].role;
  // The Tracks dict holds track dicts only; anything else there is dropped,
  // as are a "Tracks" or "Playlists" key of the root that holds no
  // section: its line would read as the section's start.
  if (role == Role::kTracks ||
      (role == Role::kRoot && (key_.view() == "Tracks"sv || key_.view() == "Playlists"sv))) {
    has_key_ = false;
    return;
  }
  std::string_view value = text_.view();
  if (name == "data"sv) {
    size_t kept = 0;
    for (char c : value) {
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r') text_.data[kept++] = c;
    }
    value = value.substr(0, kept);
  } else if (name != "string"sv) {
    value = trimmed(value);
  }
  if (in_entry_ && depth_ == entry_depth_ && role == Role::kTrack && has_key_ &&
      track_key_rank(key_.view()) == TrackKeyRank::kTrackId) {
    entry_id_ = leading_number(value);
  }
  key_line_prefix();
  has_key_ = false;
  Bytes& out = sink();
  if (name == "true"sv || name == "false"sv) {
    out.push('<');
    out.append(name);
    out.append("/>\n"sv);
  } else {
    out.push('<');
    out.append(name);
    out.push('>');
    append_escaped(out, value);
    out.append("</"sv);
    out.append(name);
    out.append(">\n"sv);
  }
  line_done();
  if (role == Role::kRoot) root_value_done();
}

void Rewriter::root_value_done() {
  if (!sections.push({root_child_kind_, root_child_start_, copy_.offset()})) out_of_memory = true;
}

// Writes the entry with its keys in the order the passes need, the rest in
// their own order.
void Rewriter::end_entry() {
  in_entry_ = false;
  const uint64_t start = copy_.offset();
  const std::string_view entry = entry_.view();
  const size_t tail = entry.size() - (frames_[depth_].is_dict ? "</dict>\n"sv.size() : 0) - (depth_ - 1);
  copy_.write(entry.substr(0, head_size_));
  const size_t count = chunks_.size();
  for (uint8_t rank = 0; rank <= static_cast<uint8_t>(PlaylistKeyRank::kAny); ++rank) {
    for (size_t i = 0; i < count; ++i) {
      if (chunks_[i].rank != rank) continue;
      const size_t end = i + 1 < count ? chunks_[i + 1].start : tail;
      copy_.write(entry.substr(chunks_[i].start, end - chunks_[i].start));
    }
  }
  copy_.write(entry.substr(tail));
  if (frames_[depth_].role == Role::kTrack) {
    const uint64_t length = copy_.offset() - start;
    if (length > UINT32_MAX || !tracks.push({entry_id_, static_cast<uint32_t>(length), start})) out_of_memory = true;
  }
  entry_.size = 0;
}

void* tracked_malloc(size_t size) { return upnp_malloc(size); }
void* tracked_realloc(void* block, size_t size) { return upnp_realloc(block, size); }
// expat frees null pointers too; the tracked allocator reports those.
void tracked_free(void* block) {
  if (block != nullptr) upnp_free(block);
}

void XMLCALL on_start(void* data, const XML_Char* name, const XML_Char**) {
  static_cast<Rewriter*>(data)->start(name);
}
void XMLCALL on_end(void* data, const XML_Char* name) { static_cast<Rewriter*>(data)->end(name); }
void XMLCALL on_text(void* data, const XML_Char* text, int length) {
  static_cast<Rewriter*>(data)->text(std::string_view(text, static_cast<size_t>(length)));
}

struct ParserFree {
  void operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }
};

// Parses the library into the first copy: entries in file order, each with
// its keys ordered.
int32_t parse_into_copy(const char* library, Rewriter& rewriter, XML_Parser parser,
                        char (&problem)[kRewriteProblemSize]) {
  XML_SetUserData(parser, &rewriter);
  XML_SetElementHandler(parser, on_start, on_end);
  XML_SetCharacterDataHandler(parser, on_text);
  const int input = open(library, O_RDONLY | O_CLOEXEC);
  if (input < 0) {
    format_cut(problem, sizeof problem, "it can not be read: %s", strerror(errno));
    return UPNP_FAILED;
  }
  bool done = false;
  int32_t status = UPNP_OK;
  while (!done) {
    void* buffer = XML_GetBuffer(parser, kBlockSize);
    if (buffer == nullptr) {
      status = UPNP_NOMEM;
      break;
    }
    ssize_t got = read(input, buffer, kBlockSize);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      format_cut(problem, sizeof problem, "it can not be read: %s", strerror(errno));
      status = UPNP_FAILED;
      break;
    }
    done = got == 0;
    if (XML_ParseBuffer(parser, static_cast<int>(got), done) != XML_STATUS_OK) {
      if (rewriter.problem[0] == '\0') {
        format_cut(problem, sizeof problem, "line %lu: %s",
                   static_cast<unsigned long>(XML_GetCurrentLineNumber(parser)),
                   XML_ErrorString(XML_GetErrorCode(parser)));
      } else {
        format_cut(problem, sizeof problem, "%s", rewriter.problem);
      }
      status = XML_GetErrorCode(parser) == XML_ERROR_NO_MEMORY ? UPNP_NOMEM : UPNP_INVALID;
      break;
    }
  }
  close(input);
  if (status == UPNP_OK && rewriter.short_of_memory()) status = UPNP_NOMEM;
  if (status == UPNP_OK && !rewriter.tracks_seen) {
    format_cut(problem, sizeof problem, "%s", "no Tracks dict");
    status = UPNP_INVALID;
  }
  if (status == UPNP_NOMEM) format_cut(problem, sizeof problem, "%s", "out of memory");
  return status;
}

// Copies [offset, offset + length) of the first copy into the output.
bool copy_range(int fd, uint64_t offset, uint64_t length, Bytes& block, Output& out) {
  while (length > 0) {
    const size_t want = static_cast<size_t>(std::min<uint64_t>(length, block.capacity));
    const ssize_t got = pread(fd, block.data, want, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out.write(std::string_view(block.data, static_cast<size_t>(got)));
    offset += static_cast<uint64_t>(got);
    length -= static_cast<uint64_t>(got);
  }
  return true;
}

// The classic file: the root's other keys, "Tracks" with the tracks in
// ascending id order, then "Playlists".
int32_t assemble(const char* scratch, const char* classic, Rewriter& rewriter) {
  TrackedArray<TrackSpan>& tracks = rewriter.tracks;
  const bool ascending =
      std::is_sorted(tracks.begin(), tracks.end(), [](const TrackSpan& a, const TrackSpan& b) { return a.id < b.id; });
  if (!ascending) {
    // The offset breaks ties, so equal ids keep their order in the file.
    std::sort(tracks.begin(), tracks.end(), [](const TrackSpan& a, const TrackSpan& b) {
      return a.id != b.id ? a.id < b.id : a.offset < b.offset;
    });
  }
  const int source = open(scratch, O_RDONLY | O_CLOEXEC);
  if (source < 0) return UPNP_FAILED;
  Output out(classic);
  Bytes block;
  bool ok = out.opened() && block.reserve(kBlockSize);
  out.write(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple Computer//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n<dict>\n"sv);
  for (RootSpan& span : rewriter.sections) {
    if (ok && span.kind == RootSpanKind::kOther) ok = copy_range(source, span.start, span.end - span.start, block, out);
  }
  out.write("\t<key>Tracks</key>\n\t<dict>\n"sv);
  // Neighbours in the copy go in one read.
  for (size_t i = 0; ok && i < tracks.size();) {
    const uint64_t start = tracks[i].offset;
    uint64_t end = start + tracks[i].length;
    for (++i; i < tracks.size() && tracks[i].offset == end; ++i) end += tracks[i].length;
    ok = copy_range(source, start, end - start, block, out);
  }
  out.write("\t</dict>\n"sv);
  for (RootSpan& span : rewriter.sections) {
    if (ok && span.kind == RootSpanKind::kPlaylists) {
      ok = copy_range(source, span.start, span.end - span.start, block, out);
    }
  }
  out.write("</dict>\n</plist>\n"sv);
  close(source);
  if (!block.failed && !out.out_of_memory && out.finish() && ok) return UPNP_OK;
  return block.failed || out.out_of_memory ? UPNP_NOMEM : UPNP_FAILED;
}

}  // namespace

int32_t rewrite_to_classic(const char* library, const char* scratch, const char* classic,
                           char (&problem)[kRewriteProblemSize]) {
  problem[0] = '\0';
  const XML_Memory_Handling_Suite suite = {tracked_malloc, tracked_realloc, tracked_free};
  std::unique_ptr<XML_ParserStruct, ParserFree> parser(XML_ParserCreate_MM(nullptr, &suite, nullptr));
  if (!parser) {
    format_cut(problem, sizeof problem, "%s", "out of memory");
    return UPNP_NOMEM;
  }
  int32_t status = UPNP_OK;
  {
    Output copy(scratch);
    if (!copy.opened()) {
      format_cut(problem, sizeof problem, "its classic copy can not be written: %s", strerror(errno));
      return UPNP_FAILED;
    }
    Rewriter rewriter(parser.get(), copy);
    status = parse_into_copy(library, rewriter, parser.get(), problem);
    const bool written = copy.finish();
    parser.reset();  // expat's blocks go before the copy is assembled
    if (status == UPNP_OK && !written) status = copy.out_of_memory ? UPNP_NOMEM : UPNP_FAILED;
    if (status == UPNP_OK) status = assemble(scratch, classic, rewriter);
    if (status == UPNP_NOMEM) format_cut(problem, sizeof problem, "%s", "out of memory");
    if (status == UPNP_FAILED && problem[0] == '\0') {
      format_cut(problem, sizeof problem, "its classic copy can not be written: %s", strerror(errno));
    }
  }
  upnp_file_unlink(scratch);
  if (status != UPNP_OK) upnp_file_unlink(classic);
  return status;
}

}  // namespace importer
